# SPDX-License-Identifier: Apache-2.0
"""A page about a sweep: one HTML file that needs no other."""

import base64
import html
from pathlib import Path

from .best import Line, Ranking
from .evaluation import draw
from .folder import Sweep, write_whole
from .settings import settings_file, texts

NAME = "report.html"
MOST_LINES = 1000  # of the table; the page stays one that a browser opens
MOST_PICTURES = ("distance", "error", "confidence")

STYLE = """
body { margin: 2em auto; max-width: 70em; padding: 0 1em; font: 15px/1.5 system-ui, sans-serif; color: #1c2430; }
table { border-collapse: collapse; font-size: 13px; display: block; overflow-x: auto; }
th, td { border: 1px solid #d8dee6; padding: 2px 8px; text-align: right; white-space: nowrap; }
th:first-child, td:first-child, td.text { text-align: left; }
pre { background: #f2f5f8; padding: 10px; overflow-x: auto; }
tr.failed td { background: #fdecea; }
svg { margin: 8px 24px 8px 0; }
svg text { font: 11px system-ui, sans-serif; fill: #445; }
img { max-width: 32%; }
"""


def write_report(folder: Path, sweep: Sweep, lines: list[Line], ranking: Ranking) -> Path:
    """Writes the page into the folder and returns its path."""
    title = f"Sweep of {len(sweep.recordings)} recordings with {len(sweep.settings)} settings"
    parts = [f"<h1>{_text(title)}</h1>", f"<p>qor {_text(sweep.version)}, program {_text(sweep.program)}</p>",
             _judgement(sweep, ranking), _charts(sweep, ranking), _settings(sweep, ranking), _pictures(sweep, ranking),
             _failures(lines), _table(lines)]
    page = ("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
            f"<title>{_text(title)}</title>\n<style>{STYLE}</style>\n</head>\n<body>\n"
            + "\n".join(part for part in parts if part) + "\n</body>\n</html>\n")
    write_whole(folder / NAME, page.encode())
    return folder / NAME


def _text(value: object) -> str:
    return html.escape(str(value))


def _number(value: float) -> str:
    return f"{value:.6g}"


def _named(sweep: Sweep, number: int) -> str:
    return ", ".join(f"{name.rpartition('.')[2]} = {value}" for name, value in sweep.settings[number]) or "as recorded"


def _judgement(sweep: Sweep, ranking: Ranking) -> str:
    if ranking.best is None:
        return f"<p>No settings have {_text(ranking.wish.text)}.</p>"
    return (f"<h2>Best: {_text(_named(sweep, ranking.best))}</h2>"
            f"<p>{_text(ranking.wish.text)}: {_number(ranking.means[ranking.best])}, the mean over "
            f"{len(ranking.recordings)} recordings.</p>"
            f"<pre>{_text(ranking.heading(ranking.best) + settings_file(sweep.settings[ranking.best]))}</pre>")


def _charts(sweep: Sweep, ranking: Ranking) -> str:
    """The figure over each expression that has more than one value."""
    expressions = dict.fromkeys(name for settings in sweep.settings for name, _ in settings)
    charts = []
    for expression in expressions:
        points = [(dict(sweep.settings[number])[expression], mean) for number, mean in ranking.means.items()
                  if expression in dict(sweep.settings[number])]
        if len({value for value, _ in points}) > 1:
            charts.append(_chart(expression, str(ranking.wish.figure), points))
    return f"<h2>{_text(ranking.wish.figure)} over each setting</h2>" + "".join(charts) if charts else ""


