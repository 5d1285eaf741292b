"""Generates random sessions. The meter of a session may have missing leaves, wrong values and faults. The
technician chooses items of the menus, makes typing errors, waits too long, and tries invalid input."""

import option_words
from harness import menus
from meter_model import AT_ONCE, DNS, ENCLOSURES, LEAVES, SERVICE
from meter_model import END, INTERRUPTED, TIME_OUT, ScriptEnded

TEXTS = ("", "10.0.0.1", "None", " ", "x" * 37, "x" * 38, "x" * 39, "y" * 90, "true", "1", "~",
         "Zähler №7", "電力量計", "é" * 38, "a\tb", "one\ntwo", "100%s%n", "\\", '"quoted"',
         "\x7f\x1b[A")  # fmt: skip
NUMBER_TEXTS = ("0", "1", "2", "3", "5", "6", "9", "-1", "-0", "+2", " 1", "\t2", "1x", "abc", "",
                "007", "2147483648", "4294967296", "-2147483649", "99999999999999999999", "1.5",
                "true")  # fmt: skip
INTEGERS = (0, 1, 2, 3, 5, 6, 7, -1, -2147483648, 2147483647)
MEDIA = ("10BASE-T", "100BASE-TX", "1000BASE-T", "10BASE-T half duplex", "Faser-Ü", "",
         "long" * 12, " ", "0", "%d")  # fmt: skip
ENTRY_NUMBERS = ("0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "-0", "-1", "+1", " 2", "+ 1",
                 "0x1", "1x", "x1", "00", "01", "2147483648", "4294967295", "4294967296",
                 "4294967297", "-4294967295", "18446744073709551616", "18446744073709551617",
                 "-18446744073709551615", "99999999999999999999999", "", " ", "+", "-", "~",
                 "~1", " ~", "one")  # fmt: skip
OCTETS = ("0", "1", "10", "99", "192", "254", "255", "256", "300", "-1", "-0", "+7", "007", " 5",
          "", "4294967295", "4294967296", "4294967297", "-4294967295", "18446744073709551616",
          "1e1", "0x1f", "- 1")  # fmt: skip
TAILS = ("", "", "", "", "", "abc", " ", ".5", ".", "/24", "~", "%s")
SERIALS = ("091512345", "089912345", "095312345", "091200000", "0912345", "091212345678",
           "9 1 1", " 09 15 12345", "99529999", "0900123", "0912-1234", "0912-0000", "0912+1234",
           "-1", "-11512345", "+91512345", "+9+1+1234", "0912-", "09 -1 5", "09", "0915", "09a",
           "~", "~~", "~091512345", "", " ", "0x9", "095200001", "095299999", "100152", "-0-0-0",
           "9999", "0952 12345", "09 1512345 tail")  # fmt: skip
ANSWERS = ("y", "Y", "yes", "Yes please", "n", "N", "no", "nope", "q", "1", " y", "~", "-", "")

BROKEN_STORES = ("this is no store\n", '"/VMIC/SerialNumber/Value" = 1.5\n', "[table]\n",
                 '"/VMIC/Enclosure/Value" = "R\n', '"/a" = 9999999999\n', '"/a" = ["R"]\n',
                 '"/a" = 1\n"/a" = 2\n', '"/a" = 2024-01-01\n')  # fmt: skip
BROKEN_FAULTS = ("[[fault]\n", "fault = \n", '[[fault]]\ncall = "set_leaf\n')
CALLS = ("get_leaves", "set_leaf", "set_leaves", "clear_leaves", "pcd_init")
STATUSES = (0, 1, 2, 3, 5, -1, 255)
RESULTS = (0, 1, -1, 7, -2147483648)
DOWNLOADS = ("vmconfig.bin", "vmconfig.", "vmconfig", "vmconfig.tar.gz", "xvmconfig.bin",
             "Vmconfig.bin", "vmconfigs.bin", ".vmconfig.bin", "other.txt")  # fmt: skip

