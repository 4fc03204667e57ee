# SPDX-License-Identifier: Apache-2.0
"""Which settings are the best."""

import pytest
from qor.sweep.best import Wish, rank
from qor.sweep.faults import UsageError


def line(recording: str, settings: int, rms: float | None, valid: float | None = 1.0) -> dict:
    return {"recording": recording, "settings": settings, "rms_mm": rms, "valid_share": valid}


LINES = [line("a", 0, 3.0, 0.8), line("a", 1, 1.0, 0.4), line("a", 2, -4.0, 1.0),
         line("b", 0, 5.0, 1.0), line("b", 1, 1.0, 1.0), line("b", 2, 4.0, 1.0)]


@pytest.mark.parametrize("wish, best", [
    ("rms_mm", 2),  # means 4, 1, 0
    ("min rms_mm", 2),
    ("max rms_mm", 0),
    ("abs(rms_mm)", 1),  # 4, 1, 4
    ("max abs( rms_mm )", 0),  # of equals, the first
    ("abs(rms_mm) where valid_share >= 0.9", 0),  # 0.9, 0.7, 1.0
    ("abs(rms_mm) where valid_share > 0.9", 2),
    ("rms_mm where rms_mm > 0 and valid_share < 0.8", 1),
    ("rms_mm where valid_share > 1", None),
])
def test_the_best_have_the_least_mean_that_meets_the_conditions(wish, best):
    assert rank(LINES, Wish.read(wish)).best == best


def test_settings_that_lack_a_figure_are_out():
    assert rank([*LINES[:5], line("b", 2, None)], Wish.read("rms_mm")).best == 1


def test_a_recording_without_the_figure_says_nothing():
    more = [line("c", number, None, None) for number in range(3)]
    ranking = rank(LINES + more, Wish.read("rms_mm"))
    assert ranking.best == 2
    assert ranking.recordings == ["a", "b"]


def test_the_worst_is_the_last_of_those_that_meet_the_conditions():
    assert rank(LINES, Wish.read("abs(rms_mm)")).worst == 2


@pytest.mark.parametrize("text", ["", "rms_mm where", "rms_mm where valid_share", "rms_mm where valid_share > x",
                                  "rms_mm whereas", "rms_mm where valid_share == 1", "abs(rms_mm"])
def test_a_wish_that_makes_no_sense_is_refused(text):
    with pytest.raises(UsageError):
        Wish.read(text)


def test_a_figure_that_nobody_measured_is_refused():
    with pytest.raises(UsageError, match="no row has a figure nonsense"):
        rank(LINES, Wish.read("nonsense"))
