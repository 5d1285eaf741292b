"""Runs meter-fleet on many meters at the same time. A bad console does not delay the other consoles, and the
display shows the progress."""

import json
import os
import subprocess
import sys
import time

import pexpect
import pytest
from fleet_plans import LEAVES
from fleet_rig import METER_FLEET, FleetMeter, play, plan_text, run_fleet
from harness.program import STEP_LIMIT

pytestmark = [pytest.mark.host_only, pytest.mark.fleet]

SETTINGS = {"ip_address": "198.51.100.20", "enclosure": "K1F"}
GOOD = 20
# Consoles that never show a known screen. In this order, they print nothing, print without a pause, repeat
# the input, and print one line per second.
BAD = ("run:/bin/sleep 300", "run:/usr/bin/yes", "run:/bin/cat", "run:sh -c 'while :; do echo x; sleep 1; done'")


def start(folder, consoles, *arguments):
    path = folder / f"plan-{len(consoles)}.toml"
    path.write_text(plan_text([(name, console, SETTINGS) for name, console in consoles]))
    words = [sys.executable, str(METER_FLEET), "apply", str(path), "--json", "--records", str(folder / "records"),
             *arguments]
    return subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)


def until_the_good_ones_ended(process, count):
    """Waits until `count` meters have the result `changed`. Returns the waiting time in seconds."""
    begun = time.monotonic()
    for line in process.stdout:
        count -= json.loads(line)["result"] == "changed"
        if count == 0:
            return time.monotonic() - begun
    raise AssertionError(f"{count} meters did not change")


def good_consoles(folder, kind):
    return [(f"{kind}{i}", FleetMeter(folder / f"{kind}{i}").console) for i in range(GOOD)]


def dying(folder):
    line = {"deaths": [{"session": session, "at_key": 7} for session in range(9)]}
    return FleetMeter(folder / "dies", line=line).console


def test_a_bad_console_does_not_delay_another(folder):
    process = start(folder, good_consoles(folder, "alone"))
    alone = until_the_good_ones_ended(process, GOOD)
    process.wait(STEP_LIMIT)
    bad = [(f"bad{i}", console) for i, console in enumerate((*BAD, dying(folder)))]
    process = start(folder, bad + good_consoles(folder, "among"))
    try:
        among = until_the_good_ones_ended(process, GOOD)
    finally:
        process.terminate()
        process.communicate(timeout=STEP_LIMIT)
    print(f"{GOOD} good consoles: {alone:.1f} s alone, {among:.1f} s among {len(bad)} bad ones")
    assert among < 3 * alone + 3  # the console that prints without a pause uses processor time


def test_bad_consoles_end(folder):
    path = folder / "plan.toml"
    path.write_text(plan_text([(f"bad{i}", console, SETTINGS) for i, console in enumerate(BAD)]))
    done = run_fleet("apply", path, "--json", "--records", folder / "records", scale=0.05)
    results = [json.loads(line) for line in done.stdout.splitlines()]
    assert len(results) == len(BAD) and {result["result"] for result in results} == {"unreachable"}
    records = sum(path.stat().st_size for path in (folder / "records").rglob("*") if path.is_file())
    assert records < 64 << 20, "a flood fills the disk with its record"


def test_fewer_jobs_than_meters(folder):
    pairs = [(FleetMeter(folder / f"m{i}"), SETTINGS) for i in range(7)]
    done, results = play("apply", folder, pairs, "--jobs", 2)
    assert done.returncode == 0
    assert {result["result"] for result in results.values()} == {"changed"} and len(results) == 7


# --- progress


def test_plain_lines_without_a_terminal(folder):
    meters = [FleetMeter(folder / f"m{i}") for i in range(3)]
    path = folder / "plan.toml"
    path.write_text(plan_text([(meter.name, meter.console, SETTINGS) for meter in meters]))
    done = run_fleet("apply", path, "--records", folder / "records")
    assert done.returncode == 0
    assert "\x1b" not in done.stdout + done.stderr and "\r" not in done.stdout + done.stderr
    for meter in meters:
        assert [line for line in done.stdout.splitlines() if meter.name in line and "changed" in line], done.stdout


def on_a_terminal(folder, consoles, *arguments):
    path = folder / "plan.toml"
    path.write_text(plan_text([(name, console, SETTINGS) for name, console in consoles]))
    words = [str(METER_FLEET), "apply", str(path), "--records", str(folder / "records"), *arguments]
    child = pexpect.spawn(sys.executable, words, timeout=STEP_LIMIT, dimensions=(40, 100), encoding="utf-8",
                          env={**os.environ, "TERM": "xterm-256color"})
    shown = child.read()
    child.close()
    return shown, child.exitstatus


def test_progress_on_a_terminal(folder):
    """The display has one line for each meter in progress, the totals, and the time left."""
    meters = [FleetMeter(folder / f"meter-{i}", line={"baud": 19200}) for i in range(6)]
    shown, status = on_a_terminal(folder, [(meter.name, meter.console) for meter in meters], "--jobs", "3")
    assert status == 0
    for meter in meters:
        assert meter.name in shown
    assert "\x1b[" in shown
    for words in ("changed", "left"):
        assert words in shown, shown[-2000:]
    assert meters[0].leaves()[LEAVES["enclosure"]] == "K1F"


def test_json_on_a_terminal_is_still_one_object_per_line(folder):
    meter = FleetMeter(folder / "meter")
    path = folder / "plan.toml"
    path.write_text(plan_text([(meter.name, meter.console, SETTINGS)]))
    words = f"{METER_FLEET} apply {path} --json --records {folder}/records >{folder}/out"
    child = pexpect.spawn("/bin/sh", ["-c", words], timeout=STEP_LIMIT)
    child.read()
    child.close()
    assert json.loads((folder / "out").read_text())["result"] == "changed"
