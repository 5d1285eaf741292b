"""Runs a program on a meter of its own, with one of its system calls made to fail, or killed there.

strace does it: it counts the calls of each name by themselves, so that a fault is a name and a
number. Input comes from a pseudo-terminal that holds all keys from the start and stays open: no
run waits for a key, and one that wants more keys than there are does not end, which is noticed.
"""

import concurrent.futures
import dataclasses
import itertools
import os
import pathlib
import re
import shutil
import signal
import stat
import subprocess
import tempfile
import termios
import time

from harness import program
from harness.meter import toml_text
from harness.terminal import LFLAG

KILL = "KILL"
ERRORS = ("EIO", "ENOSPC", "EINTR", "EACCES", "EMFILE", "ENOMEM")
LIMIT = 10.0  # seconds for one run, of some milliseconds usually
MODE = 0o640  # of a meter's files, which a write must keep
MASK = 0o077  # under which a file that is made has other permission bits
SETTLED = 0.3  # seconds after which a file's times tell any later change

# What strace would make fail in a way in which the system does not.
CANNOT_FAIL = {
    "exit_group": "it does not return",
    "close": "the descriptor is gone whatever it returns; strace would leave it open, and locked",
}


@dataclasses.dataclass(frozen=True)
class Fault:
    effect: str    # KILL or the name of an error
    call: str      # a system call's name
    which: int     # 1: the first call of that name
    position: int  # of the call among all of the undisturbed run
    aim: str       # what it works on

    def __str__(self):
        return f"{self.effect} at call {self.position} ({self.call} {self.which}, {self.aim})"

    def strace_options(self):
        # Stopping at no other call saves half of the time; a signal would then be lost.
        fast = () if self.effect == KILL else ("-f", "--seccomp-bpf")
        effect = "signal=KILL" if self.effect == KILL else f"error={self.effect}"
        if self.call == "brk" and self.effect != KILL:
            effect = "retval=0"  # it never returns an error: a break below the one asked for
        return (*fast, "-e", f"trace={self.call}",
                "-e", f"inject={self.call}:{effect}:when={self.which}")


@dataclasses.dataclass(frozen=True)
class Subject:
    """What is run: a command on a meter with these leaves, and the keys typed to it."""
    command: tuple
    store: dict
    keys: bytes = b""
    traced: bool = False  # whether the client library writes down its calls
    factory: dict | None = None  # the leaves of a factory file

    def files(self):
        """The meter's folder before a run."""
        leaves = {"store.toml": self.store, "factory.toml": self.factory}
        return {name: toml_text(of).encode() for name, of in leaves.items() if of is not None}


@dataclasses.dataclass
class Run:
    status: int | None  # minus the signal that ended it; None: it did not end
    output: bytes
    errors: str
    strace: list        # the lines of the calls that strace was to show
    calls: list         # the library's own trace, one JSON text a call
    files: dict         # what is in the meter's folder, by name
    modes: dict         # their permission bits

    def store(self):
        return self.files.get("store.toml")

    def hit_line(self, effect):
        """The call that was hit, as strace shows it; of a killed one there may be no line."""
        mark = " = ?" if effect == KILL else "(INJECTED)"
        return next((line for line in self.strace if mark in line), "")

    def is_hit(self, fault):
        line = self.hit_line(fault.effect)
        if fault.effect == KILL and not line:
            return self.status == -signal.SIGKILL
        return line != "" and aim_of(line) == fault.aim


class Place:
    """A folder for many meters: in memory where there is such a file system, so that flushing
    takes no time."""

    def __init__(self):
        memory = pathlib.Path("/dev/shm")
        base = memory if os.access(memory, os.W_OK) else program.BUILD
        self.top = pathlib.Path(tempfile.mkdtemp(prefix="meter-faults-", dir=base))
        self.numbers = itertools.count()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.top)

    def make_meter(self, files):
        """The meter's folder is the folder `meter` in the one that is returned."""
        top = self.top / str(next(self.numbers))
        (top / "meter").mkdir(parents=True)
        for file, text in files.items():
            (top / "meter" / file).write_bytes(text)
            (top / "meter" / file).chmod(MODE)
        return top


def open_typed(keys):
    """A pseudo-terminal in raw mode with these keys on it: our descriptor, then the program's."""
    ours, theirs = os.openpty()
    attributes = termios.tcgetattr(theirs)
    attributes[LFLAG] &= ~(termios.ECHO | termios.ICANON | termios.ISIG)
    termios.tcsetattr(theirs, termios.TCSANOW, attributes)
    if keys:
        os.write(ours, keys)
    return ours, theirs


