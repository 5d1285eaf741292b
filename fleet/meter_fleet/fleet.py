"""Many meters at the same time, in one process."""

from __future__ import annotations

from collections.abc import Callable, Sequence
from pathlib import Path

from meter_fleet.plan import Meter
from meter_fleet.results import Command, Result

DEFAULT_JOBS = 50
DEFAULT_RECORDS = Path("meter-fleet-records")


def ignore_step(_name: str, _step: str) -> None:
    """For callers that show no progress."""


def ignore_result(_result: Result) -> None:
    """For callers that wait for the end."""


def run(meters: Sequence[Meter], command: Command, *, jobs: int = DEFAULT_JOBS,
        records: Path = DEFAULT_RECORDS,
        on_step: Callable[[str, str], None] = ignore_step,
        on_result: Callable[[Result], None] = ignore_result) -> list[Result]:
    """Does the command on every meter, at most `jobs` at the same time. Returns the results in the
    order of the meters. `on_step` is called with a meter's name and what is being done on it, and
    `on_result` with each result as it ends. SIGINT and SIGTERM make every meter leave without
    saving; the results say so."""
    raise NotImplementedError
