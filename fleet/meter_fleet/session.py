"""The steps of one session with the utility: going to a menu, reading, editing, saving and leaving.

A value counts only if a complete screen shows it. The session chooses a menu line only by the
number that a complete screen shows for this line. In any other situation, the session presses Enter
on an empty line. This Enter changes nothing and makes the utility redraw its screen.
"""

from __future__ import annotations

import enum
import re
import time
from collections.abc import Callable, Mapping
from dataclasses import dataclass, field

from meter_fleet import keys, shell
from meter_fleet.errors import Astray, Foreign, LinkLost, Silent
from meter_fleet.keys import Dialog
from meter_fleet.screens import (BACK, EXIT, EXIT_UNSAVED, FORBIDDEN_LINES, INIT_LINE,
                                 LEAVE_QUESTION, MESSAGES, NOT_ASKED_FOR, PORT_LINE, SAVE_LINE,
                                 SAVE_QUESTION, UNREAD, Damaged, Menu, Question)
from meter_fleet.settings import CLEAR, PLACEHOLDER, SETTINGS, Setting, as_text
from meter_fleet.shell import Shell
from meter_fleet.view import ERASED

STEPS = 60  # the maximum number of screens on the way to one menu
EDIT_TRIES = 6
SAVE_TRIES = 3
UNREAD_TRIES = 4  # the maximum number of screens with a warning about unreadable values
START_SECONDS = 30.0  # the wait for the utility's first screen
LEAVE_SECONDS = 10.0  # the wait for the shell's prompt, or for the end of a local command
MOST_FOREIGN_READING = 2  # before the first edit, somebody else may type this many times

WAY_IN = {"port": PORT_LINE, "init": INIT_LINE}
OPTIONS_QUESTION = SETTINGS["options_list"].question

# The settings of the port that have a mirror, which a save also writes. No menu shows the mirrors.
MIRRORED = ("dhcp", "ip_address", "subnet_mask", "default_gateway")


class NotStarted(LinkLost):
    """The utility did not start."""


class NotOffered(Exception):
    """The menus of this meter do not offer a planned value. Nothing was saved."""


@dataclass
class Session:
    """One session with the utility. `shell`: the shell that started the utility, or None if the
    console's command is the utility itself. `expected` maps each setting to the text that the menus
    must show. Reading a menu adds texts, and editing changes them. `edited`: the settings that were
    entered. `options_sure`: False if the utility may have checked another options list after the
    planned list."""

    dialog: Dialog
    shell: Shell | None = None
    expected: dict[str, str] = field(default_factory=dict)
    edited: list[str] = field(default_factory=list)
    options_sure: bool = True


def is_clean(session: Session) -> bool:
    """Returns True if nothing unexpected happened in this session."""
    return session.dialog.damage == 0 and session.dialog.view.inexact == 0


def check_foreign(session: Session) -> None:
    allowed = 0 if session.edited else MOST_FOREIGN_READING
    if session.dialog.foreign > allowed:
        raise Foreign("someone else types on this console")


# -- starting --

async def begin_run(session: Session) -> None:
    """Waits for the utility's first prompt on a console whose command is the utility itself."""
    try:
        await first_prompt(session)
    except LinkLost:
        heard = session.dialog.view.heard
        raise NotStarted(f"the utility ended: {last_words(heard)}") from None


async def begin_in_shell(session: Session, program: str) -> None:
    assert session.shell
    await shell.start(session.shell, program)
    keys.await_line_end(session.dialog)
    await first_prompt(session)


def last_words(text: str) -> str:
    lines = [line.strip() for line in text.split("\n") if line.strip()]
    return lines[-1][:120] if lines else "it showed nothing"


def shell_prompt_came(session: Session) -> bool:
    if session.shell is None:
        return False
    line = session.dialog.view.heard.rpartition("\n")[2]
    return bool(re.search(f"(?:{session.shell.login.prompt})$", line))


async def first_prompt(session: Session) -> None:
    dialog = session.dialog
    view = dialog.view
    until = time.monotonic() + START_SECONDS
    while view.prompt is None or view.line_ends < dialog.enters:
        if time.monotonic() > until:
            raise Silent(f"the utility shows no screen: {last_words(view.heard)}")
        if await keys.listen(dialog, keys.QUIET_SECONDS):
            continue
        if shell_prompt_came(session):
            raise NotStarted(f"the utility did not start: {last_words(view.heard)}")
        if "\n" in view.pending.strip("\n"):
            await keys.find_prompt(dialog)


