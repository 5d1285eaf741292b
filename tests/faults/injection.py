"""Runs a program on a new simulated meter and injects a fault: at one system call of the program, either this
call fails or a signal kills the program.

strace injects the fault. strace counts the calls of each name separately, so a name and a number identify a
call. The test types all keys into a pseudo-terminal before the program starts, and keeps the pseudo-terminal
open. If the program waits for more keys, the test stops it after a time limit and reports the run.
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
LIMIT = 10.0  # seconds for one run, which usually takes milliseconds
MODE = 0o640  # the mode of a meter's files, which a write must keep
MASK = 0o077  # the program's umask, which gives new files a mode other than MODE by default
SETTLED = 0.3  # seconds to wait after a write, so that a later change also changes the file's time stamps

# Calls in which no error is injected, each with the reason why an injected error would not be realistic.
CANNOT_FAIL = {
    "exit_group": "it does not return",
    "close": "it always closes the descriptor; strace would leave the descriptor open, and its file locked",
}


@dataclasses.dataclass(frozen=True)
class Fault:
    effect: str    # KILL or the name of an error
    call: str      # the name of the system call
    which: int     # the number of the call among the calls of the same name, from 1
    position: int  # the position of the call among all calls of the undisturbed run
    aim: str       # the file or descriptor that the call uses

    def __str__(self):
        return f"{self.effect} at call {self.position} ({self.call} {self.which}, {self.aim})"

    def strace_options(self):
        # With --seccomp-bpf, strace stops the program only at the traced calls, which saves half of the time.
        # However, strace then does not send the KILL signal.
        fast = () if self.effect == KILL else ("-f", "--seccomp-bpf")
        effect = "signal=KILL" if self.effect == KILL else f"error={self.effect}"
        if self.call == "brk" and self.effect != KILL:
            effect = "retval=0"  # a failed brk returns a break below the requested break, but no error
        return (*fast, "-e", f"trace={self.call}",
                "-e", f"inject={self.call}:{effect}:when={self.which}")


@dataclasses.dataclass(frozen=True)
class Subject:
    """A command, the leaves of its meter, and the keys that the test types."""
    command: tuple
    store: dict
    keys: bytes = b""
    traced: bool = False  # True if the client library writes a trace
    factory: dict | None = None  # the leaves of the factory file, or None for no factory file

    def files(self):
        """Maps the name of each file of the meter before a run to its content."""
        leaves = {"store.toml": self.store, "factory.toml": self.factory}
        return {name: toml_text(of).encode() for name, of in leaves.items() if of is not None}


@dataclasses.dataclass
class Run:
    status: int | None  # the exit status, the negative number of a fatal signal, or None after a time-out
    output: bytes
    errors: str
    strace: list        # the lines that strace printed
    calls: list         # the library's trace, one JSON text per call
    files: dict         # maps the name of each file in the meter's directory to its content
    modes: dict         # maps the name of each file in the meter's directory to its permission bits

    def store(self):
        return self.files.get("store.toml")

    def hit_line(self, effect):
        """Returns the line that strace printed for the call with the fault. Returns "" if there is no such
        line, which is possible after a kill."""
        mark = " = ?" if effect == KILL else "(INJECTED)"
        return next((line for line in self.strace if mark in line), "")

    def is_hit(self, fault):
        line = self.hit_line(fault.effect)
        if fault.effect == KILL and not line:
            return self.status == -signal.SIGKILL
        return line != "" and aim_of(line) == fault.aim


class Place:
    """A directory for many meters. If possible, the directory is in memory, where fsync takes no time."""

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
        """Creates a meter with these files. Returns a new directory that contains the meter as `meter`."""
        top = self.top / str(next(self.numbers))
        (top / "meter").mkdir(parents=True)
        for file, text in files.items():
            (top / "meter" / file).write_bytes(text)
            (top / "meter" / file).chmod(MODE)
        return top


def open_typed(keys):
    """Opens a pseudo-terminal without echo, line editing and signal keys, and types these keys. Returns two
    descriptors: one for the test and one for the program."""
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
        os.killpg(process.pid, signal.SIGKILL)  # kills strace and the program, which have their own session
        output, errors = process.communicate()
        return None, output, errors


def files_of(folder):
    return {entry.name: entry.read_bytes() for entry in sorted(folder.iterdir())}


def modes_of(folder):
    return {entry.name: stat.S_IMODE(entry.stat().st_mode) for entry in folder.iterdir()}


def lines_of(file):
    return file.read_text(errors="replace").splitlines() if file.exists() else []


def run(subject, top, strace_options=None):
    """Runs the subject on the meter in `top`. Uses strace unless `strace_options` is None."""
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


# The parts of the matrix. Each function decides from the aim of a fault whether the part contains the fault.
PARTS = {"store": of_store}

STANDARD = {"0": "input", "1": "output", "2": "errors"}


def aim_of(line):
    """Returns the names of the files and standard streams that a call uses, without directories. `line` is
    the line of strace for the call."""
    arguments = line.rpartition(" = ")[0]
    names = [STANDARD.get(descriptor, file.rpartition("/")[2])
             for descriptor, file in re.findall(r"\b(\d+)<([^>]*)>", arguments)]
    if not re.match(r"(\d+ +)?p?(read|write)", line):  # in a read or write, a quoted text is data, not a name
        names += [file.rpartition("/")[2] for file in re.findall(r'<[^>]*>, "([^"]+)"', arguments)]
    return " ".join(names)


def can_fail(call, line):
    return call not in CANNOT_FAIL and not line.startswith("brk(NULL)")


def faults_of(strace_lines, effects):
    """Returns a fault for each effect at each call after execve, but no errors at calls that cannot fail."""
    names = [line.partition("(")[0] for line in strace_lines]
    assert names[0] == "execve" and names[-1] == "exit_group"
    return [Fault(effect, name, names[:position + 1].count(name), position,
                  aim_of(strace_lines[position]))
            for position, name in enumerate(names) if position > 0
            for effect in effects
            if effect == KILL or can_fail(name, strace_lines[position])]


class Matrix:
    """An undisturbed run of a subject, and the faults to inject into further runs."""

    def __init__(self, subject, place, effects=(KILL, *ERRORS), part=None):
        self.subject = subject
        self.place = place
        self.plain = self.undisturbed()
        self.faults = [fault for fault in faults_of(self.plain.strace, effects)
                       if part is None or PARTS[part](fault.aim)]

    def undisturbed(self):
        """Runs the subject three times and returns the run with the most calls. On a busy machine, a run may
        take so long that the program trusts the store's time stamp, which is old by then. Such a run makes
        fewer calls, because the program does not read the store again."""
        return max((run(self.subject, top, ()) for top in self.settled_meters(3)),
                   key=lambda done: len(done.strace))

    def outcomes(self, jobs):
        """Runs the subject once for each fault, in parallel. Yields pairs: a fault and its run."""
        with concurrent.futures.ThreadPoolExecutor(jobs) as workers:
            tops = self.settled_meters(len(self.faults))
            yield from workers.map(self.run_until_hit, self.faults, tops)

    def settled_meters(self, count):
        files = self.subject.files()
        tops = [self.place.make_meter(files) for _ in range(count)]
        time.sleep(SETTLED)  # the program reads a newer file again, so the number of calls would vary
        return tops

    def run_until_hit(self, fault, top):
        """Runs the subject with the fault. If a run makes fewer calls, so that the fault hits another call or
        no call, repeats the run."""
        for _ in range(5):
            done = run(self.subject, top, fault.strace_options())
            shutil.rmtree(top)
            if done.is_hit(fault) or done.status is None:
                break
            top = self.settled_meters(1)[0]
        return fault, done
