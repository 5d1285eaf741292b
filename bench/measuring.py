"""Plays sessions on a terminal and measures their times and counts, for the scripts in this directory.

A session is a list of steps. A step has the keys to type and the bytes that the program must answer.
`learn` records the answers once. When the session is played again, a step ends when its answer is complete. A
different answer is an error.
"""

import collections
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import termios
import time
from pathlib import Path
from typing import NamedTuple

ROOT = Path(__file__).resolve().parent.parent
sys.path[:0] = [str(ROOT / "tests"), str(ROOT / "cmake")]

from build_lock import build_lock
from harness.program import BUILD, wait_until
from harness.terminal import OFLAG, Console

LIMIT = 600  # seconds for a build or for a run under a measuring tool
QUIET = 0.05  # if a sleeping program writes nothing for this many seconds, its answer is complete
REPEATED = 50  # the repetitions of a cycle of steps in the measurement of one step


class Contender(NamedTuple):
    name: str
    command: list
    environment: dict
    end: str  # the keys that end a session from any screen


class Step(NamedTuple):
    name: str
    keys: str
    answer: bytes


def need(*tools):
    for tool in tools:
        if not shutil.which(tool):
            sys.exit(f"error: {tool} is not installed: apt-get install {tool}")


def build(*targets):
    with build_lock(BUILD):
        subprocess.run(["cmake", "--build", BUILD, "--target", *targets], check=True, timeout=LIMIT,
                       stdout=subprocess.DEVNULL)


# -- sessions --

def as_usual(attributes):
    attributes[OFLAG] |= termios.OPOST | termios.ONLCR


def open_console(contender, prefix=()):
    return Console([*prefix, *contender.command], contender.environment, as_usual)


def finish(console, contender):
    console.send(contender.end.encode())
    ending = console.finish()
    if ending != "exit 0":
        raise RuntimeError(f"{contender.name}: {ending}: {console.errors.decode()}")


def is_asleep(process):
    return Path(f"/proc/{process.pid}/stat").read_text().rpartition(")")[2].split()[0] == "S"


def answer_of(console):
    wait_until(lambda: not console.receive(QUIET) and (console.ended or is_asleep(console.process)),
               console.history)
    return console.take()


def learn(contender, *steps):
    """Plays a session and returns its steps with the answers. Each argument is a step's name and keys. The
    first step is the start."""
    console = open_console(contender)
    try:
        learnt = []
        for name, keys in steps:
            console.send(keys.encode())
            learnt.append(Step(name, keys, answer_of(console)))
        finish(console, contender)
        return learnt
    finally:
        console.close()


def play(contender, steps, prefix=(), look=lambda console: None):
    """Plays a session under a measuring tool. Calls `look` after the last step and returns its result."""
    console = open_console(contender, prefix)
    try:
        for step in steps:
            console.send(step.keys.encode())
            console.expect(step.answer)
        seen = look(console)
        finish(console, contender)
        return seen
    finally:
        console.close()


# -- times --

def planned(contender, steps):
    """Yields the texts of a contender and its steps in the format of bench/contest.cpp."""
    yield from (*map(str, contender.command), "")
    for step in [*steps, Step("exit", contender.end, b"")]:
        yield from (step.name, step.keys, str(len(step.answer)))
    yield ""


def hold_contest(rounds, seed, plan):
    """Times all contenders in `plan`, a list of (contender, steps). All contenders use the environment of the
    first one.

    The result maps (position of the contender, name of the step) to a list with one time for each round, in
    microseconds. The time is the median of the round's steps with that name. The name "end" is for the
    whole run."""
    texts = [text for contender, steps in plan for text in planned(contender, steps)]
    done = subprocess.run([BUILD / "contest", str(rounds), str(seed)], check=True, timeout=LIMIT,
                          input="".join(f"{text}\0" for text in texts).encode(),
                          stdout=subprocess.PIPE, env=plan[0][0].environment).stdout.decode()
    times = collections.defaultdict(lambda: collections.defaultdict(list))
    for line in done.splitlines():
        number, position, name, microseconds = line.split()
        times[int(position), name][number].append(float(microseconds))
    return {what: [statistics.median(part) for part in by_round.values()]
            for what, by_round in times.items()}


def ratios(times, baseline):
    """Returns the ratio of the two times of each round, because a slow round affects both programs."""
    return [time / least for time, least in zip(times, baseline)]


def spread(values, digits=0):
    low, median, high = statistics.quantiles(values, n=4)
    return f"{median:,.{digits}f} ({low:,.{digits}f} to {high:,.{digits}f})"


# -- counts --

def instructions_of(contender, steps):
    """Returns the number of instructions that a whole session executes in user space."""
    with tempfile.NamedTemporaryFile(dir=BUILD) as log:
        play(contender, steps, ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null",
                                f"--log-file={log.name}"])
        return int(re.search(rb"Collected : (\d+)", log.read())[1])


def system_calls_of(contender, steps):
    """Returns the number of system calls of a session until the program waits for a key after the last step.
    The wait itself is not counted."""
    with tempfile.NamedTemporaryFile(dir=BUILD) as log:
        def calls(console):
            text = None
            while console.process.poll() is None and (
                    text != (text := Path(log.name).read_bytes()) or text.endswith(b"\n")):
                time.sleep(QUIET)  # the program waits if its log no longer grows
            return text.count(b"\n")
        return play(contender, steps, ["strace", "-o", log.name], calls)


def peak_memory_of(contender, steps):
    """Returns the largest resident set of a session, in KB."""
    def high_water(console):
        status = Path(f"/proc/{console.process.pid}/status").read_text()
        return int(re.search(r"VmHWM:\s*(\d+)", status)[1])
    return play(contender, steps, look=high_water)


def of_one_more(measure, contender, lead, cycle, tail=()):
    """Returns the cost of one step in a cycle of steps. Measures a session with one cycle and a session with
    many cycles. Both sessions begin with the steps `lead` and end with the steps `tail`."""
    few, many = (measure(contender, [*lead, *cycle * count, *tail]) for count in (1, 1 + REPEATED))
    return (many - few) / (REPEATED * len(cycle))