async def attend(dialog: Dialog, where: Shell) -> Session:
    """Takes over a utility that somebody left running. Waits until the utility redraws its screen
    after its idle time. The utility then also discards the characters that somebody has typed."""
    session = Session(dialog, where)
    view = dialog.view
    await keys.listen_until(dialog, lambda: isinstance(view.prompt, Menu), shell.REDRAW_SECONDS)
    dialog.unseen = 1
    return session


# -- menus --

async def redraw(session: Session) -> None:
    """Presses Enter on an empty line. The utility then draws a screen again."""
    await keys.answer(session.dialog, "")


async def choose(session: Session, menu: Menu, label: str) -> None:
    """Chooses a line of the menu. Raises Astray if this menu is no longer the current prompt."""
    if label in FORBIDDEN_LINES:
        raise ValueError(f"{label} is never chosen")
    if session.dialog.view.prompt is not menu:
        raise Astray("another screen came before the choice")
    await keys.answer(session.dialog, str(menu.choices[label]))


def watch_options(session: Session) -> None:
    """Clears `options_sure` if the question for the options list came although meter-fleet did not
    choose it, or if a damaged prompt may have been this question. An Enter at this question makes
    the utility discard the option leaves of the accepted list."""
    view = session.dialog.view
    for prompt in view.asked:
        if isinstance(prompt, Damaged) and not prompt.is_menu:
            session.options_sure = False
        if isinstance(prompt, Question) and prompt.text == OPTIONS_QUESTION:
            session.options_sure = False
    view.asked.clear()


async def step(session: Session, kind: str) -> Menu | None:
    """Goes one screen towards the menu `kind`. Returns this menu if the utility shows it now,
    otherwise None."""
    dialog = session.dialog
    await keys.find_prompt(dialog)
    check_foreign(session)
    watch_options(session)
    menu = dialog.view.prompt
    if not isinstance(menu, Menu):
        await redraw(session)
    elif menu.kind != kind:
        label = BACK if menu.kind != "main" else WAY_IN[kind]
        if label not in menu.choices:
            raise NotOffered("the main menu does not offer the initialisation: "
                             "the utility was started without -m")
        await choose(session, menu, label)
    elif not dialog.view.exact:
        await redraw(session)
    else:
        await keys.clear_line(dialog)
        return menu
    return None


def says(session: Session, names: tuple[str, ...]) -> str:
    """Looks on the last screen for the first message whose name is in `names`. Returns the text of
    this message, or "" if there is none."""
    return next((one.text for one in session.dialog.view.messages if one.name in names), "")


async def go_to(session: Session, kind: str) -> Menu:
    """Goes to a menu. Returns a complete screen of this menu that has no warning about unreadable
    values."""
    unread = 0
    for _ in range(STEPS):
        try:
            menu = await step(session, kind)
        except (Foreign, Silent):
            raise
        except Astray:
            continue
        if menu is None:
            continue
        if not (warning := says(session, UNREAD)):
            return menu
        unread += 1
        if unread == UNREAD_TRIES:
            raise Silent(f"the utility says: {warning}")
        await redraw(session)
    raise Astray(f"no complete screen of the {kind} menu came")


# -- reading --

def unexpected(session: Session, menu: Menu) -> str:
    """Returns a message about the first value on the menu that differs from its expected text, or
    "" if all values are as expected."""
    for name, text in menu.values.items():
        if (known := session.expected.get(name, text)) != text:
            return f"{name} was {known!r} and is now {text!r}"
    return ""


async def look(session: Session, kind: str, is_trusted: Callable[[Menu], bool]) -> Menu:
    """Goes to a menu and reads it until `is_trusted` accepts a screen, or until two screens in a
    row are equal. Returns the menu."""
    menu = await go_to(session, kind)
    for _ in range(STEPS):
        if is_trusted(menu):
            return menu
        await redraw_menu(session)
        before, menu = menu, await go_to(session, kind)
        if before == menu:
            return menu
    raise Astray(f"no two screens of the {kind} menu are the same")


async def redraw_menu(session: Session) -> None:
    try:
        await redraw(session)
    except (Foreign, Silent):
        raise
    except Astray:
        return  # another screen came, so a redraw is not necessary


async def look_at(session: Session, kind: str) -> Menu:
    """Goes to a menu and returns it. Raises Astray if the menu shows an unexpected value. Such a
    value comes from a bad line or from somebody else, so the session must not save it."""
    menu = await look(session, kind, lambda menu: not unexpected(session, menu))
    if reason := unexpected(session, menu):
        raise Astray(reason)
    return menu


