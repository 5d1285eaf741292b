"""Tests the views next to the console: leaves, calls, the next save, and the controls."""

import json
import time
import tomllib
from pathlib import Path

import browsers
import pytest
from browsers import ENTER, output_of, wait_for_output
from harness.meter import FACTORY, toml_text

DNS = "/Software/System Settings/Network/Name Server/1/Value"
SERIAL = "/VMIC/SerialNumber/Value"


def text_of(browser, selector):
    return browser.script("return document.querySelector(arguments[0]).innerText;", selector)


def wait_for_text(browser, selector, wanted):
    browsers.wait_until(lambda: wanted in text_of(browser, selector), lambda: text_of(browser, selector))


def open_tab(browser, name):
    browser.click(f"#{name}-tab")


def edit(browser, path, word):
    """Edits a leaf with clicks and keys, as a person does."""
    row = f'#leaves tr[data-path="{path}"]'
    browser.click(f"{row} button.value")
    field = browser.driver.find_element("css selector", f"{row} .edit input")
    field.clear()
    field.send_keys(word + ENTER)


def store_of(browser):
    return tomllib.loads(browser.script("return meter.store();"))


# -- leaves --

def test_all_leaves_are_shown_and_searchable(chromium):
    paths = "return [...document.querySelectorAll('#leaves tr')].map(row => row.dataset.path);"
    assert sorted(chromium.script(paths)) == sorted(tomllib.loads(FACTORY.read_text()))
    chromium.send_keys("dns primary", "#leaf-search")
    assert chromium.script(paths) == [DNS]
    chromium.send_keys(" nothing has this", "#leaf-search")
    assert chromium.script(paths) == []


def test_an_edit_is_on_the_next_screen_fifty_times_out_of_fifty(chromium):
    chromium.send_keys("dns primary", "#leaf-search")
    seen = 0
    for number in range(50):
        edit(chromium, DNS, f"198.51.100.{number + 1}")
        shown = len(output_of(chromium))
        chromium.send_keys(ENTER)
        seen += f":  198.51.100.{number + 1} ".encode() in output_of(chromium)[shown:]
    assert seen == 50


def test_an_edit_keeps_the_type_and_rejects_other_values(chromium):
    edit(chromium, "/VMC/PrimCfg/Form/Value", "two")
    assert "not" in text_of(chromium, "#leaves .edit .error")
    assert store_of(chromium)["/VMC/PrimCfg/Form/Value"] == 3
    edit_field = chromium.driver.find_element("css selector", "#leaves .edit input")
    edit_field.clear()
    edit_field.send_keys("2" + ENTER)
    assert store_of(chromium)["/VMC/PrimCfg/Form/Value"] == 2
    row = '#leaves tr[data-path="/VMIC/Options/DLMS/Value"]'
    chromium.click(f"{row} button.value")
    chromium.script("document.querySelector(arguments[0]).value = 'true';", f"{row} select")
    chromium.click(f"{row} [type=submit]")
    assert store_of(chromium)["/VMIC/Options/DLMS/Value"] is True


def test_a_leaf_can_be_removed_and_escape_cancels_the_edit(chromium):
    row = f'#leaves tr[data-path="{SERIAL}"]'
    chromium.click(f"{row} button.value")
    chromium.send_keys("9" + browsers.ESCAPE, f"{row} .edit input")
    assert store_of(chromium)[SERIAL] == "091512345"
    chromium.click(f"{row} button.value")
    chromium.click(f"{row} .edit button:nth-of-type(2)")
    assert SERIAL not in store_of(chromium)
    assert "(no leaf)" in text_of(chromium, row) and "was 091512345" in text_of(chromium, row)


def test_changes_are_highlighted_with_the_old_value(chromium):
    chromium.send_keys(f"2{ENTER}198.51.100.7{ENTER}6{ENTER}y{ENTER}")
    wait_for_text(chromium, "#leaf-count", "1 changed")
    changed = "return [...document.querySelectorAll('#leaves tr.changed')].map(row => row.dataset.path);"
    assert chromium.script(changed) == [DNS]
    assert "was 192.0.2.53" in text_of(chromium, "#leaves tr.changed")
    chromium.click("#only-changed")
    assert chromium.script("return document.querySelectorAll('#leaves tr').length;") == 1


# -- calls and the next save --

def test_calls_and_commands_are_described_in_plain_words(chromium):
    chromium.send_keys(f"1{ENTER}1{ENTER}y{ENTER}0{ENTER}6{ENTER}y{ENTER}")
    wait_for_text(chromium, "#activity", "Restarts the network")
    text = text_of(chromium, "#activity")
    for words in ("Connects to the store", "Reads the DNS servers", "Reads the settings of Ethernet port 1 × 2",
                  "Writes immediately", "Meter's services: DHCP = 1", "Writes 1 leaf", "Port 1: DHCP = yes",
                  "Removes downloaded configurations", "/etc/init.d/network restart"):
        assert words in text


