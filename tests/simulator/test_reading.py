"""The system calls of a read, and the descriptors that the library uses."""

import re
import time

import store_client

pytestmark = store_client.needs_plain_program

STORE = '"/a" = "x"\n'


def calls_of_reads(folder, count):
    """Returns the system calls on files for each read, without the calls of the connection."""
    status, calls = store_client.run_traced(folder, ("get", "/a", str(count)))
    assert status == 0
    reads = []
    for call in calls:
        if re.match("(clock_)?nanosleep", call):
            reads.append([])
        elif reads and (folder.name in call or re.match("f?stat|newfstat|read", call)):
            reads[-1].append(call)
    assert len(reads) == count
    return reads


def test_a_read_of_an_unchanged_file_is_one_system_call():
    with store_client.meter_with(STORE) as folder:
        time.sleep(0.3)  # a file that has changed recently is always read again
        for calls in calls_of_reads(folder, 5):
            assert len(calls) == 1
            assert "stat" in calls[0] and "store.toml" in calls[0]


def test_a_connection_and_a_read_take_a_dozen_system_calls():
    with store_client.meter_with(STORE) as folder:
        time.sleep(0.3)
        status, calls = store_client.run_traced(folder, ("get", "/a", "1"))
    assert status == 0
    first = next(i for i, call in enumerate(calls) if "faults.toml" in call)
    assert len([call for call in calls[first:] if not call.startswith("+++")]) <= 12


def test_the_store_never_uses_a_standard_descriptor():
    for closed in ((0,), (0, 1), (0, 1, 2)):
        with store_client.meter_with(STORE) as folder:
            for arguments in (("get", "/a", "2"), ("set", "/a", "y")):
                status, calls = store_client.run_traced(folder, arguments, closed=closed)
                assert status == 0
                first = next(i for i, call in enumerate(calls) if folder.name in call)
                own = calls[first:]
                assert any("F_DUPFD_CLOEXEC, 3" in call for call in own)
                used = [call for call in own if re.match(r"(read|write|fstat|flock|fsync)\([012],",
                                                         call)]
                assert used == []


def test_child_programs_inherit_no_files():
    with store_client.meter_with(STORE) as folder:
        status, calls = store_client.run_traced(folder, ("set", "/a", "y"), ("-e", "trace=openat,open"))
    assert status == 0
    first = next(i for i, call in enumerate(calls) if folder.name in call)
    assert all("O_CLOEXEC" in call for call in calls[first:] if not call.startswith("+++"))
