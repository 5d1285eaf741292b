"""Plays dialogue tests in the page with key events. The browsers open the page from a file."""

from pathlib import Path

import browsers
import page_player
import pytest
from harness import dialogue

FOLDER = Path(__file__).parents[1] / "dialogues"
PATHS = sorted(FOLDER.rglob("*.dialogue"))
CASES = {str(path.relative_to(FOLDER)): dialogue.Dialogue(path) for path in PATHS}
PLAYABLE = [name for name, case in CASES.items() if not page_player.why_not_in_a_page(case)]
IN_FIREFOX = ["start/exit-without-edits", "start/no-connection", "main/dns-servers-saved",
              "port/complete-session", "port/other-process-changes-the-port", "init/factory-reset",
              "init/form-time-out", "options/sample-list-saved", "enclosure/every-code",
              "keys/every-printable-key", "save/immediate-dhcp-write-fails", "save/commissioning"]


def test_enough_dialogues_are_played_from_every_directory():
    assert len(PLAYABLE) >= 60
    assert {name.split("/")[0] for name in PLAYABLE} == {path.name for path in FOLDER.iterdir()}


def open_page(browser):
    """Opens the page in the browser, unless the last test of this browser was a dialogue. Other tests may leave a
    question open, which keeps the keys from the terminal."""
    if not browser.script("return 'lastTestWasDialogue' in window;"):
        browser.open(browsers.address())
        browser.script("window.lastTestWasDialogue = true;")


@pytest.mark.parametrize("name", PLAYABLE)
def test_in_chromium(chromium_process, name):
    open_page(chromium_process)
    report = page_player.play(chromium_process, CASES[name])
    assert report is None, report


@pytest.mark.parametrize("name", IN_FIREFOX)
def test_in_firefox(firefox, name):
    open_page(firefox)
    report = page_player.play(firefox, CASES[f"{name}.dialogue"])
    assert report is None, report


def test_a_page_that_differs_is_detected(chromium):
    case = dialogue.Dialogue(FOLDER / "main/dns-servers-saved.dialogue")
    case.console = case.console.replace("Settings saved.", "Settings  saved.")
    assert "-Settings  saved." in page_player.play(chromium, case)
    case = dialogue.Dialogue(FOLDER / "main/dns-servers-saved.dialogue")
    case.calls = case.calls[:-1]
    assert "pcd_close" in page_player.play(chromium, case)
