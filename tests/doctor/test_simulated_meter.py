"""Tests of the doctor on simulated meters. Each meter is complete, lacks a leaf, has a wrong leaf, or has
faults."""

import json
import os
import subprocess
import tomllib

import pytest
from doctor import DOCTOR, SCRATCH, report, run
from harness import piped
from harness.meter import FACTORY, Meter
from harness.program import STEP_LIMIT, UTILITY, command

LEAVES = tomllib.loads(FACTORY.read_text())
NETWORK = "/Software/System Settings/Network/"
PORT = NETWORK + "Interface/1/"
SCREEN_LEAVES = [path for path in LEAVES if path.startswith((NETWORK, "/VMIC/", "/VMC/PrimCfg/"))
                 and not path.startswith("/VMIC/Options/")]
WRITTEN_LEAVES = [path for path in LEAVES if path not in SCREEN_LEAVES]
# The utility never removes these leaves, so every meter must have them.
ALWAYS_THERE = [PORT + name + "/Value" for name in (
    "DHCP Enabled", "MAC Address", "Link Enabled", "Media Type/Supported Types")] + WRITTEN_LEAVES
NUMBERS = [path for path in LEAVES if path.startswith("/VMC/PrimCfg/")]
TYPE_NAMES = {bool: "a boolean", int: "an integer", str: "a string"}
OTHER_VALUES = (True, 1, "1")


def examine(leaves, *arguments, faults=""):
    """Runs the doctor on a meter with these leaves and faults. Checks that the doctor does not change the
    store. Returns the doctor's report."""
    meter = Meter("doctor", leaves, faults)
    found = report(meter.environment(), *arguments)
    assert meter.leaves() == leaves, found.output
    meter.remove()
    return found


def test_the_tables_of_this_file_are_complete():
    assert (len(SCREEN_LEAVES), len(WRITTEN_LEAVES)) == (16, 4 + 38 + 5)


def test_the_doctor_finds_no_error_on_a_complete_meter():
    found = examine(LEAVES)
    assert found.status == 0
    assert found.of("wrong") == []
    assert found.of("note", "Library") + found.of("note", "Leaves") == []
    assert len(found.of("ok", "Leaves")) == 16 + 3


def test_a_write_test_restores_the_store():
    for leaves in (LEAVES, *(LEAVES | {SCRATCH: value} for value in ("text", "", 7, False))):
        found = examine(leaves, "--write-test", SCRATCH)
        assert found.status == 0, found.output
        assert f"{SCRATCH} is restored" in found.of("ok")


def test_without_a_write_test_nothing_is_written():
    meter = Meter("doctor-calls", LEAVES)
    report(meter.environment())
    calls = {json.loads(call)["call"] for call in meter.calls()}
    assert calls == {"pcd_init", "pcd_close", "get_leaves", "system"}
    assert [call for call in meter.calls() if '"system"' in call and '"command":null' not in call] == []
    meter.remove()


def test_a_write_test_writes_no_leaf_of_the_utility():
    meter = Meter("doctor-writes", LEAVES)
    report(meter.environment(), "--write-test", SCRATCH)
    written = set()
    for call in map(json.loads, meter.calls()):
        if call["call"] in ("set_leaf", "set_leaves", "clear_leaves"):
            written |= {call.get("path"), *call.get("paths", []),
                        *(leaf["path"] for leaf in call.get("leaves", []))}
    assert written - {None} == {SCRATCH, "/meter-settings-doctor/no such leaf/Value"}
    meter.remove()


@pytest.mark.parametrize("path", LEAVES)
def test_a_missing_leaf_is_reported(path):
    found = examine({other: value for other, value in LEAVES.items() if other != path})
    kind = "wrong" if path in ALWAYS_THERE else "note"
    others = "note" if kind == "wrong" else "wrong"
    (message,) = found.of(kind, "Leaves")
    assert message.startswith(f"{path} is missing")
    assert found.of(others, "Leaves") == []
    assert found.status == (1 if kind == "wrong" else 0)