def test_failures_are_described(chromium):
    chromium.script("meter.start({faults: arguments[0]});",
                    '[[fault]]\ncall = "set_leaves"\npath = "/VMIC/Enclosure/Value"\nstatus = 5\n')
    chromium.send_keys(f"5{ENTER}6{ENTER}RK{ENTER}0{ENTER}6{ENTER}y{ENTER}")
    wait_for_text(chromium, "#activity", "1 leaf rejected")
    assert "Enclosure type = RK (status 5)" in text_of(chromium, "#activity")


def next_save(browser):
    """Waits until the page has updated the view of the next save. Returns its note and its lines."""
    browser.async_script("setTimeout(arguments[0], 50);")
    return text_of(browser, "#next-save-note"), text_of(browser, "#next-save")


def test_the_next_save_is_predicted(chromium):
    open_tab(chromium, "next-save")
    assert next_save(chromium) == ("Nothing has been changed, so there is nothing to save.", "")
    chromium.send_keys(f"1{ENTER}2{ENTER}198.51.100.20{ENTER}5{ENTER}0{ENTER}")
    note, lines = next_save(chromium)
    assert note == "A save would do this, in this order:"
    assert lines.splitlines() == [
        "Writes immediately", "Meter's services: IP address = 198.51.100.20",
        "Writes 1 leaf", "Port 1: IP address = 198.51.100.20",
        "Removes 1 leaf", "Port 1: media type",
        "Removes downloaded configurations", "rm -rf /jffs/downloads/vmconfig.*",
        "Restarts the network", "/etc/init.d/network restart > /dev/null 2>&1"]


@pytest.mark.parametrize("keys, faults", [
    (f"5{ENTER}2{ENTER}1C-PQ3-WEB{ENTER}3{ENTER}2{ENTER}0{ENTER}", ""),
    (f"5{ENTER}6{ENTER}RK{ENTER}", '[[fault]]\ncall = "set_leaves"\npath = "/VMIC/Enclosure/Value"\nstatus = 5\n'),
    (f"2{ENTER}198.51.100.7{ENTER}1{ENTER}1{ENTER}y{ENTER}3{ENTER}25", ""),
    (f"2{ENTER}198.51.100.7{ENTER}2{ENTER}~{ENTER}0{ENTER}", ""),
    (f"2{ENTER}198.51.100.7{ENTER}3{ENTER}198.51.100.8", ""),  # the last address is not followed by Enter
])
def test_a_save_agrees_with_the_prediction(chromium, keys, faults):
    """Reads the prediction while the program shows a menu or a question, or with faults. Then saves, and
    compares the calls of the save with the prediction."""
    open_tab(chromium, "next-save")
    chromium.script("meter.start({faults: arguments[0], speed: 100});", faults)
    chromium.send_keys(keys)
    foretold = next_save(chromium)[1].splitlines()
    assert foretold
    chromium.async_script("setTimeout(arguments[0], 400);")  # gives the question time to time out
    for _ in range(3):
        menu = output_of(chromium)[-2000:]
        menu = menu[menu.rindex(b"\n\n---"):]
        if b"Save & apply" in menu:
            break
        chromium.send_keys(f"0{ENTER}")
    number = menu[:menu.index(b".  Save & apply")].split()[-1].decode()
    before = len(chromium.script("return meter.calls();").splitlines())
    chromium.send_keys(f"{number}{ENTER}y{ENTER}")
    browsers.wait_until(lambda: chromium.script("return meter.waiting();"), lambda: output_of(chromium))
    lines = chromium.script("return meter.calls();").splitlines()[before:]
    done = [json.loads(line) for line in lines if '"get_leaves"' not in line]
    chromium.async_script("setTimeout(arguments[0], 50);")
    items = chromium.script("return [...document.querySelectorAll('#activity > li:not(.read)')].map(i => i.innerText);")
    assert "\n".join(items[-len(done):]).splitlines() == foretold


def test_the_prediction_does_not_change_the_session(chromium):
    open_tab(chromium, "next-save")
    chromium.send_keys(f"2{ENTER}198.51.100.7{ENTER}3{ENTER}19")
    next_save(chromium)
    assert output_of(chromium).endswith(b"Enter Secondary DNS Server: 19")
    assert chromium.script("return meter.store();") == FACTORY.read_text()


# -- controls --

