"""Sessions that end early: after a signal, after the loss of the line, or after somebody else typed."""

import json
import shlex
import signal
import subprocess
import sys
import time

import fleet_verdict
import pytest
from fleet_plans import LEAVES, read_setting
from fleet_rig import FACTORY_LEAVES, METER_FLEET, FleetMeter, plan_text, play, run_fleet
from fleet_servers import serial_port, shell_command
from harness.program import wait_until

pytestmark = [pytest.mark.host_only, pytest.mark.fleet]

SETTINGS = {"ip_address": "198.51.100.20", "primary_dns": "198.51.100.53", "serial_number": "101212346",
            "options_list": "1A-2C-4-WEB-PQ2", "enclosure": "K1F"}
LEAVING_SECONDS = 5
SLACK = 5  # additional seconds for a busy machine


def start(folder, meter, settings):
    path = folder / "plan.toml"
    path.write_text(plan_text([(meter.name, meter.console, settings)]))
    words = [sys.executable, str(METER_FLEET), "apply", str(path), "--json", "--records", str(folder / "records")]
    return subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


def events(meter, kind):
    return [event for session in meter.sessions() for event in session if event["event"] == kind]


def interrupted(folder, meter, is_due, number):
    """Runs meter-fleet and sends the signal `number` when `is_due` returns True. Returns the seconds from the
    signal to the end of meter-fleet, the exit status, and the result."""
    process = start(folder, meter, SETTINGS)
    try:
        wait_until(lambda: is_due() or process.poll() is not None, lambda: "the signal was never due")
        assert process.poll() is None, process.communicate()
        begun = time.monotonic()
        process.send_signal(number)
        output, _ = process.communicate(timeout=60)
    finally:
        process.kill()
    return time.monotonic() - begun, process.returncode, json.loads(output)


@pytest.mark.parametrize("keys", [0, 1, 4, 20, 45, 70])
@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM], ids=["INT", "TERM"])
def test_after_a_signal_it_leaves_through_the_menus_without_saving(number, keys, folder):
    meter = FleetMeter(folder / "slow", line={"baud": 9600})
    seconds, status, result = interrupted(folder, meter, lambda: len(events(meter, "key")) >= keys
                                          and (meter.folder / "sessions").exists(), number)
    assert seconds < LEAVING_SECONDS + SLACK
    assert result["result"] in ("unknown", "unreachable") and status in (3, 4)
    assert result["messages"]
    assert meter.leaves() == FACTORY_LEAVES
    if events(meter, "program-ended"):
        assert meter.calls()[-1]["call"] == "pcd_close"
    else:
        assert "could not" in " ".join(result["messages"])
    assert not [event for event in events(meter, "key") if event["early"] == "command"]


def test_after_a_signal_it_leaves_a_good_line_through_the_menus(folder):
    """On a good line, meter-fleet must leave the utility. A report that it could not leave is not enough."""
    meter = FleetMeter(folder / "quick", line={"baud": 38400})
    _, _, result = interrupted(folder, meter, lambda: len(events(meter, "key")) >= 10, signal.SIGINT)
    assert result["result"] == "unknown"
    assert meter.leaves() == FACTORY_LEAVES
    assert events(meter, "program-ended") and meter.calls()[-1]["call"] == "pcd_close"


def test_a_signal_while_a_command_runs_types_nothing_into_it(folder):
    meter = FleetMeter(folder / "busy", line={}, command_seconds=20)
    seconds, _, result = interrupted(folder, meter, (meter.folder / "busy").exists, signal.SIGTERM)
    assert seconds < LEAVING_SECONDS + SLACK
    assert result["result"] == "unknown"
    assert "could not" in " ".join(result["messages"])
    assert not [event for event in events(meter, "key") if event["early"] == "command"]


@pytest.mark.parametrize("kind", ["ends", "deaths"])
def test_a_lost_line(kind, folder):
    """The line is lost at different keys, either in the first session or in the session that verifies
    values."""
    pairs = []
    for session, key in [*((0, key) for key in range(0, 100, 9)), (1, 0), (1, 3)]:
        line = {kind: [{"session": n, "at_key": key} for n in range(session, 50)]}
        pairs.append((FleetMeter(folder / f"m{session}-{key}", line=line, scale=0.1), SETTINGS))
    _, results = play("apply", folder, pairs, scale=0.1)
    for meter, settings in pairs:
        result = results[meter.name]
        assert fleet_verdict.problems(meter, settings, result) == []
        if events(meter, "end") or events(meter, "death"):
            assert result["result"] in ("unknown", "unreachable"), meter.name
            assert result["messages"]


def test_it_leaves_without_saving_when_someone_else_types(folder):
    pairs = []
    for first in (0, 3, 8, 20):
        typists = [{"session": session, "at_key": key, "keys": "1"} for session in range(20)
                   for key in range(first, 400, 10)]
        pairs.append((FleetMeter(folder / f"m{first}", line={"typists": typists}, scale=0.1), SETTINGS))
    _, results = play("apply", folder, pairs, scale=0.1)
    for meter, _ in pairs:
        assert results[meter.name]["result"] in ("unknown", "unreachable"), meter.name
        assert meter.leaves() == FACTORY_LEAVES
        assert fleet_verdict.problems(meter, {}, results[meter.name]) == []


