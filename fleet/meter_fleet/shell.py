"""Logs in to the meter's shell and starts the utility."""

from __future__ import annotations

import os
import re
import time
from dataclasses import dataclass

from meter_fleet.errors import Astray, Hopeless, LinkLost
from meter_fleet.plan import Login
from meter_fleet.screens import read_damaged
from meter_fleet.transport import Link
from meter_fleet.view import ERASED, TERMINAL_CONTROL

LOGIN_SECONDS = 60.0
# For each kind of console: how long meter-fleet waits for output before it sends a key that makes
# the console answer. A terminal server and a serial port show nothing until they receive a key.
# Other consoles show a prompt by themselves.
SILENT_SECONDS = {"serial": 0.3, "telnet": 0.5, "shell": 5.0, "ssh": 20.0}
SETTLE_SECONDS = 0.15  # if no output comes for this time, the console waits at a known prompt
REDRAW_SECONDS = 32.0  # within this time, the utility redraws its screen by itself
FLOOD_SECONDS = 10.0  # the time limit for output that does not pause
KEY_SECONDS = 2.0
WAKE_SECONDS = 1.5
TRIES = 6
PASSWORD_TRIES = 3
TAIL = 4096

BACKSPACE, KILL_LINE, INTERRUPT, ENTER = "\b", "\x15", "\x03", "\r"

ASKS_PASSWORD = re.compile(r"(?i)pass(word|phrase)[^\n]*: ?$")
ASKS_USER = re.compile(r"(?i)(login|username): ?$")
ASKS_YES_NO = re.compile(r"\(yes/no[^\n]*\? ?$")
NOT_LET_IN = re.compile(r"(?i)login incorrect|permission denied|authentication failure")


@dataclass
class Shell:
    """A shell on a meter's console. `text`: the end of the output. `logged_in`: True if meter-fleet
    has logged in and must log out at the end."""

    link: Link
    kind: str
    login: Login
    text: str = ""
    logged_in: bool = False
    passwords: int = 0


def last_line(shell: Shell) -> str:
    return shell.text.rpartition("\n")[2]


def last_words(shell: Shell) -> str:
    """Returns the last line that is not empty, for a message."""
    lines = [line.strip() for line in shell.text.split("\n") if line.strip()]
    return lines[-1][:120] if lines else "nothing"


def state_of(shell: Shell) -> str:
    """Returns the kind of the prompt at the end of the output: "utility", "password", "user" or
    "shell". Returns "" if there is no known prompt."""
    line = last_line(shell)
    if read_damaged(shell.text):
        return "utility"
    if ASKS_PASSWORD.search(line):
        return "password"
    if ASKS_USER.search(line):
        return "user"
    return "shell" if at_prompt(shell) else ""


def at_prompt(shell: Shell) -> bool:
    return bool(re.search(f"(?:{shell.login.prompt})$", last_line(shell)))


async def listen(shell: Shell, seconds: float) -> bool:
    data = await shell.link.receive(seconds)
    text = shell.text + data.decode("latin-1").replace("\r", "")
    shell.text = TERMINAL_CONTROL.sub("", text)[-TAIL:]
    return bool(data)


async def settle(shell: Shell, seconds: float) -> str:
    """Takes output until the console waits at a known prompt, or until no output has come for
    `seconds`. Returns the kind of the prompt, as `state_of` does."""
    until = time.monotonic() + max(seconds, FLOOD_SECONDS)
    while True:
        state = state_of(shell)
        came = await listen(shell, SETTLE_SECONDS if state else seconds)
        if not came or time.monotonic() > until:
            return state


async def send_line(shell: Shell, text: str) -> bool:
    """Types the text and Enter. Sends each key after the echo of the previous key. If an echo is
    wrong, does not send Enter and returns False."""
    for key in text:
        before = last_line(shell)
        await shell.link.send(key.encode("latin-1"))
        until = time.monotonic() + KEY_SECONDS
        while last_line(shell) == before and time.monotonic() < until:
            await listen(shell, until - time.monotonic())
        if last_line(shell) != before + key:
            return False
    await shell.link.send(ENTER.encode())
    return True


