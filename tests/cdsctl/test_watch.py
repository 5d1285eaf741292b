"""cdsctl watch shows each save immediately, and wakes only for changes in the meter's directory."""

import contextlib
import json
import os
import pathlib
import re
import select
import shutil
import signal
import subprocess
import time

import pytest
from harness.program import BUILD, CDSCTL, RUN_WITH, STEP_LIMIT, command, wait_until

ENCLOSURE = "/VMIC/Enclosure/Value"
FORM = "/VMC/PrimCfg/Form/Value"


class Lines:
    """Reads lines from a pipe, and waits for each line."""

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
    def __init__(self, meter, arguments, prefix=(), **options):
        self.process = subprocess.Popen([*prefix, *command(CDSCTL, "watch", *arguments)],
                                        env=meter.environment(), stdin=subprocess.DEVNULL,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)
        self.shown = Lines(self.process.stdout)
        self.said = Lines(self.process.stderr)

    def stop(self):
        """Ends the watch with a signal that the watch handles, so that the watch can write its coverage
        counts. Kills the watch if it does not end."""
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
    """Returns a function that starts a watch on the test's meter and waits until the watch is ready."""
    with contextlib.ExitStack() as stack:
        def start(*arguments, prefix=(), folder=meter.folder, **options):
            watch = Watch(meter, arguments, prefix, **options)
            stack.enter_context(watch.process)
            stack.callback(watch.process.kill if prefix else watch.stop)  # `stop` does not end strace
            assert watch.said.next() == f"cdsctl: watching {folder}"
            return watch
        yield start


def test_a_save_is_shown_with_the_old_and_the_new_value(meter, watching):
    watch = watching()
    meter.change({ENCLOSURE: "RK", FORM: 5})
    assert watch.shown.next() == f"{FORM}: 3 -> 5"
    assert watch.shown.next() == f'{ENCLOSURE}: "S" -> "RK"'
    meter.change({ENCLOSURE: "S"})
    assert watch.shown.next() == f'{ENCLOSURE}: "RK" -> "S"'


def test_new_and_cleared_leaves_are_shown_as_such(meter, watching):
    watch = watching()
    meter.change({"/VMIC/Extra": True}, [ENCLOSURE])
    assert watch.shown.next() == f'{ENCLOSURE}: "S" -> (cleared)'
    assert watch.shown.next() == "/VMIC/Extra: (new) -> true"


def test_writes_in_place_by_an_editor_and_writes_of_cdsctl_are_shown(meter, watching, answer):
    watch = watching()
    store = meter.folder / "store.toml"
    store.write_text(store.read_text().replace(f'"{FORM}" = 3', f'"{FORM}" = 5'))
    assert watch.shown.next() == f"{FORM}: 3 -> 5"
    answer("set", FORM, "6")
    assert watch.shown.next() == f"{FORM}: 5 -> 6"


def test_only_changes_below_the_prefix_are_shown(meter, watching):
    watch = watching("/VMIC")
    meter.change({FORM: 5, "/VMICX/a": 1})
    meter.change({ENCLOSURE: "RK"})
    assert watch.shown.next() == f'{ENCLOSURE}: "S" -> "RK"'
    assert watch.end(signal.SIGTERM) == 0
    assert watch.shown.rest() == b""


def test_json_has_one_object_per_line(meter, watching):
    watch = watching("--json")
    meter.change({FORM: 5, "/VMIC/Extra": 'a "b"'}, [ENCLOSURE])
    assert watch.shown.next() == f'{{"path":"{FORM}","old":3,"new":5}}'
    assert [json.loads(watch.shown.next()) for _ in range(2)] == [
        {"path": ENCLOSURE, "old": "S", "new": None},
        {"path": "/VMIC/Extra", "old": None, "new": 'a "b"'}]


def test_changes_before_the_watch_was_ready_are_not_shown(meter, watching):
    meter.change({FORM: 5})
    watch = watching()
    meter.change({FORM: 6})
    assert watch.shown.next() == f"{FORM}: 5 -> 6"


