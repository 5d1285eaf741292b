"""Sessions that write their trace to a pipe. The reader of the pipe is missing or exits."""

import os
import select
import subprocess

import pytest
from harness.piped import read_until, run
from harness.program import STEP_LIMIT, UTILITY, command

PROMPT = b"Select an option ==>  "


@pytest.fixture
def pipe(meter):
    os.mkfifo(meter.trace)
    return meter.trace


def message_for(pipe):
    return f"{pipe}: the trace cannot be written: No such device or address\n".encode()


def test_without_a_reader_the_session_continues(meter, pipe):
    session = run(command(UTILITY), meter.environment(), b"0\n")
    assert (session.returncode, session.stderr) == (0, message_for(pipe))
    assert session.stdout.endswith(PROMPT + b"0\n")


def test_a_session_continues_when_the_reader_exits(meter, pipe):
    reader = os.open(pipe, os.O_RDONLY | os.O_NONBLOCK)
    session = subprocess.Popen(command(UTILITY), env=meter.environment(), stdin=subprocess.PIPE,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    with session:
        try:
            read_until(session, PROMPT)
            assert select.select([reader], [], [], STEP_LIMIT)[0]
            assert os.read(reader, 65536).startswith(b'{"call":"pcd_init","connected":true}\n{"call":"get_leaves"')
            os.close(reader)
            session.stdin.write(b"9\n")
            session.stdin.flush()
            read_until(session, PROMPT)
            assert session.communicate(b"0\n", timeout=STEP_LIMIT)[1] == message_for(pipe)
            assert session.returncode == 0
        finally:
            session.kill()
