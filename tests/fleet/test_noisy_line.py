"""Tests that noisy-line does exactly the damage in its plan."""

import collections
import json
import shlex
import time

import pytest
from fleet_rig import FACTORY_LEAVES, FleetMeter
from harness.program import wait_until
from harness.terminal import Console

pytestmark = [pytest.mark.host_only, pytest.mark.slow]

PROMPT = b"==>  "


def console_of(meter):
    return Console(shlex.split(meter.console.removeprefix("run:")), {"PATH": "/usr/bin:/bin"})


def read_until(console, wanted, limit=20):
    until = time.monotonic() + limit
    while wanted not in console.pending and time.monotonic() < until:
        console.receive(0.05)
    assert wanted in console.pending, console.pending
    return console.take()


def type_slowly(console, keys, pause=0.01):
    for key in keys:
        console.send(bytes([key]))
        console.receive(pause)


def events(meter, session=0):
    return collections.Counter(event["event"] for event in meter.sessions()[session])


def edit_and_save(console):
    """Enters and saves a new primary DNS server. Waits for the echo of each key."""
    for keys, wanted in ((b"2\r", b"Server: "), (b"10.9.8.7\r", PROMPT), (b"6\r", b"(y/n): "), (b"y\r", b"0.  Exit "),
                         (b"0\r", b"\n")):
        type_slowly(console, keys)
        read_until(console, wanted)


def test_a_clean_line_carries_a_session_unchanged(folder):
    meter = FleetMeter(folder / "clean", line={})
    console = console_of(meter)
    read_until(console, PROMPT)
    edit_and_save(console)
    assert console.finish() == "exit 0"
    console.close()
    assert meter.leaves()["/Software/System Settings/Network/Name Server/1/Value"] == "10.9.8.7"
    assert events(meter).keys() == {"key", "program-ended"}
    assert (meter.folder / "sessions" / "0.in").read_bytes() == b"2\r10.9.8.7\r6\ry\r0\r"
    assert not [e for e in meter.sessions()[0] if e.get("early")]


def test_each_session_has_its_own_number_and_damage(folder):
    meter = FleetMeter(folder / "twice", line={"seed": 5, "key_rate": 0.5})
    damage = []
    for _ in range(2):
        console = console_of(meter)
        read_until(console, PROMPT)
        type_slowly(console, b"abcdefghijklmnopqrstuvwxyz" * 2)
        console.close()
        damage.append([e["event"] for e in meter.sessions()[-1] if e["event"] != "program-ended"])
    assert damage[0] != damage[1]
    assert {"key-lost", "key-doubled", "key-flipped", "foreign"} <= set(damage[0]) | set(damage[1])


def test_the_same_seed_does_the_same_damage(folder):
    """The test compares the events up to the last key. The damage to this key may be written later."""
    seen = []
    for name in ("one", "other"):
        meter = FleetMeter(folder / name, line={"seed": 7, "key_rate": 0.3})
        console = console_of(meter)
        read_until(console, PROMPT)
        type_slowly(console, b"0123456789" * 5)
        wait_until(lambda: events(meter)["key"] == 50, lambda: f"the line got {events(meter)}")
        console.close()
        happened = [{k: v for k, v in e.items() if k not in ("t", "early")} for e in meter.sessions()[0]]
        while happened[-1]["event"] != "key":
            happened.pop()
        seen.append(happened)
    assert seen[0] == seen[1]
    assert len(seen[0]) > 60


def test_output_has_lost_and_flipped_bytes_and_kernel_messages(folder):
    meter = FleetMeter(folder / "output", line={"seed": 3, "output_rate": 0.02, "message_rate": 1})
    console = console_of(meter)
    wanted = {"output-lost", "output-flipped", "message"}

    wait_until(meter.sessions, lambda: "the line is not ready")

    def all_has_happened():
        type_slowly(console, b"\r", 0.2)
        return wanted <= events(meter).keys() and b"eth0: link is not ready" in console.pending

    wait_until(all_has_happened, lambda: f"the line had {events(meter)}, and the console showed {console.pending}")
    console.close()


def test_a_9600_baud_line_takes_its_time(folder):
    meter = FleetMeter(folder / "slow", line={"baud": 9600})
    console = console_of(meter)
    begun = time.monotonic()
    screen = read_until(console, PROMPT)
    seconds = time.monotonic() - begun
    console.close()
    assert len(screen) / 960 - 0.1 < seconds < len(screen) / 960 + 10


def test_a_stall_delays_everything(folder):
    meter = FleetMeter(folder / "stall", line={"stalls": [{"at_key": 0, "seconds": 1}]})
    console = console_of(meter)
    read_until(console, PROMPT)
    begun = time.monotonic()
    console.send(b"7")
    read_until(console, b"7")
    console.close()
    assert time.monotonic() - begun > 0.95


def early_keys(meter, session=0):
    return [event["early"] for event in meter.sessions()[session] if event["event"] == "key"]