def test_an_unreadable_store_is_reported_once_and_does_not_end_the_watch(meter, watching):
    watch = watching()
    store = meter.folder / "store.toml"
    store.write_text('"/a" = 1\n"/b" =\n')
    assert watch.said.next().startswith(f"cdsctl: {store}:2: ")
    store.write_text('"/a" = 1\n"/b" =\n')  # this write causes the same error again
    assert not select.select([watch.said.descriptor], [], [], 0.5)[0]
    store.unlink()
    assert watch.said.next() == f"cdsctl: {store}: cannot be read: No such file or directory"
    meter.replace_store({**meter.at_start, FORM: 5})
    assert watch.shown.next() == f"{FORM}: 3 -> 5"  # compared with the last readable store
    assert watch.end(signal.SIGINT) == 0
    assert watch.said.rest() == b""


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_a_signal_ends_the_watch_with_success(meter, watching, number):
    watch = watching()
    meter.change({FORM: 5})
    assert watch.shown.next() == f"{FORM}: 3 -> 5"
    assert watch.end(number) == 0
    assert (watch.shown.rest(), watch.said.rest()) == (b"", b"")


def test_the_watch_ends_when_its_reader_closes_the_pipe(watching):
    watch = watching()
    watch.process.stdout.close()
    assert watch.process.wait(STEP_LIMIT) == 0


@pytest.mark.parametrize("handler", [signal.SIG_DFL, signal.SIG_IGN])
def test_the_watch_ends_with_success_when_its_reader_closes_the_pipe_during_a_write(meter, watching, handler):
    watch = watching(restore_signals=False, preexec_fn=lambda: signal.signal(signal.SIGPIPE, handler))
    meter.change({f"/VMIC/{n:04}/{'x' * 100}": n for n in range(2000)})  # more than fits into a pipe
    assert watch.shown.next().startswith("/VMIC/0000/")
    watch.process.stdout.close()
    assert watch.process.wait(STEP_LIMIT) == 0
    assert watch.said.rest() == b""


@pytest.mark.parametrize("handling", ["", "trap '' PIPE; "])
def test_a_reader_that_exits_after_one_line_ends_the_watch_with_success(meter, handling):
    pipeline = f'{handling}"$@" | grep -m 1 Enclosure; echo "${{PIPESTATUS[0]}}"'
    shell = subprocess.Popen(["bash", "-c", pipeline, "bash", *command(CDSCTL, "watch")],
                             env=meter.environment(), stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                             start_new_session=True)
    with shell:
        try:
            assert Lines(shell.stderr).next() == f"cdsctl: watching {meter.folder}"
            meter.change({ENCLOSURE: "RK", FORM: 5, "/VMIC/Extra": 1})
            shown = f'{ENCLOSURE}: "S" -> "RK"\n0\n'.encode()
            assert shell.communicate(timeout=STEP_LIMIT) == (shown, b"")
        except BaseException:
            os.killpg(shell.pid, signal.SIGKILL)
            raise


def test_a_closed_output_is_reported_before_the_watch_starts(meter):
    ended = subprocess.run(["sh", "-c", 'exec "$@" >&-', "sh", *command(CDSCTL, "watch")],
                           env=meter.environment(), stderr=subprocess.PIPE, timeout=STEP_LIMIT,
                           check=False)
    assert (ended.returncode, ended.stderr) == (3, b"cdsctl: standard output: Bad file descriptor\n")


@pytest.mark.skipif(bool(RUN_WITH) or BUILD.name == "asan", reason="the emulator and the sanitizer open files")
def test_a_watch_without_a_free_descriptor_is_reported(meter):
    """One descriptor is free: for the signals, but not for the events of the directory."""
    ended = subprocess.run(["prlimit", "--nofile=4", *command(CDSCTL, "watch")], env=meter.environment(),
                           capture_output=True, text=True, timeout=STEP_LIMIT, check=False)
    assert (ended.returncode, ended.stdout) == (3, "")
    assert ended.stderr == f"cdsctl: {meter.folder}: cannot be watched: Too many open files\n"


def test_an_output_that_cannot_be_written_ends_the_watch(meter):
    with open("/dev/full", "w") as full:
        watch = subprocess.Popen(command(CDSCTL, "watch"), env=meter.environment(), stdout=full,
                                 stderr=subprocess.PIPE)
    with watch:
        said = Lines(watch.stderr)
        assert said.next() == f"cdsctl: watching {meter.folder}"
        meter.change({FORM: 5})
        assert said.next() == "cdsctl: standard output: No space left on device"
        assert watch.wait(STEP_LIMIT) == 3


