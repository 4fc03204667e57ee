# SPDX-License-Identifier: Apache-2.0
"""The command to compare with."""

import json
import pathlib
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]
COMMAND = ROOT / "build/release/tools/qor/qor"


def command(*words):
    """The JSON document of the command line."""
    done = subprocess.run([COMMAND, *map(str, words), "--json"], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    assert done.returncode == 0, done.stderr
    return json.loads(done.stdout)
