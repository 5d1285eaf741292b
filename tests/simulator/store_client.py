"""Runs the program store-client under strace, on a meter that only this program uses."""

import contextlib
import pathlib
import shutil
import subprocess
import tempfile

import pytest
from harness.program import BUILD, STEP_LIMIT, why_not_traced

CLIENT = BUILD / "store-client"

needs_plain_program = pytest.mark.skipif(bool(why_not_traced(CLIENT)), reason=why_not_traced(CLIENT))


@contextlib.contextmanager
def meter_with(store_text):
    """Creates a meter in the build directory and removes it at the end."""
    folder = pathlib.Path(tempfile.mkdtemp(prefix="meter-", dir=BUILD))
    try:
        (folder / "store.toml").write_text(store_text)
        yield folder
    finally:
        shutil.rmtree(folder)


def environment(folder):
    return {"METER_SIM_DIR": str(folder)}


def run_traced(folder, arguments, strace_options=(), closed=()):
    """Runs the program under strace. Returns the exit status and a list of the program's system calls.

    `closed` lists the descriptors that are closed at the program's start.
    """
    with tempfile.NamedTemporaryFile("r", prefix="calls-", dir=BUILD) as calls:
        command = ["strace", "-o", calls.name, *strace_options, "--", CLIENT, *arguments]
        if closed:
            close = "".join(f" {number}>&-" for number in closed)
            command[command.index(CLIENT):] = [
                "/bin/sh", "-c", f'exec "$0" "$@"{close}', CLIENT, *arguments]
        ended = subprocess.run(command, env=environment(folder), timeout=STEP_LIMIT)
        return ended.returncode, calls.read().splitlines()