def looks_damaged(text: str) -> bool:
    """Returns True if the text of a value has characters that are hardly ever stored: bytes other
    than printable ASCII, or two spaces in a row, which are padding."""
    return "  " in text or not all(" " <= one <= "~" for one in text)


async def read_menu(session: Session, kind: str, doubtful: Mapping[str, str]) -> None:
    """Reads a menu and adds its values to `expected`. Reads the menu twice if something unexpected
    happened in this session, or if the menu shows a value that is doubtful or looks damaged."""
    def is_trusted(menu: Menu) -> bool:
        in_doubt = any(doubtful.get(name) == text or looks_damaged(text)
                       for name, text in menu.values.items())
        return is_clean(session) and not in_doubt and not unexpected(session, menu)

    menu = await look(session, kind, is_trusted)
    for name, text in menu.values.items():
        session.expected.setdefault(name, text)
    if reason := unexpected(session, menu):
        raise Astray(reason)


def is_doubtful(name: str, text: str) -> bool:
    """Returns True if the menus also show this text when the utility could not read the value."""
    return text == as_text(SETTINGS[name].when_missing)


async def read_all(session: Session, kinds: list[str], goal: Mapping[str, str]) -> None:
    """Reads these menus and goes back to the main menu. Adds the values to `expected`. If a menu
    shows a planned value that is doubtful, reads the menu twice, because the menu looks the same
    when the utility could not read the value."""
    doubtful = {name: text for name, text in goal.items() if is_doubtful(name, text)}
    for kind in kinds:
        comes_again = kind == "main" and len(kinds) > 1
        await read_menu(session, kind, {} if comes_again else doubtful)
    await look_at(session, "main")


# -- editing --

def is_question(session: Session, setting: Setting) -> bool:
    prompt = session.dialog.view.prompt
    return isinstance(prompt, Question) and prompt.text == setting.question


async def ask(session: Session, setting: Setting) -> bool:
    """Chooses the setting's line. Returns True if the utility then asks for the setting's value."""
    menu = await look_at(session, setting.menu)
    await choose(session, menu, setting.label)
    check_foreign(session)
    return is_question(session, setting)


async def offered_media_types(session: Session) -> tuple[str, ...]:
    """Returns the media types that the port offers. One screen is enough if nothing unexpected
    happened in this session. Otherwise two equal screens in a row are necessary."""
    setting = SETTINGS["media_type"]
    seen: list[tuple[str, ...]] = []
    for _ in range(STEPS):
        try:
            asked = await ask(session, setting)
        except (Foreign, Silent):
            raise
        except Astray:
            continue
        prompt = session.dialog.view.prompt
        if asked and isinstance(prompt, Question):
            seen.append(prompt.media_types)
            await redraw(session)
            if is_clean(session) or len(seen) > 1 and seen[-1] == seen[-2]:
                return seen[-1]
    raise Astray("the media types that the port offers cannot be read")


def typed_for(session: Session, setting: Setting, text: str) -> str | None:
    """Returns the keys that enter a value, or None if the question does not offer the value."""
    if setting.name == "dhcp":
        return "y" if text == "true" else "n"
    if setting.name == "media_type":
        prompt = session.dialog.view.prompt
        assert isinstance(prompt, Question)
        offered = ("", *prompt.media_types)
        return str(offered.index(text)) if text in offered else None
    if setting.name == "serial_number" and text == PLACEHOLDER:
        return CLEAR
    return text or CLEAR


async def enter_once(session: Session, setting: Setting, text: str) -> bool:
    """Enters a value. Returns True if exactly this value was entered and the menu shows the
    value."""
    if not await ask(session, setting):
        return False
    typed = typed_for(session, setting, text)
    if typed is None:
        if text in await offered_media_types(session):
            return False
        raise NotOffered(f'the port does not offer the media type "{text}"')
    session.dialog.view.asked.clear()
    session.options_sure |= setting.name == "options_list"
    if setting.name not in session.edited:
        session.edited.append(setting.name)
    await keys.answer(session.dialog, typed)
    is_exact = session.dialog.ended == typed
    return await now_shows(session, setting, text) and is_exact