@pytest.mark.parametrize("keys", ["3\r10.9.9.9\r", "1\r4\r10.9.9.9\r0\r", "5\r3\r1\r0\r", "3\r10.9.9.9\r6\r",
                                  "1\r2\r10."])
def test_the_edits_of_someone_else_are_not_saved(keys, folder):
    """Somebody else types all keys of an edit at one key of meter-fleet. This is tested at each of the first
    eight keys."""
    pairs = []
    for at_key in range(8):
        line = {"typists": [{"at_key": at_key, "keys": keys}]}
        pairs.append((FleetMeter(folder / f"m{at_key}", line=line, scale=0.1), SETTINGS))
    _, results = play("apply", folder, pairs, scale=0.1)
    for meter, settings in pairs:
        assert fleet_verdict.problems(meter, settings, results[meter.name]) == []


def test_somebody_else_saves_the_edits(folder):
    """Somebody else saves the edits of meter-fleet, at each of the first 60 keys. meter-fleet does not read
    the report of this save, so it enters the values again and saves them."""
    settings = {"ip_address": "198.51.100.20", "primary_dns": "198.51.100.53"}
    pairs = []
    for at_key in range(60):
        line = {"typists": [{"session": 0, "at_key": at_key, "keys": "6\ry\r"}]}
        pairs.append((FleetMeter(folder / f"m{at_key}", line=line, scale=0.1), settings))
    _, results = play("apply", folder, pairs, scale=0.1)
    saves = set()
    for meter, _ in pairs:
        result = results[meter.name]
        assert fleet_verdict.problems(meter, settings, result) == []
        assert (result["result"], result["changed"]) == ("changed", True), meter.name
        assert [entry["setting"] for entry in result["diff"]] == list(settings), meter.name
        saves.add(sum("network restart" in line for line in fleet_verdict.commands(meter.calls())))
    assert saves == {1, 2}


LEFT_BEHIND = ["2\r", "2\r10.9.9.9\r", "2\r10.9.9.9\r6\r", "2\r10.9.9.9\r0\r", "1\r2\r10.", "2\r10.9.9.9\r5\r2\r1A-",
               "5\r7\r",
               "5\r8\r", "4\r", "5\r6\rX\r", "12", "1\r1\r", "1\r5\r"]


def test_a_console_that_someone_left_in_the_middle_of_a_session(folder):
    """meter-fleet must not save the edits of somebody else. It must not confirm a question that it finds on
    the screen."""
    pairs = [(FleetMeter(folder / f"m{i}", line={"prelude": keys}, scale=0.1), SETTINGS)
             for i, keys in enumerate(LEFT_BEHIND)]
    _, results = play("apply", folder, pairs, scale=0.1)
    for (meter, settings), keys in zip(pairs, LEFT_BEHIND):
        result = results[meter.name]
        assert fleet_verdict.problems(meter, settings, result) == [], keys
        assert read_setting(meter.leaves(), "primary_dns") != "10.9.9.9", keys
        assert result["result"] in ("changed", "unknown", "unreachable")


def test_a_console_with_a_running_utility_is_left_and_started_again(folder):
    """The utility already runs on the console. meter-fleet leaves the utility, starts it again and applies
    the plan."""
    meter = FleetMeter(folder / "meter", scale=0.1)
    line = {"prelude": "meter-settings -m\r2\r10.9.9.9\r1\r2\r10.", "command": shell_command(meter)}
    left = FleetMeter(folder / "left", line=line, scale=0.1)
    with serial_port(folder, shlex.split(left.console.removeprefix("run:"))) as device:
        path = folder / "plan.toml"
        path.write_text(plan_text([("left", f"serial:{device}", {"ip_address": "198.51.100.20"})]))
        done = run_fleet("apply", path, "--json", "--records", folder / "records", scale=0.1)
    assert json.loads(done.stdout)["result"] == "changed", done.stdout
    assert meter.leaves()[LEAVES["ip_address"]] == "198.51.100.20"
    assert meter.leaves()[LEAVES["primary_dns"]] == FACTORY_LEAVES[LEAVES["primary_dns"]]


@pytest.mark.parametrize("at_key", range(12, 22))
def test_a_space_that_no_menu_shows_is_not_saved(at_key, folder):
    """Somebody else types a space into an address, in one case directly before Enter. The next screens are
    damaged, so they do not show meter-fleet that somebody else typed."""
    after = {"from": "Velmora II Settings", "to": "Velmora II Sexxings", "session": 0}
    line = {"typists": [{"at_key": at_key, "keys": " "}],
            "substitutions": [{**after, "occurrence": occurrence} for occurrence in range(1, 9)]}
    meter = FleetMeter(folder / "space", line=line)
    _, results = play("apply", folder, [(meter, {"secondary_dns": "198.51.100.54"})])
    assert fleet_verdict.problems(meter, {"secondary_dns": "198.51.100.54"}, results["space"]) == []
