"""The inputs of the fuzz targets: saved inputs, seeds made from the dialogues, and dictionaries.

Each line of `corpus/TARGET.inputs` is one input. It is a JSON string in which each character is one byte."""

import hashlib
import json
import re
import sys
import tomllib
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
ROOT = FOLDER.parents[1]
TARGETS = ("fuzz_session", "fuzz_options", "fuzz_files")

sys.path.insert(0, str(FOLDER.parent))
from harness import dialogue, menus  # noqa: E402

ESCAPE = 0xFE
MOST_REPEATS = 8  # the highest number of repeats of a fault, also of a fault without a limit
LEAF = re.compile(r'^    \{(".*?"|port_branch \+ ".*?"|supported_types_path), (text|number|boolean), ',
                  re.M)


def kept(target):
    lines = (FOLDER / "corpus" / f"{target}.inputs").read_text(encoding="ascii").splitlines()
    return [json.loads(line).encode("latin-1") for line in lines]


def keep(target, inputs):
    lines = [json.dumps(data.decode("latin-1")) + "\n" for data in sorted(inputs, key=lambda d: (len(d), d))]
    path = FOLDER / "corpus" / f"{target}.inputs"
    path.parent.mkdir(exist_ok=True)
    path.write_text("".join(lines), encoding="ascii")


def name_of(data):
    """Returns the name that the fuzzer gives to an input."""
    return hashlib.sha1(data).hexdigest()


def unpack(inputs, folder):
    """Writes each input to a file in the directory."""
    folder.mkdir(parents=True, exist_ok=True)
    for data in inputs:
        (folder / name_of(data)).write_bytes(data)


# -- seeds --

def all_dialogues():
    return [dialogue.Dialogue(path) for path in sorted((FOLDER.parent / "dialogues").rglob("*.dialogue"))]


def leaf_numbers():
    """Returns a dictionary from the paths of the leaves in fuzz_session.cpp to the leaves' numbers."""
    source = (FOLDER / "fuzz_session.cpp").read_text()
    port = re.search(r'port_branch = "(.*)";', source)[1]
    supported = port + re.search(r'supported_types_path = port_branch \+ "(.*)";', source)[1]
    paths = []
    for name, _ in LEAF.findall(source):
        text = name.rpartition("+ ")[2].strip('"')
        paths.append(supported if name == "supported_types_path" else
                     port + text if name.startswith("port_branch") else text)
    return {path: number for number, path in enumerate(paths)}


def leaf_event(numbers, path, value):
    """Returns the event that changes one leaf. The value None removes the leaf. Returns no bytes for a leaf
    that the program does not read."""
    if path not in numbers:
        return b""
    kind = 0 if value is None else 1 if isinstance(value, bool) else 2 if isinstance(value, int) else 3
    text = b"1" if value is True else b"" if value is False or value is None else str(value).encode()
    return bytes([ESCAPE, ord("L"), numbers[path], kind, min(len(text), 255)]) + text[:255]


def store_events(numbers, text):
    if text.startswith("remove "):
        return leaf_event(numbers, json.loads(text.removeprefix("remove ")), None)
    return b"".join(leaf_event(numbers, *leaf) for leaf in tomllib.loads(text).items())


def fault_events(text):
    """Returns events that approximate a meter's faults. They are not exact, because the session target counts
    calls and leaves, and ignores the path of a fault."""
    events = b""
    for fault in tomllib.loads(text).get("fault", []):
        call, after = fault["call"], fault.get("after", 0)
        times = min(fault.get("times", MOST_REPEATS), MOST_REPEATS)
        if call == "pcd_init":
            events += bytes([ESCAPE, ord("D")]) if after == 0 else b""
        elif fault.get("result"):
            number = ("get_leaves", "set_leaf", "set_leaves", "clear_leaves").index(call)
            events += bytes([ESCAPE, ord("F"), number, 0]) * after
            events += bytes([ESCAPE, ord("F"), number, fault["result"] & 0xFF]) * times
        elif "status" in fault and call != "clear_leaves":
            kind = "R" if call == "get_leaves" else "W"
            events += bytes([ESCAPE, ord(kind), after, fault["status"] & 0xFF]) * times
    return events


