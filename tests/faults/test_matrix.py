"""A part of the matrix; `tests/faults/matrix` runs the whole."""

import re
import subprocess
from pathlib import Path

import injection
import pytest
from harness.program import BUILD, REPOSITORY, UTILITY, works_under_strace

MATRIX = Path(__file__).parent / "matrix"
LIMIT = 120

pytestmark = pytest.mark.skipif(not works_under_strace(UTILITY), reason="an emulator or sanitizers")


def run_matrix(*arguments):
    ended = subprocess.run([MATRIX, *arguments], capture_output=True, text=True, timeout=LIMIT,
                           cwd=REPOSITORY, check=False)
    assert ended.returncode == 0, ended.stdout + ended.stderr
    return {effect: int(count) for effect, right, count in
            re.findall(r"^(\w+) +right at (\d+) of (\d+)", ended.stdout, re.M) if right == count}


def test_a_save_withstands_a_kill_a_signal_and_a_full_disk_at_each_call_on_the_store():
    right = run_matrix("--only", "store", "--effects", "KILL,EINTR,ENOSPC")
    assert right.keys() == {"KILL", "EINTR", "ENOSPC"}
    assert right["KILL"] > 100 and right["EINTR"] == right["ENOSPC"] > 80


def test_a_single_write_withstands_every_fault_at_every_call():
    right = run_matrix("--", str(BUILD / "store-client"), "set", "/a", "new", "/b", "x")
    assert right.keys() == {injection.KILL, *injection.ERRORS}
    assert right["KILL"] > 50 and right["EIO"] > 40
