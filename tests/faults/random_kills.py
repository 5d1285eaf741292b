"""Kills a writer many times at random moments.

The writer sets eight leaves to the same number, then to the next number, and so on. After each write, the
writer prints the number. After a kill, all leaves must have the same number: the last printed number or the
number after it. The next writer continues after this number.
"""

import collections
import concurrent.futures
import random
import subprocess
import time
import tomllib

from harness import program

CLIENT = program.BUILD / "store-client"
LEAVES = [f"/n/{i}" for i in range(1, 9)]
ENOUGH = 1_000_000  # more numbers than a writer can write before the kill
LONGEST = 0.002  # the longest time in seconds from the first printed number to the kill


def kill_once(folder, first, seconds):
    """Starts a writer and kills it `seconds` after its first output. Returns the numbers that it printed."""
    writer = subprocess.Popen(program.command(CLIENT, "write", "/n", str(first), str(ENOUGH)),
                              env={"METER_SIM_DIR": str(folder)}, stdout=subprocess.PIPE)
    said = writer.stdout.readline()
    time.sleep(seconds)
    writer.kill()
    said += writer.stdout.read()
    writer.wait()
    writer.stdout.close()
    return [int(line) for line in said.split()]


def number_in(folder):
    """Returns the number in all leaves, or None if the numbers differ or the store has other leaves."""
    leaves = tomllib.loads((folder / "store.toml").read_text())
    numbers = set(leaves.values())
    return numbers.pop() if sorted(leaves) == LEAVES and len(numbers) == 1 else None


def kill_many(place, worker, count, seed):
    """Kills `count` writers one after the other. Returns counts of the outcomes. Stops at the first error."""
    moments = random.Random(f"{seed}/{worker}")
    folder = place.make_meter({"store.toml": b""}) / "meter"
    seen = collections.Counter()
    number = 0
    for _ in range(count):
        said = kill_once(folder, number + 1, moments.uniform(0, LONGEST))
        if said != list(range(number + 1, number + 1 + len(said))) or not said:
            print(f"after {number} the writer printed {said}")
            break
        number = number_in(folder)
        if number not in (said[-1], said[-1] + 1):
            print(f"the writer printed {said[-1]}, but the store has {number}")
            break
        seen["kills"] += 1
        seen["writes said"] += len(said)
        seen["kills after a write, before its number was printed"] += number != said[-1]
        seen["kills that left a new file"] += (folder / "store.toml.new").exists()
    return seen


def run(place, count, jobs, seed):
    shares = [count // jobs + (worker < count % jobs) for worker in range(jobs)]
    seen = collections.Counter()
    with concurrent.futures.ThreadPoolExecutor(jobs) as workers:
        for part in workers.map(lambda worker: kill_many(place, worker, shares[worker], seed),
                                range(jobs)):
            seen += part
    for what, times in seen.items():
        print(f"{times} {what}")
    print(f"the store was correct after {seen['kills']} of {count} kills")
    return 0 if seen["kills"] == count else 1
