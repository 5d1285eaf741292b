"""What a technician should see before a command or a pause is on the screen by then.

Standard output is a pipe here, where nothing but a flush puts anything out in between.
"""

import fcntl
import json
import os
import subprocess

import pytest
from harness.piped import end, read_until, start
from harness.program import STEP_LIMIT, UTILITY, command


class BlockedTrace:
    """A trace that holds so many bytes and no more: the call after them waits.

    A pipe of one page takes its last bytes from a line only as long as the whole line fits."""

    SIZE = os.sysconf("SC_PAGE_SIZE")

    def __init__(self, meter):
        os.mkfifo(meter.trace)
        self.end = os.open(meter.trace, os.O_RDWR | os.O_NONBLOCK)
        assert fcntl.fcntl(self.end, fcntl.F_SETPIPE_SZ, self.SIZE) == self.SIZE

    def drain(self):
        try:
            return os.read(self.end, 1 << 20)
        except BlockingIOError:
            return b""

    def leave_room(self, count):
        self.drain()
        os.write(self.end, b" " * (self.SIZE - count))

    def close(self):
        os.close(self.end)


def begin(meter, arguments, no_delay=True):
    return start(command(UTILITY, *arguments), meter.environment(no_delay), subprocess.PIPE)


def type_keys(process, keys):
    process.stdin.write(keys)
    process.stdin.flush()


CASES = {
    "password reset": ((), b"4\n", b"Reset all passwords ? (y/n): ", "sernetpwreset.sh",
                       b"y\nRestoring defaults: please wait...\n"),
    "model number": (("-m",), b"5\n6\nRK\n0\n6\n", b"Save & apply all settings? (y/n): ", "vmkeys",
                     b"y\nUpdating the Model Number\n"),
    "saved": ((), b"2\n10.0.0.1\n5\n", b"Save & apply all settings? (y/n): ", "rm -rf",
              b"y\nSettings saved.\n"),
    "factory reset": (("-m",), b"5\n8\n", b"Reset all to Factory Defaults? (y/n): ", "fw_reset.sh",
                      b"y\nRestoring defaults: please wait...\n"),
}


def bytes_before(meter, arguments, keys, script):
    """How long the trace lines are that the answer "y" brings before the script's call."""
    process = begin(meter, arguments)
    type_keys(process, keys + b"y\n" + b"0\n0\n0\n")
    process.communicate(timeout=STEP_LIMIT)
    lines = meter.calls()
    calls = [json.loads(line) for line in lines]
    at = next(i for i, call in enumerate(calls) if call["call"] == "system" and script in call["command"])
    last_read = max(i for i in range(at) if calls[i]["call"] == "get_leaves")
    meter.trace.unlink()
    meter.replace_store(meter.at_start)
    return sum(len(line) + 1 for line in lines[last_read + 1:at])


@pytest.mark.parametrize("case", CASES)
def test_the_text_before_a_command_is_on_the_screen(meter, case):
    arguments, keys, question, script, text = CASES[case]
    room = bytes_before(meter, arguments, keys, script)
    trace = BlockedTrace(meter)
    process = begin(meter, arguments)
    try:
        type_keys(process, keys)
        read_until(process, question)
        trace.leave_room(room)
        type_keys(process, b"y\n")
        read_until(process, text)  # while the call that follows it cannot return
        assert script.encode() not in trace.drain()
    finally:
        trace.close()
        end(process)


@pytest.mark.parametrize("text, result", [
    (b"Velmora II Options list set in CDS\n", 0),
    (b"Error while setting Velmora II Options list in cds.\n", -1),
])
def test_the_text_before_the_pause_is_on_the_screen(meter, text, result):
    (meter.folder / "faults.toml").write_text(f"""
        [[fault]]
        call = "set_leaves"
        path = "/VMF/UpdateService/OptionsUpdate/Value"
        result = {result}
    """)
    process = begin(meter, ("-m",), no_delay=False)
    try:
        type_keys(process, b"5\n2\nWEB\n0\n6\ny\n")
        read_until(process, text)
        assert "SetMeasLog" not in "".join(meter.calls())  # the call after the pause of a second
        read_until(process, b"Select an option ==>  ")
        assert "SetMeasLog" in "".join(meter.calls())
    finally:
        end(process)
