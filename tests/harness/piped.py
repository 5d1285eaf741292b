"""Runs the program with pipes or files instead of a terminal."""

import os
import select
import subprocess
import time

from harness.program import STEP_LIMIT


def run(command, environment, keys=b"", **options):
    """Runs a whole session with these keys on standard input."""
    return subprocess.run(command, env=environment, input=keys, capture_output=True,
                          timeout=STEP_LIMIT, check=False, **options)


def start(command, environment, stdin):
    return subprocess.Popen(command, env=environment, stdin=stdin, stdout=subprocess.PIPE,
                            stderr=subprocess.DEVNULL)


def read_until(process, wanted, limit=STEP_LIMIT):
    """Reads the output of the process until it contains `wanted`. Returns everything that was read."""
    return read_from(process.stdout.fileno(), wanted, limit)


def read_from(descriptor, wanted, limit=STEP_LIMIT):
    until = time.monotonic() + limit
    output = b""
    while wanted not in output:
        ready = select.select([descriptor], [], [], max(until - time.monotonic(), 0))[0]
        part = os.read(descriptor, 65536) if ready else b""
        assert part, f"{wanted!r} is missing; the output is {output!r}"
        output += part
    return output


def end(process):
    process.kill()
    process.wait()
    for stream in (process.stdin, process.stdout):
        if stream:
            stream.close()