def test_start_again_keeps_the_store_and_a_new_meter_replaces_it(chromium):
    edit(chromium, SERIAL, "261900123")
    chromium.click("#start-again")
    assert store_of(chromium)[SERIAL] == "261900123"
    wait_for_text(chromium, "#leaf-count", "1 changed")
    assert output_of(chromium).count(b"Select an option") == 1
    chromium.click("#factory-meter")
    chromium.click("#discard-changes")
    assert store_of(chromium)[SERIAL] == "091512345"
    chromium.click("#empty-meter")
    assert store_of(chromium) == {}
    assert chromium.script("return document.activeElement === document.querySelector('#terminal textarea');")


def upload_a_store(browser):
    path = Path(browser.profile) / "other.toml"
    path.write_text(toml_text({SERIAL: "260100001"}), encoding="utf-8")
    browser.driver.find_element("css selector", "#store-file").send_keys(str(path))
    browser.async_script("setTimeout(arguments[0], 100);")


def begin_an_exercise(browser):
    open_tab(browser, "exercises")
    browser.click("#exercise-list li:nth-of-type(2) button")


# Maps each way to replace the store to a function that does it, and to the serial number in the new store.
REPLACEMENTS = {
    "factory meter": (lambda browser: browser.click("#factory-meter"), "091512345"),
    "empty meter": (lambda browser: browser.click("#empty-meter"), None),
    "exercise": (begin_an_exercise, "091512345"),
    "upload": (upload_a_store, "260100001"),
}


def question_is_open(browser):
    return browser.script("return document.querySelector('dialog').matches(':modal');")


@pytest.mark.parametrize("name", REPLACEMENTS)
def test_the_page_asks_before_it_discards_changes(chromium, name):
    replace, serial_afterwards = REPLACEMENTS[name]
    edit(chromium, SERIAL, "261900123")
    chromium.send_keys(f"2{ENTER}198.51.100.7{ENTER}6{ENTER}y{ENTER}")
    before = chromium.script("return meter.store();")
    output = output_of(chromium)
    for way_back in (lambda: chromium.press(browsers.ESCAPE), lambda: chromium.click("#keep-changes")):
        replace(chromium)
        assert question_is_open(chromium)
        assert "changes to 2 leaves" in text_of(chromium, "dialog")
        way_back()
        assert not question_is_open(chromium)
        assert chromium.script("return meter.store();") == before
        assert output_of(chromium).startswith(output)
    replace(chromium)
    chromium.click("#discard-changes")
    assert store_of(chromium).get(SERIAL) == serial_afterwards
    assert store_of(chromium).get(DNS) in (None, "192.0.2.53")


@pytest.mark.parametrize("name", REPLACEMENTS)
def test_the_page_does_not_ask_without_changes(chromium, name):
    """The store is unchanged or just replaced, its change was undone, or the store was downloaded."""
    replace, serial_afterwards = REPLACEMENTS[name]

    def replace_without_question():
        replace(chromium)
        assert not question_is_open(chromium)
        assert store_of(chromium).get(SERIAL) == serial_afterwards

    chromium.click("#start-again")
    replace_without_question()
    replace_without_question()
    chromium.open(browsers.address())
    edit(chromium, SERIAL, "261900123")
    edit(chromium, SERIAL, "091512345")
    replace_without_question()
    chromium.open(browsers.address())
    edit(chromium, SERIAL, "261900123")
    downloaded = Path(chromium.downloads) / "store.toml"
    chromium.click("#download-store")
    browsers.wait_until(downloaded.exists, lambda: "no download")
    downloaded.unlink()
    replace_without_question()


def test_the_page_asks_after_a_start_that_kept_the_changes(chromium):
    edit(chromium, SERIAL, "261900123")
    chromium.click("#start-again")
    assert not question_is_open(chromium)
    chromium.click("#with-menu")
    assert not question_is_open(chromium)
    chromium.click("#empty-meter")
    assert question_is_open(chromium)
    assert "changes to 1 leaf " in text_of(chromium, "dialog")


def test_with_and_without_the_initialisation_menu(chromium):
    chromium.click("#with-menu")
    assert b"Initialization" not in output_of(chromium)
    chromium.click("#with-menu")
    assert b"Initialization" in output_of(chromium)


