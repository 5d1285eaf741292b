"""cdsctl watch: every save is shown as it happens, and nothing but the folder wakes it."""

import contextlib
import json
import os
import re
import select
import shutil
import signal
import subprocess
import time

import pytest
from harness.program import CDSCTL, RUN_WITH, STEP_LIMIT, command, wait_until

ENCLOSURE = "/VMIC/Enclosure/Value"
FORM = "/VMC/PrimCfg/Form/Value"


class Lines:
    """The lines of a pipe, each waited for."""

    def __init__(self, stream):
        self.descriptor = stream.fileno()
        self.text = b""

    def next(self, limit=STEP_LIMIT):
        until = time.monotonic() + limit
        while b"\n" not in self.text:
            ready = select.select([self.descriptor], [], [], max(until - time.monotonic(), 0))[0]
            part = os.read(self.descriptor, 65536) if ready else b""
            assert part, f"no line came, but {self.text!r}"
            self.text += part
        line, self.text = self.text.split(b"\n", 1)
        return line.decode()

    def rest(self):
        return self.text + os.read(self.descriptor, 65536)


class Watch:
    def __init__(self, meter, arguments, prefix=()):
        self.process = subprocess.Popen([*prefix, *command(CDSCTL, "watch", *arguments)],
                                        env=meter.environment(), stdin=subprocess.DEVNULL,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.shown = Lines(self.process.stdout)
        self.said = Lines(self.process.stderr)

    def stop(self):
        """Ends it in its own way where it can, so that it also leaves its counts of lines reached."""
        self.process.terminate()
        try:
            self.process.wait(STEP_LIMIT)
        finally:
            self.process.kill()

    def end(self, number):
        self.process.send_signal(number)
        return self.process.wait(STEP_LIMIT)


@pytest.fixture
def watching(meter):
    """Starts a watch on the test's meter that has said it is ready."""
    with contextlib.ExitStack() as stack:
        def start(*arguments, prefix=()):
            watch = Watch(meter, arguments, prefix)
            stack.enter_context(watch.process)
            stack.callback(watch.process.kill if prefix else watch.stop)  # strace is not to be asked
            assert watch.said.next() == f"cdsctl: watching {meter.folder}"
            return watch
        yield start


def test_a_save_is_shown_with_the_old_and_the_new_value(meter, watching):
    watch = watching()
    meter.change({ENCLOSURE: "RK", FORM: 5})
    assert watch.shown.next() == f"{FORM}: 3 -> 5"
    assert watch.shown.next() == f'{ENCLOSURE}: "S" -> "RK"'
    meter.change({ENCLOSURE: "S"})
    assert watch.shown.next() == f'{ENCLOSURE}: "RK" -> "S"'


def test_new_and_cleared_leaves_are_named_so(meter, watching):
    watch = watching()
    meter.change({"/VMIC/Extra": True}, [ENCLOSURE])
    assert watch.shown.next() == f'{ENCLOSURE}: "S" -> (cleared)'
    assert watch.shown.next() == "/VMIC/Extra: (new) -> true"


def test_an_editor_that_writes_in_place_and_the_tool_are_both_seen(meter, watching, answer):
    watch = watching()
    store = meter.folder / "store.toml"
    store.write_text(store.read_text().replace(f'"{FORM}" = 3', f'"{FORM}" = 5'))
    assert watch.shown.next() == f"{FORM}: 3 -> 5"
    answer("set", FORM, "6")
    assert watch.shown.next() == f"{FORM}: 5 -> 6"


def test_only_what_is_below_the_prefix_is_shown(meter, watching):
    watch = watching("/VMIC")
    meter.change({FORM: 5, "/VMICX/a": 1})
    meter.change({ENCLOSURE: "RK"})
    assert watch.shown.next() == f'{ENCLOSURE}: "S" -> "RK"'
    assert watch.end(signal.SIGTERM) == 0
    assert watch.shown.rest() == b""


def test_a_change_as_json_is_one_object_a_line(meter, watching):
    watch = watching("--json")
    meter.change({FORM: 5, "/VMIC/Extra": 'a "b"'}, [ENCLOSURE])
    assert [json.loads(watch.shown.next()) for _ in range(3)] == [
        {"path": FORM, "old": 3, "new": 5},
        {"path": ENCLOSURE, "old": "S", "new": None},
        {"path": "/VMIC/Extra", "old": None, "new": 'a "b"'}]


def test_what_changed_before_it_was_ready_is_not_shown(meter, watching):
    meter.change({FORM: 5})
    watch = watching()
    meter.change({FORM: 6})
    assert watch.shown.next() == f"{FORM}: 5 -> 6"


def test_a_broken_store_in_between_is_told_once_and_survived(meter, watching):
    watch = watching()
    store = meter.folder / "store.toml"
    store.write_text('"/a" = 1\n"/b" =\n')
    assert watch.said.next().startswith(f"cdsctl: {store}:2: ")
    store.write_text('"/a" = 1\n"/b" =\n')  # the same once more
    assert not select.select([watch.said.descriptor], [], [], 0.5)[0]
    store.unlink()
    assert watch.said.next() == f"cdsctl: {store}: cannot be read: No such file or directory"
    meter.replace_store({**meter.at_start, FORM: 5})
    assert watch.shown.next() == f"{FORM}: 3 -> 5"  # against what was last seen whole
    assert watch.end(signal.SIGINT) == 0
    assert watch.said.rest() == b""


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_a_signal_ends_it_cleanly(meter, watching, number):
    watch = watching()
    meter.change({FORM: 5})
    assert watch.shown.next() == f"{FORM}: 3 -> 5"
    assert watch.end(number) == 0
    assert (watch.shown.rest(), watch.said.rest()) == (b"", b"")


def test_it_ends_when_nobody_reads_it_any_more(watching):
    watch = watching()
    watch.process.stdout.close()
    assert watch.process.wait(STEP_LIMIT) == 0


def test_an_output_that_cannot_be_written_ends_it(meter):
    with open("/dev/full", "w") as full:
        watch = subprocess.Popen(command(CDSCTL, "watch"), env=meter.environment(), stdout=full,
                                 stderr=subprocess.PIPE)
    with watch:
        said = Lines(watch.stderr)
        assert said.next() == f"cdsctl: watching {meter.folder}"
        meter.change({FORM: 5})
        assert said.next() == "cdsctl: standard output: No space left on device"
        assert watch.wait(STEP_LIMIT) == 3


def test_it_ends_when_the_folder_goes(meter, watching):
    watch = watching()
    shutil.rmtree(meter.folder)
    said = watch.said.next()
    while "store.toml" in said:  # its file goes first
        said = watch.said.next()
    assert said == f"cdsctl: {meter.folder}: the folder is gone"
    assert watch.process.wait(STEP_LIMIT) == 3
    meter.folder.mkdir()


def test_a_folder_that_is_not_there_cannot_be_watched(meter, refusal):
    said = refusal(3, "-C", str(meter.top / "none"), "watch")
    assert said == f"cdsctl: {meter.top}/none: cannot be watched: No such file or directory\n"


@pytest.mark.skipif(bool(RUN_WITH) or b"__asan_init" in CDSCTL.read_bytes(),
                    reason="strace sees the emulator's or the sanitizer's calls as well")
def test_nothing_but_the_folder_wakes_it(meter, watching):
    trace = meter.top / "strace"
    watch = watching(prefix=("strace", "-f", "-o", str(trace)))

    def settled():
        """The calls so far, once they end in a wait without end; then nothing for a while."""
        wait_until(lambda: re.search(r"poll\([^\n]*, -1(, NULL, \d+)?\s*\Z", trace.read_text()), trace.read_text)
        calls = trace.read_text()
        time.sleep(1.5)
        assert trace.read_text() == calls
        return calls

    calls = settled()
    assert not re.search(r"sleep|timer|alarm|\+\+\+", calls)
    meter.change({FORM: 5})
    assert watch.shown.next() == f"{FORM}: 3 -> 5"
    woken = settled()[len(calls):]
    assert "read(" in woken and "store.toml" in woken
    assert not re.search(r"sleep|timer|alarm|poll\([^\n]*, \d+\)", woken)
    before = len(calls) + len(woken)
    (meter.folder / "faults.toml").write_text("")  # wakes it, and it looks no further
    wait_until(lambda: len(trace.read_text()) > before, trace.read_text)
    assert "open" not in settled()[before:]
