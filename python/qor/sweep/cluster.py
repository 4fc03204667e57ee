# SPDX-License-Identifier: Apache-2.0
# mypy: allow-untyped-calls
"""A Dask cluster for the rows, and what its workers run."""

import contextlib
import logging
import tempfile
import warnings
from collections.abc import Iterator
from typing import Any

from distributed import Client, LocalCluster, get_worker

from .evaluation import evaluate
from .faults import UsageError
from .program import Program, program, sha256_of


@contextlib.contextmanager
def connect(scheduler: str | None, jobs: int) -> Iterator[Client]:
    """A cluster that exists, or one of processes of this machine, each with one thread: one pipeline a process."""
    # What concerns the user, the rows tell. The rest would come between the lines of the progress.
    logging.getLogger("distributed").setLevel(logging.CRITICAL)
    with contextlib.ExitStack() as stack:
        if scheduler:
            yield stack.enter_context(_existing(scheduler))
        else:
            scratch = stack.enter_context(tempfile.TemporaryDirectory(prefix="qor-sweep-"))
            cluster = stack.enter_context(_local(jobs, scratch))
            yield stack.enter_context(Client(cluster, set_as_default=False))


def _existing(scheduler: str) -> Client:
    try:
        return Client(scheduler, timeout="15s", set_as_default=False)
    except (OSError, ValueError) as error:
        raise UsageError(f"no scheduler answers at {scheduler}: {error}.") from error


def _local(jobs: int, scratch: str) -> LocalCluster:
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")  # the dashboard takes another port if its own is in use
        return LocalCluster(n_workers=jobs, threads_per_worker=1, processes=True, memory_limit=0, host="127.0.0.1",
                            dashboard_address="127.0.0.1:8787", local_directory=scratch)


class ForeignWorker(Exception):
    """A worker with another qor than the sweep's: its rows could not be compared with the others."""


def identify(path: str) -> dict[str, Any]:
    """The checksum of a recording, or why there is none. Runs on a worker."""
    try:
        return {"sha256": sha256_of(path)}
    except OSError as error:
        return {"fault": f"the recording cannot be read: {error.strerror}."}


def measure(wanted: Program, recording: str, settings: list[str], measuring: list[str],
            pictures: bool) -> dict[str, Any]:
    """A row. Runs on a worker."""
    here = program()
    if here.digest != wanted.digest:
        raise ForeignWorker(f"the worker {get_worker().address} has {here.describe()}, this sweep {wanted.describe()}.")
    return evaluate(recording, settings, measuring, pictures)
