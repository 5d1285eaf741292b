"""The result of one meter."""

from __future__ import annotations

import enum
import json
from collections.abc import Iterable
from dataclasses import dataclass, field

Value = bool | int | str


class Command(enum.Enum):
    SHOW = "show"
    CHECK = "check"
    APPLY = "apply"


# The exit status of each result. The exit status of a run is the highest exit status of its meters.
EXIT_STATUS = {"ok": 0, "changed": 0, "differs": 1, "rejected": 2, "unreachable": 3, "unknown": 4}


@dataclass(frozen=True)
class Difference:
    setting: str
    before: Value
    after: Value


@dataclass
class Result:
    """The result of a command on one meter. `settings`: the last values that were read, with the
    types of a plan. `changed`: True if `check` found a difference, or if `apply` began a save.
    `record`: the path of the transcript, or "" if no console was opened."""

    name: str
    result: str
    changed: bool = False
    diff: list[Difference] = field(default_factory=list)
    settings: dict[str, Value] = field(default_factory=dict)
    messages: list[str] = field(default_factory=list)
    seconds: float = 0.0
    record: str = ""


def as_json(result: Result) -> str:
    """Returns the result as a JSON object on one line, without a line end."""
    members = vars(result) | {"diff": [vars(one) for one in result.diff],
                              "seconds": round(result.seconds, 3)}
    return json.dumps(members)


def exit_status(results: Iterable[Result]) -> int:
    return max((EXIT_STATUS[one.result] for one in results), default=0)
