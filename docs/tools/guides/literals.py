"""What the program can put on the screen: the texts in its sources, and where the guides quote
them."""

import ast
import re

from harness.program import REPOSITORY

FOLDERS = ("app", "network", "meterinit", "console")

STRING = r'"(?:[^"\\\n]|\\.)*"'
# A comment, an include or a character is stepped over; strings that follow each other are one.
TOKEN = re.compile(rf"//[^\n]*|#include[^\n]*|'(?:[^'\\\n]|\\.)+'|({STRING}(?:\s*{STRING})*)")
HEAD = re.compile(r"^[a-z][^\n]*", re.M)  # the first line of a declaration or routine
CONVERSION = re.compile(r"%[-+ 0-9.*]*[a-z]")


def program_texts():
    """(file, head, text) of every string in the program's sources; the head is the first line of
    the declaration or routine that it stands in."""
    for folder in FOLDERS:
        for path in sorted((REPOSITORY / folder).glob("*.[ch]*")):
            source = path.read_text(encoding="utf-8")
            heads = [(match.start(), match[0]) for match in HEAD.finditer(source)]
            for match in TOKEN.finditer(source):
                if match[1]:
                    head = [text for place, text in heads if place < match.start()][-1]
                    strings = map(ast.literal_eval, re.findall(STRING, match[1]))
                    yield path, head, "".join(strings)


def as_quoted(text):
    """The lines of a text as the guides quote it, "…" for each part that varies."""
    lines = re.sub("…(?: ?…)*", "…", CONVERSION.sub("…", text)).splitlines()
    return [line.strip() for line in lines if re.search("[A-Za-z]", line)]


def is_fragment(text):
    """Whether the program puts something before or behind the text."""
    return re.search(r"^[ )]|[ (-]$", text.strip("\n")) is not None


def quotes(page):
    """The texts in backquotes of a page, outside its code blocks."""
    text = re.sub(r"^```.*?^```$", "", page, flags=re.S | re.M)
    return [" ".join(quote.split("\n")) for quote in re.findall(r"`([^`]+)`", text)]


def first_cells(page, heading):
    """What the first cells of the table rows quote under a heading and the deeper ones below it."""
    level = heading.split(" ")[0]
    part = re.split(rf"^#{{1,{len(level)}}} ", page.split(f"\n{heading}\n")[1], flags=re.M)[0]
    return [quote for cell in re.findall(r"^\|([^|]*)\|", part, re.M) for quote in quotes(cell)]
