"""Runs the C++ test programs. Each source file with test cases is one test."""

import pathlib
import re
import subprocess
import xml.etree.ElementTree

import pytest
from harness.program import BUILD, STEP_LIMIT, command

PROGRAMS = ("unit-tests", "simulator-tests", "cdsctl-tests")


def run(program, *arguments):
    """Runs a test program. Returns its exit status and its output, which is XML."""
    ended = subprocess.run(command(BUILD / program, "--reporters=xml", *arguments),
                           capture_output=True, text=True, timeout=5 * STEP_LIMIT)
    return ended.returncode, ended.stdout + ended.stderr


def cases_in(output):
    return xml.etree.ElementTree.fromstring(output.encode()).iter("TestCase")


def all_files():
    for program in PROGRAMS:
        files = {None}
        if (BUILD / program).exists():
            _, listed = run(program, "--list-test-cases")
            files = {case.get("filename") for case in cases_in(listed)} or files
        for file in sorted(files, key=str):
            yield pytest.param(program, file, id=f"{program}: {file and pathlib.Path(file).stem}")


@pytest.mark.parametrize("program, file", all_files())
def test_cases_of(program, file):
    assert file is not None, f"{BUILD / program} is missing or has no test case"
    escaped = re.sub(r"([,\\])", r"\\\1", file)
    status, output = run(program, f"--source-file={escaped}", "--case-sensitive=true")
    assert status == 0, output
    checks = {case.get("name"): int(case.find("OverallResultsAsserts").get("successes"))
              for case in cases_in(output) if case.get("filename") == file}
    assert checks and all(checks.values()), f"these check nothing: {[n for n in checks if not checks[n]]}"
