#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Draws docs/images/edge.svg: a row across an edge, its flying pixel and its width.

    docs/images/draw_edge.py > docs/images/edge.svg
"""
DISTANCES = [1.02, 1.00, 1.01, 1.01, 1.45, 1.96, 2.00, 1.99, 2.01]  # metres, of nine pixels in a row
A, B = 3, 5  # where the edge begins and ends
LEVEL = 0.1


def x(pixel):
    return 90 + 70 * pixel


def y(metres):
    return 330 - 260 * (metres - 0.9)


def place(share):
    """Where the line through the centres reaches this share of the step, in pixels."""
    wanted = DISTANCES[A] + share * (DISTANCES[B] - DISTANCES[A])
    for k in range(A, B):
        if DISTANCES[k] <= wanted <= DISTANCES[k + 1]:
            return k + (wanted - DISTANCES[k]) / (DISTANCES[k + 1] - DISTANCES[k])


def line(x1, y1, x2, y2, style):
    print(f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" {style}/>')


def text(at_x, at_y, words, style=""):
    print(f'<text x="{at_x:.1f}" y="{at_y:.1f}" {style}>{words}</text>')


def main():
    step = DISTANCES[B] - DISTANCES[A]
    low, high = DISTANCES[A] + LEVEL * step, DISTANCES[B] - LEVEL * step
    print('<svg xmlns="http://www.w3.org/2000/svg" width="720" height="400" viewBox="0 0 720 400" '
          'font-family="sans-serif" font-size="14">')
    print('<rect width="720" height="400" fill="white"/>')
    print(f'<rect x="70" y="{y(high):.1f}" width="600" height="{y(low) - y(high):.1f}" fill="#fff1cc"/>')
    for metres, words in ((low, "v[a] + 10 %"), (high, "v[b] - 10 %")):
        line(70, y(metres), 670, y(metres), 'stroke="#c08000" stroke-dasharray="5 4"')
        text(664, y(metres) - 5, words, 'fill="#805000" text-anchor="end"')
    points = " ".join(f"{x(k):.1f},{y(v):.1f}" for k, v in enumerate(DISTANCES))
    print(f'<polyline points="{points}" fill="none" stroke="#888"/>')
    for k, v in enumerate(DISTANCES):
        flies = A < k < B and low < v < high
        color = "#c00000" if flies else "#1050a0"
        print(f'<circle cx="{x(k):.1f}" cy="{y(v):.1f}" r="6" fill="{color}"/>')
        name = {A - 1: "a - 1", A: "a", B: "b", B + 1: "b + 1"}.get(k, "")
        text(x(k), 356, name, 'text-anchor="middle"')
    text(x(4) + 14, y(DISTANCES[4]) + 5, "flying pixel", 'fill="#c00000"')
    left, right = place(LEVEL), place(1 - LEVEL)
    for at, level in ((left, low), (right, high)):
        line(x(at), y(level), x(at), 48, 'stroke="#444" stroke-dasharray="2 3"')
    line(x(left), 52, x(right), 52, 'stroke="#444" stroke-width="2"')
    text((x(left) + x(right)) / 2, 40, f"width {right - left:.2f} pixels", 'text-anchor="middle"')
    text(74, y(1.06), "foreground")
    text(580, y(2.06), "background")
    text(370, 385, "pixel in the row", 'text-anchor="middle"')
    text(28, 200, "distance v", 'text-anchor="middle" transform="rotate(-90 28 200)"')
    line(70, 338, 670, 338, 'stroke="black"')
    line(70, 338, 70, 30, 'stroke="black"')
    print("</svg>")


main()
