"""./run and ./watch-session use the simulated meter that the caller names, and create a missing meter."""

import os
import subprocess

import pexpect
import pytest
from harness.program import BUILD, CDSCTL, STEP_LIMIT, UTILITY

pytestmark = [pytest.mark.host_only, pytest.mark.slow]

SCRIPTS = ("run", "watch-session")
DNS = "/Software/System Settings/Network/Name Server/1/Value"


@pytest.fixture
def project(copy_to, tmp_path, plain_folder):
    """A copy of the project with the built programs. The `cmake` in `plain_folder` does nothing."""
    copy = copy_to(tmp_path / "a copy")
    (copy / "build" / "host").mkdir(parents=True)
    for program in (UTILITY, CDSCTL):
        (copy / "build" / "host" / program.name).symlink_to(BUILD / program.name)
    (plain_folder / "cmake").write_text("#!/bin/sh\nexit 0\n")
    (plain_folder / "cmake").chmod(0o755)
    return copy


@pytest.fixture
def session(project, plain_folder, tmp_path):
    """Returns a function that starts a script in tmp_path and types `keys` at the first menu. The function
    returns the output and the exit status of the script."""

    def run(script, *arguments, keys="0\r", **changes):
        kept = {name: value for name, value in os.environ.items() if not name.startswith(("TMUX", "METER_SIM_"))}
        environment = {**kept, "TERM": "xterm", "PATH": f"{plain_folder}:{kept['PATH']}", **changes}
        child = pexpect.spawn("env", [str(project / script), *arguments], cwd=tmp_path, env=environment,
                              dimensions=(50, 200), timeout=STEP_LIMIT, encoding="utf-8", codec_errors="replace")
        try:
            ends = child.expect(["Select an option ==>", pexpect.EOF])
            shown = child.before
            if ends == 0:
                child.send(keys)
                child.expect(pexpect.EOF)
            child.close()
            return shown + child.before, child.exitstatus
        finally:
            child.close(force=True)

    return run


def make_meter(folder, address):
    for words in (["init", folder], ["-C", folder, "set", DNS, address]):
        subprocess.run([CDSCTL, *words], check=True, timeout=STEP_LIMIT)


def meters_in(folder):
    return sorted(str(store.parent.relative_to(folder)) for store in folder.rglob("store.toml"))


@pytest.mark.parametrize("script", SCRIPTS)
@pytest.mark.parametrize("name", ["class/07", "it's -a 'meter"])
def test_the_option_meter_names_the_meter(session, tmp_path, script, name):
    """A relative name is relative to the current directory of the caller."""
    make_meter(tmp_path / name, "203.0.113.7")
    shown, status = session(script, "--meter", name)
    assert status == 0 and "203.0.113.7" in shown
    assert meters_in(tmp_path) == [name]


@pytest.mark.parametrize("script", SCRIPTS)
def test_the_environment_names_the_meter(session, tmp_path, script):
    make_meter(tmp_path / "one", "203.0.113.1")
    make_meter(tmp_path / "two", "203.0.113.2")
    shown, status = session(script, METER_SIM_DIR="one")
    assert status == 0 and "203.0.113.1" in shown
    shown, status = session(script, "--meter", str(tmp_path / "two"), METER_SIM_DIR="one")
    assert status == 0 and "203.0.113.2" in shown


@pytest.mark.parametrize("script", SCRIPTS)
@pytest.mark.parametrize("words, environment, meter", [
    ((), {}, "a copy/build/meter"), ((), {"METER_SIM_DIR": ""}, "a copy/build/meter"),
    (("--meter", "-new/7"), {}, "-new/7")])
def test_a_missing_meter_is_created_with_the_factory_defaults(session, tmp_path, script, words, environment, meter):
    shown, status = session(script, *words, **environment)
    assert status == 0 and "192.0.2.53" in shown
    assert meters_in(tmp_path) == [meter]


@pytest.mark.parametrize("script", SCRIPTS)
def test_the_other_arguments_go_to_the_utility(session, script):
    initialisation = "5.  Velmora II Initialization"
    assert initialisation in session(script, "--meter", "one")[0]
    assert initialisation not in session(script, "--meter", "one", "1")[0]
    assert initialisation not in session(script, "1", "--meter", "one")[0]


@pytest.mark.parametrize("script", SCRIPTS)
@pytest.mark.parametrize("words", [("--meter",), ("--meter", ""), ("-m", "--meter")])
def test_a_meter_without_a_name_is_rejected(session, tmp_path, script, words):
    shown, status = session(script, *words)
    assert status == 1 and "error: --meter needs the directory of a meter\r\n" in shown
    assert meters_in(tmp_path) == []


def test_the_version_needs_no_terminal(project, plain_folder):
    done = subprocess.run([project / "run", "--meter", "x", "-v"], cwd=project, stdin=subprocess.DEVNULL,
                          env={**os.environ, "PATH": f"{plain_folder}:{os.environ['PATH']}"}, capture_output=True,
                          text=True, timeout=STEP_LIMIT)
    assert done.returncode == 0 and "Build date: " in done.stdout
