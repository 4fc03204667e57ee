# SPDX-License-Identifier: Apache-2.0
"""What ends a sweep, and the exit codes, which are those of the command qor."""

GOOD = 0
FINDINGS = 1
USAGE = 2
BAD_DATA = 3


class UsageError(Exception):
    """A sentence about a plan, an option or a folder that cannot be used."""


class ProgramError(Exception):
    """A sentence about a command qor that cannot be found or started."""
