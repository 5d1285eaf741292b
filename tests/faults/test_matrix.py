"""Runs a part of the fault matrix. The command `tests/faults/matrix` runs the whole matrix."""

import re
import subprocess
from pathlib import Path

import pytest
from harness.program import BUILD, REPOSITORY, UTILITY, why_not_traced

MATRIX = Path(__file__).parent / "matrix"
LIMIT = 120

pytestmark = [pytest.mark.skipif(bool(why_not_traced(UTILITY)), reason=why_not_traced(UTILITY)), pytest.mark.slow]


def run(*arguments):
    return subprocess.run([MATRIX, *arguments], capture_output=True, text=True, timeout=LIMIT,
                          cwd=REPOSITORY, check=False)


def run_matrix(*arguments):
    ended = run(*arguments)
    assert ended.returncode == 0, ended.stdout + ended.stderr
    return {effect: int(count) for effect, right, count in
            re.findall(r"^(\w+) +correct at (\d+) of (\d+)", ended.stdout, re.M) if right == count}


def test_a_save_survives_a_kill_and_a_full_disk_at_each_call_on_the_store():
    right = run_matrix("--session", "save", "--only", "store", "--effects", "KILL,ENOSPC")
    assert right.keys() == {"KILL", "ENOSPC"}
    assert right["KILL"] > 100 and right["ENOSPC"] > 80


def test_a_factory_reset_survives_a_kill_at_each_call_on_the_store():
    right = run_matrix("--session", "reset", "--only", "store", "--effects", "KILL")
    assert right.keys() == {"KILL"} and right["KILL"] > 30


def test_a_single_write_survives_a_kill_a_signal_and_an_error_at_every_call():
    right = run_matrix("--effects", "KILL,EINTR,EIO", "--",
                       str(BUILD / "store-client"), "set", "/a", "new", "/b", "x")
    assert right.keys() == {"KILL", "EINTR", "EIO"}
    assert right["KILL"] > 50 and right["EINTR"] == right["EIO"] > 40


def test_the_matrix_detects_a_writer_that_truncates_the_store():
    """This test shows that the matrix can fail."""
    in_place = 'echo "\'/a\' = 1" > "$METER_SIM_DIR/store.toml"'
    ended = run("--effects", "KILL", "--only", "store", "--", "sh", "-c", in_place)
    assert ended.returncode == 1
    assert "undisturbed: no new store is renamed to store.toml" in ended.stdout
    assert "the store is neither the old nor the new one" in ended.stdout
