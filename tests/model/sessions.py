"""Plays one session on the program and on the model, and reports the differences.

Each session has a new temporary directory with the meter. scripted_wait.cpp ends each wait for a key
immediately, because the session's script contains the result of each wait.
"""

import itertools
import json
import os
import re
import select
import shutil
import signal
import tomllib
from dataclasses import dataclass
from pathlib import Path

import meter_model
from harness.meter import toml_value
from harness.program import BUILD, RUN_WITH, UTILITY, command
from meter_model import BUILD_STAMP, REASON

IN_NODE = BUILD.name == "web"
SCRIPTED_WAIT = (
    Path(__file__).parent / "scripted_wait.js" if IN_NODE else BUILD / "libscripted_wait.so"
)
SCRATCH = BUILD / "differential"

LONGEST_RUN_MS = 30_000
IDLE_SECONDS = 30
MICROSECONDS_LEFT = 123456  # the microseconds of the remaining time that scripted_wait.cpp returns
BUILD_STAMP_SHAPE = rb"[A-Z][a-z]{2} [ \d]\d \d{4} \d\d:\d\d:\d\d"
COMMENT = "# a note that no rewriting keeps\n"
FOLDER_NUMBERS = itertools.count()


@dataclass
class Run:
    """The results of one session of the program."""

    status: object
    stdout: bytes
    stderr: bytes
    trace: list
    waits: list
    store_text: object
    files: list
    downloads: object


def store_text(content):
    if content is None or isinstance(content, str):
        return content
    lines = [f"{toml_value(path)} = {toml_value(value)}\n" for path, value in content.items()]
    return COMMENT + "".join(lines)


def faults_text(faults):
    if isinstance(faults, str):
        return faults
    return "".join(
        "[[fault]]\n" + "".join(f"{key} = {toml_value(value)}\n" for key, value in fault.items())
        for fault in faults
    )


def prepare(session, events, folder):
    meter = folder / "meter"
    meter.mkdir(parents=True)
    texts = {
        "store.toml": store_text(session["store"]),
        "factory.toml": store_text(session.get("factory")),
        "faults.toml": faults_text(session.get("faults", [])) or None,
    }
    for name, text in texts.items():
        if text is not None:
            (meter / name).write_bytes(text.encode())
    if session.get("jffs") is not None:
        (meter / "jffs" / "downloads").mkdir(parents=True)
        for name in session["jffs"]:
            (meter / "jffs" / "downloads" / name).write_text("x")
    keys, waits = meter_model.keys_and_waits(events)
    (folder / "keys").write_bytes(keys)
    (folder / "waits").write_text(waits)


# The loader opens the preloaded library through this descriptor, because LD_PRELOAD does not allow spaces and
# colons in a path.
PRELOADED = 3


def environment(session, folder):
    # Preloads the library into the program, but not into the emulator that runs the program.
    preloading = ("QEMU_SET_ENV", "LD_PRELOAD=") if RUN_WITH else ("LD_PRELOAD", "")
    if IN_NODE:
        preloading = ("NODE_OPTIONS", "--require=")
    settings = {
        preloading[0]: f"{preloading[1]}/proc/self/fd/{PRELOADED}",
        "PATH": os.environ.get("PATH", ""),
        "SCRIPTED_WAIT": str(folder / "waits"),
        "SCRIPTED_WAIT_LOG": str(folder / "waited"),
        "METER_SIM_TRACE": str(folder / "trace"),
        "METER_SIM_NO_DELAY": "1",
        "ASAN_OPTIONS": "verify_asan_link_order=0",
    }
    home = session.get("home", "set")
    if home != "unset":
        settings["METER_SIM_DIR"] = str(folder / "meter") if home == "set" else ""
    return settings


