"""Tests the downloads of a session: as a transcript that becomes a test, as text, and as a page."""

import shutil
import subprocess
import sys
from pathlib import Path

import browsers
import pytest
from browsers import BACKSPACE, CONTROL, ENTER, ESCAPE, RELEASED
from harness import dialogue
from harness.program import BUILD, REPOSITORY

RECORD = REPOSITORY / "tests" / "record"
SENTENCE = "A technician sets an address."

SESSIONS = {
    "saved-and-left": (f"1{ENTER}1{ENTER}n{ENTER}2{ENTER}198.51.100.20{ENTER}0{ENTER}6{ENTER}y{ENTER}0{ENTER}", {}),
    "in-a-menu": (f"5{ENTER}2{ENTER}1C-WEB-XYZ{ENTER}3{ENTER}7{ENTER}", {}),
    "in-the-middle-of-an-answer": (f"2{ENTER}198.51.100.7{ENTER}6{ENTER}y", {}),
    "at-the-enclosure": (f"5{ENTER}6{ENTER}rk{ENTER}R", {}),
    "odd-keys": (f"2{ENTER}1{BACKSPACE}{ESCAPE}[A{CONTROL}c{RELEASED}\\^~{ENTER}{CONTROL}d{RELEASED}", {}),
    "with-faults": (f"2{ENTER}198.51.100.7{ENTER}6{ENTER}y{ENTER}",
                    {"faults": '[[fault]]\ncall = "set_leaves"\nresult = -1\ntimes = 1\n'}),
    "an-empty-meter": (f"5{ENTER}0{ENTER}", {"store": ""}),
    "other-leaves": (f"1{ENTER}0{ENTER}", {"store": '"/VMIC/Enclosure/Value" = "Z\\u00e4hler \\"1\\""\n"/A/Value" = 3\n'}),
    "no-connection": ("", {"faults": '[[fault]]\ncall = "pcd_init"\n', "arguments": []}),
}


def download(browser, name, button, tab="#keep-tab"):
    browser.click(tab)
    path = Path(browser.downloads) / name
    path.unlink(missing_ok=True)
    browser.click(button)
    browsers.wait_until(path.exists, lambda: f"{name} was not downloaded")
    text = path.read_text(encoding="utf-8")
    path.unlink()
    return text


def kept_transcript(browser):
    browser.click("#keep-tab")
    browser.script("document.getElementById('session-shows').value = arguments[0];", SENTENCE)
    return download(browser, "session.dialogue", "#keep-transcript")


@pytest.fixture
def dialogue_file(request):
    """Yields a path in the directory of the dialogues, because tests/record finds dialogues only there."""
    folder = Path(dialogue.__file__).parents[1] / "dialogues" / f"kept-{request.node.name[-20:].strip(']').strip('-')}"
    folder.mkdir()
    yield folder / "session.dialogue"
    shutil.rmtree(folder)


def plays_and_updates(path, text):
    """Checks that the host build plays the transcript. `tests/record --update` must not change it."""
    path.write_text(text, encoding="utf-8")
    kept = dialogue.Dialogue(path)
    environment = {"BUILD_DIR": str(BUILD), "PATH": "/usr/bin:/bin"}
    subprocess.run([sys.executable, RECORD, "--update", path], check=True, env=environment, timeout=300)
    updated = dialogue.Dialogue(path)
    for part in ("shows", "header", "console", "ending", "stderr", "calls", "store"):
        assert getattr(updated, part) == getattr(kept, part), part
    assert dialogue.play(updated) is None


@pytest.mark.parametrize("name", SESSIONS)
def test_a_kept_session_becomes_a_dialogue_test(chromium, dialogue_file, name):
    keys, options = SESSIONS[name]
    chromium.script("meter.start(arguments[0]);", options)
    if keys:
        chromium.send_keys(keys)
    text = kept_transcript(chromium)
    assert text.startswith(f"{SENTENCE}\n\nmeter: ")
    plays_and_updates(dialogue_file, text)


def test_time_outs_and_changes_from_outside_are_kept(chromium, dialogue_file):
    chromium.script("meter.start({speed: 100});")
    chromium.send_keys(f"2{ENTER}12")
    chromium.async_script("setTimeout(arguments[0], 450);")
    chromium.script("""meter.start({speed: 1, store: meter.store()});""")
    chromium.script("""document.getElementById('speed').value = 100;""")
    chromium.send_keys(f"2{ENTER}12")
    chromium.async_script("""
        document.getElementById("speed").dispatchEvent(new Event("change"));
        const shown = meter.output().length;
        const look = () => meter.output().length > shown ? arguments[0]() : setTimeout(look, 1);
        look();""")
    chromium.script("""document.getElementById('speed').value = 1;
        document.getElementById("speed").dispatchEvent(new Event("change"));
        meter.replaceStore(meter.store().replace("192.0.2.53", "192.0.2.99").replace(/^"\\/VMIC\\/Enclosure.*\\n/m, ""));""")
    chromium.send_keys(ENTER)
    text = kept_transcript(chromium)
    assert text.count("‹wait 30 s›") == 1
    assert '‹store: "/Software/System Settings/Network/Name Server/1/Value" = "192.0.2.99"›' in text
    assert '‹store: remove "/VMIC/Enclosure/Value"›' in text
    plays_and_updates(dialogue_file, text)


