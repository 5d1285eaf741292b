"""Typing: one key, its echo, the next; Enter alone and last.

At most one key is ever on its way. So whatever a line does to it, the keys arrive in order, and
what the utility holds of a line is known from its echo before Enter is sent. Keys that take back a
character do nothing on an empty line, and an Enter on an empty line never changes a setting.
"""

from __future__ import annotations

import time
from collections.abc import Callable
from dataclasses import dataclass, field

from meter_fleet.errors import Astray, Silent
from meter_fleet.screens import Damaged
from meter_fleet.transport import Link
from meter_fleet.view import View, assume_prompt, feed

BACKSPACE = "\b"
ENTER = "\r"
RESUME = "\x11"  # Control-Q. A key that turned into Control-S on its way stops the output
IDLE_SECONDS = 30.0  # after which the utility gives up a question, or draws its menu again
SAFE_SECONDS = 20.0  # since the last key; later, a time-out could come before the next one
SHORTEST_WAIT = 1.0  # for an echo
WAITS_OF_AN_ECHO = 10  # how many times the usual time of an echo to wait for one
SETTLE_SECONDS = 0.05  # for another key's echo to come after a wrong one
RELEASE_SECONDS = 0.5  # after a stall, for everything that it held back to come
FLOOD_SECONDS = 10.0  # of output without a pause, where none is expected
SCREEN_SECONDS = 10.0  # for a screen to begin after its Enter
QUIET_SECONDS = 1.0  # after which an incomplete screen is not going to be complete
# A stall of the line lasts up to 35 seconds: the waits for the answers to these keys outlast it.
PROBE_WAITS = (1.0, 2.0, 4.0, 8.0, 12.0, 16.0)
COMMAND_SECONDS = 250.0  # of 180 seconds, then two drawings of the menu
TRIES = 8  # for one line
SURPLUS = 2  # keys to take back beyond those that could be there


@dataclass
class Dialog:
    """A session on a link. `line`: the keys sent since the last line end, those taken back left
    out. `unseen`: keys whose echo did not come. `damage`: how often anything was not as expected.
    `foreign`: how often someone else typed, as far as it shows. `enters`: those sent whose line end
    has not been seen. `busy`: a command may be running, so that no key may be sent.
    `answering`: the last line end echoed an Enter of ours, so that a screen follows. `suspect`: a
    line ended that was not ours; a screen that follows shows that it was somebody else's."""

    link: Link
    view: View = field(default_factory=View)
    echo_seconds: float = 0.0
    line: str = ""
    unseen: int = 0
    damage: int = 0
    foreign: int = 0
    busy: bool = False
    answering: bool = True
    suspect: bool = False
    enters: int = 0
    last_key: float = 0.0


def await_line_end(dialog: Dialog) -> None:
    """An Enter was sent on a line that is not the utility's: its output begins after the line."""
    assume_prompt(dialog.view)
    dialog.view.inexact = 0
    dialog.view.asked.clear()
    dialog.enters = 1
    dialog.last_key = time.monotonic()


def is_doubled(sent: str, typed: str) -> bool:
    """Whether `typed` is `sent` with one key twice."""
    return any(typed == sent[:i] + sent[i] + sent[i:] for i in range(len(sent)))


def look_at_lines(dialog: Dialog) -> None:
    """Whether somebody else ended the lines that were ended, or typed on them."""
    for line in dialog.view.lines:
        ours = dialog.enters > 0
        timed_out = time.monotonic() - dialog.last_key > IDLE_SECONDS - 5
        expected = line.typed == dialog.line or is_doubled(dialog.line, line.typed)
        if ours:
            dialog.enters -= 1
        if len(line.typed) > len(dialog.line) and not expected:
            dialog.suspect = True
        elif not ours and not timed_out and line.typed:
            dialog.suspect = True
        dialog.answering = ours
        if not (ours and line.typed == dialog.line):
            dialog.damage += 1
        dialog.line = ""
    dialog.view.lines.clear()
    if dialog.suspect and dialog.view.prompt is not None:
        dialog.foreign += dialog.view.exact
        dialog.suspect = False


async def listen(dialog: Dialog, seconds: float) -> bool:
    """Takes what comes within `seconds`. Returns whether anything did."""
    data = await dialog.link.receive(seconds)
    if not data:
        return False
    feed(dialog.view, data)
    look_at_lines(dialog)
    return True


