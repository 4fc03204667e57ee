# SPDX-License-Identifier: Apache-2.0
"""Settings of the algorithm as Python values, and as the texts that the library takes."""

from __future__ import annotations

import os
from typing import Any, Mapping, Optional, Union

import numpy

Settings = Union[Mapping[str, Any], str, "os.PathLike[str]"]

# Where the names of settings begin that name no record.
CUSTOMIZATION = "QorDistanceImageIFInput.customization."


def expression_of(name: str) -> str:
    """The whole expression of a setting.

    Names of records begin with a capital letter, names of members with a small one. A name that begins with a
    small letter is that of a member of ``QorDistanceImageIFInput.customization``.
    """
    return CUSTOMIZATION + name if name[:1].islower() else name


def value_text(value: Any) -> str:
    """A number, a name, a switch, or several of them, as ``--set`` takes them."""
    if isinstance(value, (bool, numpy.bool_)):
        return "true" if value else "false"
    if isinstance(value, numpy.ndarray):
        value = value.ravel().tolist()
    if isinstance(value, (list, tuple)):
        return ",".join(value_text(part) for part in value)
    if isinstance(value, numpy.generic):
        # A float32 as the shortest text that gives it back, not as the float64 next to it.
        return str(value)
    return str(value)


def setting_texts(settings: Optional[Mapping[str, Any]]) -> list[str]:
    """``RECORD.MEMBER=VALUE`` of each setting, in their order."""
    return [f"{expression_of(name)}={value_text(value)}" for name, value in (settings or {}).items()]


def settings_in_file(path: Union[str, "os.PathLike[str]"]) -> dict[str, str]:
    """The settings of a file such as ``qor run`` writes, ``settings.txt``: lines ``RECORD.MEMBER = VALUE``."""
    settings: dict[str, str] = {}
    with open(path, encoding="utf-8", errors="replace") as file:
        for line in file:
            text = line.split("#", 1)[0].strip()
            if text:
                name, _, value = text.partition("=")
                settings[name.strip()] = value.strip()
    return settings


def setting_words(settings: Optional[Settings]) -> list[str]:
    """The words of a command line for these settings: a mapping, or the name of a file."""
    if settings is None:
        return []
    if isinstance(settings, (str, os.PathLike)):
        return ["--settings", os.fspath(settings)]
    words: list[str] = []
    for text in setting_texts(settings):
        words += ["--set", text]
    return words
