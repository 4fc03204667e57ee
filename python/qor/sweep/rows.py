# SPDX-License-Identifier: Apache-2.0
# mypy: allow-untyped-calls
"""All rows of a plan, on a cluster. Dask hands them out, moves those of a worker that died to another, and gives work to
machines that join late; this file says what there is to do and keeps what comes back."""

from collections.abc import Callable, Iterable, Iterator
from itertools import islice
from typing import Any

from distributed import Client, Future, KilledWorker, as_completed

from .cluster import identify, measure
from .folder import Sweep, SweepFolder
from .plan import Plan
from .program import Program
from .progress import Progress
from .settings import Settings, texts

# Tasks that are handed out at a time: enough for some hundred workers, not too many for the memory of the scheduler.
IN_FLIGHT = 2000

# A task is tried so often again after an error that is not its own. If its worker dies, Dask gives it to another, by its
# own setting distributed.scheduler.allowed-failures.
RETRIES = 3

Row = tuple[str, str, Settings]  # key, name of the recording, settings

Task = tuple[Callable[..., dict[str, Any]], str, list[Any]]  # function, key for Dask, arguments


def _results(client: Client, tasks: Iterable[Task]) -> Iterator[Future]:
    """The futures of tasks, as they are completed."""
    waiting = iter(tasks)  # islice goes on where it stopped

    def submit(count: int) -> list[Future]:
        return [client.submit(function, *arguments, key=key, retries=RETRIES, pure=False)
                for function, key, arguments in islice(waiting, count)]

    completed = as_completed(submit(IN_FLIGHT), loop=client.loop)
    for future in completed:
        yield future
        for another in submit(1):
            completed.add(another)


def _outcome(future: Future) -> tuple[dict[str, Any] | None, str]:
    """The result, or a sentence."""
    error = future.exception()
    if error is None:
        return future.result(), ""
    if isinstance(error, KilledWorker):
        return None, "its workers died, one after the other, while they were at it."
    return None, f"{type(error).__name__}: {error}"


def look_at(client: Client, plan: Plan, program: Program) -> Sweep:
    """The checksums of the recordings, by which their rows are known."""
    names = {f"qor-recording-{path}": name for name, path in plan.recordings.items()}
    facts = {}
    for future in _results(client, ((identify, key, [plan.recordings[name]]) for key, name in names.items())):
        result, fault = _outcome(future)
        facts[names[future.key]] = result or {"fault": fault}
    recordings = {name: {"path": path} | facts[name] for name, path in plan.recordings.items()}
    return Sweep(recordings, plan.settings, plan.measuring, program.version, program.digest)


def missing_rows(sweep: Sweep, folder: SweepFolder, pictures: bool) -> list[Row]:
    """Rows that are not done, each once, whatever names its recording has. One that failed is tried again."""
    missing: dict[str, Row] = {}
    for name, recording in sweep.recordings.items():
        if "sha256" not in recording:
            continue
        for settings in sweep.settings:
            key = sweep.key(name, settings)
            if not folder.has(key, pictures):
                missing.setdefault(key, (key, name, settings))
    return list(missing.values())


def measure_rows(client: Client, sweep: Sweep, rows: list[Row], folder: SweepFolder, program: Program,
                 pictures: bool, progress: Progress) -> None:
    """Measures rows and keeps each in the folder as soon as it is there."""
    def task(row: Row) -> Task:
        key, name, settings = row
        arguments = [program, sweep.recordings[name]["path"], texts(settings), sweep.measuring, pictures]
        return measure, f"qor-row-{key}{'-pictures' if pictures else ''}", arguments

    by_task = {task(row)[1]: row for row in rows}
    for future in _results(client, map(task, rows)):
        key, name, _ = by_task[future.key]
        row, fault = _outcome(future)
        row = row or {"status": "failed", "reason": fault, "figures": {}, "pictures": {}}
        folder.add(key, row)
        progress.row_done(name, row)