@pytest.mark.parametrize("path", LEAVES)
def test_a_leaf_of_another_type_is_reported(path):
    for value in OTHER_VALUES:
        if type(value) is type(LEAVES[path]):
            continue
        found = examine(LEAVES | {path: value})
        kind = "wrong" if path in SCREEN_LEAVES and path not in NUMBERS else "note"
        (message,) = found.of(kind, "Leaves")
        assert message.startswith(f"{path} is {TYPE_NAMES[type(value)]}"), message
        assert found.status == (1 if kind == "wrong" else 0)


SHOWN = (
    ({PORT + "DHCP Enabled/Value": 0}, f'{PORT}DHCP Enabled/Value is an integer: the menu always shows "Enabled"'),
    ({PORT + "Link Enabled/Value": "x"}, f'{PORT}Link Enabled/Value is a string: the menu always shows "Disabled"'),
    ({PORT + "IP Address/Value": 1}, f'{PORT}IP Address/Value is an integer: the menu always shows "[None]"'),
    ({PORT + "Media Type/Current Type/Value": 1},
     f'{PORT}Media Type/Current Type/Value is an integer: the menu always shows "[Auto-negotiate]"'),
    ({PORT + "Media Type/Supported Types/Value": 1},
     f'{PORT}Media Type/Supported Types/Value is an integer: the menu always offers ""'),
    ({"/VMC/PrimCfg/Form/Value": "2"}, '/VMC/PrimCfg/Form/Value is a string: the menu shows "2 = Form 8"'),
    ({"/VMC/PrimCfg/Form/Value": 7}, '/VMC/PrimCfg/Form/Value is out of range: the menu shows "7 IS INVALID!!!"'),
    ({"/VMC/PrimCfg/NomFreq/Value": -1},
     '/VMC/PrimCfg/NomFreq/Value is out of range: the menu shows "-1 IS INVALID!!!"'),
    ({"/VMIC/SerialNumber/Value": ""}, '/VMIC/SerialNumber/Value is read: the menu shows "[None]"'),
    ({"/VMIC/SerialNumber/Value": 'a"\\\x7fé'},
     '/VMIC/SerialNumber/Value is read: the menu shows "a\\"\\\\\\x7f\\xc3\\xa9"'),
    ({"/VMIC/Enclosure/Value": "x" * 400},
     '/VMIC/Enclosure/Value is read: the menu shows "' + "x" * 193 + '"'),
)


@pytest.mark.parametrize("change, wanted", SHOWN)
def test_the_doctor_reports_the_text_on_the_menu(change, wanted):
    found = examine(LEAVES | change)
    messages = [message for kind in ("ok", "note", "wrong") for message in found.of(kind, "Leaves")]
    assert wanted in messages, messages


def test_the_utility_shows_the_texts_that_the_doctor_quotes():
    """Runs the doctor and the utility on the same meter, whose leaves have unusual values."""
    leaves = LEAVES | {path: value for change, _ in SHOWN[:8] for path, value in change.items()}
    found = examine(leaves)
    meter = Meter("doctor-screens", leaves)
    screens = piped.run(command(UTILITY, "-m"), meter.environment(), b"1\n0\n5\n0\n0\n").stdout.decode("latin-1")
    meter.remove()
    quoted = [finding["message"].split('shows "')[1].removesuffix('"') for finding in found.findings
              if finding["group"] == "Leaves" and 'shows "' in finding["message"]]
    assert len(quoted) == 15
    assert [text for text in quoted if f":  {text} " not in screens] == []