async def now_shows(session: Session, setting: Setting, text: str) -> bool:
    """Returns True if the menu shows this value for the setting. Raises Astray if the value of
    another setting has changed."""
    others = {name: value for name, value in session.expected.items() if name != setting.name}
    session.expected[setting.name] = text
    menu = await look(session, setting.menu, lambda menu: not unexpected(session, menu))
    session.expected = {**others, setting.name: menu.values[setting.name]}
    if reason := unexpected(session, menu):
        raise Astray(reason)
    return menu.values[setting.name] == text


async def enter(session: Session, setting: Setting, text: str) -> None:
    """Enters a value that differs from the menu's value. Repeats this until the menu shows the new
    value and the echo was exactly the typed line. The echo is necessary because the menu does not
    show a space that a bad line added at the end."""
    for _ in range(EDIT_TRIES):
        try:
            if await enter_once(session, setting, text):
                return
        except (Foreign, Silent):
            raise
        except Astray:
            await now_shows(session, setting, text)
    raise Astray(f"{setting.name} cannot be entered")


OTHER_VALUES = {"dhcp": ("true", "false"), "options_list": ("4", "5"), "enclosure": ("S", "A"),
                "serial_number": ("090100001", "090100002")}
OTHER_INDEXES = ("0", "1")
OTHER_ADDRESSES = ("0.0.0.0", "0.0.0.1")


def passing_value(session: Session, setting: Setting) -> str:
    """Returns a valid value that differs from the shown value. meter-fleet enters this value only
    temporarily, and replaces it before the save."""
    usual = OTHER_INDEXES if setting.names else OTHER_ADDRESSES
    shown = session.expected[setting.name]
    return next(one for one in OTHER_VALUES.get(setting.name, usual) if one != shown)


async def change(session: Session, setting: Setting, text: str) -> None:
    """Enters a value. If the new value is empty or is already shown, first enters another valid
    value, because the utility discards the removal of a value that was not edited."""
    if setting.name != "media_type" and text in ("", session.expected[setting.name]):
        await enter(session, setting, passing_value(session, setting))
    await enter(session, setting, text)


ORDER = ("primary_dns", "secondary_dns", "media_type", "dhcp", "ip_address", "subnet_mask",
         "default_gateway", "serial_number", "meter_form", "class_amps", "nominal_frequency",
         "enclosure", "options_list")  # last, because a later edit may discard the option leaves


async def edit(session: Session, wanted: Mapping[str, str]) -> None:
    for name in ORDER:
        if name in wanted:
            await change(session, SETTINGS[name], wanted[name])


# -- saving --

class Outcome(enum.Enum):
    SAVED = "saved"  # the utility reported success and no failure
    FAILED = "failed"  # the utility reported a failure
    UNCLEAR = "unclear"  # the report could not be read


@dataclass(frozen=True)
class Saving:
    outcome: Outcome
    messages: tuple[str, ...] = ()


def messages_of_success(edited: list[str]) -> list[str]:
    """Returns the messages that a successful save of these settings prints, in order."""
    names = []
    if "options_list" in edited:
        names += ["options_set", "logs_sent"]
    if any(SETTINGS[name].menu == "init" for name in edited):
        names += ["updating_model", "reset_needed"]
    return [*names, "saved"]


FAILURES = ("leaf_not_set", "options_not_set", "not_saved", *NOT_ASKED_FOR)
SHORTEST_FAILURE = len("set_leaf failed for /VMC/Comms/EthPort/1/General/DHCP/Value\n")


def has_no_room_for_failure(session: Session, heard: str) -> bool:
    """Returns True if a damaged report of a save is too short to contain the failure message of a
    mirror. Other failures do not matter here, because after them the menu still offers to save."""
    if not any(name in MIRRORED for name in session.edited):
        return True
    success = sum(len(MESSAGES[name]) for name in messages_of_success(session.edited))
    report = heard.partition("-" * 20)[0]
    return len(report) < success + SHORTEST_FAILURE // 2


async def judge(session: Session) -> Saving | None:
    """Reads the screen after the answer that starts a save. Returns None if nothing was saved, so
    that the caller tries again."""
    view = session.dialog.view
    heard, exact, messages = view.heard, view.exact, view.messages
    menu = await look_at(session, "main")
    if not exact:
        unsaved = SAVE_LINE in menu.choices
        sure = not unsaved and has_no_room_for_failure(session, heard)
        return Saving(Outcome.SAVED if sure else Outcome.UNCLEAR)
    names = [one.name for one in messages]
    if any(name in FAILURES for name in names):
        return Saving(Outcome.FAILED, tuple(one.text for one in messages if one.name in FAILURES))
    if names == messages_of_success(session.edited) and SAVE_LINE not in menu.choices:
        return Saving(Outcome.SAVED)
    return None if names == [] and SAVE_LINE in menu.choices else Saving(Outcome.UNCLEAR)


