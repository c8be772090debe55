"""Fixtures for the tests of the built programs: every test gets a private world."""

import shutil
import tempfile
from pathlib import Path

import pytest

from world import World


@pytest.fixture
def world():
    """A fresh home, preferences, temporary folder and granted folder, removed when the test has passed."""
    root = Path(tempfile.mkdtemp(prefix="kelv-test-"))
    made = World(root)
    yield made
    made.close()
    shutil.rmtree(root)


@pytest.fixture
def granted(world):
    """A private world in which kelv has been granted the folder world.documents."""
    world.grant(world.documents)
    return world