FAULTS = (
    ("pcd_init", "", "wrong", "the store cannot be reached", 3),
    ("pcd_init", "times = 1", "wrong", "pcd_init returns null in some of three attempts", 1),
    ("pcd_init", "after = 1\ntimes = 1", "wrong", "pcd_init returns null in some of three attempts", 1),
    ("pcd_init", "times = 2", "wrong", "pcd_init returns null in some of three attempts", 1),
    ("pcd_init", "after = 2", "wrong", "pcd_init returns null in some of three attempts", 3),
    ("pcd_init", "after = 3", "note", "a second connection cannot be opened", None),
    ("get_leaves", "result = -1", "wrong", "get_leaves of 16 leaves returns -1", 1),
    ("get_leaves", "result = 4\nafter = 3", "wrong", "the menu cannot read its leaves: result 4", 1),
    ("get_leaves", 'path = "/VMIC/SerialNumber/Value"\nresult = 4', "wrong",
     "/VMIC/SerialNumber/Value makes the read of its menu fail: result 4", 1),
    ("get_leaves", 'path = "/VMIC/SerialNumber/Value"\nstatus = 5', "wrong",
     '/VMIC/SerialNumber/Value has status 5: the menu shows "[None]"', 1),
    ("get_leaves", f'path = "{PORT}DHCP Enabled/Value"\nstatus = 0', "wrong",
     f'{PORT}DHCP Enabled/Value has status 0: the menu shows "Enabled"', 1),
    ("get_leaves", "status = 0", "wrong", "no leaf that the screens read has status 1; the first one has 0", 1),
    ("get_leaves", "status = 0", "wrong",
     f"{SCRATCH} is not written, because its read has result 0 and status 0", 1),
    ("get_leaves", 'path = "/VMIC/Options/PQ/Value"\nstatus = 5', "note",
     "/VMIC/Options/PQ/Value has result 0 and status 5, and a save writes it", 0),
    ("get_leaves", 'path = "/VMIC/Options/PQ/Value"\nresult = 6', "note",
     "/VMIC/Options/PQ/Value has result 6 and status 0, and a save writes it", 0),
    ("get_leaves", f'path = "{SCRATCH}"\nstatus = 5', "wrong",
     f"{SCRATCH} is not written, because its read has result 0 and status 5", 1),
    ("get_leaves", f'path = "{SCRATCH}"\nresult = 6', "wrong",
     f"{SCRATCH} is not written, because its read has result 6 and status 0", 1),
    ("get_leaves", f'path = "{SCRATCH}"\nstatus = 5\nafter = 1\ntimes = 2', "wrong",
     "a string cannot be read back: result 0, status 5", 1),
    ("set_leaf", "result = -1\ntimes = 1", "wrong", "a string cannot be written: result -1, status 0", 1),
    ("set_leaf", "status = 5\ntimes = 1", "wrong", "a string cannot be written: result 0, status 5", 1),
    ("set_leaf", "status = 5\nafter = 2\ntimes = 1", "wrong", "a boolean cannot be written: result 0, status 5", 1),
    ("set_leaves", "result = -1", "ok",
     "set_leaves of a leaf that can and one that cannot be written: result -1, statuses 0 and 0", 0),
    ("set_leaves", 'path = "/meter-settings-doctor/no such leaf/Value"\nstatus = 5', "ok",
     "set_leaves of a leaf that can and one that cannot be written: result 0, statuses 1 and 5", 0),
    ("set_leaves", 'path = "/meter-settings-doctor/no such leaf/Value"\nstatus = 1', "wrong",
     "set_leaves reports success for a leaf that it does not write", 1),
    ("clear_leaves", "result = -1\ntimes = 1", "wrong", "clear_leaves fails: result -1, status 0", 1),
    ("clear_leaves", "result = 3\nafter = 1\ntimes = 1", "wrong",
     "clear_leaves fails for a leaf that is missing: result 3", 1),
    ("clear_leaves", "status = 5\ntimes = 1", "wrong", 'clear_leaves leaves the value as it is: "a b"', 1),
)


@pytest.mark.parametrize("call, rest, kind, wanted, status", FAULTS)
def test_a_fault_is_reported(call, rest, kind, wanted, status):
    fault = f'[[fault]]\ncall = "{call}"\n{rest}\n'
    found = examine(LEAVES | {SCRATCH: "as it was"}, "--write-test", SCRATCH, faults=fault)
    assert [message for message in found.of(kind) if message.startswith(wanted)], found.output
    if status is not None:
        assert found.status == status