def spawn_and_wait(program, arguments, settings, folder, preload):
    """Runs the program. Returns its exit status, "signal N" after a fatal signal, or "hung"."""
    writing = os.O_WRONLY | os.O_CREAT | os.O_TRUNC
    words = command(program, *arguments)
    child = os.posix_spawnp(
        words[0],
        words,
        settings,
        file_actions=[
            (os.POSIX_SPAWN_OPEN, 0, str(folder / "keys"), os.O_RDONLY, 0),
            (os.POSIX_SPAWN_OPEN, 1, str(folder / "stdout"), writing, 0o644),
            (os.POSIX_SPAWN_OPEN, 2, str(folder / "stderr"), writing, 0o644),
            (os.POSIX_SPAWN_OPEN, PRELOADED, str(preload), os.O_RDONLY, 0),
        ],
    )
    watch = os.pidfd_open(child)
    try:
        poll = select.poll()
        poll.register(watch, select.POLLIN)
        hung = not poll.poll(LONGEST_RUN_MS)
        if hung:
            signal.pidfd_send_signal(watch, signal.SIGKILL)
        _, how = os.waitpid(child, 0)
    finally:
        os.close(watch)
    if hung:
        return "hung"
    return os.WEXITSTATUS(how) if os.WIFEXITED(how) else f"signal {os.WTERMSIG(how)}"


def run_program(session, events, program, scratch, preload):
    folder = Path(scratch) / f"{os.getpid()}-{next(FOLDER_NUMBERS)}"
    try:
        prepare(session, events, folder)
        status = spawn_and_wait(
            program, session["arguments"], environment(session, folder), folder, preload
        )
        return collect(status, folder)
    finally:
        shutil.rmtree(folder, ignore_errors=True)


def collect(status, folder):
    meter = folder / "meter"
    trace = folder / "trace"
    waited = folder / "waited"
    store = meter / "store.toml"
    downloads = meter / "jffs" / "downloads"
    return Run(
        status,
        (folder / "stdout").read_bytes(),
        (folder / "stderr").read_bytes(),
        trace.read_bytes().splitlines() if trace.exists() else [],
        waited.read_text().splitlines() if waited.exists() else [],
        store.read_bytes().decode(errors="surrogateescape") if store.exists() else None,
        sorted(os.listdir(meter)),
        sorted(os.listdir(downloads)) if downloads.is_dir() else None,
    )


# --- comparing


def first_difference(expected, got):
    """Describes the first difference between two byte strings, with some bytes before and after it."""
    at = next((i for i, (a, b) in enumerate(zip(expected, got)) if a != b), None)
    if at is None:
        at = min(len(expected), len(got))
    start = max(0, at - 60)
    return (
        f"at byte {at}:\n    expected {bytes(expected[start : at + 60])!r}\n"
        f"    got      {bytes(got[start : at + 60])!r}"
    )


def lines_differ(what, expected, got):
    for number, (a, b) in enumerate(itertools.zip_longest(expected, got), 1):
        if a != b:
            return f"{what}, number {number}:\n    expected {a}\n    got      {b}"
    return None


def compare_stdout(outcome, run):
    if BUILD_STAMP in outcome.stdout:
        shape = re.escape(outcome.stdout).replace(re.escape(BUILD_STAMP), BUILD_STAMP_SHAPE)
        same = re.fullmatch(shape, run.stdout)
    else:
        same = outcome.stdout == run.stdout
    return None if same else "standard output " + first_difference(outcome.stdout, run.stdout)


def compare_stderr(outcome, run):
    shape = b"".join(
        rb"[^\n]+\n" if line is REASON else re.escape(line.encode() + b"\n")
        for line in outcome.stderr
    )
    if re.fullmatch(shape, run.stderr):
        return None
    return f"standard error:\n    expected {outcome.stderr}\n    got      {run.stderr!r}"


def compare_trace(outcome, run):
    """Compares the traces as JSON objects, including the order of the keys and the types of the values."""
    expected = [json.dumps(call) for call in outcome.trace]
    try:
        got = [json.dumps(json.loads(line)) for line in run.trace]
    except ValueError as error:
        return f"trace: {error}"
    return lines_differ("calls", expected, got)


def compare_waits(outcome, run):
    """Compares the time-outs. Checks that the program waits before it reads a key, and that it writes all
    pending output before it waits."""
    expected = [
        f"{IDLE_SECONDS} {0 if first else MICROSECONDS_LEFT} {keys} {shown}"
        for first, keys, shown in outcome.waits
    ]
    return lines_differ("waits", expected, run.waits)


def compare_store(outcome, run):
    expected = store_text(outcome.store)
    if run.store_text == expected and not outcome.rewritten:
        return None
    if expected is None or isinstance(outcome.store, str) or run.store_text is None:
        return f"store:\n    expected {expected!r}\n    got      {run.store_text!r}"
    try:
        got = tomllib.loads(run.store_text)
    except tomllib.TOMLDecodeError as error:
        return f"store: {error}"
    if list(got) != sorted(got):
        return f"store: the order of the keys is {list(got)}"
    pair = [
        [f"{path} = {toml_value(value)}" for path, value in sorted(leaves.items())]
        for leaves in (outcome.store, got)
    ]
    return lines_differ("leaves", *pair)


