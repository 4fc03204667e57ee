# SPDX-License-Identifier: Apache-2.0
"""The command qor that measures the rows: where it is and which one it is."""

import functools
import hashlib
import os
import re
import shutil
import subprocess
from dataclasses import dataclass
from pathlib import Path

from .faults import ProgramError


@dataclass(frozen=True)
class Program:
    """Two programs with the same digest give the same figures."""

    path: str
    version: str
    digest: str  # of the bytes of the command and of its plug-in, 16 hexadecimal digits

    def describe(self) -> str:
        return f"qor {self.version}, program {self.digest}"


def sha256_of(path: str) -> str:
    """64 hexadecimal digits, as sha256sum prints them. Raises OSError."""
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


def find_command() -> str:
    """QOR_COMMAND, or the command that this package was installed or built with, or the one on PATH."""
    named = os.environ.get("QOR_COMMAND")
    if named:
        return named
    package = Path(__file__).absolute().parent.parent  # the build tree has links to the sources
    for place in (package / "../../../../bin/qor", package / "../../tools/qor/qor"):
        if os.access(place, os.X_OK) and place.is_file():
            return str(place.resolve())
    found = shutil.which("qor")
    if found:
        return found
    raise ProgramError("The command qor was not found on PATH; name it in the environment as QOR_COMMAND.")


@functools.lru_cache(maxsize=1)
def program() -> Program:
    """The program of this process, looked at once."""
    command = find_command()
    try:
        facts = subprocess.run([command, "--version"], capture_output=True, text=True, check=True).stdout
        version = re.search(r"^qor (\S+)$", facts, re.MULTILINE)
        plugin = re.search(r"^plug-in: .* \S+, (/.*)$", facts, re.MULTILINE)
        if version is None or plugin is None:
            raise ProgramError(f"{command} is no command qor with its plug-in; it says: {facts.strip()}")
        parts = sha256_of(command) + sha256_of(plugin[1])
    except (OSError, subprocess.CalledProcessError) as error:
        raise ProgramError(f"{command} cannot be used: {error}.") from error
    return Program(command, version[1], hashlib.sha256(parts.encode()).hexdigest()[:16])
