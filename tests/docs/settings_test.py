#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""How docs/make fills in the tables of settings, and where it stops."""
import sys
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "docs/making"))
import settings  # noqa: E402


class FakeProgram:
    """A program whose pipeline has these settings."""
    values_of = {
        settings.CUSTOMIZATION: ({"minAmplitude": 20.0, "sigma": 0.05000000074505806, "on": 1, "filter": 0,
                                  "ROIs[0].type": 0, "ROIs[1].type": 0}, {"filter": "none", "ROIs[0].type": "invalid invalid"}),
        settings.PARAMETERS: ({"numExposures": 2}, {})}

    def recording(self):
        return "recording"

    def values(self, _, __, expression):
        values, names = self.values_of[f"{expression}."]
        return ({f"{expression}.{name}": value for name, value in values.items()},
                {f"{expression}.{name}": value for name, value in names.items()})


ROWS = ["| `minAmplitude` | counts | | words |", "| `sigma` | metres | 7 | words |", "| `on` | switch | | words |",
        "| `filter` | `none`, `mean` | | words |", "| `ROIs[].type` | `invalid` | | words |", "| `numExposures` | 1, 2 | | words |"]


def page_of(rows):
    return "\n".join(["# Settings", "", settings.HEAD, "|---|---|---|---|", *rows, "", "after"])


class Settings(unittest.TestCase):
    def defaults(self):
        lines = settings.page(FakeProgram(), page_of(ROWS)).split("\n")
        return {line.split("`")[1]: line.split("|")[3].strip() for line in lines if line.startswith("| `")}

    def test_a_number_is_written_with_seven_digits_at_most(self):
        self.assertEqual(self.defaults()["sigma"], "0.05")

    def test_a_switch_is_true_or_false(self):
        self.assertEqual(self.defaults()["on"], "`true`")

    def test_a_value_with_a_name_is_the_name(self):
        self.assertEqual(self.defaults()["filter"], "`none`")

    def test_elements_of_an_array_are_one_setting(self):
        self.assertEqual(self.defaults()["ROIs[].type"], "`invalid`")

    def test_a_default_that_has_changed_is_replaced_and_all_else_stays(self):
        made = settings.page(FakeProgram(), page_of(ROWS))
        self.assertEqual(settings.page(FakeProgram(), made), made)
        self.assertTrue(made.endswith("\n\nafter"))

    def test_a_setting_without_a_row_stops_it(self):
        with self.assertRaisesRegex(SystemExit, "lacks: numExposures"):
            settings.page(FakeProgram(), page_of(ROWS[:-1]))

    def test_a_row_of_no_setting_stops_it(self):
        with self.assertRaisesRegex(SystemExit, "no setting minAmplitud$"):
            settings.page(FakeProgram(), page_of(["| `minAmplitud` | | | |", *ROWS]))


unittest.main()
