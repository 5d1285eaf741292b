"""Where the built programs are, and how they are started."""

import os
import pathlib
import re
import shlex
import time

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("BUILD_DIR") or REPOSITORY / "build" / "host").resolve()
UTILITY = BUILD / "meter-settings"
CDSCTL = BUILD / "cdsctl"

# A command put before the program, for instance an emulator of the meter's processor.
RUN_WITH = shlex.split(os.environ.get("RUN_WITH", ""))

# How long the program may take for one step that has no wait of its own, in seconds: much longer
# than it ever should, for a machine that has much else to do. Mutants get less.
STEP_LIMIT = float(os.environ.get("STEP_LIMIT", "60"))


def wait_until(is_true, shown):
    """Asks again and again; `shown` tells what there is instead when it never becomes true."""
    until = time.monotonic() + STEP_LIMIT
    while not is_true():
        assert time.monotonic() < until, shown()
        time.sleep(0.02)


def why_not_traced(program):
    """The reason why a program's own system calls cannot be seen in this build, or ""."""
    if RUN_WITH:
        return "under emulation strace shows the emulator's system calls, not the program's"
    if program.exists() and re.search(b"__asan_init|__llvm_profile", program.read_bytes()):
        return "sanitizers and profiles make system calls of their own"
    return ""


def command(program, *arguments):
    return [*RUN_WITH, str(program), *arguments]