ALL_LEAVES = tuple(LEAVES.values())
WRITTEN_AT_ONCE = tuple(AT_ONCE.values())
TRIGGERS = tuple(
    f"{SERVICE}{name}/Value"
    for name in "SetPrimCfg OptionsUpdate OptionChange/DualLP SetMeasLog/1 SetMeasLog/2".split()
)
OPTION_LEAVES = option_words.PATHS


def often(rng, share):
    return rng.random() < share


# --- the meter


def any_value(rng):
    return rng.choice(
        (rng.choice(TEXTS), rng.choice(INTEGERS), often(rng, 0.5), rng.choice(NUMBER_TEXTS))
    )


def usual_value(rng, name):
    if name in ("dhcp", "link_enabled"):
        return often(rng, 0.5)
    if name in ("meter_form", "class_amps", "nominal_frequency"):
        return rng.choice((rng.choice(INTEGERS), rng.choice(NUMBER_TEXTS), rng.randrange(3)))
    if name == "supported_media_types":
        return ";".join(rng.choices(MEDIA, k=rng.randrange(13 if often(rng, 0.1) else 5)))
    if name == "options_list":
        return rng.choice(("", options_entry(rng), "1A-WEB"))
    if name == "enclosure":
        return rng.choice(ENCLOSURES)
    if name == "serial_number":
        return rng.choice(("091512345", "YYMMXXXXX"))
    return rng.choice((address(rng), rng.choice(TEXTS)))


def leaves(rng):
    missing = rng.choice((0, 0, 0.1, 0.3, 1))
    wrong = rng.choice((0, 0, 0.1, 0.4))
    pairs = [
        (path, any_value(rng) if often(rng, wrong) else usual_value(rng, name))
        for name, path in LEAVES.items()
        if not often(rng, missing)
    ]
    for path in (*WRITTEN_AT_ONCE, *TRIGGERS, *OPTION_LEAVES):
        if often(rng, 0.05):
            pairs.append((path, any_value(rng)))
    if often(rng, 0.2):
        pairs.append(("/Elsewhere/Leaf", any_value(rng)))
    rng.shuffle(pairs)
    return dict(pairs)


def fault(rng):
    call = rng.choices(CALLS, (2, 5, 8, 5, 2))[0]
    entry = {"call": call}
    if call == "set_leaves" and often(rng, 0.4):  # the fault hits one of the writes of a save
        entry |= {"after": rng.randrange(4), "times": rng.choice((1, 1, 2))}
        return entry | ({"result": -1} if often(rng, 0.5) else {"status": rng.choice(STATUSES)})
    if call == "pcd_init":
        if often(rng, 0.8):
            entry["after"] = rng.choice((1, 1, 1, 2))
        if often(rng, 0.1):
            entry["path"] = rng.choice(ALL_LEAVES)
        if often(rng, 0.2):
            entry["result"] = rng.choice(RESULTS)
        if often(rng, 0.1):
            entry["status"] = rng.choice(STATUSES)
    else:
        if often(rng, 0.5):
            pool = {
                "get_leaves": ALL_LEAVES,
                "set_leaf": WRITTEN_AT_ONCE,
                "set_leaves": ALL_LEAVES + TRIGGERS * 2 + OPTION_LEAVES,
                "clear_leaves": ALL_LEAVES,
            }[call]
            entry["path"] = rng.choice((rng.choice(pool), rng.choice(ALL_LEAVES)))
        kind = rng.random()
        if kind < 0.7:
            entry["status"] = rng.choice(STATUSES)
        if kind > 0.4:
            entry["result"] = rng.choice(RESULTS)
        if often(rng, 0.02):
            entry.pop("status", None)
            entry.pop("result", None)
        if often(rng, 0.5):
            entry["after"] = rng.randrange(4)
    if often(rng, 0.7):
        entry["times"] = rng.choice((1, 1, 1, 2, 3, 0))
    return entry


