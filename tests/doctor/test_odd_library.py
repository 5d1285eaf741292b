"""Tests that the doctor reports each misbehaviour of the client library in odd_library.cpp."""

import os
import tomllib

import pytest
from doctor import ON_ODD_LIBRARY, SCRATCH, report
from harness.meter import FACTORY

LEAVES = tomllib.loads(FACTORY.read_text())
CODES = {bool: "1", int: "3", str: "6"}

# Each entry has a misbehaviour, the kind of the finding that reports it, and the beginning of that finding.
NAMED = (
    ("no-connection", "wrong", "the store cannot be reached"),
    ("no-sh-file", "wrong", "system() has no shell: /bin/sh is missing"),
    ("connects-once", "wrong", "pcd_init returns null in some of three attempts"),
    ("first-attempt-fails", "wrong", "pcd_init returns null in some of three attempts"),
    ("read-fails", "wrong", "get_leaves of 16 leaves returns 7"),
    ("short-statuses", "wrong", "get_leaves of 16 leaves fills 15 statuses and 16 elements"),
    ("short-elements", "wrong", "get_leaves of 16 leaves fills 16 statuses and 15 elements"),
    ("long-arrays", "wrong", "get_leaves of 16 leaves fills 17 statuses and 16 elements"),
    ("other-order", "wrong", "/Software/System Settings/Network/Name Server/1/Value comes back as"),
    ("status-0", "wrong", "no leaf that the screens read has status 1; the first one has 0"),
    ("missing-leaf-succeeds", "wrong", "a missing leaf has status 1"),
    ("missing-leaf-fails", "note", "the read of a missing leaf returns 8"),
    ("swapped-type-codes", "wrong", 'the type of a boolean is "6" instead of "1"'),
    ("swapped-type-codes", "wrong", 'the type of a string is "1" instead of "6"'),
    ("addresses-have-their-own-type", "wrong",
     '/Software/System Settings/Network/Name Server/1/Value is a value of another type: '
     'the menu always shows "[None]"'),
    ("integer-is-a-boolean", "wrong", "an integer has type 1, as a boolean has"),
    ("integer-is-a-string", "wrong", "an integer has type 6, as a string has"),
    ("to-string-of-a-string", "wrong", 'to_string of "a b" is'),
    ("to-string-of-an-integer", "wrong", 'to_string of -12 is "+-12" instead of "-12"'),
    ("to-string-of-a-boolean", "note", 'to_string of true is "1" instead of "true"'),
    ("to-int-of-a-boolean", "wrong", 'to_int of true is "-1" instead of "1"'),
    ("to-int-of-an-integer", "note", 'to_int of -12 is "0" instead of "-12"'),
    ("to-bool", "wrong", 'to_bool of true is "false" instead of "true"'),
    ("splits-nothing", "wrong", 'split_string of "a;b" is "[a;b]" instead of "[a][b]"'),
    ("splits-off-an-empty-end", "note", 'split_string of "a;" is "[a][]" instead of "[a]"'),
    ("source-string", "note", 'format_source_string of "Console", "", "" is "Console//"'),
    ("no-time-stamps", "wrong", "_auto_time is set, and an element has no time"),
    ("throws-at-read", "wrong", "the client library throws an exception"),
    ("set-leaf-fails", "wrong", "a string cannot be written: result -1, status 0"),
    ("sets-no-status", "wrong", "a string cannot be written: result 0, status 0"),
    ("loses-writes", "wrong", "an integer comes back as a string"),
    ("integers-become-strings", "wrong", 'an integer comes back as a string: "-12"'),
    ("booleans-become-integers", "wrong", 'a boolean comes back as an integer: "1"'),
    ("truncates-at-255", "wrong", "a string of 300 bytes comes back with 255 of 300 bytes"),
    ("wrong-text", "wrong", 'a string comes back as a string: "b a"'),
    ("rejects-the-empty-string", "wrong", "the empty string cannot be written: result 0, status 5"),
    ("rejects-0x93", "note", "the byte 0x93 cannot be written: result 0, status 5"),
    ("replaces-0x93", "note", 'the byte 0x93 in "a\\x93z" comes back as "a?z"'),
    ("cache-for-ever", "wrong", "reads come from a cache: only a new connection reads a string back"),
    ("cache-of-a-connection", "wrong", "reads come from a cache: what a second connection writes"),
    ("one-connection", "note", "a second connection cannot be opened"),
    ("clear-fails", "wrong", "clear_leaves fails: result -1, status 0"),
    ("clear-only-empties", "wrong", "clear_leaves only empties the leaf: it still exists"),
    ("clear-does-nothing", "wrong", 'clear_leaves leaves the value as it is: "a b"'),
    ("clear-without-status", "note", "clear_leaves succeeds with status 0"),
    ("clear-with-no-statuses", "note", "clear_leaves succeeds with status 0"),
    ("clear-of-a-missing-leaf-fails", "wrong", "clear_leaves fails for a leaf that is missing: result 9"),
    ("batch-with-short-statuses", "wrong", "set_leaves of 2 leaves fills 1 statuses"),
    ("batch-reports-success", "wrong", "set_leaves reports success for a leaf that it does not write"),
    ("batch-creates-leaves", "note", "set_leaves creates leaves that no meter has"),
    ("throws-at-write=3", "wrong", "the client library throws an exception"),
    ("rejects-after=2", "wrong", f"{SCRATCH} cannot be restored; it was a string"),
)
EXIT_STATUSES = {"no-connection": 3, "connects-once": 3}


