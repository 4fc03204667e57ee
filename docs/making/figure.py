# SPDX-License-Identifier: Apache-2.0
"""Figures of the pages: pictures with a scale, and charts, side by side in one SVG.

A picture is a PNG inside of the SVG, one of its pixels for each pixel of the imager. All numbers are written with a
fixed count of digits, so that the same values give the same text on every machine.
"""
import base64
import io
import re
from dataclasses import dataclass
from pathlib import Path
from xml.sax.saxutils import escape

import numpy
from PIL import Image

CHECKOUT = Path(__file__).resolve().parents[2]
LEVELS = 96  # colours of a scale: more cannot be told apart, and noise would fill the file
NO_VALUE = (0, 0, 0)
CELL_WIDTH, PICTURE_HEIGHT, HEAD, FOOT, KEY_WIDTH = 336, 258, 26, 12, 74
LINES = ("#1050a0", "#c04000", "#208040", "#803090", "#606060")


def _anchors(name):
    """Every eighth colour of the table that the command draws with."""
    source = (CHECKOUT / "tools/imaging/ColorMap.cpp").read_text()
    table = re.search(rf"constexpr Anchors {name}{{(.*?)}};", source, re.S).group(1)
    colors = re.findall(r"{(\d+), (\d+), (\d+)}", table)
    return [tuple(int(part) for part in color) for color in colors]


def _between(anchors, x):
    position = x * (len(anchors) - 1)
    first = min(int(position), len(anchors) - 2)
    share = position - first
    return tuple(round(a + (b - a) * share) for a, b in zip(anchors[first], anchors[first + 1]))


COLORS = {
    "turbo": _anchors("turbo"),
    "viridis": _anchors("viridis"),
    "grey": [(0, 0, 0), (255, 255, 255)],
    "error": [(38, 77, 179), (128, 160, 225), (255, 255, 255), (236, 140, 130), (180, 30, 30)],
}


@dataclass
class Scale:
    """Numbers to colours, from `low` to `high`; beyond, the colour of the end; NaN is black."""
    colors: str
    low: float
    high: float
    unit: str

    def color(self, level):
        return _between(COLORS[self.colors], level / (LEVELS - 1))

    def picture(self, values):
        values = numpy.asarray(values, dtype=numpy.float64)
        share = (values - self.low) / (self.high - self.low)
        known = numpy.isfinite(share)
        levels = numpy.rint(numpy.clip(numpy.where(known, share, 0), 0, 1) * (LEVELS - 1))
        palette = [NO_VALUE] + [self.color(level) for level in range(LEVELS)]
        return _indexed(numpy.where(known, levels + 1, 0), palette)

    def key(self, x, y, height):
        steps = 32
        parts = []
        for k in range(steps):
            color = _between(COLORS[self.colors], 1 - (k + 0.5) / steps)
            parts.append(f'<rect x="{x}" y="{y + k * height / steps:.2f}" width="12" '
                         f'height="{height / steps + 0.5:.2f}" fill="rgb{color}"/>')
        for share in (0, 0.5, 1):
            value = self.low + share * (self.high - self.low)
            at = y + (1 - share) * (height - 10) + 9
            parts.append(_text(x + 16, at, f"{value:.4g}", size=11))
        parts.append(_text(x, y - 6, self.unit, size=11))
        return parts


@dataclass
class Categories:
    """Whole numbers from 0 on to names with a colour each."""
    states: list  # (name, color)

    def picture(self, values):
        return _indexed(values, [color for _, color in self.states])

    def key(self, x, y, _):
        parts = []
        for k, (name, color) in enumerate(self.states):
            parts.append(f'<rect x="{x}" y="{y + 20 * k}" width="12" height="12" fill="rgb{color}" stroke="#888"/>')
            parts.append(_text(x + 17, y + 20 * k + 10, name, size=11))
        return parts


@dataclass
class Picture:
    title: str
    values: object  # rows, columns
    scale: object

    def draw(self, x, y):
        image = self.scale.picture(self.values)
        data = io.BytesIO()
        image.save(data, "PNG", optimize=True)
        width = min(CELL_WIDTH, PICTURE_HEIGHT * image.width / image.height)
        height = width * image.height / image.width
        return [_text(x, y - 8, self.title, weight="bold"),
                f'<image x="{x}" y="{y}" width="{width:.1f}" height="{height:.1f}" style="image-rendering:pixelated" '
                f'preserveAspectRatio="none" href="data:image/png;base64,{base64.b64encode(data.getvalue()).decode()}"/>',
                *self.scale.key(x + round(width) + 8, y + 10, height - 20)]


@dataclass
class Line:
    name: str
    x: list
    y: list
    steps: bool = False
    dots: bool = False


