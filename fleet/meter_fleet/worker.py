"""Runs sessions on one meter until the result for this meter is known.

A reading consists of the values that one session reads. Usually, a reading counts only if a second
session reads the same values. After a save, new sessions read the values again.
"""

from __future__ import annotations

import asyncio
import time
from collections.abc import Callable, Mapping
from dataclasses import dataclass, field

from meter_fleet import session as sessions
from meter_fleet import shell
from meter_fleet.errors import Astray, Foreign, Hopeless, Interrupted, LinkLost, Silent
from meter_fleet.keys import Dialog
from meter_fleet.plan import Meter, shown
from meter_fleet.record import Record
from meter_fleet.results import Command, Difference, Result, Value
from meter_fleet.screens import INIT_LINE, Menu
from meter_fleet.session import NotOffered, Outcome, Session
from meter_fleet.settings import SETTINGS, as_text, as_value
from meter_fleet.shell import Shell
from meter_fleet.transport import Link, Stop, open_link

MOST_SESSIONS = 20
MOST_SAVES = 3
MOST_CONNECTIONS = 3  # after this many failed connections without a reading, the work ends
MOST_LOST = 5  # after this many lost or silent connections in total, the work ends
SILENT_SECONDS = 10.0  # the time limit for leaving the utility on a silent console
WORK_SECONDS = 900.0  # after this time, no new session begins
LEAVE_SECONDS = 4.5  # the time limit for leaving the utility after a signal
PAUSES = (0.5, 1.0, 2.0)  # the pauses before the next connections
FOREIGN_PAUSE = 1.0
SLOW_SECONDS = 2.8  # two readings that take longer would need more than six seconds of work


@dataclass(frozen=True)
class Reading:
    """The values that one session read. `is_clean`: True if nothing unexpected happened in the
    session. `seconds`: the duration of the reading."""

    values: Mapping[str, str]
    is_clean: bool
    seconds: float


@dataclass
class Job:
    """The state of the work on one meter. `readings`: the readings since the last save. `held`: the
    values of the last reading. `first`: the values of the last reading before the first edit.
    `entered`: the settings that were entered in any session. `tainted`: the settings that may be
    saved only in part, because meter-fleet did not read a report of success for their save.
    meter-fleet enters these settings again, even if the menus show the planned values. `saving`:
    True if a save has begun and its outcome is unknown."""

    meter: Meter
    command: Command
    record: Record
    stop: Stop
    on_step: Callable[[str, str], None]
    goal: dict[str, str]
    link: Link | None = None
    where: Shell | None = None
    current: Session | None = None
    readings: list[Reading] = field(default_factory=list)
    held: dict[str, str] = field(default_factory=dict)
    first: dict[str, str] = field(default_factory=dict)
    messages: list[str] = field(default_factory=list)
    entered: set[str] = field(default_factory=set)
    tainted: set[str] = field(default_factory=set)
    saves: int = 0
    saving: bool = False
    connections_failed: int = 0
    connections_lost: int = 0
    screen_seen: bool = False
    failed: bool = False  # True if the utility has reported a failed save


def say(job: Job, text: str) -> None:
    if text not in job.messages:
        job.messages.append(text)
    job.record.note(text)


def report_step(job: Job, step: str) -> None:
    job.on_step(job.meter.name, step)


# -- sessions --

def menus_of(job: Job) -> list[str]:
    if job.command is Command.SHOW:
        return ["main", "port", *(["init"] if offers_init(job) else [])]
    wanted = {SETTINGS[name].menu for name in job.goal}
    return ["main", *(kind for kind in ("port", "init") if kind in wanted)]


def offers_init(job: Job) -> bool:
    """Returns True if the main menu offers the initialisation menu. Call this function only while
    the utility shows the main menu."""
    assert job.current
    prompt = job.current.dialog.view.prompt
    return isinstance(prompt, Menu) and INIT_LINE in prompt.choices


def program_of(job: Job) -> str:
    """Returns the command line of the utility, with -m if the work needs the initialisation
    menu."""
    program = job.meter.program
    needs_init = job.command is Command.SHOW or any(
        SETTINGS[name].menu == "init" for name in job.goal)
    return f"{program} -m" if needs_init and "-m" not in program.split() else program