async def look_again(session: Session) -> None:
    """Compares the port menu and the initialisation menu with the expected values again. This is
    necessary before a save on a bad line."""
    for kind in ("port", "init"):
        if any(SETTINGS[name].menu == kind for name in session.expected):
            await look_at(session, kind)


async def save(session: Session, before_saving: Callable[[], None]) -> Saving:
    """Saves the edits. Calls `before_saving` before it types the answer that starts the save.
    Returns the outcome of the save."""
    if not is_clean(session):
        await look_again(session)
    for _ in range(SAVE_TRIES):
        menu = await look_at(session, "main")
        if SAVE_LINE not in menu.choices:
            raise Astray("the utility offers no save")
        await choose(session, menu, SAVE_LINE)
        if session.dialog.view.prompt != Question(SAVE_QUESTION):
            continue
        check_foreign(session)
        watch_options(session)
        if "options_list" in session.edited and not session.options_sure:
            raise Astray("the options question came when it was not asked for")
        before_saving()
        await keys.answer_and_wait(session.dialog, "y")
        if saving := await judge(session):
            return saving
    raise Astray("the question whether to save is not answered")


# -- leaving --

async def has_left(session: Session) -> bool:
    """Call this function after the Enter that leaves the utility. Returns True if the utility has
    ended, otherwise False."""
    dialog = session.dialog
    ends = dialog.view.line_ends
    until = time.monotonic() + LEAVE_SECONDS
    try:
        while time.monotonic() < until:
            if dialog.view.prompt is None and shell_prompt_came(session):
                return True
            quiet = not await keys.listen(dialog, keys.echo_wait(dialog))
            if dialog.view.prompt is not None and dialog.view.line_ends > ends:
                return False
            if quiet:
                return await wakes_shell(session)
        return False
    except LinkLost:
        if session.shell is None:
            return True
        raise


async def wakes_shell(session: Session) -> bool:
    """Call this function if no output came after the Enter that leaves the utility. In this case,
    the line has lost the Enter or the shell's prompt. Returns True if the shell answers."""
    dialog = session.dialog
    dialog.damage += 1
    if session.shell is None or dialog.view.prompt is not None:
        return False
    await keys.send(dialog, keys.BACKSPACE)
    await keys.listen(dialog, keys.echo_wait(dialog))
    if dialog.view.heard.endswith(ERASED):
        return False
    await keys.send(dialog, keys.ENTER)
    await keys.listen_until(dialog, lambda: shell_prompt_came(session), LEAVE_SECONDS)
    return shell_prompt_came(session)


async def leave(session: Session) -> None:
    """Leaves through the menus without saving. Raises Astray or Silent if this fails."""
    try:
        await leave_by_menus(session)
    except LinkLost:
        if session.shell:
            raise  # without a shell, the connection ends with the utility


async def leave_by_menus(session: Session) -> None:
    dialog = session.dialog
    for _ in range(SAVE_TRIES * 2):
        menu = await go_to_leave(session)
        number = menu.choices[EXIT_UNSAVED if EXIT_UNSAVED in menu.choices else EXIT]
        if not await keys.type_line(dialog, str(number)):
            continue
        await keys.press_enter(dialog)
        left = await has_left(session)
        if not left and dialog.view.prompt == Question(LEAVE_QUESTION):
            if EXIT_UNSAVED in menu.choices and await keys.type_line(dialog, "y"):
                await keys.press_enter(dialog)
                left = await has_left(session)
        if left:
            return
    raise Astray("the utility does not end")


async def go_to_leave(session: Session) -> Menu:
    """Goes to the main menu and returns it. Unlike `go_to`, accepts a menu whose values the utility
    could not read."""
    dialog = session.dialog
    for _ in range(STEPS):
        try:
            await keys.find_prompt(dialog)
            menu = dialog.view.prompt
            if isinstance(menu, Menu) and menu.kind == "main":
                await keys.clear_line(dialog)
                return menu
            if isinstance(menu, Menu):
                await choose(session, menu, BACK)
            else:
                await redraw(session)
        except Silent:
            raise
        except Astray:
            continue
    raise Astray("no complete screen of the main menu came")