def test_the_watch_ends_when_the_directory_is_removed(meter, watching):
    watch = watching()
    shutil.rmtree(meter.folder)
    said = watch.said.next()
    while "store.toml" in said:  # the store is removed before the directory
        said = watch.said.next()
    assert said == f"cdsctl: {meter.folder}: the folder is gone"
    assert watch.process.wait(STEP_LIMIT) == 3
    meter.folder.mkdir()


def test_a_change_is_shown_even_if_the_event_queue_overflows(meter, watching):
    most = int(pathlib.Path("/proc/sys/fs/inotify/max_queued_events").read_text())
    watch = watching()
    watch.process.send_signal(signal.SIGSTOP)
    for n in range(most + 100):  # the names alternate, because the system merges equal events in a row
        (meter.folder / f"other-{n % 2}").write_bytes(b"")
    meter.change({FORM: 5})
    watch.process.send_signal(signal.SIGCONT)
    assert watch.shown.next() == f"{FORM}: 3 -> 5"


def said_at_the_end(watch):
    """Returns the last line on standard error. Skips messages about the store. The watch must fail."""
    said = watch.said.next()
    while "store.toml" in said:
        said = watch.said.next()
    assert watch.process.wait(STEP_LIMIT) == 3
    return said


def test_the_watch_ends_when_its_working_directory_is_removed(meter, watching):
    watch = watching("-C", ".", folder=".", cwd=meter.folder)
    shutil.rmtree(meter.folder)
    assert said_at_the_end(watch) == "cdsctl: .: the folder is gone"
    meter.folder.mkdir()


@pytest.mark.parametrize("made_again", [False, True])
def test_the_watch_ends_when_the_directory_is_removed_while_another_process_has_it_open(meter, watching, made_again):
    opened = os.open(meter.folder, os.O_RDONLY)
    try:
        watch = watching()
        shutil.rmtree(meter.folder)
        if made_again:
            meter.folder.mkdir()
        assert said_at_the_end(watch) == f"cdsctl: {meter.folder}: the folder is gone"
    finally:
        os.close(opened)
        meter.folder.mkdir(exist_ok=True)


def test_the_watch_ends_when_an_empty_directory_is_removed_while_another_process_has_it_open(meter, watching):
    """Only the parent directory reports this removal."""
    opened = os.open(meter.folder, os.O_RDONLY)
    try:
        watch = watching()
        (meter.folder / "store.toml").unlink()
        assert "store.toml: cannot be read" in watch.said.next()
        meter.folder.rmdir()
        assert said_at_the_end(watch) == f"cdsctl: {meter.folder}: the folder is gone"
    finally:
        os.close(opened)
        meter.folder.mkdir(exist_ok=True)


def test_the_watch_ends_when_the_directory_is_renamed(meter, watching):
    watch = watching()
    meter.folder.rename(meter.top / "other")
    assert said_at_the_end(watch) == f"cdsctl: {meter.folder}: the folder is gone"
    meter.folder.mkdir()


def test_a_removal_next_to_the_directory_is_not_reported(meter, watching):
    (meter.top / "neighbour").mkdir()
    watch = watching()
    (meter.top / "neighbour").rmdir()
    meter.change({FORM: 5})
    assert watch.shown.next() == f"{FORM}: 3 -> 5"
    assert watch.end(signal.SIGTERM) == 0
    assert watch.said.rest() == b""


# -- a store that is a symbolic link --

@pytest.fixture
def target(meter):
    """Makes the meter's store a link to a second link. The second link leads to a file. Returns this file."""
    for name in ("first", "second"):
        (meter.top / name).mkdir()
    (meter.folder / "store.toml").rename(meter.top / "second" / "real.toml")
    (meter.top / "first" / "link").symlink_to("../second/real.toml")
    (meter.folder / "store.toml").symlink_to(meter.top / "first" / "link")
    return meter.top / "second" / "real.toml"


def test_a_change_of_the_file_behind_a_link_is_shown(meter, target, watching, answer):
    watch = watching()
    target.write_text(target.read_text().replace(f'"{FORM}" = 3', f'"{FORM}" = 5'))
    assert watch.shown.next() == f"{FORM}: 3 -> 5"
    answer("set", FORM, "6")
    assert watch.shown.next() == f"{FORM}: 5 -> 6"
    assert not target.is_symlink() and (meter.folder / "store.toml").is_symlink()