def meter(rng):
    """Returns a random session without a script."""
    session = {
        "arguments": rng.choices(
            (["-m"], [], ["2"], ["abc"], [""], ["-V"], ["-v"], ["-v", "-m"], ["-m", "-m"],
             ["1", "2", "3"], ["-mm"]),
            (800, 150, 10, 5, 3, 3, 6, 4, 2, 2, 3),
        )[0],
        "store": leaves(rng),
        "factory": rng.choice((None, leaves(rng), leaves(rng))),
        "faults": [fault(rng) for _ in range(rng.choice((0, 0, 0, 1, 1, 2, 2, 3, 5)))],
        "jffs": rng.sample(DOWNLOADS, rng.randrange(5)) if often(rng, 0.5) else None,
    }  # fmt: skip
    if often(rng, 0.06):  # the only fault is in the main write of the first save
        session["faults"] = [{"call": "set_leaves", "result": -1, "times": 1}]
    if often(rng, 0.05):
        session["factory"] = rng.choice(BROKEN_STORES)
    if often(rng, 0.02):
        session[rng.choice(("store", "faults"))] = None
        if session["faults"] is None:
            session["faults"] = rng.choice(BROKEN_FAULTS)
        elif often(rng, 0.7):
            session["store"] = rng.choice((*BROKEN_STORES, ""))
    if often(rng, 0.01):
        session["home"] = rng.choice(("empty", "unset"))
    return session


# --- typed answers


def address(rng):
    return ".".join(str(rng.randrange(256)) for _ in range(4))


def address_entry(rng):
    kind = rng.random()
    if kind < 0.5:
        return address(rng)
    if kind < 0.65:
        return "~" + rng.choice(("", "", "1.2.3.4", "x"))
    parts = rng.choices(OCTETS, k=4) if often(rng, 0.3) else address(rng).split(".")
    parts[rng.randrange(4)] = rng.choice(OCTETS)
    if often(rng, 0.15):
        parts = parts[: rng.randrange(5)]
    separator = rng.choice((".", ".", ".", ".", ".", "..", " .", ". ", ",", " "))
    return separator.join(parts) + rng.choice(TAILS)


def options_entry(rng):
    """Returns an options list that the utility nearly always accepts."""
    chosen, groups = [], set()
    for name, group, _ in option_words.OPTIONS:
        if group not in groups and often(rng, 0.35):
            chosen.append(name)
            groups.update({group} & set(option_words.GROUPS))
    if often(rng, 0.1):
        chosen = [name for name, g, _ in option_words.OPTIONS if g not in option_words.GROUPS]
        chosen += ["1C", "2B", "3D", "7A", "8B", "9C", "PQ3"]
    if often(rng, 0.3):
        chosen = rng.sample(chosen, min(len(chosen), 3))
    rng.shuffle(chosen)
    small = rng.choice((0, 0, 0.5, 1))
    return "-".join(name.lower() if often(rng, small) else name for name in chosen)


def spoilt(rng, entry):
    """Returns the options list `entry` with one small mistake."""
    words = entry.split("-")
    at = rng.randrange(len(words))
    any_name = rng.choice(option_words.NAMES)
    kind = rng.randrange(14)
    if kind == 0:
        words.insert(at, words[at])
    elif kind == 1:
        words.insert(at, words[at].swapcase())
    elif kind == 2:
        words[at] = words[at].capitalize()
    elif kind == 3:
        words[at] += rng.choice("1AxX ~5")
    elif kind == 4:
        words.insert(at, "")
    elif kind == 5:
        words.append("")
    elif kind == 6:
        words.insert(0, "")
    elif kind == 7:
        words.insert(at, any_name)
    elif kind == 8:
        words[at] = rng.choice(("XYZ", "0", "PQ", "PQ4", "1", "3P", "mid", "MID", " WEB", "45"))
    elif kind == 9:
        words[at] += any_name
    elif kind == 10:
        words[at] = words[at][:-1]
    elif kind == 11:
        group = rng.choice(tuple(option_words.GROUPS))
        members = [name for name, g, _ in option_words.OPTIONS if g == group]
        words += rng.sample(members, rng.randrange(2, len(members) + 1))
        rng.shuffle(words)
    elif kind == 12:
        words += rng.choices(option_words.NAMES, k=rng.randrange(1, 60))
    else:
        return entry.replace("-", rng.choice((" ", ",", "--", "")), 1)
    return "-".join(words)