def test_the_store_is_downloaded_and_uploaded(chromium, tmp_path):
    edit(chromium, SERIAL, "261900123")
    chromium.click("#download-store")
    downloaded = Path(chromium.downloads) / "store.toml"
    browsers.wait_until(downloaded.exists, lambda: "no download")
    leaves = tomllib.loads(downloaded.read_text(encoding="utf-8"))
    downloaded.unlink()
    assert leaves == tomllib.loads(FACTORY.read_text()) | {SERIAL: "261900123"}
    (tmp_path / "good.toml").write_text(toml_text(leaves | {SERIAL: "260100001"}), encoding="utf-8")
    upload = chromium.driver.find_element("css selector", "#store-file")
    upload.send_keys(str(tmp_path / "good.toml"))
    browsers.wait_until(lambda: store_of(chromium)[SERIAL] == "260100001", lambda: store_of(chromium))
    (tmp_path / "bad.toml").write_text("\n= 1\n", encoding="utf-8")
    upload.send_keys(str(tmp_path / "bad.toml"))
    wait_for_text(chromium, "#problem", "store.toml:2: ")
    assert store_of(chromium)[SERIAL] == "260100001"


@pytest.mark.parametrize("name, keys, shown", [
    ("The meter cannot be reached", "", b""),
    ("The store cannot be read", "", b"Warning: couldn't read network settings!"),
    ("The store cannot be read after the first screen", ENTER, b"Warning: couldn't read network settings!"),
    ("One leaf is rejected", f"5{ENTER}6{ENTER}RK{ENTER}0{ENTER}6{ENTER}y{ENTER}", b"Error saving settings!"),
    ("The meter's services reject the IP address", f"1{ENTER}2{ENTER}1.2.3.4{ENTER}0{ENTER}6{ENTER}y{ENTER}",
     b"set_leaf failed for /VMC/Comms/EthPort/1/General/IPAddress/Value"),
    ("The first save fails", f"2{ENTER}1.2.3.4{ENTER}6{ENTER}y{ENTER}6{ENTER}y{ENTER}",
     b"Settings saved."),
    ("Every save fails", f"2{ENTER}1.2.3.4{ENTER}6{ENTER}y{ENTER}6{ENTER}y{ENTER}", b"Error saving settings!"),
    ("The options cannot be written", f"5{ENTER}2{ENTER}WEB{ENTER}0{ENTER}6{ENTER}y{ENTER}",
     b"Error while setting Velmora II Options list in cds."),
    ("Values cannot be removed", f"2{ENTER}1.2.3.4{ENTER}2{ENTER}~{ENTER}6{ENTER}y{ENTER}", b"Error saving settings!"),
    ("The connection is lost after a factory reset", f"5{ENTER}8{ENTER}y{ENTER}", b"Error: can't connect to CDS"),
])
def test_each_prepared_fault_has_its_described_effect(chromium, name, keys, shown):
    open_tab(chromium, "faults")
    chromium.script("""
        const choice = document.getElementById("fault-choice");
        choice.value = [...choice.options].findIndex(option => option.textContent === arguments[0]);
        choice.dispatchEvent(new Event("change"));""", name)
    chromium.click("#apply-faults")
    chromium.script("document.getElementById('speed').value = 100;"
                    "document.getElementById('speed').dispatchEvent(new Event('change'));")
    if not shown:
        assert chromium.script("return meter.exited();") == 1
        return
    assert chromium.script("return meter.exited();") is None
    assert "Faults are on." in text_of(chromium, "#faults-on")
    chromium.send_keys(keys)
    assert shown in wait_for_output(chromium, shown, 3)


def test_every_prepared_fault_has_a_test(chromium):
    names = chromium.script("return [...document.querySelectorAll('#fault-choice option')].map(o => o.textContent);")
    [mark] = [mark for mark in test_each_prepared_fault_has_its_described_effect.pytestmark
              if mark.name == "parametrize"]
    assert names == ["Nothing is wrong", *(case[0] for case in mark.args[1])]


def test_faults_can_be_edited_and_errors_are_reported(chromium):
    open_tab(chromium, "faults")
    area = chromium.driver.find_element("css selector", "#fault-text")
    area.send_keys('[[fault]]\ncall = "set_leafs"\n')
    chromium.click("#apply-faults")
    assert text_of(chromium, "#fault-problem") == 'faults.toml:2: unknown call "set_leafs"'
    area.clear()
    area.send_keys('[[fault]]\ncall = "pcd_init"\n')
    chromium.click("#apply-faults")
    assert chromium.script("return meter.exited();") == 1


def test_the_state_line_counts_down(chromium):
    chromium.script("meter.start({speed: 1});")
    time.sleep(2.2)
    words = text_of(chromium, "#state")
    assert words.startswith("Type an answer and press Enter. The program gives up in ")
    assert 26 <= int(words.split()[-2]) <= 29
    chromium.send_keys(f"0{ENTER}")
    assert text_of(chromium, "#state") == "The program has ended with status 0. Press Enter to start it again."
