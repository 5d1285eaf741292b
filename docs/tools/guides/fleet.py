"""Generates the output of meter-fleet for the guides: a picture of its progress display, and the output of
its commands with the plan in the commissioning guide."""

import contextlib
import io
import re
import shlex
import subprocess
import sys

from guides import svg
from harness import dialogue
from harness.meter import toml_value
from harness.program import REPOSITORY, STEP_LIMIT, UTILITY

FLEET = REPOSITORY / "fleet"
sys.path.insert(0, str(FLEET))

from meter_fleet import progress  # noqa: E402
from meter_fleet.results import Difference, Result  # noqa: E402
from rich.console import Console  # noqa: E402

PICTURE = "fleet-progress"
TITLE = "An apply to nine meters"
SHOWS = ("The progress of an apply to nine meters: the results of those that have ended, a line for each that "
         "is being worked on, the totals and the time that is left.")
GUIDE = REPOSITORY / "docs" / "commissioning.md"

# --- the progress



def ended(name, result, seconds, *differences):
    return Result(name, result, changed=bool(differences), seconds=seconds,
                  diff=[Difference(*difference) for difference in differences])


# Each entry has a time in seconds, a meter, and the step that the meter begins or its result.
STEPS = (
    (0.0, "feeder-12", "reading"), (0.0, "feeder-13", "reading"), (0.0, "busbar", "reading"),
    (0.0, "feeder-14", "reading"), (5.9, "feeder-12", ended("feeder-12", "ok", 5.9)),
    (6.2, "feeder-15", "reading"), (6.4, "feeder-13", "editing"), (7.1, "feeder-14", "editing"),
    (11.8, "busbar", "editing"), (12.4, "feeder-13", "saving"), (14.0, "feeder-13", "verifying"),
    (20.3, "feeder-13", ended("feeder-13", "changed", 20.3, ("ip_address", "192.0.2.10", "192.0.2.13"),
                              ("serial_number", "091512345", "091512346"))),
    (20.4, "feeder-16", "reading"), (21.0, "feeder-14", "saving"),
)  # fmt: skip


class Clock:
    """A clock whose time changes only when `play` sets it."""

    def __init__(self):
        self.now = 0.0

    def monotonic(self):
        return self.now


def play(shown, clock, steps):
    for seconds, name, step in steps:
        clock.now = seconds
        if isinstance(step, Result):
            shown.done(step, progress.result_text(step))
        else:
            shown.step(name, step)


def progress_text(count, steps, seconds):
    """Plays the steps. Returns the text on the terminal when `seconds` have passed since the start."""
    clock, terminal = Clock(), io.StringIO()
    real = progress.time
    progress.time = clock
    try:
        shown = progress.Rich(count)
        shown.totals = progress.Totals(count, started=0.0)
        shown.console = Console(file=terminal, width=80, height=24)
        with contextlib.redirect_stdout(terminal):  # the results of the meters
            play(shown, clock, steps)
        clock.now = seconds
        shown.console.print(shown.render())
    finally:
        progress.time = real
    return terminal.getvalue()


def draw():
    lines = [[("out", line)] if line else [] for line in progress_text(9, STEPS, 21.0).rstrip("\n").split("\n")]
    return svg.draw_screen(TITLE, SHOWS, lines)


# --- the guide's plan


def guide_plan():
    """Returns the first plan in the guide, without the indentation of the list that contains the plan."""
    indented = re.search(r"^ *```toml\n(.*?)^ *```$", GUIDE.read_text(encoding="utf-8"), re.S | re.M)[1]
    return re.sub(r"^ {3}", "", indented, flags=re.M)


def on_simulated_meters(plan, meters):
    """Returns the plan with consoles that start the utility on simulated meters."""
    for name, meter in meters.items():
        words = ["env", f"METER_SIM_DIR={meter.folder}", "METER_SIM_NO_DELAY=1", str(UTILITY), "-m"]
        console = toml_value(f"run:{shlex.join(words)}")
        plan = re.sub(rf'(name = "{name}"\nconsole = )"[^"]*"', lambda m, c=console: f'{m[1]}{c}', plan)
    return plan


def commands():
    """Maps the commands check and apply to their outputs, with a fixed time in place of measured times."""
    plan = guide_plan()
    names = re.findall(r'^name = "(.*)"$', plan, re.M)
    meters = {name: dialogue.make_meter(f"docs-fleet-{name}", {"meter": "factory"}) for name in names}
    top = next(iter(meters.values())).top
    (top / "plan.toml").write_text(on_simulated_meters(plan, meters))
    shown = []
    for command in ("check", "apply"):
        done = subprocess.run([sys.executable, str(FLEET / "meter-fleet"), command, "--jobs", "1", "plan.toml"],
                              cwd=top, capture_output=True, text=True, timeout=STEP_LIMIT, check=False)
        shown.append((command, re.sub(r"\(\d+\.\d s\)", "(0.8 s)", done.stdout)))
    for meter in meters.values():
        meter.remove()
    return dict(shown)


def fenced(command):
    return f"```\n$ meter-fleet {command} substation.toml\n{commands()[command].rstrip()}\n```"


def check():
    return fenced("check")


def apply():
    return fenced("apply")
