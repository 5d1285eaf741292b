"""A command in the sandbox cannot change anything outside the sandbox."""

import contextlib
import os
import pathlib
import subprocess
import tempfile

import pytest
import sandbox
from harness.program import STEP_LIMIT, wait_until

pytestmark = [pytest.mark.host_only,
              pytest.mark.skipif(bool(sandbox.why_not()), reason=f"no sandbox: {sandbox.why_not()}")]


@pytest.fixture
def project(plain_folder):
    """A project with a source, a built program and a directory for tests."""
    (plain_folder / "build" / "tests").mkdir(parents=True)
    for name in ("source", "build/program", "build/object"):
        (plain_folder / name).write_text(name)
    return plain_folder


@pytest.fixture
def within(project):
    """Returns a function that runs a shell script in the sandbox and returns the script's output."""

    def run(script, status=0):
        done = subprocess.run(
            sandbox.command(project, project / "build", ("program", "tests"), "sh", "-c", script),
            capture_output=True, text=True, timeout=STEP_LIMIT, check=False, stdin=subprocess.DEVNULL)
        assert done.returncode == status, done
        return done.stdout

    return run


def all_files(folder):
    return {str(path.relative_to(folder)): path.is_file() and path.read_text() for path in folder.rglob("*")}


def commands_running():
    for path in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
        with contextlib.suppress(OSError):  # the process may have ended
            yield path.read_bytes()


def test_the_sandbox_cannot_delete_or_change_files_outside(within, project):
    with tempfile.TemporaryDirectory(dir="/var/tmp") as made:  # the sandbox has its own /tmp
        outside = pathlib.Path(made)
        for folder in (outside, project):
            (folder / "victim").write_text("kept")
            before = all_files(folder)
            within(f"cd '{folder}' && ! rm -f victim && ! truncate -s 0 victim && ! mv victim other && "
                   "! touch new && ! mkdir new && ! ln -s victim new && ! chmod 0777 victim && "
                   "! chown 12345 victim && ! rm -rf .")
            assert all_files(folder) == before
            assert (folder / "victim").stat().st_uid == os.geteuid()


def test_the_sandbox_cannot_change_the_programs(within, project):
    within("cd $BUILD_DIR && ! rm -f program && ! truncate -s 0 program")
    assert (project / "build" / "program").read_text() == "build/program"


def test_files_that_are_written_disappear_with_the_sandbox(within, project):
    name = f"written-{os.getpid()}"
    written = within(f"for folder in $TMPDIR $HOME $BUILD_DIR $BUILD_DIR/tests; do echo $folder >$folder/{name}; "
                     f"cat $folder/{name}; done")
    assert written == f"/tmp\n/tmp\n{project}/build\n{project}/build/tests\n"
    assert not os.path.exists(f"/tmp/{name}")
    assert all_files(project / "build").keys() == {"tests", "program", "object"}


def test_only_the_kept_files_of_the_build_directory_are_visible(within, project):
    assert within("cd $BUILD_DIR && echo *") == "program tests\n"
    assert within(f"cat '{project}/source' $BUILD_DIR/program") == "sourcebuild/program"


def test_processes_outside_are_invisible_and_processes_inside_end_with_the_sandbox(within):
    with subprocess.Popen(["sleep", str(STEP_LIMIT)]) as outside:
        within(f"! kill -0 {outside.pid} && ! test -e /proc/{outside.pid}")
        outside.kill()
    marker = f"{10 * STEP_LIMIT:.0f}.{os.getpid()}"
    within(f"setsid sleep {marker} >/dev/null 2>&1 & sleep 0.1")
    wait_until(lambda: not any(marker.encode() in command for command in commands_running()),
               lambda: "a process is still running")


def test_the_sandbox_has_no_network_and_no_right_to_mount(within):
    rights = int(within("sed -n 's/^CapEff:\\t//p' /proc/self/status"), 16)
    cap_sys_admin, cap_sys_ptrace = 1 << 21, 1 << 19
    assert not rights & (cap_sys_admin | cap_sys_ptrace)
    assert within("cat /proc/net/dev | grep -c :") == "1\n"  # only the loopback device


def test_the_reason_for_a_missing_sandbox_is_reported(monkeypatch, plain_folder):
    monkeypatch.setenv("PATH", str(plain_folder))
    assert sandbox.why_not() == "bwrap is missing: install the package bubblewrap"
    (plain_folder / "bwrap").write_text("#!/bin/sh\necho bwrap: not here >&2\nexit 1\n")
    (plain_folder / "bwrap").chmod(0o755)
    assert sandbox.why_not() == "bwrap: not here"
