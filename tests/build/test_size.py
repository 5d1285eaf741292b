"""The meter's program is small even though it is hardened. bench/footprint prints the same figures."""

import subprocess

import pytest
from harness.elf import allocated_size, relocations
from harness.program import RUN_WITH, UTILITY

pytestmark = pytest.mark.skipif(not RUN_WITH, reason="sizes are the meter's")


def test_the_program_takes_at_most_60000_bytes(tmp_path):
    stripped = tmp_path / "stripped"
    subprocess.run(["powerpc-linux-gnu-strip", "-o", stripped, UTILITY], check=True)
    assert stripped.stat().st_size <= 60_000


def test_a_start_loads_at_most_56500_bytes():
    assert 20_000 < allocated_size(UTILITY) <= 56_500


def test_the_loader_writes_at_most_330_relocations():
    assert 0 < relocations(UTILITY) <= 330
