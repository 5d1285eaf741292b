"""Reads the program's texts from its C++ sources, and the quotations of these texts from the guides."""

import ast
import re

from harness.program import REPOSITORY

FOLDERS = ("app", "network", "meterinit", "console")

STRING = r'"(?:[^"\\\n]|\\.)*"'
# Group 1 matches consecutive string literals. The other alternatives skip comments, #include lines and
# character literals.
TOKEN = re.compile(rf"//[^\n]*|#include[^\n]*|'(?:[^'\\\n]|\\.)+'|({STRING}(?:\s*{STRING})*)")
HEAD = re.compile(r"^[a-z][^\n]*", re.M)  # the first line of a declaration or function
CONVERSION = re.compile(r"%[-+ 0-9.*]*[a-z]")


def program_texts():
    """Yields (file, head, text) for every string in the program's sources. The head is the first line of the
    declaration or function that contains the string."""
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
    """Returns the lines of a text as the guides quote them, with "…" in place of each variable part."""
    lines = re.sub("…(?: ?…)*", "…", CONVERSION.sub("…", text)).splitlines()
    return [line.strip() for line in lines if re.search("[A-Za-z]", line)]


def is_fragment(text):
    """Returns True if the program prints something before or after the text on the same line."""
    return re.search(r"^[ )]|[ (-]$", text.strip("\n")) is not None


def quotes(page):
    """Returns the texts in backquotes on a page, outside its code blocks."""
    text = re.sub(r"^```.*?^```$", "", page, flags=re.S | re.M)
    return [" ".join(quote.split("\n")) for quote in re.findall(r"`([^`]+)`", text)]


def first_cells(page, heading):
    """Returns the quotations in the first cells of all table rows in a section and its subsections."""
    level = heading.split(" ")[0]
    part = re.split(rf"^#{{1,{len(level)}}} ", page.split(f"\n{heading}\n")[1], flags=re.M)[0]
    return [quote for cell in re.findall(r"^\|([^|]*)\|", part, re.M) for quote in quotes(cell)]