async def reach_shell(job: Job, link: Link) -> Shell:
    where = Shell(link, job.meter.console.kind, job.meter.login)
    job.where = where
    if await shell.reach(where) == "utility":
        say(job, "the utility was already running on the console: left it without saving")
        session = await sessions.attend(Dialog(link), where)
        await sessions.leave(session)
        where.text = session.dialog.view.heard
    return where


async def begin(job: Job) -> Session:
    """Opens the connection if necessary. Starts the utility and waits for the first prompt."""
    if job.link is None:
        job.link = await open_link(job.meter.console, job.record, job.stop)
        if job.meter.console.kind != "run":
            await reach_shell(job, job.link)
    if job.where is None:
        job.current = Session(Dialog(job.link))
        await sessions.begin_run(job.current)
    else:
        job.current = Session(Dialog(job.link), job.where)
        await sessions.begin_in_shell(job.current, program_of(job))
    return job.current


async def close_link(job: Job) -> None:
    link, job.link, job.where, job.current = job.link, None, None, None
    if link:
        await link.close()


async def end(job: Job) -> None:
    """Leaves the utility without saving. A shell stays open for the next session."""
    session, job.current = job.current, None
    if session is None:
        return
    await sessions.leave(session)
    if job.where is None:
        await close_link(job)
    else:
        job.where.text = session.dialog.view.heard


async def give_up_session(job: Job) -> None:
    """Leaves the utility after something went wrong in the session. Closes the connection if
    leaving fails, or if the utility never showed a prompt."""
    if job.current and job.current.dialog.view.turn == 0:
        await close_link(job)
        return
    try:
        await end(job)
    except (Astray, LinkLost) as error:
        say(job, f"could not leave the utility: {error}")
        await close_link(job)


async def give_up_silent_session(job: Job) -> None:
    """Does the same as `give_up_session`, but takes at most SILENT_SECONDS, because the console
    does not answer."""
    try:
        await asyncio.wait_for(give_up_session(job), SILENT_SECONDS)
    except asyncio.TimeoutError:
        say(job, "could not leave the utility: the console does not answer")
        await close_link(job)


# -- reading --

async def read(job: Job, session: Session) -> Reading:
    start = time.monotonic()
    report_step(job, "verifying" if job.saves else "reading")
    await sessions.go_to(session, "main")
    job.screen_seen = True
    await sessions.read_all(session, menus_of(job), job.goal)
    reading = Reading(dict(session.expected), sessions.is_clean(session),
                      time.monotonic() - start)
    job.connections_failed = 0
    job.readings.append(reading)
    job.held = dict(reading.values)
    if not job.entered:
        job.first = job.held
    return reading


def agreeing(readings: list[Reading]) -> int:
    """Counts the readings at the end of the list that all have the same values."""
    count = 0
    for reading in reversed(readings):
        if reading.values != readings[-1].values:
            break
        count += 1
    return count


def is_as_foreseen(job: Job) -> bool:
    """Returns True if every planned setting has its planned value, and every other setting has the
    value from before the first edit. Returns False if no setting is planned."""
    foreseen = {**job.first, **job.goal}
    return bool(job.goal) and all(foreseen.get(name) == text for name, text in job.held.items())


def is_believed(job: Job) -> bool:
    """Returns True if the last reading counts. Usually, two sessions must read the same values,
    because damage on the line is unlikely to produce the same wrong value twice. If any readings
    differ, the last three readings must agree. One reading is enough if it shows the expected
    values, nothing unexpected happened in its session, and a second reading would take too long."""
    if not (readings := job.readings):
        return False
    if is_as_foreseen(job) and readings[-1].is_clean and readings[-1].seconds > SLOW_SECONDS:
        return True
    needed = 2 if agreeing(readings) == len(readings) else 3
    return agreeing(readings) >= needed


def may_edit_now(job: Job) -> bool:
    """Returns True if the session may edit after the last reading. One clean reading is enough,
    because the menus show each edited value."""
    return job.readings[-1].is_clean or is_believed(job)


def differing(job: Job) -> list[str]:
    return [name for name, text in job.goal.items() if job.held.get(name) != text]


