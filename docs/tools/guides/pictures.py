"""Draws the pictures of the guides. Each picture shows a session that pictures.toml describes."""

import re
import tomllib
from xml.sax.saxutils import unescape

from guides import svg
from guides.screens import lines_of, plain, shown_part
from guides.sessions import Session
from harness.menus import typed
from harness.program import REPOSITORY

FOLDER = REPOSITORY / "docs" / "pictures"
HEADER_KEYS = ("set", "faults")


def table():
    return tomllib.loads((FOLDER / "pictures.toml").read_text())


def session_of(name, picture):
    header = {key: picture[key] for key in HEADER_KEYS if key in picture}
    keys = [typed(answer) for answer in [*picture.get("lead", []), *picture.get("keys", [])]]
    return Session(name, keys, picture.get("arguments", "-m"), **header)


def draw(name, picture):
    session = session_of(name, picture)
    parts = len(picture.get("keys", []))
    screen_after = picture.get("screen_after", True)
    if picture.get("from_the_start"):
        parts = len(session.parts)
    lines = shown_part(session, parts, picture.get("screen_before", True), screen_after)
    last = lines_of(session.parts[-1][0])[-1]
    waiting = lines[-1] == last
    waits_at = sum(len(text) for _, text in last) if waiting else None
    return svg.draw_screen(picture["title"], picture["shows"], lines, waits_at)


def path_of(name):
    return FOLDER / f"{name}.svg"


def screen_text(name):
    """Returns the screen at the end of a picture's session as plain text."""
    lines = shown_part(session_of(name, table()[name]), 0, True, True)
    return "".join(plain(line) + "\n" for line in lines)


def text_of(path):
    """Returns the text of a picture without line breaks, so that a search also finds a wrapped line."""
    return unescape("".join(re.findall(r"<tspan[^>]*>([^<]*)", path.read_text(encoding="utf-8"))))
