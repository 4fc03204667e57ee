# SPDX-License-Identifier: Apache-2.0
"""The command, and an archive for sweeps: 40 small recordings and six settings."""

import os
import sys
from pathlib import Path

import pytest

CHECKOUT = Path(__file__).resolve().parents[3]
sys.path.insert(0, str(CHECKOUT / "build/release/python"))
sys.path.insert(0, str(Path(__file__).parent))  # running.py
os.environ.setdefault("QOR_COMMAND", str(CHECKOUT / "build/release/tools/qor/qor"))

PLAN = """
recordings = "archive"
[grid]
"QorDistanceImageIFInput.customization.filterSet.spatialFilter" = ["none", "median"]
"QorDistanceImageIFInput.customization.minAmplitude" = [20, 300, 1000]
[measure]
regions = { middle = "rect:80,60,64,52" }
"""


@pytest.fixture(scope="session")
def plan(tmp_path_factory) -> Path:
    """A plan beside its archive."""
    from running import RECORDINGS, simulate

    folder = tmp_path_factory.mktemp("archive")
    for number in range(RECORDINGS):
        scene = ("wall", "ramp", "room")[number % 3]
        simulate(folder / f"archive/{number:02}.zelta", "--scene", scene, "--seed", str(number + 1))
    (folder / "plan.toml").write_text(PLAN)
    return folder / "plan.toml"


@pytest.fixture(scope="session")
def table(plan, tmp_path_factory) -> bytes:
    """The table of the archive, measured one row after the other."""
    from running import sweep, table_of

    folder = tmp_path_factory.mktemp("one")
    outcome = sweep(plan, "--jobs", "1", "--out", folder)
    assert outcome.returncode == 0, outcome.stderr
    return table_of(folder)
