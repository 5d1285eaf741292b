"""Tests of the program's system calls at a terminal. The number of writes matters on a slow line."""

import re
import shlex

import pytest
from harness.program import UTILITY, command, why_not_traced
from harness.terminal import Console

PROMPT = b"Select an option ==>  "

pytestmark = pytest.mark.skipif(bool(why_not_traced(UTILITY)), reason=why_not_traced(UTILITY))


@pytest.fixture
def calls_of(meter):
    """Returns a function that plays a session. The function returns the lines that strace prints for the
    system calls with the given names."""

    def session(names, *keys, stdin=None):
        calls = meter.top / "system-calls"
        traced = ["strace", "-o", calls, "-s", "4096", "-e", f"trace={names}", "--", *command(UTILITY)]
        if stdin is not None:
            traced = ["/bin/sh", "-c", f'exec "$@" <{shlex.quote(str(stdin))}', "sh", *traced]
        console = Console(traced, meter.environment())
        try:
            for key in keys:
                while not console.pending.endswith(PROMPT):
                    assert console.receive(20), console.history()
                console.take()
                console.send(key)
            assert console.finish() == "exit 0"
        finally:
            console.close()
        return calls.read_text().splitlines()

    return session


def settings_of_standard_input(calls):
    """Returns the requests to set the terminal attributes of standard input, including failed requests."""
    return re.findall(r"^ioctl\(0, .*?\b(TCSET\w*),", "\n".join(calls), re.MULTILINE)


def test_the_terminal_is_set_once_before_the_session_and_once_after_it(calls_of):
    # The request must be TCSETS, because it neither waits for output nor discards input.
    assert settings_of_standard_input(calls_of("ioctl", b"0\r")) == ["TCSETS", "TCSETS"]


def test_an_input_that_is_not_a_terminal_is_never_set(calls_of, meter):
    keys = meter.top / "keys"
    keys.write_bytes(b"0\n")
    calls = calls_of("ioctl", stdin=keys)
    assert any("ENOTTY" in call for call in calls)  # the program checked whether its input is a terminal
    assert settings_of_standard_input(calls) == []


def test_a_screen_is_one_write(calls_of):
    writes = [call for call in calls_of("write", b"1\r", b"0\r", b"0\r") if call.startswith("write(1, ")]
    screens = [call for call in writes if "Select an option" in call]
    assert len(screens) == 3  # main menu, port menu, main menu
    assert len(writes) == 3 + 2 * 3  # three screens, and two echoes for each of three answers
    assert all("-----" in screen for screen in screens)