# Maps each download button to the tab with the button, and to the name of the downloaded file.
DOWNLOADS = {
    "#download-store": ("#leaves-tab", "store.toml"),
    "#keep-page": ("#keep-tab", "session.html"),
    "#keep-text": ("#keep-tab", "session.txt"),
    "#keep-transcript": ("#keep-tab", "session.dialogue"),
}

STATUS_LINE = """
    const line = document.getElementById("announcement");
    const box = line.getBoundingClientRect();
    const inside = box.top >= 0 && box.left >= 0 && box.bottom <= innerHeight && box.right <= innerWidth;
    const visible = inside && box.height > 10 && getComputedStyle(line).clipPath === "none";
    return [line.getAttribute("role"), visible, line.textContent];"""


@pytest.mark.parametrize("width", [360, 1400])
@pytest.mark.parametrize("button", DOWNLOADS)
def test_the_status_line_confirms_a_download(chromium, button, width):
    tab, name = DOWNLOADS[button]
    chromium.set_size(width, 740)
    try:
        chromium.click(tab)
        assert chromium.script(STATUS_LINE) == ["status", False, ""]
        download(chromium, name, button, tab)
        assert chromium.script(STATUS_LINE) == ["status", True, f"Download started: {name}"]
    finally:
        chromium.devtools("Emulation.clearDeviceMetricsOverride")


def test_the_confirmation_of_a_download_disappears(chromium):
    """The test makes the page's timers run twenty times as fast."""
    chromium.script("""
        const real = setTimeout;
        window.setTimeout = (work, time) => real(work, time / 20);
        const line = document.getElementById("announcement");
        window.texts = [];
        new MutationObserver(() => texts.push(line.textContent)).observe(line, { childList: true });""")
    download(chromium, "session.txt", "#keep-text")
    browsers.wait_until(lambda: chromium.script("return texts;") == ["Download started: session.txt", ""],
                        lambda: chromium.script("return texts;"))
    assert chromium.script(STATUS_LINE) == ["status", False, ""]


def test_keeping_a_session_does_not_change_it(chromium):
    chromium.send_keys(f"2{ENTER}198.51.100.7{ENTER}3{ENTER}19")
    kept_transcript(chromium)
    assert browsers.output_of(chromium).endswith(b"Enter Secondary DNS Server: 19")


def test_the_kept_text_and_page_show_the_session(chromium):
    chromium.send_keys(f"2{ENTER}198.51.100.7{ENTER}6{ENTER}y{ENTER}0{ENTER}")
    text = download(chromium, "session.txt", "#keep-text")
    assert "Enter Primary DNS Server: ‹198.51.100.7⏎›\n" in text
    assert "- Restarts the network\n    /etc/init.d/network restart" in text
    assert "- DNS server, primary: 192.0.2.53 -> 198.51.100.7\n" in text
    page = download(chromium, "session.html", "#keep-page")
    assert "Enter Primary DNS Server: <kbd>198.51.100.7⏎</kbd>" in page
    assert "<script" not in page and "src=" not in page


@pytest.mark.parametrize("name, button, old", [
    ("session.txt", "#keep-text", "192.0.2.53 -> "),
    ("session.html", "#keep-page", "192.0.2.53 -&gt; "),
])
def test_the_changes_are_counted_from_the_start_of_the_session(chromium, name, button, old):
    """An earlier session on the same meter changes the serial number. The download must not list it."""
    chromium.send_keys(f"5{ENTER}1{ENTER}261900123{ENTER}0{ENTER}6{ENTER}y{ENTER}0{ENTER}")
    chromium.click("#start-again")
    changes = download(chromium, name, button).partition("What changed on the meter")[2]
    assert "- nothing" in changes
    chromium.send_keys(f"2{ENTER}198.51.100.7{ENTER}6{ENTER}y{ENTER}0{ENTER}")
    changes = download(chromium, name, button).partition("What changed on the meter")[2]
    assert f"- DNS server, primary: {old}198.51.100.7\n" in changes
    assert "Serial number" not in changes


def test_typed_text_is_escaped_in_the_kept_page(chromium):
    chromium.send_keys(f"2{ENTER}<b>&{ENTER}0{ENTER}")
    page = download(chromium, "session.html", "#keep-page")
    assert "<kbd>&lt;b&gt;&amp;⏎</kbd>" in page