def to_enter(job: Job) -> list[str]:
    """Returns the settings to enter before a save: the settings that differ, the settings that an
    earlier save may not have written, and the doubtful settings. The menus show the planned value
    of a doubtful setting even if the utility could not read the setting. Only entering the value
    makes sure that the meter has the value."""
    differ = differing(job)
    doubtful = {name for name, text in job.goal.items() if sessions.is_doubtful(name, text)}
    return [*differ, *sorted((job.tainted | doubtful) - set(differ))]


# -- results --

def plain(text: str) -> str:
    """Decodes a value from UTF-8. `text` has one character per byte."""
    return text.encode("latin-1").decode("utf-8", "backslashreplace")


def value_of(name: str, text: str) -> Value:
    return as_value(SETTINGS[name], plain(text))


def values_of(texts: Mapping[str, str]) -> dict[str, Value]:
    return {name: value_of(name, texts[name]) for name in SETTINGS if name in texts}


def differences(job: Job, before: Mapping[str, str]) -> list[Difference]:
    return [Difference(name, value_of(name, before[name]), job.meter.settings[name])
            for name in SETTINGS if name in job.goal and name in before
            and before[name] != job.goal[name]]


def say_what_it_holds(job: Job) -> None:
    """Adds a message with the value of each setting that was read. If no setting was read, adds a
    message that says so."""
    if not job.readings:
        state = "after the save " if job.saves else ""
        say(job, f"the settings could not be read {state}".strip())
        return
    for name in SETTINGS:
        if name in job.held:
            holds = f"the meter shows {name} = {shown(value_of(name, job.held[name]))}"
            say(job, f"{holds}, {against_plan(job, name)}")


def against_plan(job: Job, name: str) -> str:
    """Returns the part of a message that compares the meter's value with the plan."""
    text = job.held[name]
    if name in job.goal:
        planned = shown(job.meter.settings[name])
        return "as planned" if text == job.goal[name] else f"planned is {planned}"
    if (before := job.first.get(name, text)) != text:
        return f"which was {shown(value_of(name, before))} before and is not planned"
    return "which is not planned"


def result_of(job: Job, result: str) -> Result:
    if result == "unknown":
        say_what_it_holds(job)
    changed = job.saves > 0 if job.command is Command.APPLY else result == "differs"
    return Result(job.meter.name, result, changed, differences(job, job.first),
                  values_of(job.held), job.messages)


# -- the commands --

async def edit_and_save(job: Job, session: Session, wanted: list[str]) -> None:
    """Enters the settings `wanted` and saves. Discards the earlier readings when the save begins.
    If an exception is raised before `before_saving` is called, meter-fleet has not saved."""
    report_step(job, "editing")
    job.entered |= set(wanted)
    await sessions.edit(session, {name: job.goal[name] for name in wanted})

    def before_saving() -> None:
        report_step(job, "saving")
        job.saving = True
        job.saves += 1
        job.readings.clear()
        job.tainted |= {name for name in session.edited
                        if name in sessions.MIRRORED or SETTINGS[name].menu == "init"}

    saving = await sessions.save(session, before_saving)
    job.saving = saving.outcome is Outcome.UNCLEAR
    if saving.outcome is Outcome.SAVED:
        job.tainted -= set(session.edited)
    elif saving.outcome is Outcome.FAILED:
        job.failed = True
        for message in saving.messages:
            say(job, f"the utility says: {message}")


async def look(job: Job, session: Session) -> str:
    """Runs one session of `show` or `check`. Returns the result, or "" if another session is
    needed."""
    await read(job, session)
    if not is_believed(job):
        return ""
    media = job.goal.get("media_type", "")
    if media and job.held["media_type"] != media:
        if media not in await sessions.offered_media_types(session):
            raise NotOffered(f'the port does not offer the media type "{media}"')
    return "differs" if differing(job) else "ok"


def saved_by_others(job: Job) -> set[str]:
    """Returns the settings that were entered and now have their planned values, although
    meter-fleet has not saved. Somebody else or a bad line has then caused a save, and meter-fleet
    has not read its report."""
    return job.entered - set(differing(job)) if job.saves == 0 else set()


async def work_once(job: Job, session: Session) -> str:
    """Runs one session of `apply`. Returns the result, or "" if another session is needed."""
    await read(job, session)
    wanted = differing(job)
    job.tainted |= saved_by_others(job)
    if is_believed(job):
        if wanted and job.saves and not job.tainted and not job.saving:
            return "unknown"
        if not wanted and not job.tainted:
            return "changed" if job.saves else "ok"
    if job.failed or job.saves == MOST_SAVES:
        return "" if not is_believed(job) else give_up_saving(job)
    if may_edit_now(job) and (wanted or job.tainted):
        await edit_and_save(job, session, to_enter(job))
    return ""


