"""Models the simulated client library call by call, including faults.

The content of a store is a dict of leaves, the text of a file (which may be invalid), or None for no file.
"""

import tomllib

COMMAND_NOT_FOUND = 32512
PASSWORD_RESET = "sernetpwreset.sh > /dev/null 2>&1"
MODEL_UPDATE = "vmkeys -m >/dev/null 2>&1"
REMOVE_DOWNLOADS = "rm -rf /jffs/downloads/vmconfig.*"
NETWORK_RESTART = "/etc/init.d/network restart > /dev/null 2>&1"
FACTORY_RESET = "fw_reset.sh > /dev/null 2>&1"
COMMANDS = (PASSWORD_RESET, MODEL_UPDATE, REMOVE_DOWNLOADS, NETWORK_RESTART, FACTORY_RESET)

HANDLED = 1
MISSING = 2


def leaves_of(content):
    """Returns the leaves, or None if the library cannot read the store."""
    if isinstance(content, str):
        try:
            content = tomllib.loads(content)
        except tomllib.TOMLDecodeError:
            return None
    if content is None or not all(is_leaf(value) for value in content.values()):
        return None
    return dict(content)


def is_leaf(value):
    if isinstance(value, int):  # a bool is also an int
        return -(2**31) <= value < 2**31
    return isinstance(value, str)


class Fault:
    """One entry of the faults file, with counters for its matching calls and its hits."""

    def __init__(self, entry):
        self.entry = entry
        self.seen = 0
        self.hits = 0

    def matches(self, call, paths):
        return self.entry["call"] == call and self.entry.get("path") in (None, *paths)

    def notice(self):
        """Counts a matching call. Returns True if the fault may apply to this call."""
        self.seen += 1
        spent = self.hits >= self.entry.get("times", float("inf"))
        return self.seen > self.entry.get("after", 0) and not spent


class SimulatedMeter:
    def __init__(self, session, tally):
        self.home = session.get("home", "set") == "set"
        self.store = session["store"]
        self.factory = session.get("factory")
        faults = session.get("faults", [])
        self.faults_readable = not isinstance(faults, str)
        self.faults = [Fault(entry) for entry in faults] if self.faults_readable else []
        self.downloads = session.get("jffs")
        self.tally = tally
        self.connected = False
        self.trace = []
        self.reasons = 0  # the number of lines on standard error that give the reason for a failed connection
        self.rewritten = False  # True after the library has written the store's file

    # --- faults

    def struck(self, call, paths=()):
        ready = [f for f in self.faults if f.matches(call, paths) and f.notice()]
        if not ready:
            return {}
        ready[0].hits += 1
        self.note_fault(ready[0].entry, len(ready))
        return ready[0].entry

    def note_fault(self, entry, rivals):
        kinds = [key for key in ("path", "result", "status", "after", "times") if key in entry]
        self.tally["fault: " + " ".join([entry["call"], *kinds])] += 1
        for key in kinds:
            self.tally[f"fault with {key}: {entry['call']}"] += 1
        if rivals > 1:
            self.tally["fault: several ready for one call"] += 1

    def outcome(self, call, paths, normal):
        """Returns the result of the call, the statuses, and the positions of the paths that the call must
        still read or write. The function `normal` returns the status of a path without a fault."""
        if not self.connected:
            return -1, [0] * len(paths), []
        fault = self.struck(call, paths)
        result = fault.get("result", 0)
        named = fault.get("path")
        if result == 0 and leaves_of(self.store) is None:
            return -1, [0] * len(paths), []
        statuses, handled = [], []
        for position, path in enumerate(paths):
            if "status" in fault and named in (None, path):
                statuses.append(fault["status"])
            elif result != 0:
                statuses.append(0)
            else:
                statuses.append(normal(path))
                handled.append(position)
        return result, statuses, handled

    # --- library calls

    def init(self):
        fault = self.struck("pcd_init")
        usable = self.home and self.faults_readable and leaves_of(self.store) is not None
        self.connected = usable and not fault
        if not self.connected:
            self.reasons += 1
        self.trace.append({"call": "pcd_init", "connected": self.connected})
        return self.connected

    def close(self):
        if self.connected:
            self.trace.append({"call": "pcd_close"})
        self.connected = False

    def get(self, paths):
        leaves = leaves_of(self.store) or {}
        result, statuses, handled = self.outcome(
            "get_leaves", paths, lambda path: HANDLED if path in leaves else MISSING
        )
        elements = [""] * len(paths)
        for position in handled:
            elements[position] = leaves.get(paths[position], "")
        self.trace.append(
            {"call": "get_leaves", "paths": paths, "statuses": statuses, "result": result}
        )
        return result, statuses, elements

    def set_one(self, path, value):
        result, statuses, handled = self.outcome("set_leaf", [path], lambda _: HANDLED)
        self.write([(path, value)], handled)
        self.trace.append(
            {"call": "set_leaf", "path": path, "value": value, "flag": 1, "source": "",
             "status": statuses[0], "result": result}
        )  # fmt: skip
        return result, statuses[0]

    def set(self, batch, source):
        """Writes `batch`, a list of tuples (path, value, flag). Returns the result and the statuses."""
        paths = [path for path, _, _ in batch]
        result, statuses, handled = self.outcome("set_leaves", paths, lambda _: HANDLED)
        self.write([(path, value) for path, value, _ in batch], handled)
        leaves = [
            {"path": path, "value": value, "flag": flag, "status": status}
            for (path, value, flag), status in zip(batch, statuses)
        ]
        self.trace.append(
            {"call": "set_leaves", "leaves": leaves, "source": source, "result": result}
        )
        return result, statuses

    def clear(self, paths):
        result, statuses, handled = self.outcome("clear_leaves", paths, lambda _: HANDLED)
        if handled:
            leaves = leaves_of(self.store)
            for position in handled:
                leaves.pop(paths[position], None)
            self.replace(leaves)
        self.trace.append(
            {"call": "clear_leaves", "paths": paths, "statuses": statuses, "source": "",
             "result": result}
        )  # fmt: skip
        return result

    def write(self, batch, handled):
        if handled:
            leaves = leaves_of(self.store)
            leaves.update(batch[position] for position in handled)
            self.replace(leaves)

    def replace(self, leaves):
        self.store = leaves
        self.rewritten = True

    # --- commands and pauses

    def system(self, command):
        if command == FACTORY_RESET and self.factory is not None:
            self.store = self.factory
            self.rewritten = False
        if command == REMOVE_DOWNLOADS and self.downloads is not None:
            self.downloads = [n for n in self.downloads if not n.startswith("vmconfig.")]
        result = 0 if command in COMMANDS else COMMAND_NOT_FOUND
        self.trace.append({"call": "system", "command": command, "result": result})

    def sleep(self, seconds):
        self.trace.append({"call": "sleep", "seconds": seconds})
