"""Where the built programs are, and how they are started."""

import os
import pathlib
import shlex

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("BUILD_DIR") or REPOSITORY / "build" / "host").resolve()
UTILITY = BUILD / "meter-settings"
CDSCTL = BUILD / "cdsctl"

# A command put before the program, for instance an emulator of the meter's processor.
RUN_WITH = shlex.split(os.environ.get("RUN_WITH", ""))

# How long the program may take for one step that has no wait of its own, in seconds.
STEP_LIMIT = 20.0


def command(program, *arguments):
    return [*RUN_WITH, str(program), *arguments]
