"""With --help, each script in bench/ prints its help text and measures nothing."""

import os
import subprocess

import pytest
from harness.program import REPOSITORY, STEP_LIMIT

pytestmark = pytest.mark.host_only

SCRIPTS = sorted(path for path in (REPOSITORY / "bench").iterdir() if path.is_file() and os.access(path, os.X_OK))


def test_there_are_scripts():
    assert len(SCRIPTS) >= 4


@pytest.mark.parametrize("script", SCRIPTS, ids=lambda script: script.name)
def test_help_only_prints_and_exits(script, plain_folder):
    (plain_folder / "cmake").write_text(f"#!/bin/sh\n: >'{plain_folder}/called'\nexit 1\n")
    (plain_folder / "cmake").chmod(0o755)
    done = subprocess.run([script, "--help"], env={"PATH": f"{plain_folder}:/usr/bin:/bin"}, capture_output=True,
                          text=True, timeout=STEP_LIMIT)
    assert (done.returncode, done.stderr) == (0, "")
    assert done.stdout.startswith(f"usage: {script.name} ")
    assert not (plain_folder / "called").exists()
    unknown = subprocess.run([script, "--nonsense"], env={"PATH": f"{plain_folder}:/usr/bin:/bin"}, capture_output=True,
                             text=True, timeout=STEP_LIMIT)
    assert unknown.returncode == 2 and "--nonsense" in unknown.stderr
    assert not (plain_folder / "called").exists()
