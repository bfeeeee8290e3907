"""Draws the window's icon, a monitor with a tick on its screen: draw_icon.py ICON.png"""

import sys

from PIL import Image, ImageDraw

SIZE = 64
FINER = 8  # pixels of the drawing to one of the icon

BODY = "#3C4A5C"
SCREEN = "#DCEBFF"
FOOT = "#8793A3"
TICK = "#1F9D55"


def places(*parts):
    """Parts of the icon's size as places in the drawing."""
    return [part * SIZE * FINER for part in parts]


def draw():
    drawing = Image.new("RGBA", (SIZE * FINER, SIZE * FINER))
    pen = ImageDraw.Draw(drawing)
    pen.rectangle(places(0.43, 0.66, 0.57, 0.86), FOOT)
    pen.rounded_rectangle(places(0.28, 0.83, 0.72, 0.92), *places(0.04), FOOT)
    pen.rounded_rectangle(places(0.03, 0.08, 0.97, 0.72), *places(0.09), BODY)
    pen.rounded_rectangle(places(0.1, 0.15, 0.9, 0.65), *places(0.03), SCREEN)
    corners = (0.31, 0.4), (0.45, 0.54), (0.7, 0.26)
    pen.line([tuple(places(*corner)) for corner in corners], TICK, round(*places(0.1)))
    for x, y in corners:
        pen.ellipse(places(x - 0.05, y - 0.05, x + 0.05, y + 0.05), TICK)
    return drawing.resize((SIZE, SIZE), Image.LANCZOS)


if __name__ == "__main__":
    draw().save(sys.argv[1])
