"""Tests that the program changes only three flags of its terminal, and restores all attributes at the end."""

import os
import pathlib
import subprocess
import termios

import pytest
from harness.piped import read_from
from harness.program import STEP_LIMIT, UTILITY, command
from harness.terminal import CC, CFLAG, IFLAG, LFLAG, Console, as_usual, open_terminal

PROMPT = b"Select an option ==>  "
OWN_FLAGS = termios.ECHO | termios.ICANON | termios.ISIG


def unusual(attributes):
    """Inverts many flags and changes two control characters. The program must keep all these changes."""
    attributes[IFLAG] ^= termios.ICRNL | termios.IXON | termios.ISTRIP | termios.INLCR | termios.IGNCR
    attributes[CFLAG] ^= termios.HUPCL | termios.PARODD
    attributes[LFLAG] ^= termios.IEXTEN | termios.ECHOE | termios.ECHOK | termios.ECHONL | termios.NOFLSH
    attributes[CC][termios.VINTR] = b"\x07"
    attributes[CC][termios.VERASE] = b"#"


def already_raw(attributes):
    attributes[LFLAG] &= ~OWN_FLAGS


def until_prompt(console):
    while not console.pending.endswith(PROMPT):
        assert console.receive(STEP_LIMIT), console.history()


@pytest.fixture
def on_terminal(meter):
    consoles = []

    def start(*arguments, **options):
        consoles.append(Console(command(UTILITY, *arguments), meter.environment(), **options))
        return consoles[-1]

    yield start
    for console in consoles:
        console.close()


@pytest.mark.parametrize("prepare", [as_usual, unusual, already_raw])
def test_echo_line_editing_and_signals_are_off_and_nothing_else(on_terminal, prepare):
    console = on_terminal(prepare=prepare, controlling=False)
    until_prompt(console)
    wanted = list(console.attributes_before)
    wanted[LFLAG] &= ~OWN_FLAGS
    assert console.attributes() == wanted


@pytest.mark.parametrize("prepare", [as_usual, unusual, already_raw])
def test_everything_is_restored_at_the_end(on_terminal, prepare):
    console = on_terminal(prepare=prepare, controlling=False)
    until_prompt(console)
    console.send(b"0\x04")  # Control-D ends the line even on a terminal that changes Enter
    assert console.finish() == "exit 0"
    assert console.attributes() == console.attributes_before


def test_the_initial_attributes_are_restored_even_if_they_change_during_the_session(on_terminal):
    console = on_terminal(controlling=False)
    until_prompt(console)
    changed = console.attributes()
    changed[CC][termios.VERASE] = b"#"
    termios.tcsetattr(console.terminal, termios.TCSANOW, changed)
    console.send(b"0\n")
    assert console.finish() == "exit 0"
    assert console.attributes() == console.attributes_before


@pytest.mark.parametrize("key", [b"\x03", b"\x1a", b"\x1c"], ids=["Ctrl-C", "Ctrl-Z", "Ctrl-backslash"])
def test_keys_that_send_signals_have_no_effect(on_terminal, key):
    console = on_terminal()
    until_prompt(console)
    console.take()
    console.send(key + b"9")
    console.expect(b"9")  # the first key has no echo, because it has no effect
    state = pathlib.Path(f"/proc/{console.process.pid}/stat").read_text().rpartition(")")[2].split()[0]
    assert state in "RSD"
    console.send(b"\x080\r")
    console.expect(b"\x08 \x080\n")
    assert console.finish() == "exit 0"


def test_a_hang_up_ends_the_program_and_nothing_is_written(on_terminal, meter):
    console = on_terminal()
    until_prompt(console)
    console.send(b"2\r10.0.0.1\r")
    while b"10.0.0.1 " not in console.pending:  # until the next screen shows the address
        assert console.receive(STEP_LIMIT), console.history()
    console.hang_up()
    assert console.finish() == "killed by SIGHUP"
    assert not any('"set_' in call for call in meter.calls())
    assert meter.difference() == ["unchanged"]


@pytest.mark.parametrize("arguments", [("-v",), ("-v", "-m"), ("4", "4", "4")])
def test_a_start_that_only_prints_does_not_change_the_terminal(on_terminal, arguments):
    console = on_terminal(*arguments, prepare=unusual, controlling=False)
    console.finish()
    assert console.attributes() == console.attributes_before


def test_a_failed_connection_does_not_change_the_terminal(on_terminal, meter):
    (meter.folder / "store.toml").unlink()
    console = on_terminal(prepare=unusual, controlling=False)
    assert console.finish() == "exit 1"
    assert console.take() == b""
    assert console.attributes() == console.attributes_before
    assert console.errors.endswith(b"Error: can't connect to CDS\n")


def test_a_terminal_for_output_only_is_not_changed(meter):
    ours, theirs = open_terminal()
    before = termios.tcgetattr(theirs)
    process = subprocess.Popen(command(UTILITY), env=meter.environment(),
                               stdin=subprocess.PIPE, stdout=theirs)
    try:
        assert read_from(ours, PROMPT).endswith(PROMPT)
        assert termios.tcgetattr(theirs) == before
        process.communicate(b"0\n", timeout=STEP_LIMIT)
        assert process.returncode == 0
        assert termios.tcgetattr(theirs) == before
    finally:
        process.kill()
        process.wait()
        os.close(ours)
        os.close(theirs)