def test_the_other_groups_are_reported_if_the_store_cannot_be_reached():
    found = report({**os.environ, "METER_SIM_DIR": "/nonexistent"})
    assert found.status == 3
    groups = [finding["group"] for finding in found.findings]
    assert sorted(set(groups)) == ["Console", "Library", "System"]
    assert 'to_int of true is "1"' in found.of("ok")


@pytest.fixture
def environment(meter):
    return meter.environment()


WRONG_USAGE = (
    (("--nothing",), "--nothing"),
    (("one",), "too many arguments. See --help."),
    (("--write-test",), "--write-test"),
    (("--write-test", "scratch"), 'the path of --write-test must begin with "/". See --help.'),
    (("--write-test", ""), 'the path of --write-test must begin with "/". See --help.'),
    *((("--write-test", path), "needs a scratch leaf, and meter-settings uses this one. See --help.")
      for path in (SCREEN_LEAVES[0], SCREEN_LEAVES[-1], WRITTEN_LEAVES[0], WRITTEN_LEAVES[-1])),
)


@pytest.mark.parametrize("arguments, wanted", WRONG_USAGE)
def test_wrong_usage(environment, arguments, wanted):
    done = run(environment, *arguments)
    assert done.returncode == 2
    assert done.stdout == b""
    assert wanted in done.stderr.decode()


def test_a_failure_to_write_the_help_is_an_error(environment):
    with open("/dev/full", "wb") as full:
        done = subprocess.run(command(DOCTOR, "--help"), env=environment, stdout=full, timeout=STEP_LIMIT,
                              check=False)
    assert done.returncode == 1


def test_the_text_has_advice_and_the_leaf_below_a_problem():
    path = PORT + "DHCP Enabled/Value"
    meter = Meter("doctor-text", LEAVES | {path: 0})
    lines = run(meter.environment()).stdout.decode().splitlines()
    meter.remove()
    first = lines.index('  WRONG  Interface/1/DHCP Enabled is an integer: the menu always shows "Enabled"')
    assert lines[first + 1:first + 3] == ["         Store a boolean in this leaf:", f"         {path}"]


@pytest.mark.parametrize("path, shown", [
    ("/Scratch/Value", "/Scratch"), ("/Scratch/Name", "/Scratch/Name"), ("/S", "/S"), ("/Value", "/Value"),
])
def test_the_text_shortens_paths_with_the_usual_beginning_and_end(environment, path, shown):
    text = run(environment, "--write-test", path).stdout.decode()
    assert f"  ok     {shown} is restored\n" in text


def test_a_byte_beyond_ascii_is_escaped_in_json(environment):
    done = run(environment, "--json", "--write-test", b"/Scratch\xe9")
    leaves = [finding["leaf"] for finding in json.loads(done.stdout)["findings"]]
    assert "/Scratch\xe9" in leaves


def test_help(environment):
    done = run(environment, "--help")
    assert (done.returncode, done.stderr) == (0, b"")
    assert done.stdout.startswith(b"Usage: meter-settings-doctor [--json] [--keys] [--write-test PATH]\n")
    assert max(len(line) for line in done.stdout.splitlines()) <= 80


def test_the_text_and_the_json_have_the_same_findings(environment):
    found = report(environment)
    text = run(environment).stdout.decode("latin-1")  # JSON escapes each byte as this character
    lines = [line for line in text.splitlines() if line.startswith(("  ok ", "  note ", "  WRONG "))]
    assert len(lines) == len(found.findings)
    for line, finding in zip(lines, found.findings):
        assert line.split()[0].lower() == finding["result"]
        assert line.endswith(finding["message"])
    assert text.splitlines()[-1].startswith("Summary: ")
    for line in text.splitlines():
        assert line == "" or line.startswith(("  ", "Summary: ")) or line in (
            "Library", "Leaves", "Writing", "Console", "System")


def test_a_failure_to_write_the_report_is_an_error(environment):
    with open("/dev/full", "wb") as full:
        done = subprocess.run(command(DOCTOR), env=environment, stdin=subprocess.DEVNULL, stdout=full,
                              stderr=subprocess.PIPE, timeout=STEP_LIMIT, check=False)
    assert done.returncode == 1
    assert b"the report is incomplete" in done.stderr
