# SPDX-License-Identifier: Apache-2.0
"""One row: a recording measured with a list of settings.

The command `qor metrics` does it in a process of its own. A recording that crashes it, or that takes all memory, ends
that process and makes a failed row; the worker goes on with the next.
"""

import json
import shutil
import signal
import subprocess
import tempfile
from collections.abc import Sequence
from pathlib import Path
from typing import Any

from .faults import BAD_DATA, USAGE
from .program import program

# Clocks: they differ from run to run, and the table does not.
TIMES = ("packet_p50_ms", "packet_p95_ms", "packet_p99_ms", "frame_p50_ms", "frame_p95_ms", "frame_p99_ms")


def evaluate(
    recording: str,
    settings: Sequence[str] = (),
    measuring: Sequence[str] = (),
    pictures: bool = False,
) -> dict[str, Any]:
    """Measures `recording` with `settings`, each a text EXPRESSION=VALUE as `qor metrics --set` takes it.

    `measuring` are more options of `qor metrics`, for example "--region=wall=rect:0,0,40,40".

    Returns "status", "good" or "failed"; "reason", a sentence for a failed row, otherwise empty; "figures", a number or
    None by the names of docs/figures.md, those of a region as REGION.NAME, and none of a failed row; "pictures", the
    bytes of the PNG files of the first frame by their names, if `pictures` asks for them.
    """
    arguments = [f"--set={text}" for text in settings]
    outcome = _run(["metrics", recording, "--json", "--quiet", *arguments, *measuring])
    if outcome.returncode == USAGE and settings:
        # A recording that ends too soon has no place for the settings. That it is damaged is what has to be told.
        alone = _run(["metrics", recording, "--json", "--quiet", *measuring])
        outcome = alone if alone.returncode == BAD_DATA else outcome
    reason = _reason(outcome, recording)
    if reason:
        return _row("failed", reason, {}, {})
    figures = _figures(json.loads(outcome.stdout))
    return _row("good", "", figures, draw(recording, settings) if pictures else {})


def draw(recording: str, settings: Sequence[str]) -> dict[str, bytes]:
    """The PNG files of the first frame by their names, as `qor run` draws them."""
    with tempfile.TemporaryDirectory(prefix="qor-sweep-") as folder:
        arguments = [f"--set={text}" for text in settings]
        _run(["run", recording, "--quiet", "--frames", "0:1", "--out", folder, "--force", *arguments])
        return {file.name: file.read_bytes() for file in sorted(Path(folder).rglob("*.png"))}


def _row(status: str, reason: str, figures: dict[str, float | None], pictures: dict[str, bytes]) -> dict[str, Any]:
    return {"status": status, "reason": reason, "figures": figures, "pictures": pictures}


def _run(arguments: list[str]) -> subprocess.CompletedProcess[str]:
    command = [program().path, *arguments]
    guard = shutil.which("setpriv")
    if guard:
        command = [guard, "--pdeathsig", "KILL", *command]  # no measuring goes on for a worker that died
    # In a session of its own: Ctrl-C is for the sweep, not for the rows, which would be measured in part.
    return subprocess.run(command, capture_output=True, text=True, errors="replace", check=False,
                          stdin=subprocess.DEVNULL, start_new_session=True)


def _reason(outcome: subprocess.CompletedProcess[str], recording: str) -> str:
    """Why there are no figures, in one line; empty if there are."""
    if outcome.returncode == 0:
        return ""
    if outcome.returncode < 0:
        return f"qor metrics was ended by signal {-outcome.returncode} ({_signal_text(-outcome.returncode)})."
    try:
        document = json.loads(outcome.stdout)
        sentences = document.get("findings") or [document["error"]]
    except (json.JSONDecodeError, KeyError):
        sentences = outcome.stderr.splitlines()[-1:] or [f"qor metrics ended with exit code {outcome.returncode}."]
    # The folder in which a machine finds the recording is no part of the row.
    return " ".join(sentences).replace(recording, Path(recording).name)


def _signal_text(number: int) -> str:
    return signal.strsignal(number) or "unknown"


def _figures(document: dict[str, Any]) -> dict[str, float | None]:
    figures = dict(document["figures"])
    for region, part in document["regions"].items():
        figures |= {f"{region}.{name}": value for name, value in part["figures"].items()}
    return {name: value for name, value in figures.items() if name.rpartition(".")[2] not in TIMES}
