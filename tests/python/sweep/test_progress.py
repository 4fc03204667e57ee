# SPDX-License-Identifier: Apache-2.0
"""What is told while a sweep is at work."""

import io

from qor.sweep.progress import Progress

GOOD = {"status": "good", "reason": ""}
FAILED = {"status": "failed", "reason": "it is damaged."}


class Clock:
    now = 100.0

    def __call__(self) -> float:
        return self.now


def test_the_rate_is_that_of_this_sweep_and_the_rest_is_divided_by_it():
    clock = Clock()
    progress = Progress(100, 40, False, io.StringIO(), clock)
    clock.now += 10.0
    for _ in range(20):
        progress.row_done("r", GOOD)
    # 20 rows in 10 s are 2 rows/s; 40 are left.
    assert progress.line() == "qor sweep: 60 of 100 rows, 2.0 rows/s, 20 s left"


def test_failed_rows_are_told_and_counted():
    stream = io.StringIO()
    progress = Progress(100, 0, False, stream, Clock())
    for _ in range(30):
        progress.row_done("r.zelta", FAILED)
    assert stream.getvalue() == "qor sweep: r.zelta: it is damaged.\n" * Progress.MOST_SENTENCES
    assert progress.line() == "qor sweep: 30 of 100 rows, 30 failed, 0.0 rows/s, time left unknown"


def test_a_log_gets_a_line_now_and_then():
    clock = Clock()
    stream = io.StringIO()
    progress = Progress(100, 0, False, stream, clock)
    for _ in range(61):
        clock.now += 1.0
        progress.row_done("r", GOOD)
    assert stream.getvalue().splitlines() == ["qor sweep: 30 of 100 rows, 1.0 rows/s, 1 min 10 s left",
                                              "qor sweep: 60 of 100 rows, 1.0 rows/s, 40 s left"]
