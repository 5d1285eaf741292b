"""Runs a program on its own pseudo-terminal, which is usually also the program's controlling terminal.

The terminal's output processing (OPOST) is off, so that the tests read exactly the bytes that the program
writes. Input processing has the usual settings, including the mapping of carriage return to newline
(ICRNL). The program's standard error is a pipe.
"""

import fcntl
import os
import select
import signal
import subprocess
import termios
import threading
import time

from harness.program import STEP_LIMIT

MOST_AT_THE_END = 1 << 20  # bytes that a program may write after the last key

IFLAG, OFLAG, CFLAG, LFLAG, CC = 0, 1, 2, 3, 6


class Mismatch(Exception):
    """The session differs from the expected session."""


def as_usual(attributes):
    """Leaves the attributes of a new terminal unchanged."""


def without_icrnl(attributes):
    attributes[IFLAG] &= ~termios.ICRNL


def open_terminal(prepare=as_usual):
    """Opens a pseudo-terminal. Returns two descriptors: one for the test and one for the program."""
    ours, theirs = os.openpty()
    attributes = termios.tcgetattr(theirs)
    attributes[OFLAG] &= ~termios.OPOST
    prepare(attributes)
    termios.tcsetattr(theirs, termios.TCSANOW, attributes)
    return ours, theirs


def attributes_of(descriptor):
    """Returns the attributes from `tcgetattr`, with VMIN and VTIME always as bytes objects. `tcgetattr`
    itself returns them as integers if ICANON is off."""
    attributes = termios.tcgetattr(descriptor)
    attributes[CC] = [bytes([c]) if isinstance(c, int) else c for c in attributes[CC]]
    return attributes


def take_signals():
    """Restores the default actions of SIGHUP and SIGINT in the new process, because the tests may run with
    these signals ignored, for example under nohup or in the background."""
    signal.signal(signal.SIGHUP, signal.SIG_DFL)
    signal.signal(signal.SIGINT, signal.SIG_DFL)


def take_terminal():
    """Calls take_signals, and makes the terminal on standard input the controlling terminal."""
    take_signals()
    fcntl.ioctl(0, termios.TIOCSCTTY, 0)


class Console:
    """A program on its own pseudo-terminal. If `controlling` is False, the terminal cannot interrupt or hang
    up the program, and keeps its attributes when the program ends. The system resets the attributes of a
    controlling terminal when the program ends."""

    def __init__(self, command, environment, prepare=as_usual, controlling=True):
        self.terminal, theirs = open_terminal(prepare)
        self.attributes_before = attributes_of(theirs)
        self.log = []  # of tuples: (seconds since the start, "received" or "sent" or a note, bytes)
        self.start = time.monotonic()
        self.waits_since = self.start
        self.process = subprocess.Popen(
            command, env=environment, stdin=theirs, stdout=theirs, stderr=subprocess.PIPE,
            start_new_session=True, preexec_fn=take_terminal if controlling else take_signals)
        os.close(theirs)
        self.pending = b""  # output that was received but not yet taken
        self.ended = False
        self.errors = b""
        self.errors_reader = threading.Thread(target=self.read_errors, daemon=True)
        self.errors_reader.start()

    def read_errors(self):
        for part in iter(lambda: os.read(self.process.stderr.fileno(), 4096), b""):
            self.errors += part

    def attributes(self):
        return attributes_of(self.terminal)  # both sides of a pseudo-terminal have the same attributes

    def note(self, what, data=b""):
        self.log.append((time.monotonic() - self.start, what, data))

    def send(self, data):
        self.note("sent", data)
        self.waits_since = time.monotonic()
        try:
            os.write(self.terminal, data)
        except OSError:
            raise Mismatch(f"{data!r} cannot be sent: the program has closed the terminal") from None

    def receive(self, seconds):
        """Waits at most `seconds` for output and appends the output to `pending`. Returns False if no output
        arrived."""
        if self.ended or not select.select([self.terminal], [], [], max(seconds, 0))[0]:
            return False
        try:
            data = os.read(self.terminal, 65536)
        except OSError:  # the program's side is closed and all output has been read
            data = b""
        self.ended = data == b""
        self.note("received" if data else "end of output", data)
        self.pending += data
        return not self.ended

    def take(self):
        data, self.pending = self.pending, b""
        return data

    def expect(self, wanted, limit=STEP_LIMIT):
        """Takes exactly `wanted` from the start of the output. Raises Mismatch if a byte differs, or if the
        rest of `wanted` does not arrive within `limit` seconds. The output then stays in `pending`."""
        until = time.monotonic() + limit
        while len(self.pending) < len(wanted) and wanted.startswith(self.pending):
            if not self.receive(until - time.monotonic()):
                why = "the output ended" if self.ended else f"no more output within {limit:g} s"
                raise Mismatch(f"{why}; still wanted: {wanted[len(self.pending):]!r}")
        if not self.pending.startswith(wanted):
            same = len(os.path.commonprefix([wanted, self.pending]))
            raise Mismatch(f"wanted {wanted[same:same + 60]!r}, got {self.pending[same:same + 60]!r}")
        self.pending = self.pending[len(wanted):]

    # The next two methods measure the time since the last key or the end of the previous wait. The time of
    # the last output is not used, because on a busy machine the program's output may arrive late.

    def expect_silence(self, seconds):
        if self.pending or self.receive(self.waits_since + seconds - time.monotonic()):
            raise Mismatch(f"expected no output for {seconds} s, got {self.pending[:60]!r}")

    def expect_to_continue_after(self, seconds):
        """Expects output between `seconds` - 0.5 and `seconds` + 3 seconds after the last key or wait."""
        continued = self.pending or self.receive(self.waits_since + seconds + 3 - time.monotonic())
        waited = time.monotonic() - self.waits_since
        if not continued or waited < seconds - 0.5:
            raise Mismatch(f"should have continued without a key after {seconds} s, not {waited:.1f} s")
        self.waits_since = time.monotonic()

    def hang_up(self):
        self.note("terminal closed")
        os.close(self.terminal)
        self.ended = True

    def finish(self, limit=STEP_LIMIT):
        """Waits until the program ends. Leaves the rest of the output in `pending`. Returns a text such as
        "exit 0" or "killed by SIGHUP"."""
        until = time.monotonic() + limit
        while not self.ended and time.monotonic() < until:
            self.receive(until - time.monotonic())
            if len(self.pending) > MOST_AT_THE_END:
                raise Mismatch("the program keeps writing")
        try:
            status = self.process.wait(max(until - time.monotonic(), 0.1))
        except subprocess.TimeoutExpired:
            raise Mismatch(f"the program did not end within {limit:g} s") from None
        self.errors_reader.join(limit)
        return f"exit {status}" if status >= 0 else f"killed by {signal.Signals(-status).name}"

    def close(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        self.errors_reader.join(STEP_LIMIT)
        self.process.stderr.close()
        try:
            os.close(self.terminal)
        except OSError:  # hang_up has already closed the terminal
            pass

    def history(self):
        """Returns one line for each entry of the log, with its time."""
        return [f"{seconds:8.3f} s  {what:13}  {data!r}" for seconds, what, data in self.log]
