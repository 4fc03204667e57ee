# SPDX-License-Identifier: Apache-2.0
"""What the settings of a plan mean."""

import tomllib
from pathlib import Path

import pytest
from qor.sweep.faults import UsageError
from qor.sweep.settings import read_settings


def settings_of(text: str, folder: Path = Path()) -> list[dict[str, str]]:
    return [dict(settings) for settings in read_settings(tomllib.loads(text), folder)]


def test_a_grid_is_every_combination_and_its_last_expression_changes_fastest():
    assert settings_of("[grid]\n\"R.a\" = [1, 2]\n\"R.b\" = [\"x\", 0.5]\n") == [
        {"R.a": "1", "R.b": "x"}, {"R.a": "1", "R.b": "0.5"}, {"R.a": "2", "R.b": "x"}, {"R.a": "2", "R.b": "0.5"}]


def test_no_settings_are_those_of_the_recording():
    assert settings_of("") == [{}]


def test_a_list_keeps_its_order_and_has_each_once():
    assert settings_of("[[list]]\n\"R.a\" = 2\n[[list]]\n[[list]]\n\"R.a\" = 2\n") == [{"R.a": "2"}, {}]


def test_files_come_first_then_always_then_the_row(tmp_path):
    (tmp_path / "base.txt").write_text("R.a = 1 # old\n\n# R.z = 3\nR.b = 2\nR.c=3\n")
    assert settings_of("settings = \"base.txt\"\n[always]\n\"R.b\" = 20\n[grid]\n\"R.c\" = [30, 31]\n", tmp_path) == [
        {"R.a": "1", "R.b": "20", "R.c": "30"}, {"R.a": "1", "R.b": "20", "R.c": "31"}]


RANDOM = """
[random]
count = 200
seed = %d
[random.values]
"R.int" = { from = 3, to = 5 }
"R.real" = { from = 0.5, to = 2.0 }
"R.log" = { from = 1, to = 10000, scale = "log" }
"R.name" = ["none", "median"]
"""


def test_random_draws_are_those_of_the_seed():
    assert settings_of(RANDOM % 1) == settings_of(RANDOM % 1)
    assert settings_of(RANDOM % 1) != settings_of(RANDOM % 2)


def test_random_draws_fill_their_ranges():
    drawn = settings_of(RANDOM % 1)
    assert {settings["R.int"] for settings in drawn} == {"3", "4", "5"}
    assert {settings["R.name"] for settings in drawn} == {"none", "median"}
    reals = [float(settings["R.real"]) for settings in drawn]
    assert 0.5 <= min(reals) < 0.6 and 1.9 < max(reals) <= 2.0
    logs = [int(settings["R.log"]) for settings in drawn]
    assert 1 <= min(logs) and max(logs) <= 10000
    assert 60 < sum(value < 100 for value in logs) < 140  # half of the decades


@pytest.mark.parametrize("plan, words", [
    ("[grid]\n\"R.a\" = []\n", "R.a has no value"),
    ("[grid]\nR.a = [1]\n", "put quotes around"),
    ("[grid]\n\"R.a\" = [nan]\n", "nan is no finite number"),
    ("list = 3\n", "[[list]]"),
    ("[random]\nseed = 1\n", "[random] needs count"),
    ("[random]\ncount = 1\n", "[random] needs seed"),
    ("[random]\ncount = 1\nseed = 1\n", "[random] needs [random.values]"),
    ("[random]\ncount = 1\nseed = 1\n[random.values]\n\"R.a\" = { from = 2, to = 1 }\n", "from 2 to 1 is no range"),
    ("[random]\ncount = 1\nseed = 1\n[random.values]\n\"R.a\" = { from = 0, to = 1, scale = \"log\" }\n", "above 0"),
    ("settings = \"nowhere.txt\"\n", "nowhere.txt cannot be read"),
])
def test_a_fault_is_told_in_words(plan, words):
    with pytest.raises(UsageError) as told:
        settings_of(plan)
    assert words in str(told.value)
