"""Creates the pictures of the page in the guides. Each picture has actions that come before the screenshot.

A picture file also contains the text that was on the page. A test compares this text with the page, and not
the pixels, because pixels differ between machines.
"""

import base64
import struct
import zlib

import browsers
from browsers import ENTER
from harness.program import REPOSITORY

FOLDER = REPOSITORY / "docs" / "pictures"
SIGNATURE = b"\x89PNG\r\n\x1a\n"
KEYWORD = b"Page text"


def overview(browser):
    browser.send_keys(f"1{ENTER}2{ENTER}198.51.100.20{ENTER}0{ENTER}6{ENTER}y{ENTER}")
    browser.click("#only-changed")


def next_save(browser):
    browser.click("#next-save-tab")
    browser.send_keys(f"1{ENTER}1{ENTER}y{ENTER}5{ENTER}2{ENTER}")


def exercise(browser):
    browser.click("#exercises-tab")
    browser.click('[data-exercise="01-fixed-address"] button')
    browser.send_keys(f"1{ENTER}1{ENTER}n{ENTER}2{ENTER}198.51.100.20{ENTER}")


# Maps the name of a picture to its actions, its width and height in pixels, and its colour scheme.
SCENES = {
    "page-overview": (overview, 1280, 860, "light"),
    "page-next-save": (next_save, 1280, 860, "dark"),
    "page-exercise": (exercise, 1280, 860, "light"),
}

SHOWN_TEXT = """
    const visible = element => {
        const box = element.getBoundingClientRect();
        return box.height > 0 && box.top < innerHeight && box.bottom > 0;
    };
    const parts = [...document.querySelectorAll("h1, h2, h3, button, label, th, td, li, p, [role=tab]")];
    return parts.filter(element => element.offsetParent && element.id !== "state" && !element.querySelector("#state")
        && !element.closest("#terminal") && visible(element)).map(element => element.innerText.trim()).join("\\n");"""


def play(browser, name):
    """Performs the actions of a picture. Returns a screenshot as PNG, and the text on the page and in the
    terminal."""
    prepare, width, height, colours = SCENES[name]
    browser.set_size(width, height)
    browser.set_colours(colours)
    browser.open(browsers.address())
    prepare(browser)
    browser.async_script("setTimeout(arguments[0], 700);")
    rows = "\n".join(row for row in browsers.screen_rows(browser) if row)
    text = browser.script(SHOWN_TEXT) + "\n" + rows
    shot = browser.devtools("Page.captureScreenshot", format="png")["data"]
    browser.devtools("Emulation.clearDeviceMetricsOverride")
    browser.set_colours("light")
    return base64.b64decode(shot), text


def chunks(png):
    assert png.startswith(SIGNATURE)
    at = len(SIGNATURE)
    while at < len(png):
        length, = struct.unpack_from(">I", png, at)
        yield png[at + 4:at + 8], png[at + 8:at + 8 + length]
        at += length + 12


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def with_text(png, text):
    parts = [(kind, data) for kind, data in chunks(png) if kind != b"iTXt"]
    note = (b"iTXt", KEYWORD + b"\0\x01\0\0\0" + zlib.compress(text.encode(), 9))
    return SIGNATURE + b"".join(chunk(*part) for part in [*parts[:-1], note, parts[-1]])


def text_in(png):
    """Returns the text in the picture file, or None if the file has no text."""
    for kind, data in chunks(png):
        if kind == b"iTXt" and data.startswith(KEYWORD + b"\0"):
            return zlib.decompress(data[len(KEYWORD) + 5:]).decode()
    return None


def size_of(png):
    return struct.unpack(">II", next(data for kind, data in chunks(png) if kind == b"IHDR")[:8])