async def give_user(shell: Shell) -> None:
    if not shell.login.user:
        raise Hopeless("the console asks for a user, and the plan's login names none")
    if NOT_LET_IN.search(shell.text) and shell.passwords >= PASSWORD_TRIES:
        raise Hopeless(f"the login was rejected: {last_words(shell)}")
    shell.logged_in = True
    if not await send_line(shell, shell.login.user):
        # Enters the damaged name, so that the console asks for a password and then for the user
        # again.
        await shell.link.send(ENTER.encode())


async def give_password(shell: Shell) -> None:
    variable = shell.login.password_env
    if not variable:
        raise Hopeless("the console asks for a password, and the login names no password_env")
    if variable not in os.environ:
        raise Hopeless(f"the console asks for a password, and {variable} is not set")
    if shell.passwords == PASSWORD_TRIES:
        raise Hopeless(f"the login was rejected: {last_words(shell)}")
    shell.passwords += 1
    await shell.link.send_secret(os.environ[variable].encode())
    shell.text += "\n"
    await shell.link.send(ENTER.encode())


async def wake(shell: Shell) -> str:
    """Sends keys to a console that shows no known prompt. The keys change nothing, whatever program
    reads them. Returns the kind of the next prompt."""
    for _ in range(2):
        await shell.link.send(BACKSPACE.encode())
    await settle(shell, WAKE_SECONDS / 4)
    if shell.text.endswith(ERASED):
        return "utility"
    for key in (KILL_LINE, KILL_LINE, ENTER):
        await shell.link.send(key.encode())
    return await settle(shell, WAKE_SECONDS)


async def reach(shell: Shell) -> str:
    """Logs in. Returns "shell" if the console shows the shell's prompt, or "utility" if somebody
    left a utility running on the console. Otherwise raises LinkLost with the reason."""
    try:
        return await log_in(shell)
    except Hopeless:
        raise
    except LinkLost as error:
        raise LinkLost(f"{error}; its last line: {last_words(shell)}") from None


async def log_in(shell: Shell) -> str:
    until = time.monotonic() + LOGIN_SECONDS
    state = await settle(shell, SILENT_SECONDS[shell.kind])
    while state not in ("shell", "utility"):
        if ASKS_YES_NO.search(last_line(shell)):
            raise Hopeless(f"the console asks: {last_words(shell)}")
        if time.monotonic() > until:
            raise Hopeless(f"the console shows no known prompt; its last line: {last_words(shell)}")
        if state == "user":
            await give_user(shell)
            state = await settle(shell, REDRAW_SECONDS)
        elif state == "password":
            await give_password(shell)
            state = await settle(shell, REDRAW_SECONDS)
        else:
            state = await wake(shell)
    return state


async def come_to_prompt(shell: Shell) -> None:
    """Sends Control-C until the shell shows a new prompt. Raises Astray if no prompt comes."""
    for _ in range(TRIES):
        await shell.link.send(INTERRUPT.encode())
        if await settle(shell, WAKE_SECONDS) == "shell":
            return
    raise Astray("the shell's prompt does not come back")


async def start(shell: Shell, program: str) -> None:
    """Types a program's name and Enter at the shell's prompt. The program's output follows the line
    end that echoes this Enter."""
    for _ in range(TRIES):
        if await send_line(shell, program):
            shell.text = ""
            return
        await come_to_prompt(shell)
    raise Astray("the program's name does not get through to the shell")


async def log_out(shell: Shell) -> None:
    """Logs out if meter-fleet has logged in and the shell shows its prompt."""
    if shell.logged_in and at_prompt(shell):
        await send_line(shell, "exit")
        await listen(shell, KEY_SECONDS)