def _chart(expression: str, figure: str, points: list[tuple[str, float]]) -> str:
    """A point for each of the settings, and a line through the least of each value."""
    width, height, left, right, top, bottom = 430, 260, 60, 20, 26, 36
    values = _places([value for value, _ in points])
    most_x = max(values.values()) or 1.0
    low, high = min(mean for _, mean in points), max(mean for _, mean in points)
    span = high - low or 1.0

    def at(value: str, mean: float) -> tuple[float, float]:
        x = left + (width - left - right) * values[value] / most_x
        return round(x, 1), round(top + (height - top - bottom) * (high - mean) / span, 1)

    def label(x: float, y: float, anchor: str, text: str) -> str:
        return f"<text x=\"{x}\" y=\"{y}\" text-anchor=\"{anchor}\">{_text(text)}</text>"

    least = {value: min(mean for other, mean in points if other == value) for value in values}
    path = " ".join(f"{x},{y}" for x, y in (at(value, mean) for value, mean in least.items()))
    marks = [label(at(value, low)[0], height - 18, "middle", value) for value in _few(list(values))]
    marks += [label(left - 6, at(points[0][0], mean)[1] + 4, "end", _number(mean)) for mean in (low, high)]
    dots = [f"<circle cx=\"{x}\" cy=\"{y}\" r=\"3.5\" fill=\"#0a58b0\" fill-opacity=\"0.6\"/>"
            for x, y in (at(value, mean) for value, mean in points)]
    frame = f"<path d=\"M{left} {top}V{height - bottom}H{width - right}\" fill=\"none\" stroke=\"#99a\"/>"
    return (f"<svg width=\"{width}\" height=\"{height}\" viewBox=\"0 0 {width} {height}\" role=\"img\">"
            f"<title>{_text(figure)} over {_text(expression)}</title>{frame}"
            f"<polyline points=\"{path}\" fill=\"none\" stroke=\"#9bb8d8\"/>{''.join(dots)}{''.join(marks)}"
            f"{label(left, 14, 'start', figure)}{label(width - right, height - 3, 'end', expression.split('.', 1)[-1])}"
            "</svg>")


def _places(values: list[str]) -> dict[str, float]:
    """Where values stand along the axis, in its order: numbers by their size, names one beside the other."""
    try:
        numbers = {value: float(value) for value in values}
    except ValueError:
        return {value: float(place) for place, value in enumerate(dict.fromkeys(values))}
    least = min(numbers.values())
    return {value: number - least for value, number in sorted(numbers.items(), key=lambda item: item[1])}


def _few(values: list[str]) -> list[str]:
    """As many as have room for their labels."""
    step = max(1, len(values) // 5)
    return [*values[:-1:step], values[-1]] if len(values) > 6 else values


def _settings(sweep: Sweep, ranking: Ranking) -> str:
    rows = []
    for number, settings in enumerate(sweep.settings):
        mean = _number(ranking.means[number]) if number in ranking.means else "-"
        rows.append(f"<tr><td>{number}</td><td class=\"text\">{_text(_named(sweep, number))}</td><td>{mean}</td></tr>")
    return (f"<h2>Settings</h2><table><tr><th>Number</th><th>Settings</th><th>{_text(ranking.wish.figure)}</th></tr>"
            + "".join(rows) + "</table>")


def _pictures(sweep: Sweep, ranking: Ranking) -> str:
    """Of the best and the worst settings, for the first recording that was compared."""
    if ranking.best is None or ranking.worst is None or not ranking.recordings:
        return ""
    name = ranking.recordings[0]
    parts = []
    for word, number in (("Best", ranking.best), ("Worst", ranking.worst)):
        pictures = draw(sweep.recordings[name]["path"], texts(sweep.settings[number]))
        images = "".join(f"<img alt=\"{_text(file)}\" src=\"data:image/png;base64,{base64.b64encode(content).decode()}\">"
                         for file, content in pictures.items() if file.removesuffix(".png").endswith(MOST_PICTURES))
        parts.append(f"<h3>{word}: {_text(_named(sweep, number))}, {_number(ranking.means[number])}</h3><p>{images}</p>")
    return f"<h2>First frame of {_text(name)}</h2>" + "".join(parts)


def _failures(lines: list[Line]) -> str:
    reasons = dict.fromkeys(f"{line['recording']}: {line['reason']}" for line in lines if line["status"] == "failed")
    if not reasons:
        return ""
    return "<h2>Failed rows</h2><ul>" + "".join(f"<li>{_text(reason)}</li>" for reason in reasons) + "</ul>"


def _table(lines: list[Line]) -> str:
    hidden = {"recording_sha256", "qor_version", "qor_program", "row", "reason"}
    columns = [name for name in lines[0] if name not in hidden]
    head = "".join(f"<th>{_text(name.removeprefix('QorDistanceImageIFInput.'))}</th>" for name in columns)
    rows = [f"<tr class=\"{_text(line['status'])}\">" + "".join(f"<td>{_cell(line[name])}</td>" for name in columns) + "</tr>"
            for line in lines[:MOST_LINES]]
    more = len(lines) - len(rows)
    note = f"<p>{more} more rows are in the table of the folder.</p>" if more > 0 else ""
    return f"<h2>Table</h2><table><tr>{head}</tr>{''.join(rows)}</table>{note}"


def _cell(value: object) -> str:
    if value is None:
        return ""
    return _number(value) if isinstance(value, float) else _text(value)
