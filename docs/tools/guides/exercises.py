"""Describes the exercises of docs/exercises for the trainer's guide: the commands that prepare a meter, the
task, and the difference that proves the solution."""

import re
import shlex
import tomllib

from guides.saves import CDSCTL_TYPES
from harness.meter import toml_value
from harness.program import REPOSITORY

FOLDER = REPOSITORY / "docs" / "exercises"
START = '"$METER_SIM_DIR/start.toml"'


def all_exercises():
    return [tomllib.loads(path.read_text(encoding="utf-8")) for path in sorted(FOLDER.glob("*.toml"))]


def bare(value):
    return value if isinstance(value, str) else toml_value(value)


def preparation(start):
    """Returns the commands that bring a meter with factory defaults to the start of an exercise."""
    if "meter" in start:
        raise ValueError("an exercise on an empty meter needs a command for it here")
    lines = ["cdsctl reset"]
    if "remove" in start:
        lines.append("cdsctl clear " + " \\\n    ".join(map(shlex.quote, start["remove"])))
    for path, value in start.get("set", {}).items():
        kind = CDSCTL_TYPES[type(value)]
        lines.append(f"cdsctl set --type {kind} {shlex.quote(path)} {shlex.quote(bare(value))}")
    return [*lines, f"cdsctl dump >{START}"]


def quoted(text):
    return "\n".join(f"> {line}".rstrip() for line in text.strip().split("\n"))


def session(arguments):
    """Returns the trainee's command for the session. Without further arguments, meter-session passes -m. The
    argument 1 replaces -m, so the utility starts without the initialisation menu."""
    return "meter-session class/01" + ("" if arguments == ["-m"] else " 1")


def section(number, exercise):
    hint = re.sub(r"\s+", " ", exercise["hint"]).strip()
    return [f"### Exercise {number}: {exercise['title']}", "",
            "Prepare the meter:", "", "```sh", *preparation(exercise.get("start", {})), "```", "",
            "Give the trainee this task:", "", quoted(exercise["task"]), "",
            f"The trainee types `{session(exercise.get('arguments', ['-m']))}`. Hint: {hint}", "",
            f"The exercise is solved when `cdsctl diff {START}` prints exactly:", "",
            "```text", *exercise["expected"], "```", ""]


def exercises():
    sections = (section(number, exercise) for number, exercise in enumerate(all_exercises(), 1))
    return "\n".join(line for lines in sections for line in lines).rstrip()
