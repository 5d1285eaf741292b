"""What must be true after a run with a fault.

The store holds what the library's trace says was written, each write whole; what the console says
agrees with it; nothing lies in the way, and the next undisturbed run does all of its work.
Each routine yields what is wrong, as one line each.
"""

import json
import re
import shutil
import tomllib

import injection
from harness.meter import toml_text

NO_TRACE = "the trace cannot be written"
NO_CONNECTION = "Error: can't connect to CDS"

# Calls that are repeated when a signal breaks them off.
REPEATED = ("openat", "read", "write", "fsync", "flock")


# -- the store --

RESET = "fw_reset.sh > /dev/null 2>&1"


def writes(calls):
    """The calls that change leaves, decoded."""
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
    """The store before the first of these writes, and after each."""
    passed = [leaves]
    for call in calls:
        passed.append(after_write(passed[-1], call, factory))
    return passed


def file_of(leaves):
    return toml_text(leaves).encode()


# -- the program's calls --

def own_calls_begin(strace_lines):
    """Where the program itself begins: at the first call on the meter's folder or a file in it."""
    return next(at for at, line in enumerate(strace_lines) if re.search(r'/meter["/>]', line))


# -- the console --

def refusals(calls):
    """The attempts to connect that failed, by their positions among these."""
    attempts = [call for call in map(json.loads, calls) if call["call"] == "pcd_init"]
    return [at for at, call in enumerate(attempts) if not call["connected"]]


def expected_messages(calls):
    """What the console must have said of the library's calls: a message, and how many times."""
    reconnections_refused = len([at for at in refusals(calls) if at > 0])
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
    # Said also of a reset that failed: nobody looks at what the command came to.
    yield b"Settings reset to defaults.\n", len([c for c in calls if c.get("command") == RESET])
    yield NO_CONNECTION.encode() + b"\n", reconnections_refused


def wrong_messages(fault_aim, run):
    for message, count in expected_messages(run.calls):
        shown = run.output.count(message)
        if shown != count and not (fault_aim == "output" and shown < count):
            yield f"{message!r} stood {shown} times on the console, not {count}"


def is_of_a_write(fault):
    """Whether it makes a write of the store fail, or is repeated."""
    if fault.effect == "EINVAL" and is_flush_of_folder(fault):
        return False  # so answers a file system that has no such flush
    return fault.call in ("flock", "fsync") or "store.toml.new" in fault.aim.split()


def is_repeated(fault):
    return fault.effect == "EINTR" and fault.call in REPEATED


def is_flush_of_folder(fault):
    return fault.call == "fsync" and fault.aim == "meter"


def is_without_one(part, whole):
    return any(part == whole[:at] + whole[at + 1:] for at in range(len(whole)))


def flushes_missing(strace_lines):
    """What a power cut could undo: a new store that takes its name without a flush after its last
    write, or without a flush of the folder right after."""
    steps = [(line.partition("(")[0], injection.aim_of(line)) for line in strace_lines]
    steps = [(call, aim) for call, aim in steps
             if call in ("write", "fsync") and aim in ("store.toml.new", "meter")
             or call.startswith("rename")]
    if not any(call.startswith("rename") for call, _ in steps):
        yield "no new store takes its name"
    for at, (call, _) in enumerate(steps):
        if call.startswith("rename"):
            if steps[at - 1:at] != [("fsync", "store.toml.new")]:
                yield "a new store takes its name without being flushed"
            if steps[at + 1:at + 2] != [("fsync", "meter")]:
                yield "the folder is not flushed after a new store took its name"


