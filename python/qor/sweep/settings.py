# SPDX-License-Identifier: Apache-2.0
"""The settings of a plan: every combination of a grid, a list, and random draws from a seed."""

import itertools
import math
import random
from pathlib import Path
from typing import Any

from .faults import UsageError

# Expressions and values, in the order in which they are set.
Settings = tuple[tuple[str, str], ...]


def texts(settings: Settings) -> list[str]:
    """As --set takes them."""
    return [f"{expression}={value}" for expression, value in settings]


def settings_file(settings: Settings) -> str:
    """As --settings takes them."""
    return "".join(f"{expression} = {value}\n" for expression, value in settings)


def read_settings(plan: dict[str, Any], folder: Path) -> list[Settings]:
    """All settings of a plan, in its order: grid, list, random. One that occurs twice counts once."""
    common = _common(plan, folder)
    parts = [*_grid(plan.get("grid", {})), *_list(plan.get("list", [])), *_random(plan.get("random"))]
    every = [common | part for part in parts or [{}]]
    return list(dict.fromkeys(tuple(settings.items()) for settings in every))


def _common(plan: dict[str, Any], folder: Path) -> dict[str, str]:
    common: dict[str, str] = {}
    for name in _strings(plan.get("settings", []), "settings"):
        common |= _read_file(folder / name)
    return common | _texts_of(plan.get("always", {}), "[always]")


def _read_file(path: Path) -> dict[str, str]:
    try:
        lines = path.read_text(encoding="utf-8").splitlines()
    except (OSError, UnicodeDecodeError) as error:
        raise UsageError(f"The settings file {path} cannot be read: {error}.") from error
    settings = {}
    for number, line in enumerate(lines, 1):
        text = line.partition("#")[0].strip()
        if not text:
            continue
        expression, equals, value = (part.strip() for part in text.partition("="))
        if not (expression and equals and value):
            raise UsageError(f"{path}, line {number}: {text} is not RECORD.MEMBER = VALUE.")
        settings[expression] = value
    return settings


def _strings(value: object, place: str) -> list[str]:
    values = [value] if isinstance(value, str) else value
    if not isinstance(values, list) or not all(isinstance(text, str) for text in values):
        raise UsageError(f"{place} takes texts.")
    return values


def _table(value: object, place: str) -> dict[str, Any]:
    if not isinstance(value, dict):
        raise UsageError(f"{place} takes lines of the form \"RECORD.MEMBER\" = VALUE.")
    return value


def _text(value: object, place: str) -> str:
    if isinstance(value, bool):
        return str(int(value))
    if isinstance(value, float) and not math.isfinite(value):
        raise UsageError(f"{place}: {value} is no finite number.")
    if isinstance(value, (int, float)):
        return repr(value)
    if isinstance(value, str) and value.strip():
        return value.strip()
    hint = "; put quotes around \"RECORD.MEMBER\"" if isinstance(value, dict) else ""
    raise UsageError(f"{place}: {value!r} is neither a number nor a name{hint}.")


def _texts_of(table: object, place: str) -> dict[str, str]:
    return {key: _text(value, f"{place} {key}") for key, value in _table(table, place).items()}


def _values(value: object, place: str) -> list[str]:
    values = value if isinstance(value, list) else [value]
    if not values:
        raise UsageError(f"{place} has no value.")
    return [_text(one, place) for one in values]


def _grid(grid: object) -> list[dict[str, str]]:
    """Every combination; the last expression changes fastest."""
    axes = {key: _values(value, f"[grid] {key}") for key, value in _table(grid, "[grid]").items()}
    if not axes:
        return []
    return [dict(zip(axes, combination)) for combination in itertools.product(*axes.values())]


def _list(entries: object) -> list[dict[str, str]]:
    if not isinstance(entries, list):
        raise UsageError("Write [[list]], with two brackets, before each of the settings of a list.")
    return [_texts_of(entry, "[[list]]") for entry in entries]


def _random(section: object) -> list[dict[str, str]]:
    if section is None:
        return []
    section = _table(section, "[random]")
    if not (isinstance(section.get("count"), int) and section["count"] > 0):
        raise UsageError("[random] needs count, a number above 0.")
    if not isinstance(section.get("seed"), int):
        raise UsageError("[random] needs seed, a whole number: the same seed draws the same settings.")
    axes = _table(section.get("values", {}), "[random.values]")
    if not axes:
        raise UsageError("[random] needs [random.values].")
    source = random.Random(section["seed"])
    return [{key: _draw(axis, source.random(), f"[random.values] {key}") for key, axis in axes.items()}
            for _ in range(section["count"])]


def _draw(axis: object, share: float, place: str) -> str:
    """The value at a share, 0 <= share < 1, of an axis: one of a list, or a number from a range."""
    if isinstance(axis, list):
        values = _values(axis, place)
        return values[int(share * len(values))]
    least, most, logarithmic = _range(axis, place)
    if isinstance(least, int) and isinstance(most, int) and not logarithmic:
        return str(least + int(share * (most - least + 1)))
    if logarithmic:
        number = math.exp(math.log(least) + share * (math.log(most) - math.log(least)))
    else:
        number = least + share * (most - least)
    # Six digits are more than anyone sets, and hide the last bit, in which logarithms of machines differ.
    number = float(f"{number:.6g}")
    return str(round(number)) if isinstance(least, int) and isinstance(most, int) else repr(number)


def _range(axis: object, place: str) -> tuple[float, float, bool]:
    """Least, most, and whether the range is logarithmic."""
    if not isinstance(axis, dict) or not {"from", "to"} <= axis.keys() <= {"from", "to", "scale"}:
        raise UsageError(f"{place} takes a list of values, or {{ from = LEAST, to = MOST }}, with scale = \"log\" if the "
                         "small ones are to come as often as the large ones.")
    least, most = axis["from"], axis["to"]
    if not all(isinstance(end, (int, float)) and math.isfinite(end) for end in (least, most)) or least > most:
        raise UsageError(f"{place}: from {least} to {most} is no range.")
    if axis.get("scale", "linear") not in ("linear", "log"):
        raise UsageError(f"{place}: scale is \"linear\" or \"log\".")
    if axis.get("scale") == "log" and least <= 0:
        raise UsageError(f"{place}: a logarithmic range begins above 0.")
    return least, most, axis.get("scale") == "log"
