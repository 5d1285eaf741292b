"""Runs build tools for the tests of this folder."""

import subprocess

import pytest
from harness.program import BUILD

LIMIT = 500  # seconds for a whole build on a busy machine

shown_by_other_builds = pytest.mark.skipif(BUILD.name == "asan",
                                           reason="the host's and the meter's build show it")


def told_by(*command, **options):
    """What a command that succeeds puts out."""
    done = subprocess.run(command, capture_output=True, text=True, timeout=LIMIT, **options)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout
