"""Tests of the dialogue runner: its reports of differences, and the notation of dialogue files."""

import copy
import json
import pathlib
import shutil

import pytest
from harness import calls, dialogue, screens
from harness.menus import PASSWORDS, SAVE_WITHOUT_INIT
from harness.meter import Meter
from harness.terminal import Console, Mismatch

FOLDER = pathlib.Path(__file__).parent / "dialogues"


def case(name, **changes):
    """Returns a recorded dialogue with changes. A change replaces a text in one part of the dialogue, such as
    `console` or `calls`."""
    changed = copy.copy(dialogue.Dialogue(FOLDER / f"{name}.dialogue"))
    for part, (old, new) in changes.items():
        text = getattr(changed, part)
        whole = text if isinstance(text, str) else "\n".join(text)
        assert old in whole
        whole = whole.replace(old, new, 1)
        setattr(changed, part, whole if isinstance(text, str) else whole.split("\n"))
    return changed


def report_of(changed):
    """Plays a changed dialogue and returns the runner's report. Removes the meter's directory, which the
    runner keeps after a difference."""
    report = dialogue.play(changed)
    kept = pathlib.Path(report.rpartition("the meter's directory is kept: ")[2])
    assert (kept / "meter" / "store.toml").exists() and (kept / "calls").exists()
    shutil.rmtree(kept)
    return report


SAVED = "main/dns-servers-saved"


@pytest.mark.parametrize("changes, reported", [
    ({"console": ("Settings saved.", "Settings  saved.")}, "wanted b' saved."),
    ({"console": ("Exit           ", "Exit          ")}, "wanted b'\\n"),
    ({"console": ("‹y⏎›", "‹n⏎›")}, "Settings saved."),
    ({"console": (f"‹{SAVE_WITHOUT_INIT}⏎›\n", f"‹{SAVE_WITHOUT_INIT}⏎›")}, "wanted b'Save &"),
    ({"console": ("‹y⏎›", "‹y⏎›‹wait 30 s›")},
     "should have continued without a key after 30 s, not 0.0 s"),
    ({"ending": ("exit 0", "exit 1")}, "-exit 1\n+exit 0"),
    ({"calls": ("get_leaves main menu  x3", "get_leaves main menu  x2")}, "+get_leaves main menu  x3"),
    ({"calls": ('"198.51.100.2"', '"198.51.100.2"  flag 0')}, '-    /Software/'),
    ({"calls": ('set_leaves from "Console"', "set_leaves")}, '+set_leaves from "Console"'),
    ({"calls": ("pcd_close", "pcd_close\npcd_close")}, "-pcd_close"),
    ({"store": ('"198.51.100.2"', '"198.51.100.3"')}, '-> "198.51.100.2"'),
])
def test_a_session_that_differs_is_reported(changes, reported):
    assert reported in report_of(case(SAVED, **changes))


def test_standard_error_is_compared():
    report = report_of(case("start/no-connection", stderr=("connect", "link")))
    assert "+Error: can't connect to CDS" in report


def test_output_during_a_pause_is_reported():
    report = report_of(case(SAVED, console=("Enter Primary", "‹wait 1 s›Enter Primary")))
    assert "expected no output for 1 s" in report


def test_a_program_that_writes_without_end_is_reported():
    console = Console(["yes"], {})
    with pytest.raises(Mismatch, match="keeps writing"):
        console.finish()
    console.close()


def edited(folder, name, *changes):
    """Returns a copy of a dialogue. Each change is a pair of texts. The second text replaces the first
    occurrence of the first text."""
    text = (FOLDER / f"{name}.dialogue").read_text(encoding="utf-8")
    for old, new in changes:
        assert old in text
        text = text.replace(old, new, 1)
    path = folder / "edited.dialogue"
    path.write_text(text, encoding="utf-8")
    return dialogue.Dialogue(path)


QUESTION = "main/exit-question"


