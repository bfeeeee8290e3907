"""What a picture of the window shows: the words of each line, which of them are links, and the colours
of the controls. Another version of a font gives the same, a missing word doesn't."""

from PIL import Image

# Places in the window, in pixels from its upper left corner: left, upper, right, lower.
BOX = (213, 50, 631, 380)
HEADING = (213, 12, 631, 44)
STEPS = (0, 40, 196, 160)
FOOT = (0, 416, 380, 436)
CONTINUE = (519, 397, 631, 421)
GO_BACK = (395, 397, 507, 421)

# Blanks between words are at least as wide, gaps between letters narrower; lines are as far apart.
WORD_GAP = 3
LINE_GAP = 2


def is_ink(pixel):
    red, green, blue = pixel
    return min(red, green, blue) < 210


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


def word_places(picture, place):
    """For each line of text, for each word its left, upper, right and lower edges."""
    area = picture.convert("RGB").crop(place)
    width, height = area.size
    pixels = area.load()
    rows = [any(is_ink(pixels[x, y]) for x in range(1, width - 1)) for y in range(1, height - 1)]
    lines = []
    for upper, lower in runs(rows, LINE_GAP):
        columns = [any(is_ink(pixels[x, y + 1]) for y in range(upper, lower))
                   for x in range(1, width - 1)]
        lines.append([(place[0] + left + 1, place[1] + upper + 1, place[0] + right + 1,
                       place[1] + lower + 1) for left, right in runs(columns, WORD_GAP)])
    return lines


def words(picture, place):
    """For each line of text, for each word whether it is a link."""
    image = picture.convert("RGB")
    return [[any(is_link(pixel) for pixel in image.crop(word).getdata()) for word in line]
            for line in word_places(picture, place)]


def is_blue(picture, place):
    """Whether a button can be pressed by Return."""
    left, upper, right, lower = place
    red, green, blue = picture.convert("RGB").getpixel((left + 10, (upper + lower) // 2))
    return blue > 200 and red < 80


def is_greyed(picture, place):
    left, upper, right, lower = place
    pixel = picture.convert("RGB").getpixel((left + 10, (upper + lower) // 2))
    return pixel[0] == pixel[1] == pixel[2] == 240


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
        "box": words(picture, BOX),
        "heading": [len(line) for line in words(picture, HEADING)],
        "step": current_step(picture),
        "continue is blue": is_blue(picture, CONTINUE),
        "continue is greyed": is_greyed(picture, CONTINUE),
        "go back is greyed": is_greyed(picture, GO_BACK),
    }


def read(path):
    return Image.open(path)
