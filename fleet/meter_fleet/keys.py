"""Types a line. Sends one key at a time and waits for the key's echo. Sends Enter last and
separately.

The keys therefore arrive in order even on a bad line. Before meter-fleet sends Enter, the echo
shows which characters of the line the utility has received. Two keys are always safe: Backspace
does nothing on an empty line, and Enter on an empty line never changes a setting.
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
RESUME = "\x11"  # Control-Q resumes the output after damage has turned a key into Control-S
IDLE_SECONDS = 30.0  # after this time without a key, the utility ends a question or redraws a menu
SAFE_SECONDS = 20.0  # within this time after the last key, Enter precedes the time-out
SHORTEST_WAIT = 1.0  # the shortest wait for an echo
WAITS_OF_AN_ECHO = 10  # the wait for an echo, as a multiple of the usual time of an echo
SETTLE_SECONDS = 0.05  # the wait for more output after a wrong echo
RELEASE_SECONDS = 0.5  # the wait for the delayed output after a stall
FLOOD_SECONDS = 10.0  # the time limit for unexpected output that does not pause
SCREEN_SECONDS = 10.0  # the wait for a screen to begin after Enter
QUIET_SECONDS = 1.0  # if no output comes for this time, an incomplete screen counts as damaged
# The waits for answers to keys that change nothing. Their sum is longer than a stall of 35 seconds.
PROBE_WAITS = (1.0, 2.0, 4.0, 8.0, 12.0, 16.0)
COMMAND_SECONDS = 250.0  # enough for a command of 180 seconds and two redraws of the menu
TRIES = 8  # the maximum number of attempts to type a line
SURPLUS = 2  # the number of additional Backspaces when a line is erased


@dataclass
class Dialog:
    """The state of the typing in one session.
    `line`: the keys sent since the last line end, without erased keys.
    `unseen`: the number of keys whose echo did not come.
    `damage`: how often something unexpected happened.
    `foreign`: how often somebody else typed, as far as the output shows it.
    `busy`: True if a command may be running, so no key may be sent.
    `answering`: True if the last line end was the echo of meter-fleet's Enter, so a screen follows.
    `suspect`: True if somebody else may have typed or ended the last line. If a complete screen
    follows, `foreign` is increased.
    `enters`: the number of sent Enters whose line end has not come.
    `ended`: the text of the last line that ended, according to its echo."""

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
    ended: str = ""
    last_key: float = 0.0


def await_line_end(dialog: Dialog) -> None:
    """Prepares the dialog for the utility's first output. Call this function after Enter was sent
    to the shell. The utility's output begins after the line end of this Enter."""
    assume_prompt(dialog.view)
    dialog.view.inexact = 0
    dialog.view.asked.clear()
    dialog.enters = 1
    dialog.last_key = time.monotonic()


def is_doubled(sent: str, typed: str) -> bool:
    """Returns True if `typed` is `sent` with one doubled key."""
    return any(typed == sent[:i] + sent[i] + sent[i:] for i in range(len(sent)))


def look_at_lines(dialog: Dialog) -> None:
    """Compares each line that has ended with the sent keys. Counts damage, and counts how often
    somebody else typed."""
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
        dialog.line, dialog.ended = "", line.typed
    dialog.view.lines.clear()
    if dialog.suspect and dialog.view.prompt is not None:
        dialog.foreign += dialog.view.exact
        dialog.suspect = False


async def listen(dialog: Dialog, seconds: float) -> bool:
    """Waits up to `seconds` for output and takes the output. Returns True if output came."""
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
    """Takes output until no output has come for `pause` seconds. Raises Silent if the output does
    not pause."""
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
    """Sends Control-Q, which resumes stopped output. Takes this output, so that the screen is
    complete before the next key. The meter's terminal handles Control-Q, so the utility never
    receives it."""
    await dialog.link.send(RESUME.encode())
    await settle(dialog, max(SETTLE_SECONDS, 2 * dialog.echo_seconds))


def learn_echo_time(dialog: Dialog) -> None:
    seconds = time.monotonic() - dialog.last_key
    usual = dialog.echo_seconds or seconds
    dialog.echo_seconds = usual + (seconds - usual) / 8


# -- erasing --

async def take_back_one(dialog: Dialog, wait: float) -> bool:
    """Sends a Backspace. Returns True if its echo came. Raises Astray if another screen came."""
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
    """Erases the line at a prompt. Raises Astray if another screen comes, and Silent if the console
    does not answer."""
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
    """If at least one key got no answer, takes the output that a stall has delayed. `failures`: the
    number of keys without an answer. Raises Astray if the delayed output has another screen."""
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
    """Types one printable key. Returns True if exactly this key was added to the line. Raises
    Astray if another screen came."""
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
    """Sends Enter. The caller must have checked the line. Raises Astray if the prompt may have
    timed out since the last key."""
    view = dialog.view
    if time.monotonic() - dialog.last_key > SAFE_SECONDS and view.typed:
        raise Astray("no key was sent for too long")
    view.heard = ""
    dialog.enters = 1
    await send(dialog, ENTER)


async def enter_arrived(dialog: Dialog, ends: int) -> bool:
    """Waits for the line end that echoes an Enter. Returns False if the Enter was lost. The echo of
    a later key on the same line shows that the Enter was lost."""
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
    """Sends Backspace until the console answers. Raises Silent if no answer comes."""
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
    """Waits until the utility shows a prompt that can be read. Sends no key to the utility, because
    the utility redraws a damaged screen after its idle time. Raises Silent if no prompt comes."""
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
    """Types `text` and Enter at a prompt and waits for the next prompt. Sends Enter only if the
    line contains exactly `text`. Raises Astray if another screen came before Enter was sent, and
    Silent if the console does not answer."""
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
    """Waits for a prompt that follows at least `ends` line ends. Raises Silent if no prompt
    comes."""
    view = dialog.view
    if not await listen_until(
            dialog, lambda: view.line_ends >= ends and view.prompt is not None, COMMAND_SECONDS):
        dialog.busy = False
        raise Silent(f"no complete screen came within {COMMAND_SECONDS:.0f} s")
    dialog.busy = False


async def answer_and_wait(dialog: Dialog, text: str) -> None:
    """Does the same as `answer`, but sends no key between Enter and the next prompt, because
    commands may be running."""
    dialog.busy = True
    for _ in range(TRIES):
        if await type_line(dialog, text):
            break
    else:
        raise Astray("the keys do not get through")
    ends = dialog.view.line_ends
    await press_enter(dialog)
    await wait_for_commands(dialog, ends + 1)