@pytest.mark.parametrize("old, new, why", [
    ("[calls]\n", "[calls]\nnone\n[calls]\n", "a section occurs twice"),
    ("«main menu 2»", "", "edited.dialogue:{later}: «main menu 2»: no earlier screen"),
    ("«main menu 2»", "«main menu 1»", "edited.dialogue:{second}: «main menu 1»: the name is not unique"),
    ("[console]\n", "[console]\n«main menu 5»", "edited.dialogue:{inserted}: «main menu 5»: the name is not unique"),
])
def test_a_file_that_cannot_be_read_is_rejected(tmp_path, old, new, why):
    text = (FOLDER / f"{QUESTION}.dialogue").read_text(encoding="utf-8")
    lines = {"second": "«main menu 2»", "later": "«main menu 2 again»"}
    numbers = {name: text[:text.index(mark)].count("\n") + 1 for name, mark in lines.items()}
    numbers["inserted"] = text[:text.index("[console]\n")].count("\n") + 2
    with pytest.raises(ValueError, match=why.format(**numbers)):
        edited(tmp_path, QUESTION, (old, new))


@pytest.mark.parametrize("changes, reported", [
    # The runner compares a repeated screen byte for byte, and the report shows the whole screen.
    ([("«main menu 2 again»", "«main menu 1 again»")], "wanted b'92.0.2.53 "),
    ([("«main menu 2 again»", "«main menu 1 again»")], "\n- 2.  DNS Server (Primary)            :  192.0.2.53  "),
    # A screen must have the name that the recorder gives. Any other name is a difference.
    ([("«main menu 2»", "«main menu»")] + [("«main menu 2 again»", "«main menu again»")] * 3,
     "-«main menu»\n+«main menu 2»"),
])
def test_a_repeated_screen_is_compared_in_full(tmp_path, changes, reported):
    assert reported in report_of(edited(tmp_path, QUESTION, *changes))


SMALL = {"Port": 1, "Reset": 2, "Save": 3}


@pytest.mark.parametrize("typed, now, retyped", [
    ("3⏎", {"Port": 1, "DNS": 2, "Reset": 3, "Save": 4}, "4⏎"),
    (" +3⏎3⏎", {"Port": 1, "DNS": 2, "Reset": 3, "Save": 4}, " +4⏎3⏎"),  # only the first 3 is the answer to the menu
    ("1⏎", {"Port": 1, "DNS": 2, "Reset": 3, "Save": 4}, "1⏎"),
    ("3⏎", {str(n): n for n in range(1, 10)} | {"Reset": 10, "Save": 11}, "11⏎"),
    ("23^?^?3^J", {"Port": 1, "DNS": 2, "Reset": 3, "Save": 4}, "23^?^?4^J"),
    ("4⏎", {"Port": 1, "DNS": 2, "Reset": 3, "Save": 4}, "5⏎"),  # no item had the number 4, and now none has 5
    ("9⏎", {"Port": 1, "DNS": 2, "Reset": 3, "Save": 4}, "9⏎"),
    ("0⏎", {"Save": 1}, "0⏎"),
    ("-3⏎", {"Save": 1}, "-3⏎"),
    ("3a⏎", {"Save": 1}, "3a⏎"),
    ("2⏎", {"Port": 1, "Reset all": 2, "Save": 3}, "2⏎"),  # item 2 has a new label
    ("3⏎", {}, "3⏎"),  # the 3 is no longer the answer to a menu
])
def test_an_item_is_found_by_its_label(typed, now, retyped):
    inputs = [step for step in dialogue.parse_typed(typed) if step[0] == "key"]
    wanted = [step for step in dialogue.parse_typed(retyped) if step[0] == "key"]
    assert screens.renumbered(inputs, SMALL, now)[0] == wanted
    assert screens.renumbered(inputs, {}, now)[0] == inputs


@pytest.mark.parametrize("now", [{"Port": 1, "Save": 2}, {"Port": 1, "Save": 2, "DNS": 3, "Exit": 4}])
def test_an_item_that_is_gone_is_reported(now):
    with pytest.raises(ValueError, match="no item is called 'Reset' any more"):
        screens.renumbered([("key", ord("2"))], SMALL, now)


