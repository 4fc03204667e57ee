# SPDX-License-Identifier: Apache-2.0
"""The table of a sweep: a line for each recording and settings, in their order, whoever measured them and when."""

import csv
import importlib.util
import io
from pathlib import Path
from typing import Any

from .folder import Sweep, write_whole


def lines_of(sweep: Sweep, rows: dict[str, dict[str, Any]]) -> list[dict[str, Any]]:
    """The rows with what repeats them. Every line has the same columns; None is what was not measured."""
    expressions = list(dict.fromkeys(name for settings in sweep.settings for name, _ in settings))
    lines = []
    for name, recording in sweep.recordings.items():
        for number, settings in enumerate(sweep.settings):
            key = sweep.key(name, settings) if "sha256" in recording else None
            row = rows[key] if key else {"status": "failed", "reason": recording["fault"], "figures": {}}
            line = {"recording": name, "settings": number, "status": row["status"], "reason": row["reason"] or None}
            line |= {expression: dict(settings).get(expression) for expression in expressions}
            line |= {"recording_sha256": recording.get("sha256"), "qor_version": sweep.version,
                     "qor_program": sweep.program, "row": key}
            lines.append(line | row["figures"])
    columns = dict.fromkeys(column for line in lines for column in line)
    return [{column: line.get(column) for column in columns} for line in lines]


def write_table(folder: Path, lines: list[dict[str, Any]]) -> Path:
    """Parquet if pyarrow is installed, otherwise CSV. Returns the file."""
    if importlib.util.find_spec("pyarrow"):
        path, content, other = folder / "table.parquet", _parquet(lines), folder / "table.csv"
    else:
        path, content, other = folder / "table.csv", _csv(lines), folder / "table.parquet"
    write_whole(path, content)
    other.unlink(missing_ok=True)  # of an earlier sweep
    return path


def _csv(lines: list[dict[str, Any]]) -> bytes:
    text = io.StringIO()
    writer = csv.DictWriter(text, list(lines[0]), lineterminator="\n")
    writer.writeheader()
    writer.writerows(lines)
    return text.getvalue().encode()


def _parquet(lines: list[dict[str, Any]]) -> bytes:
    import pyarrow  # type: ignore[import]
    import pyarrow.parquet  # type: ignore[import]

    sink = pyarrow.BufferOutputStream()
    pyarrow.parquet.write_table(pyarrow.Table.from_pylist(lines), sink)
    return bytes(sink.getvalue())
