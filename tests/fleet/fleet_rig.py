"""Simulated meters and their lines, for the tests of `fleet/`.

A meter is a directory below the build directory. It contains the meter's store in `meter/` and the trace of
the library's calls in `trace`. noisy-line reads `line.json` and writes `sessions/`. The address of the
meter's console is `run:` and a command."""

import json
import os
import pathlib
import random
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import tomllib

from harness.meter import FACTORY, toml_text
from harness.program import BUILD, CDSCTL, REPOSITORY, UTILITY

NOISY_LINE = BUILD / "noisy-line"
METER_TIME = BUILD / "libmeter_time.so"
METER_FLEET = REPOSITORY / "fleet" / "meter-fleet"
SCALED_FLEET = pathlib.Path(__file__).with_name("scaled-meter-fleet")
FACTORY_LEAVES = tomllib.loads(FACTORY.read_text())

IDLE_SECONDS = 30.0  # the utility waits this long for a key
LIMIT = 600  # the time limit for one run of meter-fleet, in seconds


class FleetMeter:
    """A simulated meter and the plan of its serial line (see line_plan.h). `scale` multiplies the utility's
    idle time, but not the times in the line's plan. `command_seconds`: the duration of each command of the
    meter, which `scale` does not change."""

    def __init__(self, folder, leaves=None, line=None, faults="", scale=1.0, arguments=("-m",), command_seconds=0):
        self.folder = pathlib.Path(folder)
        self.name = self.folder.name
        self.meter = self.folder / "meter"
        self.trace = self.folder / "trace"
        self.meter.mkdir(parents=True)
        self.leaves_before = FACTORY_LEAVES if leaves is None else leaves
        (self.meter / "store.toml").write_text(toml_text(self.leaves_before))
        shutil.copy(FACTORY, self.meter / "factory.toml")
        if faults:
            (self.meter / "faults.toml").write_text(faults)
        self.command = [str(UTILITY), *arguments]
        self.environment = {"METER_SIM_DIR": str(self.meter), "METER_SIM_TRACE": str(self.trace),
                            "METER_SIM_NO_DELAY": "1"}
        if scale != 1.0 or command_seconds:
            self.environment |= {"LD_PRELOAD": f"./{METER_TIME.name}", "METER_TIME_SCALE": repr(scale),
                                 "METER_TIME_COMMAND": repr(command_seconds),
                                 "METER_TIME_BUSY": str(self.folder / "busy")}
        self.is_direct = line is None
        plan = {"command": in_build_folder(self.environment, self.command), **(line or {})}
        (self.folder / "line.json").write_text(json.dumps(plan, indent=1))

    @property
    def console(self):
        words = in_build_folder(self.environment, self.command) if self.is_direct else [NOISY_LINE, self.folder]
        return "run:" + shlex.join(map(str, words))

    def leaves(self):
        """Reads the store with cdsctl. Returns a dictionary that maps the path of each leaf to its value."""
        done = subprocess.run([str(CDSCTL), "-C", str(self.meter), "dump"], capture_output=True,
                              text=True, timeout=60, check=True)
        return tomllib.loads(done.stdout)

    def calls(self):
        return [json.loads(line) for line in self.trace.read_text().splitlines()] if self.trace.exists() else []

    def sessions(self):
        """Returns one list for each connection, in order. Each list contains the events on the line."""
        files = sorted((self.folder / "sessions").glob("*.jsonl"), key=lambda path: int(path.stem))
        return [[json.loads(line) for line in path.read_text().splitlines()] for path in files]


def in_build_folder(variables, words):
    """Returns a command that runs `words` in the build directory with these variables. A variable that is a
    list of paths must contain "." for the build directory, because the directory's path may contain a colon,
    which separates the paths."""
    return ["env", "-C", str(BUILD), *(f"{name}={value}" for name, value in variables.items()), *map(str, words)]


def scratch(name):
    base = BUILD / "fleet-meters"
    base.mkdir(parents=True, exist_ok=True)
    return pathlib.Path(tempfile.mkdtemp(prefix=re.sub(r"[^A-Za-z0-9-]+", "-", name) + "-", dir=base))


# --- plans


def plan_text(meters, defaults=""):
    """Returns a plan in TOML. Each meter is a tuple (name, console, settings)."""
    parts = [defaults]
    for name, console, settings in meters:
        parts.append(f"[[meter]]\nname = {toml(name)}\nconsole = {toml(console)}\n[meter.settings]\n")
        parts += [f"{key} = {toml(value)}\n" for key, value in settings.items()]
    return "".join(parts)


def toml(value):
    return json.dumps(value, ensure_ascii=False)


# --- running


def run_fleet(*arguments, scale=1.0, program=METER_FLEET, **options):
    """Runs meter-fleet and waits until it ends."""
    words = [sys.executable, str(SCALED_FLEET), str(scale)] if scale != 1.0 else [str(program)]
    return subprocess.run([*words, *map(str, arguments)], capture_output=True, text=True,
                          timeout=options.pop("timeout", LIMIT), stdin=subprocess.DEVNULL, check=False, **options)


def results_of(done):
    """Maps the name of each meter to the JSON object that meter-fleet printed for this meter."""
    found = [json.loads(line) for line in done.stdout.splitlines()]
    return {result["name"]: result for result in found}


def play(command, folder, meters, *arguments, scale=1.0, **options):
    """Runs a command of meter-fleet on pairs (meter, settings). Returns the finished process, and a
    dictionary with the result of each meter by name."""
    path = folder / f"plan-{random.randrange(10**9)}.toml"
    path.write_text(plan_text([(meter.name, meter.console, settings) for meter, settings in meters]))
    records = ["--records", str(folder / "records")]
    done = run_fleet(command, path, "--json", *records, *arguments, scale=scale, **options)
    try:
        results = results_of(done)
    except ValueError:
        raise AssertionError(f"{done.args}: {done.stdout}\n{done.stderr}") from None
    missing = {meter.name for meter, _ in meters} - results.keys() if "--only" not in arguments else ()
    assert not missing, f"no result of {missing}: status {done.returncode}\n{done.stderr}"
    return done, results


def environment_without_meters():
    return {name: value for name, value in os.environ.items() if not name.startswith("METER_SIM_")}
