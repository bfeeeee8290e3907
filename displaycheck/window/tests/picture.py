"""What a picture of the window shows: the words of each line, which of them are links, and the colours
of the controls. Another version of a font gives the same, a missing word doesn't."""

from PIL import Image

# The bar above the window in a picture that the program made; on the screen there is none.
TITLE_BAR = 28

# Places in the window, in pixels from its upper left corner: left, upper, right, lower.
TITLE = (213, 50, 631, 110)
WARNING = (213, 110, 631, 380)
HEADING = (213, 12, 631, 44)
NOTE = (2, 300, 194, 436)
CONTINUE = (519, 397, 631, 421)
GO_BACK = (395, 397, 507, 421)

# Blanks between words are at least as wide, gaps between letters narrower; lines are as far apart.
WORD_GAP = 3
LINE_GAP = 2
# How far a pixel's colour is from the background's where it is part of a letter. Bold letters blur into
# the blanks between words.
INK = 45
BOLD_INK = 105


def distance(one, other):
    return max(abs(a - b) for a, b in zip(one, other))


def is_link(pixel):
    red, green, blue = pixel
    return blue > red + 80 and blue > green + 80


def runs(flags, gap):
    """Stretches of true flags as (start, end), joined over shorter gaps."""
    found = []
    for at, flag in enumerate(flags):
        if not flag:
            continue
        if found and at - found[-1][1] < gap:
            found[-1][1] = at + 1
        else:
            found.append([at, at + 1])
    return [tuple(run) for run in found]


def word_places(picture, place, ink=INK):
    """For each line of text, for each word its left, upper, right and lower edges."""
    area = picture.convert("RGB").crop(place)
    width, height = area.size
    pixels = area.load()
    background = pixels[2, 2]
    is_ink = lambda x, y: distance(pixels[x, y], background) > ink
    rows = [any(is_ink(x, y) for x in range(1, width - 1)) for y in range(1, height - 1)]
    lines = []
    for upper, lower in runs(rows, LINE_GAP):
        columns = [any(is_ink(x, y + 1) for y in range(upper, lower)) for x in range(1, width - 1)]
        lines.append([(place[0] + left + 1, place[1] + upper + 1, place[0] + right + 1,
                       place[1] + lower + 1) for left, right in runs(columns, WORD_GAP)])
    return lines


def words(picture, place, ink=INK):
    """For each line of text, for each word whether it is a link."""
    image = picture.convert("RGB")
    return [[any(is_link(pixel) for pixel in image.crop(word).getdata()) for word in line]
            for line in word_places(picture, place, ink)]


def is_blue(picture, place):
    """Whether a button can be pressed by Return."""
    left, upper, right, lower = place
    red, green, blue = picture.convert("RGB").getpixel((left + 10, (upper + lower) // 2))
    return blue > 200 and red < 80


def is_greyed(picture, place):
    left, upper, right, lower = place
    pixel = picture.convert("RGB").getpixel((left + 10, (upper + lower) // 2))
    return pixel in ((240, 240, 240), (61, 61, 61))


def current_step(picture):
    """The step with the blue dot, counted from 0."""
    image = picture.convert("RGB")
    for step in range(4):
        for y in range(50 + 26 * step, 76 + 26 * step):
            if is_link(image.getpixel((21, y))) or image.getpixel((21, y))[2] > 240:
                return step
    return None


def facts(picture):
    return {
        "heading": [len(line) for line in words(picture, HEADING, BOLD_INK)],
        "title": [len(line) for line in words(picture, TITLE, BOLD_INK)],
        "warning": words(picture, WARNING),
        "step": current_step(picture),
        "continue is blue": is_blue(picture, CONTINUE),
        "continue is greyed": is_greyed(picture, CONTINUE),
        "go back is greyed": is_greyed(picture, GO_BACK),
    }


def luminance(pixel):
    """As the contrast of texts goes by."""
    linear = [c / 255 / 12.92 if c <= 10 else ((c / 255 + 0.055) / 1.055) ** 2.4 for c in pixel]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


def contrast(picture, place):
    """Of the text there with its background: 1 to 21."""
    area = picture.convert("RGB").crop(place)
    background = area.getpixel((2, 2))
    ink = max((pixel for _, pixel in area.getcolors(100000)),
              key=lambda pixel: distance(pixel, background))
    dark, bright = sorted(map(luminance, (ink, background)))
    return (bright + 0.05) / (dark + 0.05)


def underlines(picture, word):
    """The colours of a word's pixel rows that are of one colour."""
    left, upper, right, lower = word
    image = picture.convert("RGB")
    rows = [{image.getpixel((x, y)) for x in range(left + 1, right - 1)}
            for y in range((upper + lower) // 2, lower)]
    return [colours.pop() for colours in rows if len(colours) == 1]


def read(path):
    """The title bar and the window of a picture that the program made."""
    whole = Image.open(path).convert("RGB")
    return (whole.crop((0, 0, whole.width, TITLE_BAR)),
            whole.crop((0, TITLE_BAR, whole.width, whole.height)))
