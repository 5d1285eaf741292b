"""Tests that the meter's programs are small, even though they are hardened. bench/footprint prints their
sizes."""

import subprocess

import pytest
from harness.elf import allocated_size, relocations
from harness.program import BUILD, RUN_WITH

pytestmark = pytest.mark.skipif(not RUN_WITH, reason="sizes are the meter's")

# The limits of each program: bytes of the stripped file, bytes that a start loads, and number of relocations.
LIMITS = {
    "meter-settings": (60_000, 56_500, 330),
    "meter-settings-doctor": (48 * 1024, 45_100, 200),
}
every_program = pytest.mark.parametrize("name", LIMITS)


@every_program
def test_the_stripped_program_is_small(name, tmp_path):
    stripped = tmp_path / "stripped"
    subprocess.run(["powerpc-linux-gnu-strip", "-o", stripped, BUILD / name], check=True)
    assert stripped.stat().st_size <= LIMITS[name][0]


@every_program
def test_a_start_loads_little(name):
    assert 20_000 < allocated_size(BUILD / name) <= LIMITS[name][1]


@every_program
def test_the_loader_writes_few_relocations(name):
    assert 0 < relocations(BUILD / name) <= LIMITS[name][2]
