"""Every test case of the C++ test programs, as a test of its own."""

import collections
import re
import subprocess

import pytest
from harness.program import BUILD, command

PROGRAMS = ("unit-tests", "simulator-tests", "cdsctl-tests")
LIMIT = 120


def listed(program):
    """The names of the program's test cases, in its order, each with how often it occurs."""
    answer = subprocess.run(command(program, "--list-test-cases", "--no-colors=true"),
                            capture_output=True, text=True, timeout=LIMIT, check=True)
    lines = answer.stdout.splitlines()
    rules = [at for at, line in enumerate(lines) if re.fullmatch("=+", line)]
    return collections.Counter(lines[rules[0] + 1:rules[-1]])


def all_cases():
    for name in PROGRAMS:
        if not (BUILD / name).exists():
            yield pytest.param(name, None, 1, id=f"{name}: not built")
            continue
        for case, count in listed(BUILD / name).items():
            yield pytest.param(name, case, count, id=f"{name}: {case}")


@pytest.mark.parametrize("program, case, count", all_cases())
def test_case(program, case, count):
    assert case is not None, f"{BUILD / program} is missing"
    # Commas and backslashes are escaped. A wildcard in a name cannot be, so that it matches itself
    # and perhaps others; none that does not match may pass for a success.
    escaped = re.sub(r"([,\\])", r"\\\1", case)
    answer = subprocess.run(
        command(BUILD / program, f"--test-case={escaped}", "--case-sensitive=true", "--no-colors=true"),
        capture_output=True, text=True, timeout=LIMIT)
    output = answer.stdout + answer.stderr
    assert answer.returncode == 0, output
    ran = re.search(r"test cases: +(\d+)", output)
    assert ran and int(ran[1]) >= count, output
