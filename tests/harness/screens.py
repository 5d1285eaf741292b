"""The screens of a console's text: each is written once in a file, and its menu items have labels.

A screen is a menu from its two empty lines to its question, or at least five lines put out before
another question. In a transcript «NAME» stands before a screen, and «NAME again» for that screen.
"""

import collections
import re

QUESTION = "Select an option ==>  "
SCREEN = re.compile(
    r"\n\n(?P<rule>-{78})\n(?P<title>.*)\n(?P=rule)\n\n[^‹«]*?(?=" + QUESTION + ")"
    r"|(?<=›\n)(?:[^‹«\n]*\n){5,}(?=[^‹«\n]*: ‹)")
NAME = re.compile(r"«([^»\n]*?)(?: again»|»(?:([^‹«]*?)(?=" + QUESTION + r"|[^‹«\n]*: ‹)|))")
ITEM = re.compile(r"^ *(\d+)\.  (.*?)(?:  :  .*)?$", re.M)
CHOICE = re.compile(r"(\s*\+?)(\d+)")


def kind_of(screen):
    if screen["title"] is None:
        return "choices"
    if "Network Settings: " in screen["title"]:
        return "port menu"
    return "initialisation menu" if " 0.  Exit to previous menu" in screen[0] else "main menu"


def fold(text):
    """`text` with a name before each screen, and the name alone where the screen comes again."""
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
    """The text that `fold` folds; it begins at that line of the file. ValueError for a wrong name."""
    screens = {}

    def screen(name):
        again = name[0].endswith(" again»")
        if name[2] is None and not again or again != (name[1] in screens):
            why = "no earlier screen has this name" if again else "a name stands once, before its screen"
            raise ValueError(f"{path}:{line + text.count(chr(10), 0, name.start())}: «{name[1]}»: {why}")
        return screens.setdefault(name[1], name[2])

    return NAME.sub(screen, text)