def test_a_command_delays_its_screen_and_keys_during_the_command_are_recorded(folder):
    """The test sends the key as soon as the file `busy` exists, which is long before the command ends."""
    meter = FleetMeter(folder / "busy", line={}, command_seconds=5)
    console = console_of(meter)
    read_until(console, PROMPT)
    for keys, wanted in ((b"2\r", b"Server: "), (b"10.9.8.7\r", PROMPT), (b"6\r", b"(y/n): "), (b"y\r", b"saved.")):
        type_slowly(console, keys)
        read_until(console, wanted)
    busy = meter.folder / "busy"
    wait_until(busy.exists, lambda: "no command runs")
    console.send(b"0")
    wait_until(lambda: len(early_keys(meter)) == 16, lambda: f"the line got {early_keys(meter)}")
    assert busy.exists(), "the command ended before its time"
    assert PROMPT not in console.pending
    read_until(console, PROMPT)
    assert not busy.exists()
    console.close()
    assert early_keys(meter) == [""] * 15 + ["command"]


# --- keys before a screen is complete

# At this rate, a screen takes seconds. Therefore a key arrives before the screen is complete, even on a slow
# machine.
SLOW = 2400


def slow_console(folder, **line):
    meter = FleetMeter(folder / "slow", line={"baud": SLOW, **line})
    console = console_of(meter)
    read_until(console, PROMPT)
    return meter, console


def test_a_key_before_the_screen_is_complete_is_recorded(folder):
    meter, console = slow_console(folder)
    console.send(b"\r")
    read_until(console, b"---")
    console.send(b"1")
    read_until(console, PROMPT)
    console.close()
    assert early_keys(meter) == ["", "screen"]


def test_a_key_after_the_echo_of_another_key_is_not_early(folder):
    meter, console = slow_console(folder)
    console.send(b"12")
    read_until(console, b"12")
    console.close()
    assert early_keys(meter) == ["", ""]


def test_after_an_enter_of_somebody_else_only_the_key_already_sent_is_excused(folder):
    meter, console = slow_console(folder, typists=[{"at_key": 0, "keys": "\r"}])
    console.send(b"9")
    read_until(console, b"---")
    for key in (b"1", b"2"):
        console.send(key)
        wait_until(lambda: len(early_keys(meter)) > int(key), lambda: f"{early_keys(meter)}")
    read_until(console, PROMPT)
    console.close()
    assert early_keys(meter) == ["", "screen that it did not ask for", "screen"]


@pytest.mark.parametrize("transit, wanted", [(60, ["screen that it did not ask for", "screen"]), (0, ["screen"] * 2)])
def test_an_enter_may_cross_a_screen_that_was_not_asked_for(transit, wanted, folder):
    """The driver takes the screen after somebody else's Enter for the answer to its own Enter."""
    meter, console = slow_console(folder, typists=[{"at_key": 0, "keys": "\r"}], transit=transit)
    console.send(b"9")
    read_until(console, PROMPT)
    console.send(b"\r")
    read_until(console, b"---")
    for key in (b"1", b"2"):
        console.send(key)
        wait_until(lambda: len(early_keys(meter)) > 1 + int(key), lambda: f"{early_keys(meter)}")
    read_until(console, PROMPT)
    console.close()
    assert early_keys(meter) == ["", "", *wanted]


def test_control_q_is_for_the_terminal(folder):
    meter, console = slow_console(folder)
    console.send(b"\r")
    read_until(console, b"---")
    console.send(b"\x11")
    read_until(console, PROMPT)
    console.close()
    assert early_keys(meter) == ["", ""]


def test_a_substitution_changes_a_value_on_one_screen(folder):
    lie = {"from": "192.0.2.53", "to": "192.0.2.55", "occurrence": 1}
    meter = FleetMeter(folder / "lie", line={"substitutions": [lie]})
    console = console_of(meter)
    screens = [read_until(console, PROMPT)]
    for _ in range(2):
        console.send(b"\r")
        screens.append(read_until(console, PROMPT))
    console.close()
    assert [b"192.0.2.55" in screen for screen in screens] == [False, True, False]
    assert events(meter)["substituted"] == 1


def test_someone_else_types_and_the_line_ends(folder):
    meter = FleetMeter(folder / "typist", line={"typists": [{"at_key": 1, "keys": "99"}], "ends": [{"at_key": 2}]})
    console = console_of(meter)
    read_until(console, PROMPT)
    type_slowly(console, b"12", 0.2)
    assert b"1992" in read_until(console, b"1992")
    type_slowly(console, b"3", 0.1)
    assert console.finish() == "exit 1"
    console.close()


def test_the_idle_time_is_scaled(folder):
    meter = FleetMeter(folder / "scaled", line={}, scale=0.02)
    console = console_of(meter)
    begun = time.monotonic()
    read_until(console, PROMPT)
    read_until(console, PROMPT)
    assert 0.5 < time.monotonic() - begun < 20
    console.close()


def test_a_meter_without_a_line_is_a_command(folder):
    meter = FleetMeter(folder / "direct", FACTORY_LEAVES)
    assert meter.console.startswith("run:env ") and meter.console.endswith(shlex.join(meter.command))
    console = console_of(meter)
    read_until(console, PROMPT)
    console.close()
    assert json.loads((meter.folder / "line.json").read_text())["command"][-2:] == meter.command


def test_a_console_is_found_as_someone_left_it(folder):
    meter = FleetMeter(folder / "prelude", line={"prelude": "2\r10.9"})
    console = console_of(meter)
    console.send(b"8")
    assert read_until(console, b"8") == b"8"
    console.send(b".7.6\r")
    assert b":  10.98.7.6 " in read_until(console, PROMPT)
    console.close()
