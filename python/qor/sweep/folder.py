# SPDX-License-Identifier: Apache-2.0
"""The folder of a sweep.

rows.jsonl has a line for each measured row, in the order in which they came; sweep.json says which rows the sweep
consists of. Both make the table, and --best and --report read them again.
"""

import fcntl
import hashlib
import json
import os
from collections.abc import Sequence
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from .faults import UsageError
from .settings import Settings, texts

SWEEP = "sweep.json"
ROWS = "rows.jsonl"
PICTURES = "pictures"  # a folder for each row


def row_key(recording_sha256: str, settings: Settings, measuring: Sequence[str], program: str) -> str:
    """What a row is of: equal keys have equal figures."""
    parts = [recording_sha256, *texts(settings), "", *measuring, "", program]
    return hashlib.sha256("\n".join(parts).encode()).hexdigest()[:32]


@dataclass(frozen=True)
class Sweep:
    """A sweep whose recordings were looked at."""

    recordings: dict[str, dict[str, Any]]  # "path" and "sha256", or "fault", a sentence, by name
    settings: list[Settings]
    measuring: list[str]
    version: str
    program: str

    def key(self, recording: str, settings: Settings) -> str:
        return row_key(self.recordings[recording]["sha256"], settings, self.measuring, self.program)

    def document(self) -> dict[str, Any]:
        return {
            "version": self.version,
            "program": self.program,
            "measuring": self.measuring,
            "recordings": self.recordings,
            "settings": [dict(settings) for settings in self.settings],
        }


class SweepFolder:
    """The folder, held by one sweep at a time."""

    def __init__(self, path: str, resume: bool, force: bool):
        self.path = Path(path)
        self.path.mkdir(parents=True, exist_ok=True)
        rows = self.path / ROWS
        if rows.exists() and not (resume or force):
            raise UsageError(f"{path} holds a sweep. Complete it with --resume, or begin anew with --force.")
        self._file = open(rows, "a+b")
        try:
            fcntl.flock(self._file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError as error:
            raise UsageError(f"Another sweep is at work in {path}.") from error
        if not resume:
            (self.path / SWEEP).unlink(missing_ok=True)  # its rows go
            self._file.truncate(0)
        self.rows = _read_rows(rows)
        self._end_torn_line()

    def has(self, key: str, pictures: bool) -> bool:
        """Whether a row is measured, with its pictures if they are wanted."""
        row = self.rows.get(key)
        return row is not None and row["status"] == "good" and (not pictures or (self.path / PICTURES / key).is_dir())

    def add(self, key: str, row: dict[str, Any]) -> None:
        """Keeps a row; what was kept survives the end of this process."""
        row = dict(row)
        self._write_pictures(key, row.pop("pictures"))
        self._file.write(json.dumps({"row": key} | row).encode() + b"\n")
        self._file.flush()
        self.rows[key] = row

    def _write_pictures(self, key: str, pictures: dict[str, bytes]) -> None:
        for name, content in pictures.items():
            place = self.path / PICTURES / key
            place.mkdir(parents=True, exist_ok=True)
            (place / name).write_bytes(content)

    def finish(self, sweep: Sweep) -> None:
        write_whole(self.path / SWEEP, (json.dumps(sweep.document(), indent=1) + "\n").encode())

    def close(self) -> None:
        self._file.close()

    def _end_torn_line(self) -> None:
        """A line that was being written when the machine went down is no part of the next one."""
        size = self._file.seek(0, os.SEEK_END)
        if size == 0:
            return
        self._file.seek(size - 1)
        if self._file.read(1) != b"\n":
            self._file.write(b"\n")


def _read_rows(path: Path) -> dict[str, dict[str, Any]]:
    rows = {}
    for line in path.read_bytes().splitlines():
        try:
            row = json.loads(line)
            rows[row.pop("row")] = row
        except (ValueError, KeyError, AttributeError):
            continue  # torn
    return rows


def read_sweep(path: str) -> tuple[Sweep, dict[str, dict[str, Any]]]:
    """A sweep that is complete, and its rows. Raises UsageError if there is none."""
    folder = Path(path)
    try:
        document = json.loads((folder / SWEEP).read_text(encoding="utf-8"))
        settings = [tuple(settings.items()) for settings in document["settings"]]
        sweep = Sweep(document["recordings"], settings, document["measuring"], document["version"], document["program"])
        return sweep, _read_rows(folder / ROWS)
    except FileNotFoundError as error:
        raise UsageError(f"{path} holds no complete sweep.") from error
    except (OSError, ValueError, KeyError, AttributeError, TypeError) as error:
        raise UsageError(f"{folder / SWEEP} is damaged: {error}.") from error


def write_whole(path: Path, content: bytes) -> None:
    """Whole or not at all."""
    unfinished = path.with_name(path.name + ".unfinished")
    unfinished.write_bytes(content)
    os.replace(unfinished, path)
