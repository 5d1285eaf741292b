"""Tests that the program flushes its texts before it runs a command or pauses.

Standard output is a pipe in these tests. Without a flush, nothing is in the pipe before the program ends.
"""

import fcntl
import os
import subprocess

import pytest
from harness.menus import typed
from harness.piped import end, read_until, start
from harness.program import STEP_LIMIT, UTILITY, command


class BlockedTrace:
    """A trace file that accepts a given number of bytes. The next call of the program then blocks.

    The trace file is a pipe with a capacity of one page. It accepts a line only if the whole line fits."""

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
        assert count <= self.SIZE
        self.drain()
        os.write(self.end, b" " * (self.SIZE - count))

    def close(self):
        os.close(self.end)


def begin(meter, arguments):
    return start(command(UTILITY, *arguments), meter.environment(), subprocess.PIPE)


def type_keys(process, keys):
    process.stdin.write(typed(keys).encode())
    process.stdin.flush()


SAVE = b"Save & apply all settings? (y/n): "
# Each case has the program's arguments, the keys up to a question, the question, the text that follows the
# answer "y", and a part of the trace line of the command or pause that follows this text.
CASES = {
    "password reset": ((), "{PASSWORDS}\n", b"Reset all passwords ? (y/n): ",
                       b"y\nRestoring defaults: please wait...\n", "sernetpwreset.sh"),
    "model number": (("-m",), "{INIT}\n6\nRK\n0\n{SAVE}\n", SAVE, b"y\nUpdating the Model Number\n", "vmkeys"),
    "saved": ((), "{PRIMARY_DNS}\n10.0.0.1\n{SAVE_WITHOUT_INIT}\n", SAVE, b"y\nSettings saved.\n", "rm -rf"),
    "factory reset": (("-m",), "{INIT}\n8\n", b"Reset all to Factory Defaults? (y/n): ",
                      b"y\nRestoring defaults: please wait...\n", "fw_reset.sh"),
    "options set": (("-m",), "{INIT}\n2\nWEB\n0\n{SAVE}\n", SAVE,
                    b"y\nVelmora II Options list set in CDS\n", '"call":"sleep"'),
    "options not set": (("-m",), "{INIT}\n2\nWEB\n0\n{SAVE}\n", SAVE,
                        b"y\nError while setting Velmora II Options list in cds.\n", '"call":"sleep"'),
}
FAULTS = {"options not set": """
    [[fault]]
    call = "set_leaves"
    path = "/VMF/UpdateService/OptionsUpdate/Value"
    result = -1
"""}


def bytes_before(meter, arguments, keys, awaited):
    """Plays the case once. Returns the length of the trace lines between the answer "y" and the awaited
    call."""
    process = begin(meter, arguments)
    type_keys(process, keys + "y\n" + "0\ny\n0\n")
    process.communicate(timeout=STEP_LIMIT)
    lines = meter.calls()
    at = next(i for i, line in enumerate(lines) if awaited in line)
    last_read = max(i for i in range(at) if "get_leaves" in lines[i])
    meter.trace.unlink()
    meter.replace_store(meter.at_start)
    return sum(len(line) + 1 for line in lines[last_read + 1:at])


@pytest.mark.parametrize("case", CASES)
def test_the_text_before_a_command_or_a_pause_is_on_the_screen(meter, case):
    arguments, keys, question, text, awaited = CASES[case]
    (meter.folder / "faults.toml").write_text(FAULTS.get(case, ""))
    room = bytes_before(meter, arguments, keys, awaited)
    trace = BlockedTrace(meter)
    process = begin(meter, arguments)
    try:
        type_keys(process, keys)
        read_until(process, question)
        trace.leave_room(room)
        type_keys(process, "y\n")
        read_until(process, text)  # the trace still blocks the awaited call
        assert awaited.encode() not in trace.drain()
    finally:
        trace.close()
        end(process)
