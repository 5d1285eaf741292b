"""Names the screens in the text of a console, and finds menu items by their labels.

A screen is either a menu, from the two empty lines before the menu to its question, or a block of at least
five lines before another question. A transcript shows each screen in full once, after «NAME». If the same
screen appears again, the transcript has only «NAME again».
"""

import collections
import re

QUESTION = "Select an option ==>  "
SCREEN = re.compile(
    r"\n\n(?P<rule>-{78})\n(?P<title>.*)\n(?P=rule)\n\n[^‹«]*?(?=" + QUESTION + ")"
    r"|(?<=›\n)(?:[^‹«\n]*\n){5,}(?=[^‹«\n]*: ‹)")
NAME = re.compile(r"«([^»\n]*?)(?: again»|»(?:([^‹«]*?)(?=" + QUESTION + r"|[^‹«\n]*: ‹)|))")
ITEM = re.compile(r"^ *([1-9]\d*)\.  (.*?) *(?:  :  .*)?$", re.M)
ENDS_LINE = b"\n\r\x04"
ERASES = b"\b\x7f"


def kind_of(screen):
    if screen["title"] is None:
        return "choices"
    if "Network Settings: " in screen["title"]:
        return "port menu"
    return "initialisation menu" if " 0.  Exit to previous menu" in screen[0] else "main menu"


def fold(text):
    """Returns `text` with a name before each screen. If a screen appears again, only «NAME again» remains."""
    names = {}
    counts = collections.Counter()

    def named(screen):
        if name := names.get(screen[0]):
            return f"«{name} again»"
        counts[kind_of(screen)] += 1
        names[screen[0]] = name = f"{kind_of(screen)} {counts[kind_of(screen)]}"
        return f"«{name}»{screen[0]}"

    return SCREEN.sub(named, text)


def unfold(text, path="", line=1):
    """Reverses `fold`. `line` is the number of the line in the file `path` where `text` starts. Raises
    ValueError if a name is wrong."""
    screens = {}

    def screen(name):
        again = name[0].endswith(" again»")
        if name[2] is None and not again or again != (name[1] in screens):
            why = "no earlier screen has this name" if again else "the name is not unique, or not before its screen"
            raise ValueError(f"{path}:{line + text.count(chr(10), 0, name.start())}: «{name[1]}»: {why}")
        return screens.setdefault(name[1], name[2])

    return NAME.sub(screen, text)


def items(output):
    """Maps each label of the menu at the end of the output to its number. Returns an empty dictionary if the
    output does not end with a menu."""
    text = output.decode("latin-1")
    menu = text.rpartition("-" * 78 + "\n")[2] if text.endswith(QUESTION) else ""
    return {label: int(number) for number, label in ITEM.findall(menu)}


def number_now(number, before, now):
    """Finds the item with this number in the menu `before`. Returns the number of this item in the menu
    `now`. If `before` has no such item, returns a number that no item has in `now`. An item that has only a
    new label counts as the same item. Raises ValueError if `now` does not contain the item."""
    label = next((label for label in before if before[label] == number), None)
    if label is None:
        return number + len(now) - len(before) if number in now.values() else number
    new_label = next((new for new in now if now[new] == number), None)
    if label not in now and (new_label is None or new_label in before or len(now) != len(before)):
        raise ValueError(f"no item is called {label!r} any more: edit the key {number} by hand")
    return now.get(label, number)


def renumbered(inputs, before, now):
    """Changes the answer to a menu so that the answer chooses the same item in the menu `now` as in `before`.
    The answer is at the start of `inputs` and may contain erased keys. Returns the new inputs and a
    description of the change. The description is None if the answer did not change."""
    answer = []  # the positions of the keys that were not erased
    for place, (kind, value) in enumerate(inputs):
        if kind == "key" and value in ENDS_LINE or kind == "wait" and value >= 30:
            break
        if kind == "key" and value in ERASES:
            answer = answer[:-1]
        elif kind == "key" and 0x20 <= value < 0x7F:
            answer.append(place)
    typed = re.fullmatch(r"( *\+?)(\d+)", "".join(chr(inputs[place][1]) for place in answer))
    if not typed or not before or not now:
        return inputs, None
    number = number_now(int(typed[2]), before, now)
    if number == int(typed[2]):
        return inputs, None
    first, *others = answer[len(typed[1]):]
    keys = [[step] for step in inputs]
    keys[first] = [("key", ord(digit)) for digit in str(number)]
    for place in others:
        keys[place] = []
    label = next((f'"{label}"' for label in now if now[label] == number), "no item")
    return [step for part in keys for step in part], f"{number} instead of {int(typed[2])}: {label}"