def wait_for(process):
    try:
        output, errors = process.communicate(timeout=LIMIT)
        return process.returncode, output, errors
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)  # strace and what it runs, started in one session
        output, errors = process.communicate()
        return None, output, errors


def files_of(folder):
    return {entry.name: entry.read_bytes() for entry in sorted(folder.iterdir())}


def modes_of(folder):
    return {entry.name: stat.S_IMODE(entry.stat().st_mode) for entry in folder.iterdir()}


def lines_of(file):
    return file.read_text(errors="replace").splitlines() if file.exists() else []


def run(subject, top, strace_options=None):
    """One run on the meter in `top`; without `strace_options` not under strace."""
    environment = {"METER_SIM_DIR": str(top / "meter"), "METER_SIM_NO_DELAY": "1"}
    if subject.traced:
        environment["METER_SIM_TRACE"] = str(top / "calls")
    command = list(subject.command)
    if strace_options is not None:
        command[:0] = ["strace", "-qq", "-y", "-o", str(top / "strace"), *strace_options, "--"]
    ours, theirs = open_typed(subject.keys)
    try:
        process = subprocess.Popen(command, env=environment, stdin=theirs, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, start_new_session=True, umask=MASK)
        status, output, errors = wait_for(process)
    finally:
        os.close(ours)
        os.close(theirs)
    return Run(status, output, errors.decode(errors="replace"), lines_of(top / "strace"),
               lines_of(top / "calls"), files_of(top / "meter"), modes_of(top / "meter"))


def of_store(aim):
    return any(name == "meter" or ".toml" in name for name in aim.split())


PARTS = {"store": of_store}  # parts of a matrix

STANDARD = {"0": "input", "1": "output", "2": "errors"}


def aim_of(line):
    """What a call works on: names of files without their folders, or a standard descriptor."""
    arguments = line.rpartition(" = ")[0]
    names = [STANDARD.get(descriptor, file.rpartition("/")[2])
             for descriptor, file in re.findall(r"\b(\d+)<([^>]*)>", arguments)]
    if not re.match(r"(\d+ +)?p?(read|write)", line):  # their texts are no names
        names += [file.rpartition("/")[2] for file in re.findall(r'<[^>]*>, "([^"]+)"', arguments)]
    return " ".join(names)


def can_fail(call, line):
    return call not in CANNOT_FAIL and not line.startswith("brk(NULL)")


def faults_of(strace_lines, effects):
    """Every effect at every call, from the first one after exec to the last."""
    names = [line.partition("(")[0] for line in strace_lines]
    assert names[0] == "execve" and names[-1] == "exit_group"
    return [Fault(effect, name, names[:position + 1].count(name), position,
                  aim_of(strace_lines[position]))
            for position, name in enumerate(names) if position > 0
            for effect in effects
            if effect == KILL or can_fail(name, strace_lines[position])]


class Matrix:
    """A subject's undisturbed run, and the faults to be injected into others like it."""

    def __init__(self, subject, place, effects=(KILL, *ERRORS), part=None):
        self.subject = subject
        self.place = place
        self.plain = self.undisturbed()
        self.faults = [fault for fault in faults_of(self.plain.strace, effects)
                       if part is None or PARTS[part](fault.aim)]

    def undisturbed(self):
        """Of a few runs the one of most calls: on a busy machine one may have to do with fewer,
        because the file that it wrote has settled within the run."""
        return max((run(self.subject, top, ()) for top in self.settled_meters(3)),
                   key=lambda done: len(done.strace))

    def outcomes(self, jobs):
        """Pairs of a fault and its run, as they come."""
        with concurrent.futures.ThreadPoolExecutor(jobs) as workers:
            tops = self.settled_meters(len(self.faults))
            yield from workers.map(self.run_until_hit, self.faults, tops)

    def settled_meters(self, count):
        files = self.subject.files()
        tops = [self.place.make_meter(files) for _ in range(count)]
        time.sleep(SETTLED)  # a younger file is read anew, so that the calls would vary
        return tops

    def run_until_hit(self, fault, top):
        """A run of fewer calls, in which the fault finds another one or none, is done again."""
        for _ in range(5):
            done = run(self.subject, top, fault.strace_options())
            shutil.rmtree(top)
            if done.is_hit(fault) or done.status is None:
                break
            top = self.settled_meters(1)[0]
        return fault, done
