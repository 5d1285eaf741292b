"""If tests fail, `./test` lists the failed tests at the end of its output."""

import os
import re
import shlex
import subprocess

import pytest
from harness.program import STEP_LIMIT

pytestmark = [pytest.mark.host_only, pytest.mark.builds]

TESTS = '''
import os
import pytest

@pytest.fixture
def broken():
    raise OSError("no setup")

@pytest.mark.parametrize("text", ["it's - a case [x]"])
def test_fails(text):
    print("\\n".join(map(str, range(20000))))
    assert os.environ["BUILD_DIR"].endswith("/powerpc")

def test_has_no_setup(broken):
    pass

def test_passes():
    pass
'''
FAILED = ["tests/test_it.py::test_fails[it's - a case [x]]", "tests/test_it.py::test_has_no_setup"]


@pytest.fixture
def project(copy_to, tmp_path, plain_folder):
    """Returns a function that runs a command in a copy of the project. The copy has only the tests in TESTS.
    The command finds a `cmake` that only writes some environment variables to build/seen."""
    copy = copy_to(tmp_path / "a copy")
    for path in (copy / "tests").iterdir():
        if path.name not in ("conftest.py", "harness"):
            subprocess.run(["rm", "-r", path], check=True)
    (copy / "tests" / "test_it.py").write_text(TESTS)
    (plain_folder / "cmake").write_text(
        '#!/bin/sh\nprintf "%s\\n" "$CMAKE_CXX_COMPILER_LAUNCHER" "$CCACHE_DIR" "$CCACHE_TEMPDIR" >build/seen\n')
    (plain_folder / "cmake").chmod(0o755)
    environment = {name: value for name, value in os.environ.items() if name not in ("BUILD_DIR", "PRESET", "RUN_WITH")}
    environment["PATH"] = f"{plain_folder}:{environment['PATH']}"

    def run(command):
        return subprocess.run(["bash", "-c", command], cwd=copy, env=environment, capture_output=True, text=True,
                              stdin=subprocess.DEVNULL, timeout=2 * STEP_LIMIT)
    return run


def listed(output):
    """Reads the end of the output. Returns the failed tests of each build, and the command that repeats one
    failed test."""
    *_, end = re.split(r"^(?=== failed on )", output, maxsplit=1, flags=re.M)
    tests = {}
    for line in end.splitlines():
        if found := re.fullmatch(r"== failed on (\w+):", line):
            tests[found[1]] = name = []
        elif line.startswith("   "):
            name += shlex.split(line)
        else:
            return tests, re.fullmatch("== to repeat one of them: (.*)", line)[1]
    raise AssertionError(output)


def test_the_failed_tests_of_all_builds_are_listed_last(project):
    done = project("./test")
    assert done.returncode == 1
    assert len(done.stdout.splitlines()) < 500
    tests, again = listed(done.stdout)
    assert tests == {"host": FAILED, "asan": FAILED, "powerpc": FAILED[1:]}
    assert done.stderr.endswith("error: tests failed on: host asan powerpc\n")
    assert "1 failed" in project(again).stdout


def test_the_compiler_cache_is_below_the_build_directory(project):
    done = project("unset CMAKE_CXX_COMPILER_LAUNCHER ${!CCACHE@}; ./test --quick")
    assert done.returncode == 1
    top, launcher, *folders = project("pwd; cat build/seen").stdout.splitlines()
    assert launcher == "ccache" and folders == [f"{top}/build/ccache", f"{top}/build/ccache/tmp"]


@pytest.mark.parametrize("command, preset", [("./test --quick", "host"), ("./test tests/test_it.py", "host"),
                                             ("PRESET=asan ./test -k fails", "asan")])
def test_the_failed_tests_of_one_build_are_listed_last(project, command, preset):
    done = project(command)
    assert done.returncode == 1
    tests, again = listed(done.stdout)
    assert tests == {preset: FAILED[:1] if "-k" in command else FAILED}
    assert again == f"PRESET={preset} ./test {shlex.quote(FAILED[0])}"
    repeated = project(again)
    assert repeated.returncode == 1 and listed(repeated.stdout) == ({preset: FAILED[:1]}, again)


def test_the_list_of_an_earlier_run_is_not_shown(project):
    project("./test --quick")
    done = project("./test -k passes")
    assert done.returncode == 0 and "failed on" not in done.stdout


FAIL_ONCE = '''
import os
import pathlib
import pytest

@pytest.mark.parametrize("text", ["it's", "b c", "[x]", "more"][:%d])
def test_fails_once(text):
    seen = pathlib.Path(os.environ["BUILD_DIR"], "seen " + text)
    if not seen.exists():
        seen.write_text("")
        assert os.environ["BUILD_DIR"].endswith("/asan")
'''


@pytest.mark.parametrize("command", ["./test", "./test --fleet"])
def test_up_to_three_failed_tests_are_repeated(project, tmp_path, command):
    (tmp_path / "a copy" / "tests" / "test_it.py").unlink()
    (tmp_path / "a copy" / "tests" / "fleet").mkdir()
    (tmp_path / "a copy" / "tests" / "fleet" / "test_once.py").write_text(FAIL_ONCE % 3)
    done = project(command)
    assert done.returncode == 0, done.stdout + done.stderr
    names = "".join("   " + shlex.quote(f"tests/fleet/test_once.py::test_fails_once[{text}]") + "\n"
                    for text in ("[x]", "b c", "it's"))
    for preset in ("host", "powerpc") if command == "./test" else ("host",):
        assert f"== on {preset}, these tests passed only when they ran alone; correct them:\n{names}" in done.stdout
    assert "on asan" not in done.stdout
    assert "passed only" not in project(command).stdout


def test_more_failed_tests_are_not_repeated(project, tmp_path):
    (tmp_path / "a copy" / "tests" / "test_it.py").write_text(FAIL_ONCE % 4)
    done = project("./test")
    assert done.returncode == 1 and "run again" not in done.stdout
    assert done.stderr.endswith("error: tests failed on: host powerpc\n")
