# SPDX-License-Identifier: Apache-2.0
"""One line about a long sweep: rows, rows a second, time left."""

import sys
import time
from collections.abc import Callable
from typing import Any, TextIO


class Progress:
    """On standard error: in place on a terminal, otherwise a line now and then."""

    SECONDS_ON_TERMINAL = 0.2
    SECONDS_IN_LOG = 30.0
    MOST_SENTENCES = 20

    def __init__(self, rows: int, done: int, quiet: bool, stream: TextIO | None = None,
                 clock: Callable[[], float] = time.monotonic):
        self._rows = rows
        self._done = done
        self._before = done  # of an earlier sweep: they say nothing about the speed
        self._quiet = quiet
        self._stream = stream or sys.stderr
        self._clock = clock
        self._began = self._told = clock()
        self._in_place = self._stream.isatty()
        self._failed = 0

    def row_done(self, recording: str, row: dict[str, Any]) -> None:
        """Counts a row. Of those that fail, the first ones are told at once."""
        self._done += 1
        if row["status"] == "failed":
            self._failed += 1
            if self._failed <= self.MOST_SENTENCES:
                self.clear()
                print(f"qor sweep: {recording}: {row['reason']}", file=self._stream)
        now = self._clock()
        pause = self.SECONDS_ON_TERMINAL if self._in_place else self.SECONDS_IN_LOG
        if self._quiet or now - self._told < pause:
            return
        self._told = now
        text = self.line()
        self._stream.write(f"\r{text}\x1b[K" if self._in_place else f"{text}\n")
        self._stream.flush()

    def line(self) -> str:
        seconds = self._clock() - self._began
        rate = (self._done - self._before) / seconds if seconds > 0 else 0.0
        left = f"{_duration((self._rows - self._done) / rate)} left" if rate > 0 else "time left unknown"
        failed = f", {self._failed} failed" if self._failed else ""
        return f"qor sweep: {self._done} of {self._rows} rows{failed}, {rate:.1f} rows/s, {left}"

    def clear(self) -> None:
        if self._in_place and not self._quiet:
            self._stream.write("\r\x1b[K")
            self._stream.flush()


def _duration(seconds: float) -> str:
    minutes, seconds = divmod(round(seconds), 60)
    hours, minutes = divmod(minutes, 60)
    if hours:
        return f"{hours} h {minutes} min"
    return f"{minutes} min {seconds} s" if minutes else f"{seconds} s"
