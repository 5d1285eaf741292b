"""The C++ test programs, each file of test cases as a test of its own."""

import collections
import pathlib
import re
import subprocess
import xml.etree.ElementTree

import pytest
from harness.program import BUILD, STEP_LIMIT, command

PROGRAMS = ("unit-tests", "simulator-tests", "cdsctl-tests")


def files_of(program):
    """How many test cases each source file of the program has."""
    listing = subprocess.run(command(program, "--list-test-cases", "--reporters=xml"),
                             capture_output=True, timeout=STEP_LIMIT, check=True).stdout
    cases = xml.etree.ElementTree.fromstring(listing).iter("TestCase")
    return collections.Counter(case.get("filename") for case in cases)


def all_files():
    for name in PROGRAMS:
        if not (BUILD / name).exists():
            yield pytest.param(name, None, 0, id=f"{name}: not built")
            continue
        for file, count in files_of(BUILD / name).items():
            yield pytest.param(name, file, count, id=f"{name}: {pathlib.Path(file).stem}")


@pytest.mark.parametrize("program, file, count", all_files())
def test_cases_of(program, file, count):
    assert file is not None, f"{BUILD / program} is missing"
    escaped = re.sub(r"([,\\])", r"\\\1", file)
    answer = subprocess.run(
        command(BUILD / program, f"--source-file={escaped}", "--case-sensitive=true", "--no-colors=true"),
        capture_output=True, text=True, timeout=2 * STEP_LIMIT)
    output = answer.stdout + answer.stderr
    assert answer.returncode == 0, output
    ran = re.search(r"test cases: +(\d+)", output)
    assert ran and int(ran[1]) == count, output
