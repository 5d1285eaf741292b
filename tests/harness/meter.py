"""Creates, reads and changes the directory of one simulated meter."""

import fcntl
import json
import os
import pathlib
import re
import shutil
import tempfile
import tomllib

from harness.program import BUILD, REPOSITORY, wait_until

FACTORY = REPOSITORY / "simulator" / "factory.toml"


def toml_value(value):
    """Returns a leaf's value in TOML. The texts of 1 and True differ, although 1 == True in Python."""
    if isinstance(value, str):
        return json.dumps(value, ensure_ascii=False).replace("\x7f", "\\u007f")
    return json.dumps(value)


def toml_text(leaves):
    return "".join(f"{toml_value(path)} = {toml_value(leaves[path])}\n" for path in sorted(leaves))


def locks(folder):
    try:
        fcntl.flock(folder, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        return False
    return True


class Meter:
    """A meter's directory below the build directory. The trace is in a file next to this directory."""

    def __init__(self, name, leaves, faults="", factory_text=None):
        base = BUILD / "test-meters"
        base.mkdir(parents=True, exist_ok=True)
        prefix = re.sub(r"[^A-Za-z0-9-]+", "-", name) + "-"
        self.top = pathlib.Path(tempfile.mkdtemp(prefix=prefix, dir=base))
        self.folder = self.top / "meter"
        self.trace = self.top / "calls"
        self.folder.mkdir()
        self.replace_store(leaves)
        if faults:
            (self.folder / "faults.toml").write_text(faults)
        if factory_text is not None:
            (self.folder / "factory.toml").write_text(factory_text)
        self.at_start = self.leaves()

    def environment(self):
        """Returns the environment for a program that uses this meter. The variables METER_SIM_* of the test's
        own environment have no effect on that program."""
        variables = {k: v for k, v in os.environ.items() if not k.startswith("METER_SIM_")}
        variables["METER_SIM_DIR"] = str(self.folder)
        variables["METER_SIM_TRACE"] = str(self.trace)
        variables["METER_SIM_NO_DELAY"] = "1"
        return variables

    def leaves(self):
        return tomllib.loads((self.folder / "store.toml").read_text())

    def replace_store(self, leaves):
        new_file = self.folder / "store.toml.new"
        new_file.write_text(toml_text(leaves))
        new_file.rename(self.folder / "store.toml")

    def change(self, to_set, to_remove=()):
        """Changes the store like a separate process: takes the lock of the directory and writes all leaves
        atomically."""
        lock = os.open(self.folder, os.O_RDONLY)
        try:
            wait_until(lambda: locks(lock), lambda: f"{self.folder} stays locked")
            leaves = self.leaves()
            leaves.update(to_set)
            for path in to_remove:
                del leaves[path]
            self.replace_store(leaves)
        finally:
            os.close(lock)

    def calls(self):
        """Returns the trace of the session so far: one JSON text for each call."""
        return self.trace.read_text().splitlines() if self.trace.exists() else []

    def difference(self):
        """Compares the store with the store at the start of the session. Returns one line for each leaf that
        differs, or the line "unchanged"."""
        try:
            before, now = self.at_start, self.leaves()
        except tomllib.TOMLDecodeError:
            return ["not readable any more:", *(self.folder / "store.toml").read_text().splitlines()]
        lines = []
        for path in sorted(before.keys() | now.keys()):
            key = toml_value(path)
            if path not in now:
                lines.append(f"- {key} = {toml_value(before[path])}")
            elif path not in before:
                lines.append(f"+ {key} = {toml_value(now[path])}")
            elif toml_value(before[path]) != toml_value(now[path]):
                lines.append(f"~ {key} = {toml_value(before[path])} -> {toml_value(now[path])}")
        return lines or ["unchanged"]

    def remove(self):
        shutil.rmtree(self.top)
