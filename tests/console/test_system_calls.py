"""What the program asks of the system at a terminal: no screen shows it, a slow line does."""

import re
import shlex

import pytest
from harness.program import UTILITY, command, why_not_traced
from harness.terminal import Console

PROMPT = b"Select an option ==>  "

pytestmark = pytest.mark.skipif(bool(why_not_traced(UTILITY)), reason=why_not_traced(UTILITY))


@pytest.fixture
def calls_of(meter):
    """The system calls of these names that a session makes, one a line, as strace writes them."""

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
    """The requests that set the attributes of a terminal, or try to."""
    return re.findall(r"^ioctl\(0, .*?\b(TCSET\w*),", "\n".join(calls), re.MULTILINE)


def test_the_terminal_is_set_once_before_the_session_and_once_after_it(calls_of):
    # At once: neither after what is still to be put out, nor dropping what was typed.
    assert settings_of_standard_input(calls_of("ioctl", b"0\r")) == ["TCSETS", "TCSETS"]


def test_what_is_no_terminal_is_never_set(calls_of, meter):
    keys = meter.top / "keys"
    keys.write_bytes(b"0\n")
    calls = calls_of("ioctl", stdin=keys)
    assert any("ENOTTY" in call for call in calls)  # it was asked
    assert settings_of_standard_input(calls) == []


def test_a_screen_is_one_write(calls_of):
    writes = [call for call in calls_of("write", b"1\r", b"0\r", b"0\r") if call.startswith("write(1, ")]
    screens = [call for call in writes if "Select an option" in call]
    assert len(screens) == 3  # main menu, port menu, main menu
    assert len(writes) == 3 + 2 * 3  # and of each answer the echo of its key and of its end
    assert all("-----" in screen for screen in screens)
