"""A write leaves the old or the new file, wherever it is killed and whatever fails."""

import contextlib
import signal
import time

import pytest

import store_client

pytestmark = store_client.needs_plain_program

OLD = '# the old file\n"/a" = 1\n'
NEW = '"/a" = 1\n"/b" = "x"\n"/c" = "y"\n'
WRITE = ("set", "/c", "y", "/b", "x")


def inject(what):
    return ("-e", "inject=" + what)


@contextlib.contextmanager
def settled_meters(count):
    """Meters whose files are old enough to be known by their times.

    A younger file is read once more, so that the calls of a write would depend on the moment.
    """
    with contextlib.ExitStack() as stack:
        folders = [stack.enter_context(store_client.meter_with(OLD)) for _ in range(count)]
        time.sleep(0.3)
        yield folders


def calls_of_a_write():
    """The names of the system calls of a whole write, in their order, once the program runs."""
    with settled_meters(1) as (folder,):
        status, calls = store_client.run_traced(folder, WRITE)
        assert status == 0
        assert store_client.files_of(folder) == {"store.toml": NEW}
    assert calls[0].startswith("execve(") and calls[-1].startswith("+++ exited")
    return [call.split("(")[0] for call in calls[1:-1]]


def test_a_write_that_is_killed_before_any_of_its_system_calls_leaves_the_old_or_the_new_file():
    names = calls_of_a_write()
    seen = []
    with settled_meters(len(names)) as folders:
        for position, (name, folder) in enumerate(zip(names, folders)):
            which = names[:position + 1].count(name)  # strace counts each kind of call by itself
            status, _ = store_client.run_traced(
                folder, WRITE, inject(f"{name}:signal=KILL:when={which}"))
            files = store_client.files_of(folder)
            assert status == -signal.SIGKILL, (position, name)
            assert files["store.toml"] in (OLD, NEW)
            assert set(files) <= {"store.toml", "store.toml.new"}
            seen.append((name, files["store.toml"], len(files)))

            # Nothing of it hinders the next write.
            assert store_client.run(folder, *WRITE) == 0
            assert store_client.files_of(folder) == {"store.toml": NEW}

    # The kills reached into the write: half a new file, a whole one, the new one in place.
    assert ("write", OLD, 2) in seen
    assert ("fsync", OLD, 2) in seen
    assert ("fsync", NEW, 1) in seen
    texts = [text for _, text, _ in seen]
    assert texts == sorted(texts, key=(OLD, NEW).index)


@pytest.mark.parametrize("failure", [
    "flock:error=ENOLCK",
    "fchmod:error=EPERM",
    "write:error=ENOSPC",
    "write:error=EIO",
    "fsync:error=EIO:when=1",
    "/^rename:error=EIO",
])
def test_a_write_that_fails_leaves_the_old_file_alone(failure):
    with store_client.meter_with(OLD) as folder:
        status, _ = store_client.run_traced(folder, WRITE, inject(failure))
        assert status == 1
        assert store_client.files_of(folder) == {"store.toml": OLD}


def test_a_failed_flush_of_the_folder_fails_the_write_although_the_new_file_stands():
    with store_client.meter_with(OLD) as folder:
        status, _ = store_client.run_traced(folder, WRITE, inject("fsync:error=EIO:when=2"))
        assert status == 1
        assert store_client.files_of(folder) == {"store.toml": NEW}


def test_a_file_system_that_cannot_flush_folders_does_not_fail_the_write():
    with store_client.meter_with(OLD) as folder:
        status, _ = store_client.run_traced(folder, WRITE, inject("fsync:error=EINVAL:when=2"))
        assert status == 0


@pytest.mark.parametrize("call", ["flock", "write", "fsync"])
def test_a_call_that_a_signal_breaks_off_is_repeated(call):
    with store_client.meter_with(OLD) as folder:
        status, _ = store_client.run_traced(folder, WRITE, inject(f"{call}:error=EINTR:when=1"))
        assert status == 0
        assert store_client.files_of(folder) == {"store.toml": NEW}


def test_the_new_file_is_flushed_before_it_takes_the_name_and_the_folder_after():
    with store_client.meter_with(OLD) as folder:
        status, calls = store_client.run_traced(
            folder, WRITE, ("-y", "-e", "trace=flock,write,fsync,/^rename,fchmod"))
    assert status == 0
    steps = [call for call in calls if str(folder) in call]
    names = [call.split("(")[0] for call in steps]
    assert [name.rstrip("2") for name in names] == [
        "flock", "fchmod", "write", "fsync", "renameat", "fsync"]
    assert "LOCK_EX" in steps[0]
    assert "store.toml.new>" in steps[3]
    assert f"{folder}>" in steps[5]
