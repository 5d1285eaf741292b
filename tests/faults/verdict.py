"""Checks the conditions that must be true after a run with a fault.

The store contains each write in the library's trace completely. The text on the console agrees with the
trace. The directory contains no unexpected files. The next run without a fault succeeds. The functions that
check a condition yield one line for each violation.
"""

import json
import re
import shutil
import tomllib

import injection
from harness.meter import toml_text

NO_TRACE = "the trace cannot be written"
NO_CONNECTION = "Error: can't connect to CDS"

# Calls that the program repeats if a signal interrupts them.
REPEATED = ("openat", "read", "write", "fsync", "flock")


# -- the store --

RESET = "fw_reset.sh > /dev/null 2>&1"


def writes(calls):
    """Returns the calls that change leaves, decoded from JSON."""
    return [call for call in map(json.loads, calls)
            if call["call"] in ("set_leaf", "set_leaves", "clear_leaves")
            or call.get("command") == RESET]


def after_write(leaves, call, factory):
    if call["call"] == "system":
        return factory
    changed = dict(leaves)
    if call["call"] == "set_leaf":
        changed[call["path"]] = call["value"]
    elif call["call"] == "set_leaves":
        changed.update((leaf["path"], leaf["value"]) for leaf in call["leaves"])
    else:
        for path in call["paths"]:
            changed.pop(path, None)
    return changed


def states(leaves, calls, factory):
    """Returns a list of stores: the store before the first write, and the store after each write."""
    passed = [leaves]
    for call in calls:
        passed.append(after_write(passed[-1], call, factory))
    return passed


def file_of(leaves):
    return toml_text(leaves).encode()


# -- the program's calls --

def own_calls_begin(strace_lines):
    """Returns the index of the first call on the meter's directory or its files. The dynamic loader has
    finished before this call."""
    return next(at for at, line in enumerate(strace_lines) if re.search(r'/meter["/>]', line))


# -- the console --

def failed_connections(calls):
    """Returns the indices of the failed attempts among all attempts to connect."""
    attempts = [call for call in map(json.loads, calls) if call["call"] == "pcd_init"]
    return [at for at, call in enumerate(attempts) if not call["connected"]]


def expected_messages(calls):
    """Yields pairs: a message, and the number of times that the calls in the trace must cause the message."""
    failed_reconnections = len([at for at in failed_connections(calls) if at > 0])
    calls = [json.loads(call) for call in calls]
    failed = [call for call in calls if call.get("result", 0) != 0]
    reads = [call for call in failed if call["call"] == "get_leaves"]
    single = [call for call in failed if call["call"] == "set_leaf"]
    batches = [call for call in calls if call["call"] in ("set_leaves", "clear_leaves")]
    failed_batches = [call for call in failed if call in batches]
    options = [call for call in failed_batches if call["call"] == "set_leaves" and not call["source"]]
    saved = bool(batches) and not failed_batches
    yield b"Warning: couldn't read ", len(reads)
    for call in single:
        yield call["path"].encode() + b"\n", 1
    yield b"set_leaf failed for ", len(single)
    yield b"Error while setting Velmora II Options list in cds.\n", len(options)
    yield b"Error saving settings!\n", 1 if failed_batches else 0
    yield b"Settings saved.\n", 1 if saved else 0
    # A failed reset also causes this message, because the program ignores the status of the command.
    yield b"Settings reset to defaults.\n", len([c for c in calls if c.get("command") == RESET])
    yield NO_CONNECTION.encode() + b"\n", failed_reconnections


def wrong_messages(fault_aim, run):
    for message, count in expected_messages(run.calls):
        shown = run.output.count(message)
        if shown != count and not (fault_aim == "output" and shown < count):
            yield f"{message!r} was on the console {shown} times, not {count}"


def is_of_a_write(fault):
    """Returns True if the fault is at a call that belongs to a write of the store. The write must then fail,
    or the program must repeat the call."""
    if fault.effect == "EINVAL" and is_flush_of_folder(fault):
        return False  # the program ignores this error, because some file systems cannot flush directories
    return fault.call in ("flock", "fsync") or "store.toml.new" in fault.aim.split()


def is_repeated(fault):
    return fault.effect == "EINTR" and fault.call in REPEATED


