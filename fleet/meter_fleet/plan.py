"""Plans: read, checked against what the menus can bring about, and printed."""

from __future__ import annotations

from collections.abc import Iterable, Mapping
from dataclasses import dataclass, field
from pathlib import Path

from meter_fleet.results import Value

DEFAULT_PROGRAM = "meter-settings"
DEFAULT_PROMPT = "[$#>] $"


@dataclass(frozen=True)
class Problem:
    """Why a plan is rejected. `line` is 0 when the plan comes from no file."""

    file: str
    line: int
    reason: str
    meter: str = ""

    def __str__(self) -> str:
        return f"{self.file}:{self.line}: {self.reason}" if self.line else self.reason


class PlanError(Exception):
    """`problems`: all of them, in the order of the files."""

    def __init__(self, problems: list[Problem]) -> None:
        super().__init__("\n".join(map(str, problems)))
        self.problems = problems


@dataclass(frozen=True)
class Login:
    """`password_env` names the environment variable that holds the password; the password itself is
    never kept. `prompt` is a regular expression for the end of the shell's prompt."""

    user: str = ""
    password_env: str = ""
    prompt: str = DEFAULT_PROMPT


@dataclass(frozen=True)
class Console:
    """Where a meter's console is: `text` as in the plan, the rest its parts."""

    text: str
    kind: str  # run, shell, ssh, serial, telnet
    command: str = ""
    user: str = ""
    host: str = ""
    port: int = 0  # 0: the default port
    device: str = ""
    baud: int = 9600


@dataclass(frozen=True)
class Meter:
    name: str
    console: Console
    settings: Mapping[str, Value] = field(default_factory=dict)
    program: str = DEFAULT_PROGRAM
    login: Login = field(default_factory=Login)


def read_plans(paths: Iterable[Path]) -> list[Meter]:
    """The meters of all plans, in their order. Raises PlanError with every problem found."""
    raise NotImplementedError


def meter_of(table: Mapping[str, object]) -> Meter:
    """One meter from the keys of a `[[meter]]` table. Raises PlanError."""
    raise NotImplementedError


def why_rejected(setting: str, value: object) -> str:
    """Why a plan may not ask for this value, or "" when it may."""
    raise NotImplementedError


def plan_text(meter: Meter, settings: Mapping[str, Value]) -> str:
    """A `[[meter]]` table in TOML with these settings. A setting whose value a plan may not ask for
    becomes a comment with the reason."""
    raise NotImplementedError
