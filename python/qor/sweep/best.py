# SPDX-License-Identifier: Apache-2.0
"""The best settings of a sweep: "rms_mm where valid_share > 0.9"."""

import operator
import re
from dataclasses import dataclass
from typing import Any

from .faults import UsageError

OPERATORS = {"<": operator.lt, "<=": operator.le, ">": operator.gt, ">=": operator.ge}

FIGURE = r"(?:abs\(\s*[\w.-]+\s*\)|[\w.-]+)"
Line = dict[str, Any]  # of the table: values by the names of the columns

NUMBER = r"[+-]?(?:\d+\.?\d*|\.\d+)(?:e[+-]?\d+)?"
WISH = re.compile(rf"\s*(?:(min|max)\s+)?({FIGURE})(?:\s+where\s+(.+?))?\s*")
CONDITION = re.compile(rf"\s*({FIGURE})\s*(<=|>=|<|>)\s*({NUMBER})\s*")


@dataclass(frozen=True)
class Figure:
    """A column of the table, or its magnitude."""

    name: str
    magnitude: bool

    @classmethod
    def read(cls, text: str) -> "Figure":
        inside = re.fullmatch(r"abs\(\s*(.+?)\s*\)", text)
        return cls(inside[1], True) if inside else cls(text, False)

    def of(self, line: Line) -> float | None:
        value = line[self.name]
        return abs(value) if self.magnitude and value is not None else value  # type: ignore[no-any-return]

    def __str__(self) -> str:
        return f"abs({self.name})" if self.magnitude else self.name


@dataclass(frozen=True)
class Condition:
    figure: Figure
    relation: str
    limit: float

    def holds(self, value: float) -> bool:
        return bool(OPERATORS[self.relation](value, self.limit))


@dataclass(frozen=True)
class Wish:
    """What the best settings have least of, or most, and what they must hold besides."""

    text: str
    figure: Figure
    most: bool = False
    conditions: tuple[Condition, ...] = ()

    @classmethod
    def read(cls, text: str) -> "Wish":
        parts = WISH.fullmatch(text)
        if not parts:
            raise UsageError(f"--best: \"{text}\" is not FIGURE, or FIGURE where FIGURE > NUMBER and ...; before it may "
                             "stand min or max.")
        conditions = re.split(r"\s+and\s+", parts[3]) if parts[3] else []
        return cls(text, Figure.read(parts[2]), parts[1] == "max", tuple(map(_condition, conditions)))

    def figures(self) -> list[Figure]:
        return [self.figure, *(condition.figure for condition in self.conditions)]


def _condition(text: str) -> Condition:
    parts = CONDITION.fullmatch(text)
    if not parts:
        raise UsageError(f"--best: \"{text}\" is not FIGURE < NUMBER, with <, <=, > or >=.")
    return Condition(Figure.read(parts[1]), parts[2], float(parts[3]))


@dataclass(frozen=True)
class Ranking:
    """Means over the recordings for which any of the settings has all figures of the wish."""

    wish: Wish
    recordings: list[str]
    means: dict[int, float]  # of the wished figure, by settings; without those that lack a figure or fail a condition
    settings: int  # how many were compared

    @property
    def best(self) -> int | None:
        """The first of equals; None if there is none."""
        return next(iter(self._ordered()), None)

    @property
    def worst(self) -> int | None:
        """The last of equals; None if there is none."""
        return next(reversed(self._ordered()), None)

    def _ordered(self) -> list[int]:
        sign = -1.0 if self.wish.most else 1.0
        return sorted(self.means, key=lambda number: (sign * self.means[number], number))

    def heading(self, number: int) -> str:
        """Comment lines for the file of these settings."""
        return (f"# {self.wish.text}: the best of {self.settings} settings, number {number}\n"
                f"# {self.wish.figure} = {self.means[number]!r}, mean over {len(self.recordings)} recordings\n")


def usual_wish(lines: list[Line]) -> Wish:
    """What is best if nobody says it: the first of these figures that was measured."""
    figures = [name for name in ("rms_mm", "temporal_noise_mm") if any(line.get(name) is not None for line in lines)]
    return Wish.read(figures[0] if figures else "max valid_share")


def rank(lines: list[Line], wish: Wish) -> Ranking:
    """Judges the lines of a table."""
    for figure in wish.figures():
        if not any(isinstance(line.get(figure.name), (int, float)) for line in lines):
            raise UsageError(f"--best: no row has a figure {figure.name}.")
    values = {(line["recording"], line["settings"]): [figure.of(line) for figure in wish.figures()] for line in lines}
    whole = {place for place, figures in values.items() if None not in figures}
    recordings = [name for name in dict.fromkeys(line["recording"] for line in lines)
                  if any(recording == name for recording, _ in whole)]
    numbers = list(dict.fromkeys(line["settings"] for line in lines))
    means = {}
    for number in numbers:
        if not all((name, number) in whole for name in recordings):
            continue
        columns = zip(*(values[name, number] for name in recordings))
        mean, *judged = [sum(column) / len(recordings) for column in columns]
        if all(condition.holds(value) for condition, value in zip(wish.conditions, judged)):
            means[number] = mean
    return Ranking(wish, recordings, means, len(numbers))