def test_recording_again_follows_moved_numbers(tmp_path):
    """Removes an item from the menu of a transcript, and adapts the keys. Recording the transcript again must
    restore the item and the keys."""
    name = "main/password-reset"
    shown = (FOLDER / f"{name}.dialogue").read_text(encoding="utf-8").splitlines(True)
    server = next(line for line in shown if line.startswith(f" {PASSWORDS - 1}.  "))
    before = edited(tmp_path, name, (server, ""), (f" {PASSWORDS}.  Reset", f" {PASSWORDS - 1}.  Reset"),
                    (f"‹{PASSWORDS}⏎›", f"‹{PASSWORDS - 1}⏎›"))
    change = f'{PASSWORDS} instead of {PASSWORDS - 1}: "Reset all passwords to Factory Defaults"'
    assert dialogue.record(before) == [change]
    assert before.path.read_bytes() == (FOLDER / f"{name}.dialogue").read_bytes()

    gone = edited(tmp_path, name, (".  Reset", ".  Forget"), ("\n 0.", " 9.  No more\n\n 0."))
    with pytest.raises(ValueError, match="edited.dialogue: no item is called 'Forget all passwords"):
        dialogue.record(gone)


@pytest.mark.parametrize("steps", [
    [("out", b"a\\b\tc\r\x93\xff \n\nq: "), ("key", 0x0D), ("out", b"\n")],
    [("key", ord("^")), ("out", b"^"), ("key", ord("\\")), ("out", b"\\more\n")],
    [("key", ord("a")), ("key", ord("a")), ("out", b"a")],  # only the second key was echoed
    [("key", ord("a")), ("out", b"b\n")],
    [("key", 0x1B), ("key", ord("[")), ("out", b"["), ("key", 0x00), ("key", 0x7F), ("out", b"\x7f \x7f")],
    [("key", 0xE9), ("wait", 30), ("out", b"\n"), ("store", '"/A/Value" = "x"'), ("wait", 2)],
    [("out", b"[exit 0]\n[calls] \n")],
    [("out", b"no newline")],
])
def test_the_console_notation_loses_nothing(steps):
    text = dialogue.format_console(steps)
    assert dialogue.parse_console(text) == steps
    assert not dialogue.SECTION.search(text)


def test_an_echoed_key_and_the_enter_after_it_are_written_as_one_input():
    steps = [("out", b"A: "), ("key", ord("n")), ("out", b"n"), ("key", 0x0D), ("out", b"\nB\n")]
    assert dialogue.format_console(steps) == "A: ‹n⏎›\nB\n"


def call_line(**changes):
    leaf = {"path": "/A/Value", "value": 1, "flag": 1, "status": 1}
    call = {"call": "set_leaf", **leaf, "source": "", "result": 0, **changes}
    return calls.show_trace([json.dumps(call)])


def test_each_member_of_a_call_is_seen():
    plain = call_line()
    assert plain == ["set_leaf /A/Value = 1"]
    others = [{"value": True}, {"value": "1"}, {"flag": 0}, {"flag": True}, {"status": 5},
              {"source": "x"}, {"result": -1}, {"path": "/A"}, {"path": "/A/Value = 1  flag 0"},
              {"more": 1}]
    shown = ["\n".join(call_line(**other)) for other in others]
    assert len({*shown, *plain}) == len(others) + 1


def test_only_a_menus_own_read_is_abbreviated(monkeypatch):
    paths = ["/A/Value", "/B/Value"]
    monkeypatch.setitem(calls.MENU_READS, "small menu", paths)

    def read(paths, statuses, result=0):
        return calls.show_trace([json.dumps(
            {"call": "get_leaves", "paths": paths, "statuses": statuses, "result": result})])

    assert read(paths, [1, 1]) == ["get_leaves small menu"]
    assert read(paths, [1, 2]) == ["get_leaves small menu  statuses 1 2"]
    assert read(paths, [0, 0], -1) == ["get_leaves small menu  statuses 0 0  result -1"]
    assert read(paths[::-1], [1, 1])[0] == "get_leaves"
    assert read(paths, [1])[0].startswith('{"call"')


def test_a_leaf_of_another_type_is_a_difference():
    meter = Meter("difference", {"/A": 1, "/B": "1", "/C": True, "/D": 0})
    meter.change({"/A": True, "/B": 1, "/E": ""}, ["/D"])
    assert meter.difference() == ['~ "/A" = 1 -> true', '~ "/B" = "1" -> 1', '- "/D" = 0', '+ "/E" = ""']
    meter.remove()
