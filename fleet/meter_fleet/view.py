"""Determines the utility's current prompt and the typed line from the received bytes."""

from __future__ import annotations

import re
from dataclasses import dataclass, field

from meter_fleet.screens import (Damaged, Menu, Message, Prompt, Question, read_damaged,
                                 read_exchange)

ERASED = ("\b \b", "\x7f \x7f")  # the possible echoes of a key that erases a character
ERASING = ("\b", "\b ", "\x7f", "\x7f ")
PROMPT_END = re.compile(r"==>  |\S: ")
PROMPT_END_LENGTH = 8  # enough for the longest end of a prompt, "==>  : "
MOST_PENDING = 1 << 16
# The control sequences that a shell writes before and after the utility runs.
TERMINAL_CONTROL = re.compile(r"\x1b\[[0-9;?]*[A-Za-z]")
CONTROL_BEGINS = re.compile(r"\x1b(?:\[[0-9;?]{0,8})?$")


@dataclass(frozen=True)
class Line:
    """A line at a prompt that has ended, because of Enter or because of the utility's time-out."""

    prompt: Prompt
    typed: str


@dataclass
class View:
    """The prompt and the typed line that the output shows.
    `prompt`: the current prompt, or None if the output shows no prompt.
    `exact`: True if the whole exchange with the current prompt was in the grammar of screens.py.
    `messages`: the messages before the current prompt; empty if the exchange was not exact.
    `typed`: the current line, as far as its echo has come.
    `turn`, `erased`, `line_ends`: the numbers of prompts, of erased characters and of line ends.
    `inexact`: the number of prompts whose exchange was not in the grammar.
    `lines`: the lines that have ended. The owner of the view removes them.
    `asked`: the questions and damaged prompts that have come. The owner of the view removes them.
    `heard`: the output since the owner of the view last emptied this text.
    `pending`: the output after the last line end, as long as it contains no prompt."""

    prompt: Prompt | None = None
    exact: bool = True
    messages: tuple[Message, ...] = ()
    typed: str = ""
    turn: int = 0
    erased: int = 0
    line_ends: int = 0
    inexact: int = 0
    lines: list[Line] = field(default_factory=list)
    asked: list[Question | Damaged] = field(default_factory=list)
    heard: str = ""
    pending: str = ""
    partial: str = ""  # an incomplete echo of a key that erases a character
    control: str = ""  # an incomplete control sequence of a terminal


def take_prompt(view: View, prompt: Prompt, exact: bool, messages: tuple[Message, ...]) -> None:
    view.prompt, view.exact, view.messages = prompt, exact, messages
    view.typed = view.pending = view.partial = ""
    view.turn += 1
    view.inexact += not exact
    if not isinstance(prompt, Menu):
        view.asked.append(prompt)


def find_prompt(view: View, text: str) -> str:
    """Takes output while there is no prompt. If the output completes a prompt, returns the text
    after the prompt. Otherwise returns ""."""
    looked_at = max(len(view.pending) - PROMPT_END_LENGTH, 0)
    view.pending = (view.pending + text)[-MOST_PENDING:]
    if not PROMPT_END.search(view.pending, looked_at):
        return ""
    whole = view.pending
    if exchange := read_exchange(whole):
        take_prompt(view, exchange.prompt, True, exchange.messages)
        return whole[exchange.end:]
    if damaged := read_damaged(whole):
        take_prompt(view, damaged[0], False, ())
        return whole[damaged[1]:]
    return ""


def take_echo(view: View, one: str) -> None:
    view.partial += one
    if view.partial in ERASED:
        view.typed, view.partial = view.typed[:-1], ""
        view.erased += 1
    elif view.partial not in ERASING:
        view.typed, view.partial = view.typed + view.partial, ""


def end_line(view: View) -> None:
    assert view.prompt
    view.lines.append(Line(view.prompt, view.typed + view.partial))
    view.prompt = None
    view.typed = view.pending = view.partial = ""
    view.line_ends += 1


def take_echoes(view: View, text: str) -> str:
    """Takes output while there is a prompt. This output is the echo of keys. Returns the text after
    the line end, or "" if no line end came."""
    echo, end, rest = text.partition("\n")
    for one in echo:
        take_echo(view, one)
    if end:
        end_line(view)
    return rest


def feed(view: View, data: bytes) -> None:
    text = TERMINAL_CONTROL.sub("", view.control + data.decode("latin-1").replace("\r", ""))
    begins = CONTROL_BEGINS.search(text)
    view.control = begins[0] if begins else ""
    text = text[:len(text) - len(view.control)]
    view.heard = (view.heard + text)[-MOST_PENDING:]
    while text:
        text = find_prompt(view, text) if view.prompt is None else take_echoes(view, text)


def assume_prompt(view: View) -> None:
    """Treats the current line as a prompt that cannot be read."""
    take_prompt(view, Damaged(is_menu=False), False, ())