def give_up_saving(job: Job) -> str:
    if job.tainted:
        names = ", ".join(sorted(job.tainted))
        say(job, "the utility's report of the save could not be read: the meter's own services "
            f"may not have {names}")
    return "unknown"


async def try_session(job: Job) -> str:
    session = await begin(job)
    result = await (work_once if job.command is Command.APPLY else look)(job, session)
    report_step(job, "leaving")
    await end(job)
    return result


def is_hopeless(job: Job) -> bool:
    return job.connections_lost >= MOST_LOST or job.connections_failed >= MOST_CONNECTIONS


async def after_lost_link(job: Job, error: LinkLost) -> str:
    """Closes the connection. Returns the result if another connection would be useless. Otherwise
    waits and returns ""."""
    await close_link(job)
    say(job, str(error))
    job.connections_failed += 1
    job.connections_lost += 1
    if isinstance(error, Hopeless) or is_hopeless(job):
        return given_up(job)
    await pause(job, PAUSES[job.connections_failed - 1])
    return ""


async def pause(job: Job, seconds: float) -> None:
    until = time.monotonic() + seconds
    while time.monotonic() < until:
        if job.stop.asked:
            raise Interrupted
        await asyncio.sleep(0.1)


def given_up(job: Job) -> str:
    return "unknown" if job.screen_seen else "unreachable"


async def next_result(job: Job) -> str:
    """Runs one session and handles the session's failure. Returns the result, or "" if another
    session must run."""
    try:
        return await try_session(job)
    except NotOffered as error:
        say(job, str(error))
        await give_up_session(job)
        return "rejected"
    except Foreign as error:
        say(job, str(error))
        await give_up_session(job)
        await pause(job, FOREIGN_PAUSE)
    except Silent as error:
        say(job, str(error))
        await give_up_silent_session(job)
        job.connections_failed += 1
        job.connections_lost += 1
        if is_hopeless(job):
            return given_up(job)
    except Astray as error:
        job.record.note(str(error))
        await give_up_session(job)
    except LinkLost as error:
        return await after_lost_link(job, error)
    return ""


async def interrupted(job: Job) -> str:
    """Leaves the utility without saving, within LEAVE_SECONDS. Adds a message that says whether
    this succeeded. Returns the result."""
    if job.link:
        job.link.leaving = True
    say(job, "interrupted during a save" if job.saving else "interrupted")
    try:
        await asyncio.wait_for(end(job), LEAVE_SECONDS)
        say(job, "left the utility without saving")
    except (Astray, LinkLost, asyncio.TimeoutError):
        say(job, "could not leave the utility: its unsaved edits are lost when it ends, but it may "
            "still be running on the console")
    await close_link(job)
    return "unknown" if job.screen_seen else "unreachable"


async def work(job: Job) -> str:
    until = time.monotonic() + WORK_SECONDS
    for _ in range(MOST_SESSIONS):
        if result := await next_result(job):
            return result
        if time.monotonic() > until:
            say(job, "gave up: it took too long")
            break
    say(job, "gave up: the console was too unreliable")
    return given_up(job)


async def finish(job: Job) -> None:
    if job.where and job.link and not job.link.ended:
        try:
            await asyncio.wait_for(shell.log_out(job.where), LEAVE_SECONDS)
        except (LinkLost, Interrupted, asyncio.TimeoutError):
            pass  # the connection is closed in any case
    await close_link(job)


async def run_meter(meter: Meter, command: Command, record: Record, stop: Stop,
                    on_step: Callable[[str, str], None]) -> Result:
    """Runs the command on one meter. Returns a result even if the meter or its console fails."""
    start = time.monotonic()
    goal = {name: as_text(value) for name, value in meter.settings.items()}
    job = Job(meter, command, record, stop, on_step, {} if command is Command.SHOW else goal)
    try:
        result = await work(job)
    except Interrupted:
        result = await interrupted(job)
    finally:
        await finish(job)
    done = result_of(job, result)
    done.seconds = time.monotonic() - start
    done.record = str(record.path)
    return done
