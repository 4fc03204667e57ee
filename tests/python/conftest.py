# SPDX-License-Identifier: Apache-2.0
"""Recordings that the tests share, and the command to compare with."""

import json
import os
import pathlib
import subprocess

import pytest

import qor

ROOT = pathlib.Path(__file__).resolve().parents[2]
COMMAND = ROOT / "build/release/tools/qor/qor"


def command(*words):
    """The JSON document of the command line."""
    done = subprocess.run([COMMAND, *map(str, words), "--json"], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    assert done.returncode == 0, done.stderr
    return json.loads(done.stdout)


@pytest.fixture(scope="session")
def folder(tmp_path_factory):
    return tmp_path_factory.mktemp("recordings")


@pytest.fixture(scope="session")
def wall(folder):
    """Three frames with their noise: an intensity image and four phases each."""
    path = folder / "wall.zelta"
    qor.simulate(path, scene="wall", frames=3, intensity_image=True)
    return path


@pytest.fixture(scope="session")
def room(folder):
    """Two frames of two frequencies and two exposures: sixteen images each."""
    path = folder / "room.zelta"
    qor.simulate(path, scene="room", frames=2, frequencies=["60MHz", "80MHz"], exposures=[400, 1600])
    return path


@pytest.fixture(scope="session")
def result(folder, wall):
    qor.run(wall, folder / "wall")
    return folder / "wall" / "result.zelta"


@pytest.fixture
def python_environment():
    """For programs that the tests start."""
    return dict(os.environ, PYTHONPATH=os.path.dirname(os.path.dirname(qor.__file__)))
