"""Tests of the doctor's findings about the terminal and the Backspace key. The doctor must restore the
terminal."""

import fcntl
import os
import signal
import struct
import subprocess
import termios

import pytest
from doctor import DOCTOR, run
from harness.program import RUN_WITH, command, wait_until
from harness.terminal import LFLAG, Console, as_usual, without_icrnl

QUESTION = b"Press the Backspace key: "


def open_console(meter, *arguments, prepare=as_usual, columns=80):
    """Starts the doctor on a new terminal with this number of columns. The terminal stays open when the
    doctor ends."""
    console = Console(["sh", "-c", 'read go; exec "$@"', "sh", *command(DOCTOR, *arguments)],
                      meter.environment(), prepare, controlling=False)
    fcntl.ioctl(console.terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
    console.send(b"\n")
    return console


def output_of(console):
    while console.receive(20):
        pass
    console.process.wait()
    return console.take().decode()


def console_lines(text):
    return [line.strip() for line in text.replace("\r", "").split("Console\n")[1].split("\n\n")[0].split("\n")]


@pytest.mark.parametrize("columns, wanted", [
    (80, "ok     the terminal has 80 columns"),
    (132, "ok     the terminal has 132 columns"),
    (79, "note   the terminal has 79 columns"),
    (0, "note   the terminal does not report its width"),
])
def test_a_terminal(meter, columns, wanted):
    console = open_console(meter, columns=columns)
    lines = console_lines(output_of(console))
    assert lines[:3] == ["ok     standard input is a terminal",
                         "ok     the terminal turns the carriage return of Enter into a newline", wanted]
    console.close()


def test_a_terminal_that_keeps_carriage_returns(meter):
    console = open_console(meter, prepare=without_icrnl)
    lines = console_lines(output_of(console))
    assert "WRONG  the terminal leaves the carriage return of Enter as it is: ICRNL is off" in lines
    assert console.process.returncode == 1
    console.close()


def wait_for_question(console):
    wait_until(lambda: QUESTION in console.errors, lambda: console.errors)


@pytest.mark.parametrize("keys, wanted", [
    (b"\b", "ok     Backspace sends 8 (Control-H)"),
    (b"\x7f", "note   Backspace sends 127 (Delete): erased characters stay on the screen"),
    (b"\x1b[3~", 'WRONG  Backspace sends "\\x1b[3~", which erases nothing'),
    (b"\x03", 'WRONG  Backspace sends "\\x03", which erases nothing'),
    (b"\b\b", 'WRONG  Backspace sends "\\x08\\x08", which erases nothing'),
    (b"x" * 16, f'WRONG  Backspace sends "{"x" * 16}", which erases nothing'),
])
def test_the_backspace_key(meter, keys, wanted):
    console = open_console(meter, "--keys")
    wait_for_question(console)
    assert not console.attributes()[LFLAG] & (termios.ECHO | termios.ICANON | termios.ISIG)
    console.send(keys)
    assert wanted in console_lines(output_of(console))
    assert console.attributes() == console.attributes_before
    console.close()


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_the_terminal_is_restored_when_a_signal_ends_the_wait_for_a_key(meter, number):
    console = open_console(meter, "--keys")
    wait_for_question(console)
    console.process.send_signal(number)
    lines = console_lines(output_of(console))
    assert "note   no key was pressed" in lines
    assert console.process.returncode == 128 + number
    assert console.attributes() == console.attributes_before
    console.close()


@pytest.mark.skipif(bool(RUN_WITH), reason="the emulator reports no hang-up")
def test_closing_the_terminal_ends_the_wait_for_a_key(meter):
    ours, theirs = os.openpty()
    process = subprocess.Popen(command(DOCTOR, "--keys"), env=meter.environment(), stdin=theirs,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    os.close(theirs)
    assert process.stderr.read(len(QUESTION)) == QUESTION
    os.close(ours)
    output, _ = process.communicate(timeout=20)
    assert b"  note   no key was pressed\n" in output


@pytest.mark.skipif(bool(RUN_WITH), reason="the emulator handles the signal and ends the wait for the key")
def test_an_ignored_signal_stays_ignored(meter):
    console = Console(["sh", "-c", 'trap "" HUP; read go; exec "$@"', "sh", *command(DOCTOR, "--keys")],
                      meter.environment(), controlling=False)
    console.send(b"\n")
    wait_for_question(console)
    os.kill(console.process.pid, signal.SIGHUP)
    console.send(b"\b")
    assert "Backspace sends 8" in output_of(console)
    assert console.process.returncode == 0
    console.close()


def test_without_a_terminal_the_doctor_asks_for_no_key(meter):
    assert QUESTION not in run(meter.environment(), "--keys").stderr
