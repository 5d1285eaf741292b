"""Runs a command on many meters at the same time, in one process."""

from __future__ import annotations

import asyncio
import contextlib
import resource
import signal
import threading
import traceback
from collections.abc import Callable, Iterator, Sequence
from pathlib import Path

from meter_fleet.plan import Meter
from meter_fleet.record import open_record
from meter_fleet.results import Command, Result
from meter_fleet.transport import Stop
from meter_fleet.worker import run_meter

DEFAULT_JOBS = 50
DEFAULT_RECORDS = Path("meter-fleet-records")
FILES_A_METER = 4
FILES_BESIDES = 64
SIGNALS = (signal.SIGINT, signal.SIGTERM)


def ignore_step(_name: str, _step: str) -> None:
    """Does nothing. This is the default for callers that show no progress."""


def ignore_result(_result: Result) -> None:
    """Does nothing. This is the default for callers that only use the returned results."""


async def run_one(meter: Meter, command: Command, records: Path, stop: Stop,
                  on_step: Callable[[str, str], None]) -> Result:
    if stop.asked:
        return Result(meter.name, "unreachable",
                      messages=["not begun, because of the interruption; nothing was changed"])
    try:
        record = open_record(records, meter.name)
    except OSError as error:
        reason = f"the transcript cannot be written: {error}"
        return Result(meter.name, "unreachable", messages=[reason])
    try:
        return await run_meter(meter, command, record, stop, on_step)
    # A bug must not end the work on the other meters.
    except Exception as error:  # pylint: disable=broad-exception-caught
        record.note("".join(traceback.format_exception(error)))
        reason = f"meter-fleet failed: {type(error).__name__}: {error}; see the transcript"
        return Result(meter.name, "unknown", messages=[reason], record=str(record.path))
    finally:
        record.close()


@contextlib.contextmanager
def stopped_by_signals(stop: Stop) -> Iterator[None]:
    """Stops the work on all meters if SIGINT or SIGTERM comes during the block. Does nothing
    outside the main thread, because only the main thread can handle signals."""
    if threading.current_thread() is not threading.main_thread():
        yield
        return
    loop = asyncio.get_running_loop()
    for number in SIGNALS:
        loop.add_signal_handler(number, stop.ask)
    try:
        yield
    finally:
        for number in SIGNALS:
            loop.remove_signal_handler(number)


async def run_all(meters: Sequence[Meter], command: Command, jobs: int, records: Path,
                  on_step: Callable[[str, str], None],
                  on_result: Callable[[Result], None]) -> list[Result]:
    stop = Stop()
    slots = asyncio.Semaphore(jobs)

    async def run_in_turn(meter: Meter) -> Result:
        async with slots:
            result = await run_one(meter, command, records, stop, on_step)
            on_result(result)
            return result

    with stopped_by_signals(stop):
        return list(await asyncio.gather(*map(run_in_turn, meters)))


def allow_files(jobs: int) -> None:
    """Raises the limit on open files to the number that `jobs` meters need, or as far as the system
    permits."""
    soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    needed = jobs * FILES_A_METER + FILES_BESIDES
    if soft != resource.RLIM_INFINITY and soft < needed:
        allowed = needed if hard == resource.RLIM_INFINITY else min(needed, hard)
        resource.setrlimit(resource.RLIMIT_NOFILE, (allowed, hard))


def run(meters: Sequence[Meter], command: Command, *, jobs: int = DEFAULT_JOBS,
        records: Path = DEFAULT_RECORDS,
        on_step: Callable[[str, str], None] = ignore_step,
        on_result: Callable[[Result], None] = ignore_result) -> list[Result]:
    """Runs the command on every meter, on at most `jobs` meters at the same time. Returns the
    results in the order of the meters. Calls `on_step` with a meter's name and the name of the step
    that begins on this meter. Calls `on_result` with each result. After SIGINT or SIGTERM, the
    function leaves every meter without saving, and the results report the interruption. The
    function handles these signals only in the main thread."""
    allow_files(jobs)
    return asyncio.run(run_all(meters, command, jobs, records, on_step, on_result))
