"""Every tool that configures or builds a build directory waits for the lock of that directory."""

import fcntl
import importlib.util
import os
import subprocess
import sys

import pytest
from harness.program import STEP_LIMIT, wait_until

pytestmark = [pytest.mark.host_only, pytest.mark.builds]

# Each entry has a command, the name of its build directory, and a program that must be in PATH (or "").
TOOLS = (
    ("run -v", "host", ""),
    ("test --quick", "host", ""),
    ("watch-session", "host", ""),
    ("tests/analysis/analyse format", "host", ""),
    ("tests/coverage/coverage", "coverage", ""),
    ("tests/fuzz/fuzz", "fuzz", "clang++-19"),
    ("tests/mutation/mutate --sample 1 --jobs 1", "mutation", ""),
    ("bench/cdsctl-speed", "host", "valgrind"),
    ("bench/compare --only times --against baseline", "host", ""),
    ("bench/footprint", "host", ""),
)
ON_A_TERMINAL = [sys.executable, "-c", "import os, pty, sys; "
                 "sys.exit(os.waitstatus_to_exitcode(pty.spawn(sys.argv[1:])))"]  # fmt: skip
BUILDS_NOTHING = "tests/analysis/analyse"  # this tool only reads the build directory


@pytest.fixture
def stubs(plain_folder):
    """A directory for PATH. Its `cmake` creates the file `called` and fails."""
    (plain_folder / "cmake").write_text(f"#!/bin/sh\n: >'{plain_folder}/called'\nexit 1\n")
    (plain_folder / "cmake").chmod(0o755)
    return plain_folder


def hold(locked, folder):
    """Returns a process that holds the lock of the build directory `folder`. To release the lock, close the
    standard input of this process."""
    holder = subprocess.Popen([locked, folder, "cat"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    holder.stdin.write(b"\n")
    holder.stdin.flush()
    assert holder.stdout.readline()
    return holder


def wait_for_message(tool, said):
    """Waits until `tool` prints that it waits for this process. The file `said` has the output of `tool`."""
    wait_until(lambda: f"waiting for process {os.getpid()} (" in said.read_text() or tool.poll() is not None,
               said.read_text)
    assert tool.poll() is None, said.read_text()


@pytest.mark.parametrize("words, preset, wanted", [
    pytest.param(*tool, id=tool[0], marks=[pytest.mark.full] * ("mutate" in tool[0]))  # first parses all sources
    for tool in TOOLS])
def test_it_waits_for_the_lock_and_prints_the_holder(copy_to, tmp_path, stubs, words, preset, wanted):
    if "mutate" in words and not importlib.util.find_spec("clang"):
        pytest.skip("requires python3-clang-19 from packages/full")
    copy = copy_to(tmp_path / "copy")
    if wanted:
        (stubs / wanted).symlink_to("/bin/true")
    environment = {**os.environ, "PATH": f"{stubs}:{os.environ['PATH']}", "BUILD_DIR": str(copy / "build" / "host")}
    said = tmp_path / "said"
    with hold(copy / "cmake" / "locked", copy / "build" / preset) as holder, said.open("w") as output:
        name, *arguments = words.split()
        tool = subprocess.Popen([*ON_A_TERMINAL[:3 * (name == "watch-session")], copy / name, *arguments],
                                env=environment, cwd=copy, stdin=subprocess.DEVNULL, stdout=output, stderr=output)
        try:
            wait_for_message(tool, said)
            assert not (stubs / "called").exists()
            holder.stdin.close()
            assert tool.wait(timeout=5 * STEP_LIMIT) != 0  # because the `cmake` in `stubs` fails
        finally:
            tool.terminate()
    assert (stubs / "called").exists() == (name != BUILDS_NOTHING), said.read_text()


def test_cpack_waits_for_the_lock(copy_to, tmp_path):
    """The test removes build.ninja, so that cpack fails after the wait and compiles nothing."""
    copy = copy_to(tmp_path / "copy")
    build = copy / "build" / "host"
    subprocess.run(["cmake", "--preset", "host"], cwd=copy, capture_output=True, timeout=10 * STEP_LIMIT, check=True)
    (build / "build.ninja").unlink()
    said = tmp_path / "said"
    with hold(copy / "cmake" / "locked", build) as holder, said.open("w") as output:
        cpack = subprocess.Popen(["cpack"], cwd=build, stdin=subprocess.DEVNULL, stdout=output, stderr=output)
        try:
            wait_for_message(cpack, said)
            holder.stdin.close()
            assert cpack.wait(timeout=5 * STEP_LIMIT) != 0
        finally:
            cpack.terminate()
    assert "the files to pack cannot be built" in said.read_text()


@pytest.mark.parametrize("words, lock, packages", [("run --meter m -v", "packages.lock", "missing"),
                                                   ("run --meter m -v", "meter.lock", "installed"),
                                                   ("test --quick", "tests.lock", "installed")])
def test_it_waits_before_a_step_outside_the_build(copy_to, tmp_path, plain_folder, words, lock, packages):
    """The three steps are: installing packages, creating a meter, and running tests."""
    copy = copy_to(tmp_path / "copy")
    programs = copy / "build" / "host"
    programs.mkdir(parents=True)
    step = f": >'{plain_folder}/called'; exit 1"
    scripts = {plain_folder / "cmake": step if words.startswith("test") else "",
               plain_folder / "dpkg-query": f"printf {packages}", plain_folder / "apt-get": step,
               plain_folder / "sudo": step, programs / "cdsctl": step}
    for program, script in scripts.items():
        program.write_text(f"#!/bin/sh\n{script}\n")
        program.chmod(0o755)
    environment = {**os.environ, "PATH": f"{plain_folder}:{os.environ['PATH']}"}
    said = tmp_path / "said"
    with (copy / "build" / lock).open("w") as held, said.open("w") as output:
        held.write(f"process {os.getpid()} (this test)\n")
        held.flush()
        fcntl.flock(held, fcntl.LOCK_EX)
        start = subprocess.Popen([copy / words.split()[0], *words.split()[1:]], cwd=tmp_path, env=environment,
                                 stdin=subprocess.DEVNULL, stdout=output, stderr=output)
        try:
            wait_for_message(start, said)
            assert not (plain_folder / "called").exists()
            fcntl.flock(held, fcntl.LOCK_UN)
            assert start.wait(timeout=STEP_LIMIT) == 1
        finally:
            start.terminate()
    assert (plain_folder / "called").exists(), said.read_text()


def test_a_killed_process_does_not_keep_the_lock(copy_to, tmp_path):
    copy = copy_to(tmp_path / "copy")
    with hold(copy / "cmake" / "locked", tmp_path / "build") as holder:
        holder.kill()
    done = subprocess.run([copy / "cmake" / "locked", tmp_path / "build", "echo", "free"], capture_output=True,
                          text=True, timeout=STEP_LIMIT)
    assert (done.returncode, done.stdout, done.stderr) == (0, "free\n", "")


@pytest.mark.full
@pytest.mark.builds
def test_two_first_starts_do_not_break_each_other(copy_to, tmp_path):
    copy = copy_to(tmp_path / "a b:ünï it's")
    starts = [subprocess.Popen([copy / "run", "-v"], cwd=copy, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, text=True) for _ in range(2)]
    ended = [(start, *start.communicate(timeout=10 * STEP_LIMIT)) for start in starts]
    for start, said, errors in ended:
        assert start.returncode == 0, said + errors
        assert "Build date: " in said
    assert sum("waiting for process" in errors for _, _, errors in ended) == 1