def options_line(rng):
    kind = rng.random()
    if kind < 0.5:
        return options_entry(rng)
    if kind < 0.9:
        entry = spoilt(rng, options_entry(rng))
        return spoilt(rng, entry) if often(rng, 0.3) else entry
    if kind < 0.97:
        return rng.choice(("~", "~", "~", "~WEB", "-", "--", "-WEB", ""))
    return "".join(rng.choices("123456789ABCabcPQMLDWEwebpqml- %~", k=rng.randrange(1, 300)))


def number_entry(rng, limit):
    return str(rng.randrange(limit + 1)) if often(rng, 0.5) else rng.choice(ENTRY_NUMBERS)


def serial_entry(rng):
    if often(rng, 0.4):
        return f"{rng.randrange(9, 100):02}{rng.randrange(1, 53):02}{rng.randrange(1, 100000):05}"
    if often(rng, 0.3):
        return "".join(rng.choices("0123456789+- ", k=rng.randrange(1, 14)))
    return rng.choice(SERIALS)


def enclosure_entry(rng):
    code = rng.choice(ENCLOSURES)
    if often(rng, 0.6):
        return code
    return rng.choice(("", "~", code.lower(), code + " ", " " + code, code[:-1], code + "F", "\\",
                       "XX", "%s", "x" * 200))  # fmt: skip


def menu_answer(rng, number):
    if often(rng, 0.9):
        return str(number)
    forms = (" {}", "+{}", "0{}", "{} ", "{}a", "-{}", rng.choice(ENTRY_NUMBERS))
    return rng.choice(forms).format(number)


# Each entry is the task of a technician. The entry maps a menu to the items that the technician prefers.
ERRANDS = (
    {},
    {},
    {"init menu": (2,), "main menu": ("init", "save")},
    {"init menu": (2, 0), "main menu": ("init", "save")},
    {"init menu": (1, 3, 4, 5, 6), "main menu": ("init", "save")},
    {"init menu": (8,), "main menu": ("init",)},
    {"port menu": (1, 2, 3, 4), "main menu": ("port", "save")},
    {"port menu": (3, 5), "main menu": ("port", "save")},
)


