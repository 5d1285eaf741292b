"""Tests typing on a bad line. A scripted link answers each key."""

import asyncio
import time

import pytest
from meter_fleet import keys
from meter_fleet.errors import Astray, Silent
from meter_fleet.keys import Dialog
from meter_fleet.screens import Damaged, Question
from meter_fleet.view import feed

pytestmark = [pytest.mark.host_only]

QUESTION = b"Enter IP Address: "
REPLY = b"\nError: invalid address\n" + QUESTION


class ScriptedLink:
    """A link to a utility that repeats its question after each line. `tamper` gets the number of a key and
    the key, and returns the keys that arrive at the utility. `answer` gets the number of the key and the
    utility's echo, and returns the echo that arrives at meter-fleet."""

    def __init__(self, tamper=None, answer=None):
        self.tamper = tamper or (lambda number, key: key)
        self.answer = answer or (lambda number, echo: echo)
        self.keys = []  # the keys that were sent
        self.line = ""
        self.lines = []  # the lines that the utility received
        self.incoming = b""

    def echo(self, key):
        if key in "\r\n":
            self.lines.append(self.line)
            self.line = ""
            return REPLY
        if key == "\b":
            self.line = self.line[:-1]
            return b"\b \b"
        if " " <= key <= "~":
            self.line += key
            return key.encode()
        return b""

    async def send(self, data):
        key = data.decode("latin-1")
        assert len(key) == 1, "more than one key at a time"
        self.keys.append(key)
        number = len(self.keys)
        echo = b"".join(self.echo(one) for one in self.tamper(number, key))
        self.incoming += self.answer(number, echo)

    async def receive(self, seconds):
        data, self.incoming = self.incoming, b""
        if not data:
            await asyncio.sleep(0)
            return b""
        return data


def answered(link, text):
    """Answers the question with the text. Returns the dialog."""
    async def run():
        dialog = Dialog(link)
        feed(dialog.view, QUESTION)
        await keys.answer(dialog, text)
        return dialog

    return asyncio.run(run())


def test_each_key_waits_for_the_echo_of_the_previous_key_and_enter_is_last():
    link = ScriptedLink()
    dialog = answered(link, "1.2.3.4")
    assert link.keys == [*"1.2.3.4", "\r"]
    assert link.lines == ["1.2.3.4"]
    assert (dialog.damage, dialog.foreign) == (0, 0)
    assert dialog.view.prompt == Question("Enter IP Address")


def only(number, change):
    return lambda at, data: change(data) if at == number else data


@pytest.mark.parametrize("number", range(1, 9))
@pytest.mark.parametrize("what, change", [
    ("lost", lambda key: ""),
    ("doubled", lambda key: key * 2),
    ("flipped", lambda key: chr(ord(key) ^ 2)),
    ("foreign before", lambda key: "x" + key),
    ("foreign after", lambda key: key + "x"),
    ("taken back", lambda key: "\b" + key),
])
def test_one_tampered_key_never_enters_another_line(number, what, change):
    """The eighth key is Enter. If somebody else types a key directly before Enter, meter-fleet can notice
    this key but cannot erase it."""
    link = ScriptedLink(tamper=only(number, change))
    try:
        dialog = answered(link, "1.2.3.4")
    except Astray:
        assert link.lines in ([], ["1.2.3.4"])
        return
    if number == 8 and what in ("foreign before", "taken back"):
        assert dialog.foreign or dialog.damage
    else:
        assert link.lines[0] == "1.2.3.4"


@pytest.mark.parametrize("number", range(1, 9))
@pytest.mark.parametrize("change", [
    lambda echo: b"",
    lambda echo: bytes([echo[0] ^ 4]) + echo[1:],
    lambda echo: echo + b"\x00",
    lambda echo: b"[   12.345] eth0: link up\r\n" + echo,
    lambda echo: echo + b"[   12.345] eth0: link up\r\n",
])
def test_one_tampered_echo_never_enters_another_line(number, change):
    link = ScriptedLink(answer=only(number, change))
    try:
        answered(link, "1.2.3.4")
    except Astray:
        pass
    assert [line for line in link.lines if line not in ("1.2.3.4", "")] == []


@pytest.mark.parametrize("echo", [b"x", b"", b"\x07"])
def test_after_a_wrong_echo_the_line_is_erased_before_another_key_is_typed(echo):
    link = ScriptedLink(answer=only(3, lambda _: echo))
    answered(link, "1.2.3.4")
    assert link.keys[:4] == [*"1.2", "\b"]
    assert "".join(link.keys[3:]).lstrip("\b") == "1.2.3.4\r"


