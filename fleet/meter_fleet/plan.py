"""Reads, checks and prints plans. A plan may contain only values that the menus can set."""

from __future__ import annotations

import re
import shlex
import tomllib
from collections.abc import Callable, Iterable, Mapping
from dataclasses import dataclass, field
from pathlib import Path

from meter_fleet import settings as tables
from meter_fleet.results import Value
from meter_fleet.toml_lines import Key, key_lines, line_of

DEFAULT_PROGRAM = "meter-settings"
DEFAULT_PROMPT = "[$#>] $"
DEFAULT_BAUD = 9600


@dataclass(frozen=True)
class Problem:
    """The reason why a plan is rejected. `line` is 0 if the plan was not read from a file."""

    file: str
    line: int
    reason: str
    meter: str = ""

    def __str__(self) -> str:
        return f"{self.file}:{self.line}: {self.reason}" if self.line else self.reason


class PlanError(Exception):
    """At least one plan is rejected. `problems`: all problems, in the order of the plan files."""

    def __init__(self, problems: list[Problem]) -> None:
        super().__init__("\n".join(map(str, problems)))
        self.problems = problems


@dataclass(frozen=True)
class Login:
    """The login at a console. `password_env`: the name of the environment variable that contains
    the password. A `Login` never contains the password itself. `prompt`: a regular expression that
    matches the end of the shell's prompt."""

    user: str = ""
    password_env: str = ""
    prompt: str = DEFAULT_PROMPT


@dataclass(frozen=True)
class Console:
    """The address of a meter's console. `text` is the address in the plan. The other members are
    the parts of this address."""

    text: str
    kind: str  # one of run, shell, ssh, serial and telnet
    command: str = ""
    user: str = ""
    host: str = ""
    port: int = 0  # 0 means the default port
    device: str = ""
    baud: int = DEFAULT_BAUD


@dataclass(frozen=True)
class Meter:
    name: str
    console: Console
    settings: Mapping[str, Value] = field(default_factory=dict)
    program: str = DEFAULT_PROGRAM
    login: Login = field(default_factory=Login)


# -- consoles --

HOST = r"\[[0-9A-Fa-f:.%]+\]|[A-Za-z0-9_][A-Za-z0-9_.%-]*"


def bare_host(host: str) -> str:
    return host.removeprefix("[").removesuffix("]")


def parse_local(kind: str, text: str, rest: str) -> Console:
    if not rest.strip():
        raise ValueError(f"{kind}: needs a command")
    try:
        shlex.split(rest)
    except ValueError as error:
        raise ValueError(f"the command cannot be read: {error}") from None
    return Console(text, kind, command=rest)


def parse_port(text: str) -> int:
    if not 1 <= int(text) <= 65535:
        raise ValueError(f"{text} is not a port: must be from 1 to 65535")
    return int(text)


def parse_ssh(kind: str, text: str, rest: str) -> Console:
    match = re.fullmatch(rf"([^@\s:-][^@\s:]*)@({HOST})(?::([0-9]{{1,9}}))?", rest)
    if not match:
        raise ValueError("must be ssh:USER@HOST or ssh:USER@HOST:PORT")
    port = parse_port(match[3]) if match[3] else 0
    return Console(text, kind, user=match[1], host=bare_host(match[2]), port=port)


def parse_telnet(kind: str, text: str, rest: str) -> Console:
    match = re.fullmatch(rf"({HOST}):([0-9]{{1,9}})", rest)
    if not match:
        raise ValueError("must be telnet:HOST:PORT")
    return Console(text, kind, host=bare_host(match[1]), port=parse_port(match[2]))


def parse_serial(kind: str, text: str, rest: str) -> Console:
    match = re.fullmatch(r"([^?]+)(?:\?baud=([0-9]{1,8}))?", rest)
    if not match:
        raise ValueError("must be serial:DEVICE or serial:DEVICE?baud=9600")
    baud = int(match[2]) if match[2] else DEFAULT_BAUD
    if baud == 0:
        raise ValueError("a baud rate of zero is not possible")
    return Console(text, kind, device=match[1], baud=baud)


CONSOLES: dict[str, Callable[[str, str, str], Console]] = {
    "run": parse_local, "shell": parse_local, "ssh": parse_ssh, "serial": parse_serial,
    "telnet": parse_telnet,
}


def parse_console(text: str) -> Console:
    """Raises ValueError with the reason if the text is not the address of a console."""
    kind, colon, rest = text.partition(":")
    if not colon or kind not in CONSOLES:
        raise ValueError(f"must begin with one of {', '.join(f'{one}:' for one in CONSOLES)}")
    if not text.isprintable():
        raise ValueError("may hold printable characters only")
    return CONSOLES[kind](kind, text, rest)


# -- one meter --