class Judge:
    """Of the runs of one matrix."""

    def __init__(self, matrix):
        self.subject = matrix.subject
        self.place = matrix.place
        self.plain = matrix.plain
        self.begin = own_calls_begin(matrix.plain.strace)
        self.next_runs = {}  # what a run left in the folder: what is wrong with the run after it
        if self.subject.traced:
            self.final = states(self.subject.store, writes(self.plain.calls), self.subject.factory)
        else:
            self.final = [self.subject.store, None]

    def wrong_at_first(self):
        """With the undisturbed run: it must have done its work for the others to mean anything."""
        plain = self.plain
        if plain.status != 0 or plain.errors:
            yield f"it ended with {plain.status}, telling {plain.errors!r}"
        if plain.store() != (file_of(self.final[-1]) if self.subject.traced else plain.store()):
            yield "the store is not what was written to it"
        if plain.store() == file_of(self.subject.store):
            yield "it left the store as it was"
        yield from flushes_missing(plain.strace)

    # -- one run --

    def wrong_with(self, fault, run):
        if run.status is None:
            return [f"it did not end; its output ended so: {run.output[-80:]!r}"]
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
            return  # what the loader makes of it is not the program's
        if run.status < 0:
            yield f"it was ended by signal {-run.status}"
        elif self.subject.traced and run.status != (1 if 0 in refusals(run.calls) else 0):
            yield f"its exit status was {run.status}"

    def wrong_files(self, fault, run):
        """Only a killed writer leaves its new file."""
        may_be_left = {"store.toml.new"} if fault.effect == injection.KILL else set()
        strange = run.files.keys() ^ self.subject.files().keys()
        if strange - may_be_left:
            yield f"other files in the folder: {', '.join(sorted(strange))}"
        if run.modes.get("store.toml") != injection.MODE:
            yield "the store's permission bits are other ones"

    # -- of a program that writes down its calls --

    def wrong_store(self, fault, run):
        if fault.effect == injection.KILL:
            if run.calls != self.plain.calls[:len(run.calls)]:
                yield "a killed run made other calls than the undisturbed one"
            done = len(writes(run.calls))
            allowed = self.final[done:done + 2]  # the write that was being made, or not
        elif NO_TRACE in run.errors:
            if not is_without_one(run.calls, self.plain.calls):
                yield "more than one call is missing in the trace"
            allowed = self.final[-1:]
        else:
            allowed = self.stores_told(fault, run)
        if run.store() not in [file_of(leaves) for leaves in allowed]:
            yield "the store is not what was written to it"

    def stores_told(self, fault, run):
        """A write that failed has changed nothing, but when the flush of the folder failed."""
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
                yield "a trace that cannot be written changed what the console shows"
            return
        yield from wrong_messages(fault.aim, run)
        if "select" in fault.call and run.output == self.plain.output:
            yield "a wait for a key failed, and nobody could see it"
        failed = any(json.loads(call).get("result", 0) != 0 for call in run.calls)
        if is_repeated(fault) and failed:
            yield "a call that a signal broke off was not repeated"
        if is_of_a_write(fault) and not is_repeated(fault) and not failed:
            yield "a call of a write failed, and the write is said to have succeeded"

    def wrong_errors(self, fault, run):
        expected = []
        if fault.aim == "calls" and (fault.call, fault.effect) != ("openat", "EINTR"):
            expected = [NO_TRACE]
        for at in refusals(run.calls):
            expected += ["cannot be read: "] + [NO_CONNECTION] * (at == 0)
        lines = run.errors.splitlines()
        if len(lines) != len(expected) or any(e not in l for e, l in zip(expected, lines)):
            yield f"standard error: {run.errors!r}"

    # -- of any other program: it does one replacement of the store --

    def wrong_result(self, fault, run):
        old, new = file_of(self.subject.store), self.plain.store()
        if run.store() not in (old, new):
            yield "the store is neither the old nor the new one"
        if fault.effect == injection.KILL:
            return
        succeeded = run.status == self.plain.status
        if succeeded and run.store() != new:
            yield "it says that it succeeded, and the store is the old one"
        if is_of_a_write(fault) and succeeded != is_repeated(fault):
            yield f"a call of the write failed, and it ended with {run.status}"

    # -- the next run --

    def wrong_next_run(self, run):
        """Runs the same once more, on what is left. Equal folders have equal next runs."""
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
            yield "no session can follow: the store is missing or cannot be read"
            return
        after = self.run_on(files)
        # Keys that an error had led astray may have set other leaves.
        done = writes(self.plain.calls)
        expected = file_of(states(left, done, self.subject.factory)[-1])
        if writes(after.calls) != done:
            yield "the next session did not write all of its leaves"
        if (after.status, after.errors) != (self.plain.status, ""):
            yield f"the next session ended with {after.status}, telling {after.errors!r}"
        if after.files != {**self.subject.files(), "store.toml": expected}:
            yield "the next session did not leave the new store, and nothing else"
        yield from wrong_messages("", after)

    def wrong_command_after(self, files):
        """Nothing but the store makes a difference to it."""
        after = self.run_on(files)
        alone = self.run_on({name: files[name] for name in files.keys() & self.subject.files().keys()})
        if (after.status, after.output, after.errors) != (alone.status, alone.output, alone.errors):
            yield f"the next run ended with {after.status}, telling {after.errors!r}"
        if after.files != alone.files:
            yield "the next run was hindered by what was left"
