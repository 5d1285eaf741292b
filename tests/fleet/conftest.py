"""A directory for the meters of each test, kept when the test fails."""

import shutil

import pytest
from fleet_rig import scratch


@pytest.fixture
def folder(request):
    made = scratch(request.node.name)
    failures = request.session.testsfailed
    yield made
    if request.session.testsfailed == failures:
        shutil.rmtree(made)