def is_flush_of_folder(fault):
    return fault.call == "fsync" and fault.aim == "meter"


def is_without_one(part, whole):
    return any(part == whole[:at] + whole[at + 1:] for at in range(len(whole)))


def flushes_missing(strace_lines):
    """Checks that a power failure cannot undo a write of the store. The program must flush the new store
    immediately before it renames the file, and must flush the directory immediately after the rename."""
    steps = [(line.partition("(")[0], injection.aim_of(line)) for line in strace_lines]
    steps = [(call, aim) for call, aim in steps
             if call in ("write", "fsync") and aim in ("store.toml.new", "meter")
             or call.startswith("rename")]
    if not any(call.startswith("rename") for call, _ in steps):
        yield "no new store is renamed to store.toml"
    for at, (call, _) in enumerate(steps):
        if call.startswith("rename"):
            if steps[at - 1:at] != [("fsync", "store.toml.new")]:
                yield "a new store is renamed without a flush"
            if steps[at + 1:at + 2] != [("fsync", "meter")]:
                yield "the directory is not flushed after a new store was renamed"


class Judge:
    """Judges the runs of one matrix."""

    def __init__(self, matrix):
        self.subject = matrix.subject
        self.place = matrix.place
        self.plain = matrix.plain
        self.begin = own_calls_begin(matrix.plain.strace)
        self.next_runs = {}  # maps the files after a run to the errors of the next run
        if self.subject.traced:
            self.final = states(self.subject.store, writes(self.plain.calls), self.subject.factory)
        else:
            self.final = [self.subject.store, None]

    def wrong_at_first(self):
        """Checks the undisturbed run. If this run is wrong, the results of the other runs mean nothing."""
        plain = self.plain
        if plain.status != 0 or plain.errors:
            yield f"its exit status was {plain.status}; standard error: {plain.errors!r}"
        if plain.store() != (file_of(self.final[-1]) if self.subject.traced else plain.store()):
            yield "the store differs from the writes in the trace"
        if plain.store() == file_of(self.subject.store):
            yield "it did not change the store"
        yield from flushes_missing(plain.strace)

    # -- one run --

    def wrong_with(self, fault, run):
        if run.status is None:
            return [f"it did not end; the end of its output is {run.output[-80:]!r}"]
        if not run.is_hit(fault):
            return ["the call was not reached"]
        wrong = [*self.wrong_end(fault, run), *self.wrong_files(fault, run)]
        if self.subject.traced:
            wrong += self.wrong_store(fault, run)
            wrong += self.wrong_console(fault, run)
        else:
            wrong += self.wrong_result(fault, run)
        return [*wrong, *self.wrong_next_run(run)]

    def wrong_end(self, fault, run):
        if fault.effect == injection.KILL:
            return
        if fault.position < self.begin:
            return  # the fault hit the dynamic loader, before the program started
        if run.status < 0:
            yield f"it was ended by signal {-run.status}"
        elif self.subject.traced and run.status != (1 if 0 in failed_connections(run.calls) else 0):
            yield f"its exit status was {run.status}"

    def wrong_files(self, fault, run):
        """Checks the files in the directory. Only a killed program may leave the file store.toml.new."""
        may_be_left = {"store.toml.new"} if fault.effect == injection.KILL else set()
        strange = run.files.keys() ^ self.subject.files().keys()
        if strange - may_be_left:
            yield f"other files in the directory: {', '.join(sorted(strange))}"
        if run.modes.get("store.toml") != injection.MODE:
            yield "the store's permission bits have changed"

    # -- programs with a trace of their calls --

    def wrong_store(self, fault, run):
        if fault.effect == injection.KILL:
            if run.calls != self.plain.calls[:len(run.calls)]:
                yield "the calls of a killed run differ from those of the undisturbed one"
            done = len(writes(run.calls))
            allowed = self.final[done:done + 2]  # the store with or without the interrupted write
        elif NO_TRACE in run.errors:
            if not is_without_one(run.calls, self.plain.calls):
                yield "more than one call is missing in the trace"
            allowed = self.final[-1:]
        else:
            allowed = self.stores_in_trace(fault, run)
        if run.store() not in [file_of(leaves) for leaves in allowed]:
            yield "the store differs from the writes in the trace"

    def stores_in_trace(self, fault, run):
        """Returns a list with the store that results from the writes in the trace. A failed write changes no
        leaf, unless only the flush of the directory failed."""
        leaves = self.subject.store
        for call in writes(run.calls):
            if call["result"] == 0 or is_flush_of_folder(fault):
                leaves = after_write(leaves, call, self.subject.factory)
        return [leaves]

    def wrong_console(self, fault, run):
        if fault.effect == injection.KILL or fault.position < self.begin and run.status != 0:
            return
        yield from self.wrong_errors(fault, run)
        if NO_TRACE in run.errors:
            if run.output != self.plain.output:
                yield "the console differs although only the trace could not be written"
            return
        yield from wrong_messages(fault.aim, run)
        if "select" in fault.call and run.output == self.plain.output:
            yield "a wait for a key failed, but the console does not show it"
        failed = any(json.loads(call).get("result", 0) != 0 for call in run.calls)
        if is_repeated(fault) and failed:
            yield "a call that a signal interrupted was not repeated"
        if is_of_a_write(fault) and not is_repeated(fault) and not failed:
            yield "a call of a write failed, but the write reported success"

    def wrong_errors(self, fault, run):
        expected = []
        if fault.aim == "calls" and (fault.call, fault.effect) != ("openat", "EINTR"):
            expected = [NO_TRACE]
        for at in failed_connections(run.calls):
            expected += ["cannot be read: "] + [NO_CONNECTION] * (at == 0)
        lines = run.errors.splitlines()
        if len(lines) != len(expected) or any(e not in l for e, l in zip(expected, lines)):
            yield f"standard error: {run.errors!r}"

    # -- other programs: they replace the store once --

    def wrong_result(self, fault, run):
        old, new = file_of(self.subject.store), self.plain.store()
        if run.store() not in (old, new):
            yield "the store is neither the old nor the new one"
        if fault.effect == injection.KILL:
            return
        succeeded = run.status == self.plain.status
        if succeeded and run.store() != new:
            yield "it reports success, but the store is the old one"
        if is_of_a_write(fault) and succeeded != is_repeated(fault):
            yield f"a call of the write failed, but the exit status was {run.status}"

    # -- the next run --

    def wrong_next_run(self, run):
        """Runs the same program again on the files that the run left. If several runs left equal files, runs
        the program only once for all of them."""
        left = tuple(sorted(run.files.items()))
        if left not in self.next_runs:
            follow = self.wrong_session_after if self.subject.traced else self.wrong_command_after
            self.next_runs[left] = list(follow(run.files))
        return self.next_runs[left]

    def run_on(self, files):
        top = self.place.make_meter(files)
        after = injection.run(self.subject, top)
        after.errors = after.errors.replace(str(top), "METER")
        shutil.rmtree(top)
        return after

    def wrong_session_after(self, files):
        try:
            left = tomllib.loads(files.get("store.toml", b"\xFF").decode())
        except (tomllib.TOMLDecodeError, UnicodeDecodeError):
            yield "the store is missing or unreadable, so no session can follow"
            return
        after = self.run_on(files)
        # After an error, the keys may have answered other questions and set other leaves. The expected store
        # therefore starts from the leaves that the run left.
        done = writes(self.plain.calls)
        expected = file_of(states(left, done, self.subject.factory)[-1])
        if writes(after.calls) != done:
            yield "the next session did not write all of its leaves"
        if (after.status, after.errors) != (self.plain.status, ""):
            yield f"the exit status of the next session was {after.status}; standard error: {after.errors!r}"
        if after.files != {**self.subject.files(), "store.toml": expected}:
            yield "the next session did not leave only the new store"
        yield from wrong_messages("", after)

    def wrong_command_after(self, files):
        """Checks that the next run depends only on the store, and not on other files that the run left."""
        after = self.run_on(files)
        alone = self.run_on({name: files[name] for name in files.keys() & self.subject.files().keys()})
        if (after.status, after.output, after.errors) != (alone.status, alone.output, alone.errors):
            yield f"the exit status of the next run was {after.status}; standard error: {after.errors!r}"
        if after.files != alone.files:
            yield "the remaining files prevented the next run"