def test_a_change_of_the_second_link_is_followed(meter, target, watching):
    watch = watching()
    (meter.top / "third").mkdir()
    other = meter.top / "third" / "real.toml"
    other.write_text(target.read_text().replace(f'"{FORM}" = 3', f'"{FORM}" = 5'))
    link = meter.top / "first" / "link"
    link.unlink()
    assert watch.said.next() == f"cdsctl: {meter.folder}/store.toml: cannot be read: No such file or directory"
    link.symlink_to(other)
    assert watch.shown.next() == f"{FORM}: 3 -> 5"
    target.write_text("")  # this file is no longer the store
    shutil.rmtree(target.parent)
    other.write_text(other.read_text().replace(f'"{FORM}" = 5', f'"{FORM}" = 6'))
    assert watch.shown.next() == f"{FORM}: 5 -> 6"


def test_a_store_that_becomes_a_link_is_followed(meter, watching):
    watch = watching()
    other = meter.top / "real.toml"
    store = meter.folder / "store.toml"
    other.write_text(store.read_text().replace(f'"{FORM}" = 3', f'"{FORM}" = 5'))
    (meter.folder / "new").symlink_to(other)
    (meter.folder / "new").rename(store)
    assert watch.shown.next() == f"{FORM}: 3 -> 5"
    other.write_text(other.read_text().replace(f'"{FORM}" = 5', f'"{FORM}" = 6'))
    assert watch.shown.next() == f"{FORM}: 5 -> 6"


def test_the_watch_ends_when_the_directory_behind_a_link_is_removed(meter, target, watching):
    watch = watching()
    shutil.rmtree(target.parent)
    assert said_at_the_end(watch) == f"cdsctl: {meter.top}/first/../second: the folder is gone"


def test_the_watch_ends_when_the_directory_behind_a_link_is_renamed(meter, target, watching):
    watch = watching()
    target.parent.rename(meter.top / "third")
    assert said_at_the_end(watch) == f"cdsctl: {meter.top}/first/../second: the folder is gone"


def test_the_watch_ends_when_a_link_points_into_a_missing_directory(meter, target, watching):
    watch = watching()
    (meter.top / "new").symlink_to("../none/real.toml")
    (meter.top / "new").rename(meter.top / "first" / "link")
    assert said_at_the_end(watch) == (
        f"cdsctl: {meter.top}/first/../none: cannot be watched: No such file or directory")


def test_a_missing_directory_cannot_be_watched(meter, error_of):
    said = error_of(3, "-C", str(meter.top / "none"), "watch")
    assert said == f"cdsctl: {meter.top}/none: cannot be watched: No such file or directory\n"


@pytest.mark.skipif(bool(RUN_WITH) or b"__asan_init" in CDSCTL.read_bytes(),
                    reason="strace sees the emulator's or the sanitizer's calls as well")
def test_only_the_directory_wakes_the_watch(meter, watching):
    trace = meter.top / "strace"
    watch = watching(prefix=("strace", "-f", "-o", str(trace)))

    def settled():
        """Waits until the watch's last system call is a `poll` without a time-out, and no other system call
        follows. Returns all system calls so far."""
        def waits():
            nonlocal calls
            calls = trace.read_text()
            time.sleep(1.5)
            return trace.read_text() == calls and re.search(r"poll\([^\n]*, -1(, NULL, \d+)?\s*\Z", calls)

        calls = ""
        wait_until(waits, trace.read_text)
        return calls

    def names(calls):
        """Returns only the names of the system calls, because a path in an argument may contain any word."""
        return " ".join(re.findall(r"^\d+ +(\w+)\(", calls, re.M))

    calls = settled()
    assert "inotify_add_watch" in names(calls) and "+++" not in calls
    assert not re.search("sleep|timer|alarm", names(calls))
    meter.change({FORM: 5})
    assert watch.shown.next() == f"{FORM}: 3 -> 5"
    woken = settled()[len(calls):]
    assert "read(" in woken and "store.toml" in woken
    assert not re.search("sleep|timer|alarm", names(woken))
    assert not re.search(r" poll\([^\n]*, \d+\)", woken)
    before = len(calls) + len(woken)
    (meter.folder / "faults.toml").write_text("")  # wakes the watch, but the watch must read no file
    wait_until(lambda: len(trace.read_text()) > before, trace.read_text)
    assert not re.search("open|readlink", names(settled()[before:]))
