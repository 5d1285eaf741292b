"""Tests the interface for other pages and tests: the options in the page's address, and window.meter."""

import json

import browsers
import pytest
from browsers import BACKSPACE, CONTROL, ENTER, RELEASED, output_of, wait_for_output
from harness.meter import FACTORY

INIT_LINE = b" 5.  Velmora II Initialization"


def start(browser, **options):
    browser.async_script("""
        const [options, done] = arguments;
        meter.start(options).then(() => done(null));""", options)


def calls_of(browser):
    return [json.loads(line) for line in browser.script("return meter.calls();").splitlines()]


def test_window_meter_exists_when_the_page_has_loaded(chromium):
    members = chromium.script("return Object.keys(window.meter).sort();")
    assert members == ["calls", "errors", "exited", "output", "replaceStore", "start", "store", "waiting"]
    assert chromium.script("return meter.output() instanceof Uint8Array && meter.errors() instanceof Uint8Array;")
    assert chromium.script("return [meter.waiting(), meter.exited()];") == [True, None]
    assert chromium.console_messages() == []


@pytest.mark.parametrize("fragment, has_init_line, store_is_empty", [
    ("", True, False),
    ("arguments=-m&speed=10&store=empty", True, True),
    ("arguments=", False, False),
    ("arguments=4&store=factory", False, False),
    ("store=empty", True, True),
])
def test_the_fragment_sets_the_start(chromium, fragment, has_init_line, store_is_empty):
    chromium.open(browsers.address(fragment))
    assert (INIT_LINE in output_of(chromium)) == has_init_line
    assert chromium.script("return meter.store();") == ("" if store_is_empty else FACTORY.read_text())


def test_arguments_of_the_fragment_are_separated_by_plus(chromium):
    chromium.open(browsers.address("arguments=-v+-m"))
    assert chromium.script("return meter.exited();") == 1
    errors = bytes(chromium.script("return Array.from(meter.errors());"))
    assert errors.startswith(b"Usage: meter-settings [<number_of_interfaces> | -v | -m]\n\n")


def test_a_changed_fragment_starts_again(chromium):
    chromium.send_keys("1")
    chromium.script("location.hash = '#arguments=&store=empty';")
    browsers.wait_until(lambda: b"[None]" in output_of(chromium), lambda: output_of(chromium))
    assert INIT_LINE not in output_of(chromium)


def test_start_takes_arguments_store_faults_and_speed(chromium):
    start(chromium, **{"arguments": [], "store": '"/VMIC/Enclosure/Value" = "RK"\n',
                       "faults": '[[fault]]\ncall = "get_leaves"\nresult = -1\n', "speed": 100})
    assert b"Warning: couldn't read network settings!" in output_of(chromium)
    assert INIT_LINE not in output_of(chromium)
    assert chromium.script("return meter.store();") == '"/VMIC/Enclosure/Value" = "RK"\n'
    assert wait_for_output(chromium, b"Select", 5).count(b"Select an option") >= 1
    calls = calls_of(chromium)
    assert calls[0] == {"call": "pcd_init", "connected": True} and calls[1]["result"] == -1


def test_start_without_arguments_uses_the_address(chromium):
    chromium.open(browsers.address("arguments=&store=empty"))
    start(chromium, store=FACTORY.read_text())
    start(chromium)
    assert INIT_LINE not in output_of(chromium) and b"[None]" in output_of(chromium)
    assert chromium.script("return meter.store();") == ""


def test_start_resolves_when_the_program_has_ended(chromium):
    start(chromium, arguments=["-v"])
    assert chromium.script("return [meter.waiting(), meter.exited()];") == [False, 0]
    assert output_of(chromium).startswith(b"meter-settings: version ")


def test_an_unreadable_store_ends_the_program(chromium):
    start(chromium, store="a = 1.5\n")
    assert chromium.script("return meter.exited();") == 1
    errors = bytes(chromium.script("return Array.from(meter.errors());"))
    assert errors.startswith(b"/meter/store.toml:1: leaf") and errors.endswith(b"Error: can't connect to CDS\n")