class Checker:
    """Checks the values of one meter's table. Calls `say` with the key and the reason of each
    problem."""

    def __init__(self, say: Callable[[Key, str], None]) -> None:
        self.say = say
        self.failed = False

    def reject(self, key: Key, reason: str) -> None:
        self.failed = True
        self.say(key, reason)

    def text(self, table: Mapping[str, object], key: str, default: str) -> str:
        """Returns the text of the key, or `default` if the table does not have the key. Rejects a
        text that is empty or not printable."""
        value = table.get(key, default)
        if not isinstance(value, str) or not value or not value.isprintable():
            self.reject((key,), f"{key} must be a string of printable characters")
            return default
        return value

    def table(self, table: Mapping[str, object], key: str) -> Mapping[str, object]:
        value = table.get(key, {})
        if not isinstance(value, Mapping):
            self.reject((key,), f"{key} must be a table")
            return {}
        return value

    def known(self, table: Mapping[str, object], allowed: Iterable[str], above: Key,
              what: str) -> None:
        for key in table:
            if key not in allowed:
                self.reject((*above, key), f"{key} is not a {what}; one of {', '.join(allowed)}")


METER_KEYS = ("name", "console", "program", "login", "settings")
LOGIN_KEYS = ("user", "password_env", "prompt")


def check_login(checker: Checker, table: Mapping[str, object]) -> Login:
    checker.known(table, LOGIN_KEYS, ("login",), "key of a login")
    texts: dict[str, str] = {}
    for key in LOGIN_KEYS:
        value = table.get(key)
        if isinstance(value, str) and value and value.isprintable():
            texts[key] = value
        elif value is not None:
            checker.reject(("login", key), f"{key} must be a string of printable characters")
    try:
        re.compile(texts.get("prompt", DEFAULT_PROMPT))
    except re.error as error:
        checker.reject(("login", "prompt"), f"prompt is not a regular expression: {error}")
    return Login(**texts)


def check_settings(checker: Checker, table: Mapping[str, object]) -> dict[str, Value]:
    checker.known(table, tables.SETTINGS, ("settings",), "setting")
    values: dict[str, Value] = {}
    for name, setting in tables.SETTINGS.items():
        if name not in table:
            continue
        value = table[name]
        if reason := setting.why_rejected(value):
            checker.reject(("settings", name), f"{name} = {shown(value)}: {reason}")
        elif isinstance(value, (bool, int, str)):
            values[name] = value
    return values


def check_console(checker: Checker, table: Mapping[str, object]) -> Console:
    text = checker.text(table, "console", "run:")
    try:
        return parse_console(text)
    except ValueError as error:
        if "console" in table:
            checker.reject(("console",), f"console {text}: {error}")
        return Console(text, "run")


def check_program(checker: Checker, table: Mapping[str, object]) -> str:
    program = checker.text(table, "program", DEFAULT_PROGRAM)
    if not program.isascii() or program != program.strip():
        checker.reject(("program",), "program must be ASCII, without spaces at either end")
    return program


def check_meter(table: Mapping[str, object], say: Callable[[Key, str], None]) -> Meter | None:
    """Returns the meter. If the table has problems, calls `say` with the key and the reason of each
    problem, and returns None."""
    checker = Checker(say)
    checker.known(table, METER_KEYS, (), "key of a meter")
    for key in ("name", "console"):
        if key not in table:
            checker.reject((), f"a meter needs a {key}")
    name = checker.text(table, "name", "unnamed")
    meter = Meter(name, check_console(checker, table),
                  check_settings(checker, checker.table(table, "settings")),
                  check_program(checker, table),
                  check_login(checker, checker.table(table, "login")))
    return None if checker.failed else meter


def why_rejected(setting: str, value: object) -> str:
    """Returns the reason why a plan may not contain this value, or "" if it may."""
    if setting not in tables.SETTINGS:
        return f"{setting} is not a setting"
    return tables.SETTINGS[setting].why_rejected(value)


def meter_of(table: Mapping[str, object]) -> Meter:
    """Converts a `[[meter]]` table to a meter. Raises PlanError if the table has problems."""
    problems: list[Problem] = []
    name = str(table.get("name", ""))
    meter = check_meter(table, lambda _, reason: problems.append(Problem("", 0, reason, name)))
    if meter is None:
        raise PlanError(problems)
    return meter


# -- files --

def with_defaults(defaults: Mapping[str, object], table: Mapping[str, object]) -> dict[str, object]:
    """Returns a meter's table with the defaults added. The tables `settings` and `login` are merged
    key by key. Any other key of the meter replaces the default."""
    merged = {**defaults, **table}
    for key in ("settings", "login"):
        ours, theirs = table.get(key), defaults.get(key)
        if isinstance(ours, Mapping) and isinstance(theirs, Mapping):
            merged[key] = {**theirs, **ours}
    return merged


def holds(table: object, key: Key) -> bool:
    for part in key:
        if not isinstance(table, Mapping) or part not in table:
            return False
        table = table[part]
    return True


