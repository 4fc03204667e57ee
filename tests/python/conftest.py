# SPDX-License-Identifier: Apache-2.0
"""Recordings that the tests share."""

import os

import pytest

import qor

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