def test_bytes_beyond_ascii_are_not_changed(chromium):
    """The program writes the byte 0x93 before the path of a failed write. The page must keep this byte."""
    fault = '[[fault]]\ncall = "set_leaf"\npath = "/VMC/Comms/EthPort/1/General/DHCP/Value"\nstatus = 5\n'
    start(chromium, faults=fault)
    chromium.send_keys(f"1{ENTER}1{ENTER}y{ENTER}0{ENTER}6{ENTER}y{ENTER}")
    assert b"set_leaf failed for \x93/VMC" in output_of(chromium)


def test_the_next_screen_shows_a_replaced_store(chromium):
    chromium.script('meter.replaceStore(\'"/Software/System Settings/Network/Name Server/1/Value" = "203.0.113.9"\\n\');')
    assert b"203.0.113.9" not in output_of(chromium)
    chromium.send_keys(ENTER)
    assert b"203.0.113.9" in output_of(chromium)


@pytest.mark.parametrize("text, reason", [
    ('"/a" = 1\n"/b" = 1.5\n', 'store.toml:2: leaf "/b" is not a string, a boolean or an integer of 32 bits'),
    ("what\n", "store.toml:"),
])
def test_a_text_that_is_not_a_store_is_rejected(chromium, text, reason):
    before = chromium.script("return meter.store();")
    error = chromium.script("""
        try {
            meter.replaceStore(arguments[0]);
        } catch (error) {
            return error instanceof Error ? error.message : "no Error";
        }
        return "accepted";""", text)
    assert error.startswith(reason)
    assert chromium.script("return meter.store();") == before


def test_backspace_sends_8_and_127_after_a_switch(chromium):
    chromium.send_keys(f"12{BACKSPACE}")
    assert output_of(chromium).endswith(b"12\x08 \x08")
    chromium.script("document.getElementById('backspace').focus();")
    chromium.press("1")  # selects the list item that starts with 1: 127 (Delete)
    chromium.send_keys(BACKSPACE)
    assert output_of(chromium).endswith(b"\x7f \x7f")
    chromium.send_keys(f"{CONTROL}h{RELEASED}")
    assert output_of(chromium).endswith(b"\x08 \x08")


def test_pasted_text_is_typed(chromium):
    chromium.send_keys(f"2{ENTER}")
    chromium.script("""
        const data = new DataTransfer();
        data.setData("text/plain", arguments[0]);
        document.querySelector("#terminal textarea").dispatchEvent(
            new ClipboardEvent("paste", { clipboardData: data, bubbles: true, cancelable: true }));""",
                    "198.51.100.7\n")
    assert b"Enter Primary DNS Server: 198.51.100.7\n" in output_of(chromium)
    assert b":  198.51.100.7 " in output_of(chromium)


def test_enter_starts_an_ended_program_again_with_the_same_meter(chromium):
    chromium.send_keys(f"2{ENTER}198.51.100.7{ENTER}6{ENTER}y{ENTER}0{ENTER}")
    assert chromium.script("return meter.exited();") == 0
    store = chromium.script("return meter.store();")
    assert '"198.51.100.7"' in store
    chromium.send_keys(f"x{ENTER}")
    assert chromium.script("return [meter.exited(), meter.waiting()];") == [None, True]
    assert chromium.script("return meter.store();") == store
    assert b"198.51.100.7" in output_of(chromium)


def test_the_terminal_shows_what_the_program_wrote(chromium):
    lines = [line.rstrip() for line in output_of(chromium).decode().split("\n")]
    browsers.wait_for_rows(chromium, [line for line in lines if line])


def test_a_store_with_a_thousand_more_leaves_works(chromium):
    text = FACTORY.read_text() + "".join(f'"/More/{i}/Value" = {i}\n' for i in range(1000))
    start(chromium, store=text)
    chromium.send_keys(f"2{ENTER}198.51.100.7{ENTER}6{ENTER}y{ENTER}")
    assert chromium.script("return meter.store();").count("/More/") == 1000
    assert chromium.console_messages() == []


def test_the_page_works_from_a_web_server_under_any_name(chromium, web_server):
    chromium.open(f"{web_server}/elsewhere/meter.html#store=empty")
    assert b"[None]" in output_of(chromium)
