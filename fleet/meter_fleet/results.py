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


# The exit status of each result. The exit status of a run is the highest of its meters.
EXIT_STATUS = {"ok": 0, "changed": 0, "differs": 1, "rejected": 2, "unreachable": 3, "unknown": 4}


@dataclass(frozen=True)
class Difference:
    setting: str
    before: Value
    after: Value


@dataclass
class Result:
    """`settings`: the values read last, with the types of a plan. `changed`: check found
    something to change, or apply saved something. `record`: the path of the transcript, "" when no
    console was opened."""

    name: str
    result: str
    changed: bool = False
    diff: list[Difference] = field(default_factory=list)
    settings: dict[str, Value] = field(default_factory=dict)
    messages: list[str] = field(default_factory=list)
    seconds: float = 0.0
    record: str = ""


def as_json(result: Result) -> str:
    """The JSON object as one line, without a line end."""
    members = vars(result) | {"diff": [vars(one) for one in result.diff],
                              "seconds": round(result.seconds, 3)}
    return json.dumps(members)


def exit_status(results: Iterable[Result]) -> int:
    return max((EXIT_STATUS[one.result] for one in results), default=0)