@dataclass
class Chart:
    title: str
    x_label: str
    y_label: str
    lines: list
    x_range: tuple
    y_range: tuple
    x_ticks: list
    y_ticks: list

    def draw(self, x, y):
        left, bottom, width, height = x + 44, y + PICTURE_HEIGHT - 36, CELL_WIDTH - 44, PICTURE_HEIGHT - 40

        def at_x(value):
            return left + (value - self.x_range[0]) / (self.x_range[1] - self.x_range[0]) * width

        def at_y(value):
            return bottom - (value - self.y_range[0]) / (self.y_range[1] - self.y_range[0]) * height

        parts = [_text(x, y - 8, self.title, weight="bold")]
        for value in self.x_ticks:
            parts.append(f'<path d="M{at_x(value):.1f} {bottom:.1f}V{bottom - height:.1f}" stroke="#ddd"/>')
            parts.append(_text(at_x(value), bottom + 15, f"{value:g}", size=11, anchor="middle"))
        for value in self.y_ticks:
            parts.append(f'<path d="M{left:.1f} {at_y(value):.1f}H{left + width:.1f}" stroke="#ddd"/>')
            parts.append(_text(left - 5, at_y(value) + 4, f"{value:g}", size=11, anchor="end"))
        parts.append(f'<path d="M{left:.1f} {bottom - height:.1f}V{bottom:.1f}H{left + width:.1f}" fill="none" '
                     'stroke="#444"/>')
        parts.append(_text(left + width / 2, bottom + 31, self.x_label, size=12, anchor="middle"))
        middle = bottom - height / 2
        parts.append(_text(x + 8, middle, self.y_label, size=12, anchor="middle",
                           more=f' transform="rotate(-90 {x + 8} {middle:.1f})"'))
        for k, line in enumerate(self.lines):
            parts.extend(self._line(line, LINES[k], at_x, at_y))
            if line.name:
                parts.append(_text(left + 6, bottom - height + 14 + 15 * k, line.name, size=12, color=LINES[k]))
        return parts

    @staticmethod
    def _line(line, color, at_x, at_y):
        points = [(at_x(a), at_y(b)) for a, b in zip(line.x, line.y)]
        if line.dots:
            return [f'<circle cx="{a:.1f}" cy="{b:.1f}" r="4" fill="{color}"/>' for a, b in points]
        path = f"M{points[0][0]:.1f} {points[0][1]:.1f}"
        for a, b in points[1:]:
            path += (f"H{a:.1f}V{b:.1f}" if line.steps else f"L{a:.1f} {b:.1f}")
        return [f'<path d="{path}" fill="none" stroke="{color}" stroke-width="2"/>']


def _key_width(cell):
    """Room to the right of a cell."""
    scale = getattr(cell, "scale", None)
    return 36 + 6 * max(len(name) for name, _ in scale.states) if isinstance(scale, Categories) else KEY_WIDTH


def figure(cells, columns=3):
    """The text of an SVG with the cells row by row."""
    columns = min(columns, len(cells))
    widths = [CELL_WIDTH + max(_key_width(cell) for cell in cells[k::columns]) for k in range(columns)]
    cell_height = HEAD + PICTURE_HEIGHT + FOOT
    width, height = 12 + sum(widths), -(-len(cells) // columns) * cell_height + 8
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" viewBox="0 0 {width} {height}" '
             'font-family="sans-serif" font-size="13" fill="#222">',
             f'<rect width="{width}" height="{height}" fill="white"/>']
    for k, cell in enumerate(cells):
        parts.extend(cell.draw(12 + sum(widths[:k % columns]), 8 + k // columns * cell_height + HEAD))
    return "\n".join(parts) + "\n</svg>\n"


def alike(one, other):
    """Whether two SVG show the same: the same text, and the same pixels in the PNGs, however they are compressed."""
    pattern = re.compile(r"data:image/png;base64,([A-Za-z0-9+/=]+)")
    if pattern.sub("", one) != pattern.sub("", other):
        return False
    pairs = zip(pattern.findall(one), pattern.findall(other))
    return all(a == b or _pixels(a) == _pixels(b) for a, b in pairs)


def _pixels(encoded):
    image = Image.open(io.BytesIO(base64.b64decode(encoded))).convert("RGB")
    return image.size, image.tobytes()


def _indexed(indices, palette):
    image = Image.fromarray(numpy.asarray(indices).astype(numpy.uint8), "P")
    image.putpalette([part for color in palette for part in color])
    return image


def _text(x, y, words, size=13, color=None, anchor=None, weight=None, more=""):
    style = f' font-size="{size}"' if size != 13 else ""
    style += f' fill="{color}"' if color else ""
    style += f' text-anchor="{anchor}"' if anchor else ""
    style += f' font-weight="{weight}"' if weight else ""
    return f'<text x="{x:.1f}" y="{y:.1f}"{style}{more}>{escape(words)}</text>'