def session_seed(played, numbers):
    header = played.header
    arguments = ["-m", "", "2", "-v"]
    typed = header.get("arguments", "")
    seed = bytes([ESCAPE, ord("A"), arguments.index(typed) if typed in arguments else 2])
    if header["meter"] == "empty":
        seed += bytes([ESCAPE, ord("E")])
    seed += b"".join(leaf_event(numbers, *leaf) for leaf in tomllib.loads(header.get("set", "")).items())
    for line in header.get("remove", "").splitlines():
        seed += leaf_event(numbers, json.loads(line), None)
    seed += fault_events(header.get("faults", ""))
    for kind, value in dialogue.parse_console(played.console):
        if kind == "key" and value == dialogue.ENTER and header.get("terminal") != "icrnl off":
            seed += b"\n"
        elif kind == "key":
            seed += bytes([ESCAPE, ESCAPE]) if value == ESCAPE else bytes([value])
        elif kind == "wait" and value >= 30:
            seed += bytes([ESCAPE, ord("t")])
        elif kind == "store":
            seed += store_events(numbers, value)
    return seed


def options_seed(played):
    """Returns the options lists that the dialogue types, one per line."""
    answers = re.findall(r"Enter Options List: ‹([^›]*)⏎›", played.console)
    return "".join(answer.replace("\\\\", "\\") + "\n" for answer in answers).encode("latin-1", "replace")


def seeds(target):
    dialogues = all_dialogues()
    if target == "fuzz_session":
        numbers = leaf_numbers()
        return {session_seed(played, numbers) for played in dialogues}
    if target == "fuzz_options":
        return {seed for seed in map(options_seed, dialogues) if seed}
    texts = {played.header.get(part, "") for played in dialogues for part in ("set", "faults")}
    return {text.encode() for text in texts if text} | {(ROOT / "simulator" / "factory.toml").read_bytes()}


# -- dictionaries --

def words(target):
    """Returns the words of the target's dictionary. Most of them come from the program's own tables."""
    def quoted(path, pattern):
        return set(re.findall(pattern, (ROOT / path).read_text()))

    grammar = tomllib.loads((FOLDER.parent / "grammar.toml").read_text())
    tokens = {form for name, *_ in grammar["options"] for form in (name, name.lower())}
    if target == "fuzz_options":
        return tokens | {"-" + token for token in tokens}
    if target == "fuzz_session":
        codes = quoted("meterinit/enclosure.cpp", r'\{".*?", *"(\w+)", *"')
        events = {"\xfe" + letter for letter in "tiecLFWRUDATE"}
        choices = {f"{choice}\n" for choice in range(9)} | {"y\n", "n\n", "~\n", "\x7f"}
        ways = map(menus.typed, ("{INIT}\n2\n", "{INIT}\n6\n", "0\n{SAVE}\ny\n", "1\n5\n", "1\n1\nn\n"))
        return tokens | {code + "\n" for code in codes} | events | choices | {*ways} | {"192.0.2.1\n"}
    keys = quoted("simulator/toml_files.cpp", r'"(call|path|result|status|after|times|fault)"')
    calls = quoted("simulator/faults.h", r'"(\w+)"')
    return keys | {f'"{call}"' for call in calls} | {
        "[[fault]]\n", "call = ", '"/A/Value" = ', "true", "false", '"""', "'''", "0x7fffffff",
        "-2147483648", "\\u00e9", "\xc3\xa9", "\\", "\n"}


def write_dictionary(target, path):
    def escaped(word):
        return "".join(c if c.isalnum() or c in " -_./=" else f"\\x{ord(c):02x}" for c in word
                       ) if word.isascii() else "".join(f"\\x{b:02x}" for b in word.encode("latin-1"))
    path.write_text("".join(f'"{escaped(word)}"\n' for word in sorted(words(target))), encoding="ascii")