def test_a_foreign_key_is_noticed():
    assert answered(ScriptedLink(tamper=only(3, lambda key: "x" + key)), "1.2.3.4").foreign == 1


def test_a_doubled_key_is_not_taken_for_a_foreign_key():
    dialog = answered(ScriptedLink(tamper=only(3, lambda key: key * 2)), "1.2.3.4")
    assert dialog.foreign == 0
    assert dialog.damage > 0


def test_the_session_ends_if_the_console_stops_answering():
    link = ScriptedLink(answer=lambda number, echo: b"")
    with pytest.raises(Silent):
        answered(link, "1.2.3.4")
    assert link.lines == []
    assert len(link.keys) < 40


def test_a_stopped_output_is_resumed():
    stopped = []

    def tamper(number, key):
        if number == 3:
            stopped.append(True)
        if key == keys.RESUME:
            stopped.clear()
        return key

    link = ScriptedLink(tamper, lambda number, echo: b"" if stopped else echo)
    answered(link, "1.2.3.4")
    assert link.lines == ["1.2.3.4"]


def test_enter_is_not_sent_to_a_question_that_may_have_timed_out():
    async def run():
        link = ScriptedLink()
        dialog = Dialog(link)
        feed(dialog.view, QUESTION)
        assert await keys.type_line(dialog, "1")
        dialog.last_key = time.monotonic() - keys.SAFE_SECONDS - 1
        with pytest.raises(Astray):
            await keys.press_enter(dialog)
        assert "\r" not in link.keys

    asyncio.run(run())


def test_no_key_is_sent_while_commands_may_be_running():
    """The screen after the save comes with a delay."""
    async def run():
        link = ScriptedLink(answer=lambda number, echo: b"" if echo == REPLY else echo)
        dialog = Dialog(link)
        feed(dialog.view, QUESTION)

        async def receive(seconds):
            data, link.incoming = link.incoming, b""
            if data or link.keys[-1:] != ["\r"]:
                return data
            count = len(link.keys)
            await asyncio.sleep(0.05)
            assert len(link.keys) == count
            return REPLY

        link.receive = receive
        await keys.answer_and_wait(dialog, "y")
        assert link.keys == ["y", "\r"]
        assert not dialog.busy

    asyncio.run(run())


# --- a prompt that cannot be read


MENU_AGAIN = b"\nTimed out.\n" + QUESTION


class DamagedLink(ScriptedLink):
    """A link whose first prompt has lost a byte. The link shows the prompt again after `waits` calls of
    `receive` that returned no output."""

    def __init__(self, waits):
        super().__init__()
        self.waits = waits
        self.incoming = QUESTION.replace(b": ", b" ")

    async def receive(self, seconds):
        data = await super().receive(seconds)
        if not data:
            self.waits -= 1
            if self.waits == 0:
                return MENU_AGAIN
        return data


def test_no_key_reaches_the_utility_before_a_damaged_prompt_is_drawn_again():
    async def run():
        dialog = Dialog(DamagedLink(waits=7))
        await keys.find_prompt(dialog)
        return dialog

    dialog = asyncio.run(run())
    assert dialog.view.prompt == Question("Enter IP Address")
    assert set(dialog.link.keys) == {keys.RESUME}
    assert dialog.damage > 0
    assert any(isinstance(one, Damaged) for one in dialog.view.asked)


def test_the_session_ends_if_the_prompt_never_comes_again():
    with pytest.raises(Silent):
        asyncio.run(keys.find_prompt(Dialog(DamagedLink(waits=10**6))))


class StalledLink(ScriptedLink):
    """A link that stalls after the key with the number `at`. The next `waits` calls of `receive` return
    nothing. Each later call returns at most three bytes."""

    def __init__(self, at, waits):
        super().__init__()
        self.at, self.waits = at, waits
        self.is_released = False
        self.typed_in_between = []

    async def send(self, data):
        if self.is_released and self.incoming:
            self.typed_in_between.append(data)
        await super().send(data)

    async def receive(self, seconds):
        if len(self.keys) >= self.at and self.waits:
            self.waits -= 1
            await asyncio.sleep(0)
            return b""
        data, self.incoming = self.incoming[:3], self.incoming[3:]
        self.is_released = self.waits == 0 and bool(data)
        if not data:
            await asyncio.sleep(0)
        return data


@pytest.mark.parametrize("at", range(2, 9))
def test_after_a_stall_no_key_is_typed_until_all_delayed_output_has_come(at):
    link = StalledLink(at, waits=8)
    dialog = answered(link, "1.2.3.4")
    assert dialog.damage > 0
    assert link.typed_in_between == []
    assert link.lines[0] == "1.2.3.4"