async def listen_until(dialog: Dialog, is_true: Callable[[], bool], seconds: float) -> bool:
    until = time.monotonic() + seconds
    while not is_true():
        left = until - time.monotonic()
        if left <= 0 or not await listen(dialog, left):
            return is_true()
    return True


async def settle(dialog: Dialog, pause: float = SETTLE_SECONDS) -> None:
    """Takes what is still coming, until nothing comes for `pause` seconds."""
    until = time.monotonic() + FLOOD_SECONDS
    while await listen(dialog, pause):
        if time.monotonic() > until:
            raise Silent("the console does not stop writing")


def echo_wait(dialog: Dialog) -> float:
    return max(SHORTEST_WAIT, WAITS_OF_AN_ECHO * dialog.echo_seconds)


async def send(dialog: Dialog, key: str) -> None:
    dialog.last_key = time.monotonic()
    await dialog.link.send(key.encode("latin-1"))


async def resume(dialog: Dialog) -> None:
    """Lets stopped output go on, and takes what comes. The terminal takes this key, not the
    utility. A key that follows must find the screen complete, so it waits."""
    await dialog.link.send(RESUME.encode())
    await settle(dialog, max(SETTLE_SECONDS, 2 * dialog.echo_seconds))


def learn_echo_time(dialog: Dialog) -> None:
    seconds = time.monotonic() - dialog.last_key
    usual = dialog.echo_seconds or seconds
    dialog.echo_seconds = usual + (seconds - usual) / 8


# -- taking back --

async def take_back_one(dialog: Dialog, wait: float) -> bool:
    """Returns whether its echo came. Raises Astray when the utility asks something else now."""
    view = dialog.view
    turn, erased, ends = view.turn, view.erased, view.line_ends

    def has_answered() -> bool:
        return view.erased > erased or view.line_ends > ends or view.turn > turn

    if wait > PROBE_WAITS[0]:
        await resume(dialog)
    if not has_answered():
        await send(dialog, BACKSPACE)
        await listen_until(dialog, has_answered, wait)
    if view.line_ends > ends or view.turn > turn:
        raise Astray("the screen changed while a line was typed")
    return view.erased > erased


async def clear_line(dialog: Dialog) -> None:
    """At a prompt: makes sure that its line is empty. Raises Astray, and Silent."""
    view = dialog.view
    turn = view.turn
    if view.typed == "" and view.partial == "" and dialog.unseen == 0:
        return
    dialog.damage += 1
    await settle(dialog)
    if view.turn != turn or view.prompt is None:
        raise Astray("the screen changed while a line was typed")
    count_foreign_keys(dialog)
    needed = max(len(view.typed), len(dialog.line)) + dialog.unseen + SURPLUS
    failures = 0
    while needed > 0 or view.typed:
        if await take_back_one(dialog, PROBE_WAITS[failures]):
            await check_released(dialog, failures, turn)
            needed, failures = needed - 1, 0
        elif (failures := failures + 1) == len(PROBE_WAITS):
            raise Silent("the console does not answer to keys")
    dialog.line, dialog.unseen = "", 0


async def check_released(dialog: Dialog, failures: int, turn: int) -> None:
    """After keys without an answer: takes what a stall held back. Raises Astray when that is
    another screen."""
    if failures == 0:
        return
    await settle(dialog, RELEASE_SECONDS)
    if dialog.view.turn != turn or dialog.view.prompt is None:
        raise Astray("the screen changed while a line was typed")


def count_foreign_keys(dialog: Dialog) -> None:
    typed, sent = dialog.view.typed, dialog.line
    if len(typed) > len(sent) and not is_doubled(sent, typed):
        dialog.foreign += 1


# -- lines --

async def press(dialog: Dialog, key: str) -> bool:
    """Types one printable key. Returns whether the line now is as it was, and the key. Raises
    Astray when the utility asks something else now."""
    view = dialog.view
    typed, turn, ends = view.typed, view.turn, view.line_ends
    dialog.line += key
    await send(dialog, key)

    def has_answered() -> bool:
        return view.typed != typed or view.line_ends > ends or view.turn > turn

    if not await listen_until(dialog, has_answered, echo_wait(dialog)):
        dialog.unseen += 1
        return False
    if view.line_ends > ends or view.turn > turn:
        raise Astray("the screen changed while a line was typed")
    learn_echo_time(dialog)
    return view.typed == typed + key