def compare_files(session, outcome, run):
    expected = {"store.toml"} if outcome.store is not None else set()
    expected |= {"factory.toml"} if session.get("factory") is not None else set()
    expected |= {"faults.toml"} if session.get("faults") else set()
    expected |= {"jffs"} if session.get("jffs") is not None else set()
    if set(run.files) != expected:
        return f"the meter's directory: expected {sorted(expected)}, got {run.files}"
    downloads = sorted(outcome.downloads) if outcome.downloads is not None else None
    if run.downloads != downloads:
        return f"downloads: expected {downloads}, got {run.downloads}"
    return None


def differences(session, outcome, run):
    found = [
        compare_stdout(outcome, run),
        compare_stderr(outcome, run),
        f"exit status: expected {outcome.status}, got {run.status}"
        if outcome.status != run.status
        else None,
        compare_trace(outcome, run),
        compare_waits(outcome, run),
        compare_store(outcome, run),
        compare_files(session, outcome, run),
    ]
    return [difference for difference in found if difference]


@dataclass
class Player:
    """Plays sessions of `program` in the directory `scratch`, with the preloaded library `preload`."""

    program: Path = UTILITY
    scratch: Path = SCRATCH
    preload: Path = SCRIPTED_WAIT

    def check(self, session, events, outcome=None):
        """Plays the session on the program. Returns the differences from `outcome`, the outcome of the model.
        If `outcome` is None, first plays the session on the model."""
        if outcome is None:
            outcome = meter_model.play(
                session, meter_model.scripted(events), program=str(self.program)
            )
        run = run_program(session, events, self.program, self.scratch, self.preload)
        return differences(session, outcome, run)


# --- reducing a session


def shorter(items):
    """Yields copies of `items`. Each copy lacks one part. The first copies lack the largest parts."""
    size = len(items)
    while size:
        for start in range(0, len(items), size):
            yield items[:start] + items[start + size :]
        size //= 2


def smaller(session, events):
    """Yields smaller sessions. The sessions that lack the largest parts of the script come first."""
    for script in shorter(lines_of(events)):
        yield session, [event for line in script for event in line]
    for key in ("faults", "jffs"):
        if isinstance(session.get(key), list):
            for rest in shorter(session[key]):
                yield session | {key: rest}, events
    for key in ("factory", "jffs"):
        if session.get(key) is not None:
            yield session | {key: None}, events
    for key in ("store", "factory"):
        if isinstance(session.get(key), dict):
            for rest in shorter(list(session[key].items())):
                yield session | {key: dict(rest)}, events
    if isinstance(session.get("faults"), list):
        for number, fault in enumerate(session["faults"]):
            for key in list(fault)[1:]:
                less = {k: v for k, v in fault.items() if k != key}
                faults = session["faults"][:number] + [less] + session["faults"][number + 1 :]
                yield session | {"faults": faults}, events
    if len(events) <= 200:
        for number in range(len(events)):
            yield session, events[:number] + events[number + 1 :]


def lines_of(events):
    lines = [[]]
    for event in events:
        lines[-1].append(event)
        if event in (10, 4) or isinstance(event, str):
            lines.append([])
    return [line for line in lines if line]


def shrink(player, session, events, tries=600):
    """Returns a smaller session with a difference of the same kind. Plays at most `tries` candidates."""
    kinds = kinds_of(player.check(session, events))
    progress = True
    while progress and kinds:
        progress = False
        for less, fewer in smaller(session, events):
            tries -= 1
            if tries < 0:
                return session, events
            if kinds_of(player.check(less, fewer)) & kinds:
                session, events, progress = less, fewer, True
                break
    return session, events


def kinds_of(found):
    return {re.split(r"[,: ]", difference)[0] for difference in found}


# --- saved sessions


def save(path, session, events, shows):
    content = {"shows": shows, **session, "script": meter_model.script_of(events)}
    Path(path).write_text(json.dumps(content, indent=2, ensure_ascii=False) + "\n")


def load(path):
    """Returns the session and its events."""
    session = json.loads(Path(path).read_text())
    return session, meter_model.waits_of(session.pop("script"))