class Walker:
    """The technician. The model calls this object to get the next event. The object generates the event and
    appends the event to `events`."""

    def __init__(self, rng, session):
        self.rng = rng
        self.init_menu = session["arguments"] == ["-m"]
        self.lines_left = rng.choice((3, 10, 20, 40, 60))
        self.noise = rng.choice((0, 0, 0.02, 0.1))
        self.slips = rng.choice((0, 0.02, 0.05, 0.2))
        self.taste = {}  # maps each menu to this technician's weight for each item
        self.errand = rng.choice(ERRANDS)
        self.line = []
        self.events = []
        self.ended = False
        self.saved = False  # True after the first attempt to save
        self.regretful = often(rng, 0.2)  # True if this technician clears the options after the first save
        self.plan = []  # the items to choose next, in reverse order
        self.leaving = False

    def __call__(self, question, offered):
        if not self.line:
            self.line = self.next_line(question, offered)
            self.line.reverse()
        self.events.append(self.line.pop())
        return self.events[-1]

    def next_line(self, question, offered):
        self.lines_left -= 1
        if self.ended:
            return self.after_end()
        if self.lines_left < -12:
            raise ScriptEnded
        if self.lines_left < 0 and not self.leaving:
            self.leaving = True
            if often(self.rng, 0.2):
                raise ScriptEnded
        if self.leaving:
            return self.keys(self.way_out(question))
        return self.with_ending(self.mistyped(self.answer(question, offered)))

    def after_end(self):
        if self.lines_left < 0 or often(self.rng, 0.1):
            raise ScriptEnded
        return [self.rng.choices((END, TIME_OUT, INTERRUPTED), (20, 1, 1))[0]]

    def keys(self, text):
        return [*text.encode("latin-1"), 10]

    def way_out(self, question):
        if question == "Enter Meter Enclossure Type":
            return ""
        return "y" if question == "Exit without saving? (y/n)" else "0"

    def with_ending(self, text):
        keys = list(text.encode("latin-1"))
        if often(self.rng, self.slips):
            ending = self.rng.choices(
                (TIME_OUT, INTERRUPTED, 4, 13, END), (8, 6, 4, 2, 1 if self.lines_left < 8 else 0)
            )[0]
            if ending == END:
                self.ended = True
            if ending == 13:
                return [*keys, 13, 10]
            if often(self.rng, 0.4):
                keys = []
            return [*keys, ending]
        return [*keys, 10]

    def mistyped(self, text):
        """Returns the text with wrong keys between its characters. Most wrong keys are erased or ignored."""
        if not often(self.rng, self.noise * 10):
            return text
        typed = ""
        for key in text:
            if often(self.rng, self.noise):
                wrong = self.rng.choice("q0-.~ ")
                typed += self.rng.choice(
                    (wrong + "\b", wrong + "\x7f", "\x1b[A", "\t", "\0", "\r", "\x7f", "\b\b",
                     chr(self.rng.randrange(128, 256)), "\x03", "\x1a", "\x0c", "\xff")
                )  # fmt: skip
            typed += key
        return typed + ("\b" if often(self.rng, self.noise) else "")

    def prefer(self, menu, numbers):
        if self.plan and self.plan[-1] in dict(numbers):
            return self.plan.pop()
        weights = self.taste.setdefault(menu, {})
        for number, weight in numbers:
            errand = 8 if number in self.errand.get(menu, ()) else 1
            weights.setdefault(number, errand * weight * self.rng.choice((0.2, 1, 1, 4)))
        return self.rng.choices([n for n, _ in numbers], [weights[n] for n, _ in numbers])[0]

    def answer(self, question, offered):
        rng = self.rng
        if question == "main menu":
            numbers = {"port": menus.PORT, "reset": menus.PASSWORDS, "none": 99, "leave": 0}
            numbers |= {name: menus.PRIMARY_DNS + place for place, name in enumerate(DNS)}
            numbers |= ({"init": menus.INIT, "save": menus.SAVE} if self.init_menu else
                        {"save": menus.SAVE_WITHOUT_INIT})
            weights = {"port": 5, **dict.fromkeys(DNS, 2), "reset": 0.5, "none": 0.2}
            weights |= {"init": 9} if self.init_menu else {}
            weights |= {"save": 9, "leave": 1} if offered >= numbers["save"] else {"leave": 0.2}
            return menu_answer(rng, numbers[self.prefer(question, list(weights.items()))])
        if question == "port menu":
            numbers = [(1, 2), (2, 3), (3, 3), (4, 2), (5, 4), (6, 0.3), (7, 0.3), (0, 5)]
            return menu_answer(rng, self.prefer(question, numbers))
        if question == "init menu":
            numbers = [(1, 2), (2, 6), (3, 2), (4, 2), (5, 2), (6, 2), (7, 0.7), (8, 1), (9, 0.2),
                       (0, 5)]  # fmt: skip
            return menu_answer(rng, self.prefer(question, numbers))
        if question.endswith("(y/n)"):
            if question.startswith("Save") and not self.saved:
                self.saved = True
                self.plan = ["save", 0, rng.choice((1, 3, 6)), 2, "init"] * self.regretful
            return rng.choice(("y", "Y", "yes", "y", rng.choice(ANSWERS), rng.choice(ANSWERS)))
        if question == "Available media types:":
            return menu_answer(rng, rng.randrange(offered + 2))
        if question == "Enter Serial Number (YYMMXXXXX)":
            return serial_entry(rng)
        if question == "Enter Options List":
            return "~" if self.saved and self.regretful else options_line(rng)
        if question == "Enter Meter Enclossure Type":
            return enclosure_entry(rng)
        limits = {"Enter Meter Form": 5, "Enter Meter Class Amps": 2, "Enter Meter Frequency": 1}
        if question in limits:
            return "~" if often(rng, 0.2) else number_entry(rng, limits[question])
        return address_entry(rng)