async def type_line(dialog: Dialog, text: str) -> bool:
    await clear_line(dialog)
    for key in text:
        if not await press(dialog, key):
            return False
    return dialog.view.typed == text and not dialog.view.partial


async def press_enter(dialog: Dialog) -> None:
    """Only on a line that is as it should be. A prompt that may have timed out gets none."""
    view = dialog.view
    if time.monotonic() - dialog.last_key > SAFE_SECONDS and view.typed:
        raise Astray("the line was left alone for too long")
    view.heard = ""
    dialog.enters = 1
    await send(dialog, ENTER)


async def enter_arrived(dialog: Dialog, ends: int) -> bool:
    """Waits for the line end that echoes an Enter. Returns False when the Enter was lost, which
    the answer to a later key shows."""
    view = dialog.view
    if await listen_until(dialog, lambda: view.line_ends > ends, echo_wait(dialog)):
        return True
    dialog.damage += 1
    await resume(dialog)
    if view.line_ends == ends:
        await ask_for_echo(dialog)
    if view.line_ends > ends:
        return True
    dialog.enters = 0
    return False


async def ask_for_echo(dialog: Dialog) -> None:
    """Sends a key that changes nothing until anything answers. Raises Silent."""
    for failures, wait in enumerate(PROBE_WAITS):
        try:
            answered = await take_back_one(dialog, wait)
        except Astray:
            answered = True
        if answered:
            if failures:
                await settle(dialog, RELEASE_SECONDS)
            return
    raise Silent("the console does not answer to keys")


async def find_prompt(dialog: Dialog) -> None:
    """Waits until the utility asks something that can be read. No key is sent meanwhile: when the
    question was damaged, the utility draws its screen again after its idle time. Raises Silent."""
    view = dialog.view
    if dialog.busy:
        await wait_for_commands(dialog, view.line_ends)
    until = time.monotonic() + COMMAND_SECONDS
    while view.prompt is None:
        if time.monotonic() > until:
            raise Silent("the console shows no known screen")
        wait = SCREEN_SECONDS if dialog.answering and not view.pending else QUIET_SECONDS
        if await listen(dialog, max(wait, echo_wait(dialog))):
            continue
        dialog.damage += 1
        await wait_for_redraw(dialog)


async def wait_for_redraw(dialog: Dialog) -> None:
    dialog.view.asked.append(Damaged(is_menu=False))
    for wait in PROBE_WAITS:
        await resume(dialog)
        if await listen_until(dialog, lambda: dialog.view.prompt is not None, wait):
            return
    raise Silent("the console shows no complete screen")


async def answer(dialog: Dialog, text: str) -> None:
    """At a prompt: types the text, with nothing else on its line, and Enter; then waits for the
    next prompt. Raises Astray when the prompt went away before Enter was sent, and Silent."""
    for _ in range(TRIES):
        if not await type_line(dialog, text):
            continue
        ends = dialog.view.line_ends
        await press_enter(dialog)
        if await enter_arrived(dialog, ends):
            await find_prompt(dialog)
            return
    raise Astray("the keys do not get through")


async def wait_for_commands(dialog: Dialog, ends: int) -> None:
    """Until a prompt comes, whose line end is later than the first `ends`. Raises Silent."""
    view = dialog.view
    if not await listen_until(
            dialog, lambda: view.line_ends >= ends and view.prompt is not None, COMMAND_SECONDS):
        dialog.busy = False
        raise Silent(f"no complete screen came within {COMMAND_SECONDS:.0f} s")
    dialog.busy = False


async def answer_and_wait(dialog: Dialog, text: str) -> None:
    """As `answer`, but sends no key after Enter until a prompt comes: commands may be running."""
    dialog.busy = True
    for _ in range(TRIES):
        if await type_line(dialog, text):
            break
    else:
        raise Astray("the keys do not get through")
    ends = dialog.view.line_ends
    await press_enter(dialog)
    await wait_for_commands(dialog, ends + 1)