class PlanFile:
    """A plan file that is being checked."""

    def __init__(self, path: Path, problems: list[Problem]) -> None:
        self.path = path
        self.problems = problems
        self.lines: dict[Key, int] = {}

    def reject(self, line: int, reason: str, meter: str = "") -> None:
        problem = Problem(str(self.path), line, reason, meter)
        if problem not in self.problems:  # a wrong default is found again for every meter
            self.problems.append(problem)

    def load(self) -> dict[str, object]:
        try:
            text = self.path.read_text(encoding="utf-8")
            self.lines = key_lines(text)
            return tomllib.loads(text)
        except OSError as error:
            self.reject(1, f"cannot be read: {error.strerror}")
        except UnicodeDecodeError:
            self.reject(1, "is not UTF-8 text")
        except tomllib.TOMLDecodeError as error:
            place = re.search(r" \(at line (\d+), column \d+\)$", str(error))
            line = int(place[1]) if place else max(text.count("\n"), 1)
            self.reject(line, f"is not TOML: {error}")
        return {}

    def tables(self, content: dict[str, object]) -> tuple[Mapping[str, object], list[object]]:
        """Returns the table of the defaults and the list of the meters' tables."""
        for key in content:
            if key not in ("defaults", "meter"):
                self.reject(line_of(self.lines, (key,)), f"{key} is not a key of a plan: "
                            "it has [defaults] and [[meter]]")
        defaults, meters = content.get("defaults", {}), content.get("meter", [])
        if not isinstance(defaults, Mapping):
            self.reject(line_of(self.lines, ("defaults",)), "defaults must be a table")
            defaults = {}
        if not isinstance(meters, list) or not all(isinstance(one, Mapping) for one in meters):
            self.reject(line_of(self.lines, ("meter",)), "meters must be tables: [[meter]]")
            meters = []
        if not meters and not self.problems:
            self.reject(1, "names no meter")
        return defaults, meters

    def meter(self, number: int, table: Mapping[str, object],
              defaults: Mapping[str, object]) -> Meter | None:
        merged = with_defaults(defaults, table)
        name = str(merged.get("name", ""))

        def say(key: Key, reason: str) -> None:
            in_defaults = not holds(table, key) and holds(defaults, key)
            whole: Key = ("defaults", *key) if in_defaults else ("meter", number, *key)
            self.reject(line_of(self.lines, whole), reason, "" if in_defaults else name)

        return check_meter(merged, say)


def read_plan(path: Path, problems: list[Problem]) -> list[tuple[Meter, Problem]]:
    """Returns each valid meter with its place in the file. The place is a `Problem` without a
    reason. Adds the problems of the file to `problems`."""
    mine: list[Problem] = []
    file = PlanFile(path, mine)
    defaults, tables_of_meters = file.tables(file.load())
    meters = []
    for number, table in enumerate(tables_of_meters):
        assert isinstance(table, Mapping)
        meter = file.meter(number, table, defaults)
        if meter:
            line = line_of(file.lines, ("meter", number, "name"))
            meters.append((meter, Problem(str(path), line, "", meter.name)))
    problems += mine
    return meters


def read_plans(paths: Iterable[Path]) -> list[Meter]:
    """Returns the meters of all plans, in the order of the files. If there are problems, raises
    PlanError with all problems."""
    problems: list[Problem] = []
    placed = [one for path in paths for one in read_plan(path, problems)]
    first: dict[str, Problem] = {}
    for meter, place in placed:
        if meter.name in first:
            other = first[meter.name]
            reason = f'a meter named "{meter.name}" is already at {other.file}:{other.line}'
            problems.append(Problem(place.file, place.line, reason, meter.name))
        first.setdefault(meter.name, place)
    if problems:
        raise PlanError(problems)
    return [meter for meter, _ in placed]


# -- printing --

ESCAPES = {'"': '\\"', "\\": "\\\\", "\t": "\\t", "\n": "\\n", "\r": "\\r"}


def shown_character(one: str) -> str:
    return ESCAPES.get(one) or (one if one.isprintable() else f"\\U{ord(one):08x}")


def shown(value: object) -> str:
    """Returns a value in TOML notation."""
    if isinstance(value, bool):
        return str(value).lower()
    if isinstance(value, str):
        return '"' + "".join(map(shown_character, value)) + '"'
    return str(value)


def plan_text(meter: Meter, settings: Mapping[str, Value]) -> str:
    """Returns a `[[meter]]` table in TOML with these settings. If a plan may not contain the value
    of a setting, the setting becomes a comment with the reason."""
    lines = ["[[meter]]", f"name = {shown(meter.name)}", f"console = {shown(meter.console.text)}"]
    if meter.program != DEFAULT_PROGRAM:
        lines.append(f"program = {shown(meter.program)}")
    login = [f"{key} = {shown(value)}" for key, value in vars(meter.login).items()
             if value != getattr(Login, key)]
    if login:
        lines.append("login = { " + ", ".join(login) + " }")
    lines.append("[meter.settings]")
    for name in tables.SETTINGS:
        if name in settings:
            reason = why_rejected(name, settings[name])
            line = f"{name} = {shown(settings[name])}"
            lines.append(f"# {line}  # {reason}" if reason else line)
    return "\n".join(lines) + "\n"
