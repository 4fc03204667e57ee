# SPDX-License-Identifier: Apache-2.0
"""What a sweep is to measure: a TOML file, and recordings of the command line."""

import glob
import os
import tomllib
from collections.abc import Sequence
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from .faults import UsageError
from .settings import Settings, read_settings

# Files of a folder that count as recordings.
ENDINGS = (".zelta", ".zeltaz")

SECTIONS = {"recordings", "settings", "always", "grid", "list", "random", "measure"}


@dataclass(frozen=True)
class Plan:
    recordings: dict[str, str]  # paths by the names of the table, in the order of the names
    settings: list[Settings]
    measuring: list[str]  # options of qor metrics

    @property
    def rows(self) -> int:
        return len(self.recordings) * len(self.settings)


def read_plan(path: str, more: Sequence[str]) -> Plan:
    """The plan of a file, with the recordings of the command line in place of its own if there are any."""
    try:
        with open(path, "rb") as file:
            plan = tomllib.load(file)
    except OSError as error:
        raise UsageError(f"The plan {path} cannot be read: {error.strerror}.") from error
    except (tomllib.TOMLDecodeError, UnicodeDecodeError) as error:
        raise UsageError(f"The plan {path} is not TOML: {error}.") from error
    for section in plan.keys() - SECTIONS:
        raise UsageError(f"{path}: there is no section {section}; there are {', '.join(sorted(SECTIONS))}.")
    folder = Path(path).parent
    recordings = _find(more, Path(), "") if more else _find(_texts(plan, path), folder, f"{path}: ")
    return Plan(recordings, read_settings(plan, folder), _measuring(plan.get("measure", {}), path))


def _texts(plan: dict[str, Any], path: str) -> list[str]:
    texts = plan.get("recordings", [])
    if isinstance(texts, str):
        texts = [texts]
    if not isinstance(texts, list) or not all(isinstance(text, str) for text in texts):
        raise UsageError(f"{path}: recordings takes texts: files, folders, patterns.")
    return texts


def _find(texts: Sequence[str], folder: Path, place: str) -> dict[str, str]:
    """Absolute paths by the names below the folder. Raises UsageError if a text names nothing."""
    if not texts:
        raise UsageError(f"{place}no recordings are named, neither in the plan nor after it.")
    found: dict[str, str] = {}
    for text in texts:
        files = _files(folder / text)
        if not files:
            raise UsageError(f"{place}{text} names no recording.")
        found |= {os.path.relpath(file, folder): os.path.abspath(file) for file in files}
    return dict(sorted(found.items()))


def _files(path: Path) -> list[str]:
    """Of a file, all of a folder, or all that match a pattern: * in a name, ** over folders."""
    if path.is_dir():
        return [str(file) for file in path.rglob("*") if file.suffix in ENDINGS and file.is_file()]
    if path.exists():
        return [str(path)]
    return [file for file in glob.glob(str(path), recursive=True) if os.path.isfile(file)]


def _measuring(section: object, path: str) -> list[str]:
    """[measure] has the options of qor metrics: regions, distance, frames."""
    if not isinstance(section, dict):
        raise UsageError(f"{path}: [measure] takes regions, distance and frames.")
    options = []
    for key, value in section.items():
        if key == "regions" and isinstance(value, dict):
            options += [f"--region={name}={shape}" for name, shape in value.items()]
        elif key == "distance" and isinstance(value, (int, float)):
            options.append(f"--distance={value!r}")
        elif key == "frames" and isinstance(value, str):
            options.append(f"--frames={value}")
        else:
            raise UsageError(f"{path}: [measure] takes regions (NAME = \"SHAPE\"), distance (metres) and frames "
                             f"(\"A:B:STEP\"), not {key} = {value!r}.")
    return options
