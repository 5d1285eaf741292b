"""Tests that the meter build uses no headers of the host, and that the program fits the meter's processor."""

import os
import subprocess

import pytest
from harness.program import BUILD, REPOSITORY, RUN_WITH, STEP_LIMIT

cross_build = pytest.mark.skipif(not RUN_WITH, reason="this build is for this machine")

OWN = f"{REPOSITORY}/".partition("'")[0]  # ninja cuts off a path at a quote
HEADER_FOLDERS = (OWN, "/usr/powerpc-linux-gnu/", "/usr/lib/gcc-cross/powerpc-linux-gnu/",
                  "/usr/include/CLI/", "/usr/include/doctest/", "/usr/include/nlohmann/",
                  "/usr/include/toml++/")  # fmt: skip


@cross_build
def test_no_header_of_the_host_is_read():
    listed = subprocess.run(["ninja", "-C", BUILD, "-t", "deps"], capture_output=True, text=True,
                          timeout=STEP_LIMIT, check=True).stdout
    read = {os.path.realpath(BUILD / line.strip()) for line in listed.splitlines() if line[:1] == " "}
    assert any("/cds++.h" in path for path in read)
    assert not [path for path in sorted(read) if not path.startswith(HEADER_FOLDERS)]


@cross_build
def test_the_program_is_dynamic_and_for_a_32_bit_big_endian_powerpc():
    listed = subprocess.run(["powerpc-linux-gnu-readelf", "-hlW", BUILD / "meter-settings"],
                          capture_output=True, text=True, timeout=STEP_LIMIT, check=True).stdout
    for wanted in ("ELF32", "big endian", "PowerPC", "interpreter: /lib/ld.so.1"):
        assert wanted in listed
