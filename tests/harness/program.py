"""The paths of the built programs, and the commands that start them."""

import os
import pathlib
import re
import shlex
import time

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("BUILD_DIR") or REPOSITORY / "build" / "host").resolve()
UTILITY = BUILD / "meter-settings"
CDSCTL = BUILD / "cdsctl"

# The command that runs the program, such as an emulator of the meter's processor. Usually empty.
RUN_WITH = shlex.split(os.environ.get("RUN_WITH", ""))

# The time limit in seconds for one step of a test, unless the step waits for a time-out. The limit is much
# longer than a step takes, because the machine may be busy. Tests of mutants use a shorter limit.
STEP_LIMIT = float(os.environ.get("STEP_LIMIT", "60"))


def wait_until(is_true, shown):
    """Waits until `is_true` returns True. After STEP_LIMIT seconds, fails with the text from `shown`."""
    until = time.monotonic() + STEP_LIMIT
    while not is_true():
        assert time.monotonic() < until, shown()
        time.sleep(0.02)


def why_not_traced(program):
    """Returns the reason why strace cannot show exactly the program's own calls, or "" if strace can."""
    if RUN_WITH:
        return "under emulation strace shows the emulator's system calls, not the program's"
    if program.exists() and re.search(b"__asan_init|__llvm_profile", program.read_bytes()):
        return "sanitizers and profiles make system calls of their own"
    return ""


def command(program, *arguments):
    return [*RUN_WITH, str(program), *arguments]
