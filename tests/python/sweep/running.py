# SPDX-License-Identifier: Apache-2.0
"""Sweeps as their users start them, and what befalls them."""

import contextlib
import json
import os
import signal
import subprocess
import time
from collections.abc import Iterator
from pathlib import Path

RECORDINGS = 40
PACKAGE = Path(__file__).resolve().parents[3] / "build/release/python"
PATIENCE = 120.0  # seconds, on a machine that has other work


def simulate(path: Path, *options: str) -> None:
    subprocess.run([os.environ["QOR_COMMAND"], "simulate", "--quiet", "--out", str(path), *options], check=True)


def words(*arguments) -> list[str]:
    return [os.environ["QOR_COMMAND"], "sweep", *map(str, arguments)]


def sweep(*arguments) -> subprocess.CompletedProcess:
    return subprocess.run(words(*arguments), capture_output=True, text=True, check=False)


@contextlib.contextmanager
def started(*command) -> Iterator[subprocess.Popen]:
    """A process that is ended at the end, if it has not ended by itself."""
    process = subprocess.Popen(list(map(str, command)), stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    try:
        yield process
    finally:
        if process.poll() is None:
            process.kill()
        process.communicate()


def table_of(folder: Path) -> bytes:
    return (folder / "table.csv").read_bytes()


def kept_rows(folder: Path) -> list[str]:
    """The keys of the rows that the folder has kept, in the order in which they came."""
    file = folder / "rows.jsonl"
    lines = file.read_text().splitlines() if file.exists() else []
    return [json.loads(line)["row"] for line in lines if line.endswith("}")]


def wait_for_rows(folder: Path, count: int, process: subprocess.Popen) -> None:
    end = time.monotonic() + PATIENCE
    while len(kept_rows(folder)) < count:
        assert process.poll() is None, process.communicate()[0]
        assert time.monotonic() < end, f"{len(kept_rows(folder))} rows after {PATIENCE} s"
        time.sleep(0.02)


def workers_of(process: subprocess.Popen) -> list[int]:
    """The processes in which a sweep measures."""
    children = Path(f"/proc/{process.pid}/task").glob("*/children")
    numbers = [int(word) for file in children for word in file.read_text().split()]
    return [number for number in numbers if b"spawn_main" in Path(f"/proc/{number}/cmdline").read_bytes()]


def end_worker(process: subprocess.Popen) -> None:
    os.kill(workers_of(process)[0], signal.SIGKILL)
