"""Creates a directory for the meters of each test. If the test fails, the directory is kept."""

import pathlib
import shutil
import sys

import pytest

TESTS = pathlib.Path(__file__).parents[1]
sys.path[:0] = [str(TESTS / "model"), str(TESTS.parent / "fleet")]  # option_words and meter_fleet are there

from fleet_rig import scratch  # noqa: E402


@pytest.fixture
def folder(request):
    made = scratch(request.node.name)
    failures = request.session.testsfailed
    yield made
    if request.session.testsfailed == failures:
        shutil.rmtree(made)
