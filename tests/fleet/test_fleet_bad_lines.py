"""Runs tests/fleet/bad-lines, which plays generated sessions of meter-fleet on bad lines."""

import pathlib
import re
import subprocess

import pytest
from fleet_rig import LIMIT

pytestmark = [pytest.mark.host_only, pytest.mark.slow]

BAD_LINES = pathlib.Path(__file__).with_name("bad-lines")


def play(sessions, seed, jobs):
    words = [str(BAD_LINES), "--sessions", str(sessions), "--seed", str(seed), "--jobs", str(jobs)]
    done = subprocess.run(words, capture_output=True, text=True, timeout=6 * LIMIT, check=False)
    print(done.stdout)
    assert done.returncode == 0, done.stdout + done.stderr
    assert re.search(rf"^{sessions} sessions of seed {seed} in .*, 0 with something wrong$", done.stdout, re.M)


@pytest.mark.waits(80)
def test_some_sessions():
    play(20, 20261121, 20)


@pytest.mark.fleet
@pytest.mark.full
@pytest.mark.waits(160)
def test_five_hundred_sessions():
    play(500, 20261122, 50)
