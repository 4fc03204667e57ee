# SPDX-License-Identifier: Apache-2.0
"""The command qor, run for the pages: simulated recordings, their results and what is in them, as arrays."""
import json
import subprocess
from pathlib import Path

import numpy

ROWS, COLUMNS = 172, 224
CUSTOMIZATION = "QorDistanceImageIFInput.customization."


class Program:
    """Makes each recording and each result once. `work` is a folder of its own, which may be removed."""

    def __init__(self, qor, work):
        self.qor = Path(qor)
        self.work = Path(work)
        self.made = {}

    def call(self, *arguments):
        """What the command prints. A finding is no reason to stop, an error is."""
        done = subprocess.run([self.qor, *map(str, arguments)], capture_output=True, text=True, check=False)
        if done.returncode not in (0, 1):
            raise SystemExit(f"qor {' '.join(map(str, arguments))}: {done.stderr}")
        return done.stdout

    def recording(self, *options):
        """The recording of `qor simulate` with these options."""
        return self._once(("simulate", *options), ".zelta", lambda path: self.call(
            "simulate", *options, "--quiet", "--out", path))

    def result(self, recording, *settings, channels=None):
        """The result of `qor run`; settings are RECORD.MEMBER=VALUE."""
        sets = [word for setting in settings for word in ("--set", setting)]
        more = ["--channels", channels] if channels else []
        return self._once(("run", recording, *sets, *more), ".zeltaz", lambda path: self.call(
            "run", recording, "--quiet", "--out", path, *sets, *more))

    def images(self, file, name):
        """An image of each frame, a float for each pixel, NaN where it has no value."""
        return self._arrays(file, "--images", name)

    def member(self, file, expression):
        """What the expression addresses, of each packet that has it."""
        return self._arrays(file, "--member", expression)

    def values(self, file, channel, expression, packet=0):
        """Expressions and values of a record on the channel, and the names of those that have some."""
        printed = json.loads(self.call("show", file, channel, expression, "--json", "--unused", "--all"))
        packet = printed["packets"][packet]
        return packet["values"], packet.get("names", {})

    def _arrays(self, file, *what):
        folder = self._once(("export", file, *what), "", lambda path: self.call(
            "export", file, "--force", "--quiet", "--format", "npy", *what, "--out", path))
        return [_as_image(numpy.load(path)) for path in sorted(folder.glob("*.npy"))]

    def _once(self, key, ending, make):
        if key not in self.made:
            path = self.work / f"{len(self.made):03}{ending}"
            make(path)
            self.made[key] = path
        return self.made[key]


def _as_image(array):
    return array.reshape(*array.shape[:-1], ROWS, COLUMNS) if array.shape[-1] == ROWS * COLUMNS else array