def store_text(leaves):
    rows = (f"{CODES[type(value)]}\t{path}\t{str(value).lower() if isinstance(value, bool) else value}\n"
            for path, value in sorted(leaves.items()))
    return "".join(rows)


@pytest.fixture
def meter(tmp_path):
    """Returns a function and a path. The function runs the doctor on a library with the given misbehaviour.
    The path names the file with the library's leaves."""
    store = tmp_path / "store"
    store.write_text(store_text(LEAVES | {SCRATCH: "as it was"}))

    def examined(misbehaviour, *arguments):
        environment = {**os.environ, "ODD_LIBRARY": misbehaviour, "ODD_STORE": str(store)}
        return report(environment, *arguments, program=ON_ODD_LIBRARY)

    return examined, store


def no_commands(found):
    """Returns the findings except those about commands, because this machine lacks the meter's commands."""
    return [message for message in found if not message.startswith("command ")]


def test_the_doctor_finds_no_error_in_a_correct_library(meter):
    examined, store = meter
    before = store.read_text()
    found = examined("", "--write-test", SCRATCH)
    assert no_commands(found.of("wrong")) == []
    assert found.of("note", "Library") + found.of("note", "Leaves") + found.of("note", "Writing") == []
    assert "set_leaves of a leaf that can and one that cannot be written: result 0, statuses 1 and 5" in (
        found.of("ok"))
    assert store.read_text() == before


@pytest.mark.parametrize("misbehaviour, result, wanted", NAMED)
def test_each_misbehaviour_is_reported(meter, misbehaviour, result, wanted):
    examined, _ = meter
    found = examined(misbehaviour, "--write-test", SCRATCH)
    assert [message for message in found.of(result) if message.startswith(wanted)], found.output
    assert found.status == EXIT_STATUSES.get(misbehaviour, 1)


def scratch_line(store):
    return [line for line in store.read_text().splitlines() if SCRATCH in line]


CANNOT_RESTORE = {"rejects-after=2", "loses-writes", "set-leaf-fails"}


@pytest.mark.parametrize("misbehaviour", sorted({row[0] for row in NAMED} - CANNOT_RESTORE))
def test_the_scratch_leaf_is_restored_under_every_misbehaviour(meter, misbehaviour):
    examined, store = meter
    before = scratch_line(store)
    examined(misbehaviour, "--write-test", SCRATCH)
    assert scratch_line(store) == before != []


@pytest.mark.parametrize("misbehaviour", sorted(CANNOT_RESTORE))
def test_a_scratch_leaf_that_cannot_be_restored_is_reported_with_its_value(meter, misbehaviour):
    examined, _ = meter
    found = examined(misbehaviour, "--write-test", SCRATCH)
    assert f'{SCRATCH} cannot be restored; it was a string: "as it was"' in found.of("wrong")


@pytest.mark.parametrize("misbehaviour", ["", "cache-for-ever", "throws-at-write=2", "signal-at-write=2"])
def test_a_scratch_leaf_that_was_missing_is_removed_again(meter, misbehaviour):
    examined, store = meter
    store.write_text(store_text(LEAVES))
    before = store.read_text()
    examined(misbehaviour, "--write-test", SCRATCH)
    assert store.read_text() == before


def test_a_scratch_leaf_that_cannot_be_removed_is_reported(meter):
    examined, store = meter
    store.write_text(store_text(LEAVES))
    found = examined("clear-only-empties", "--write-test", SCRATCH)
    assert f"{SCRATCH} was missing and cannot be removed" in found.of("wrong")


WRITES = 11  # the number of writes in a whole run; the last write restores the leaf


def test_a_run_makes_this_number_of_writes(meter):
    examined, _ = meter
    assert examined(f"signal-at-write={WRITES}", "--write-test", SCRATCH).status == 143
    assert examined(f"signal-at-write={WRITES + 1}", "--write-test", SCRATCH).status == 1


@pytest.mark.parametrize("write", range(1, WRITES + 1))
def test_the_scratch_leaf_is_restored_after_a_signal_during_a_write(meter, write):
    examined, store = meter
    before = store.read_text()
    found = examined(f"signal-at-write={write}", "--write-test", SCRATCH)
    assert found.status == 128 + 15
    assert store.read_text() == before
    assert found.of("ok")[-1] == f"{SCRATCH} is restored"


def test_a_missing_command_is_an_error_with_a_shell_and_a_note_without_one(meter):
    examined, _ = meter
    assert "command vmkeys is missing" in examined("").of("wrong")
    without = examined("no-shell")
    assert "command vmkeys is missing" in without.of("note")
    assert without.of("wrong") == []
