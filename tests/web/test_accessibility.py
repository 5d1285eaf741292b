"""Tests the page with the keyboard only, with a screen reader, in both colour schemes, and at many sizes."""

import json

import browsers
import pytest
from browsers import ENTER, TAB
from test_keep import download

AXE = browsers.PAGE.parent / "npm-for-tests" / "node_modules" / "axe-core" / "axe.min.js"
TABS = ("leaves", "next-save", "exercises", "faults", "keep")
SHIFT = "\ue008"
ARROW_RIGHT = "\ue014"


@pytest.fixture
def page(chromium):
    """Yields the browser with the page. Restores the default size and colours after the test."""
    yield chromium
    chromium.devtools("Emulation.clearDeviceMetricsOverride")
    chromium.set_colours("light")


def violations(browser):
    browser.script(AXE.read_text(encoding="utf-8") + ";window.axe = axe;")
    return browser.async_script("""
        axe.run(document, { resultTypes: ["violations"] }).then(result => arguments[0](result.violations.map(found =>
            `${found.id}: ${found.help}: ${found.nodes.map(node => node.target.join(" ")).join(", ")}`)));""")


@pytest.mark.parametrize("scheme", ["light", "dark"])
@pytest.mark.parametrize("width", [360, 1400])
def test_axe_finds_nothing(page, scheme, width):
    page.set_colours(scheme)
    page.set_size(width, 900)
    page.send_keys(f"2{ENTER}198.51.100.7{ENTER}1{ENTER}1{ENTER}y{ENTER}0{ENTER}6{ENTER}y{ENTER}")
    page.script("""document.querySelector("footer details").open = true;""")
    for tab in TABS:
        page.script("document.getElementById(arguments[0]).click();", f"{tab}-tab")
        if tab == "exercises":
            page.script("document.querySelector('#exercise-list button').click();")
            page.click("#discard-changes")
            browsers.wait_until(lambda: page.script("return document.querySelector('.verdict') !== null;"), str)
            page.script("document.querySelector('#exercise-list details').open = true;")
        if tab == "leaves":
            page.script("document.querySelector('#leaves button.value').click();")
        if tab == "keep":
            download(page, "session.txt", "#keep-text")
            assert page.script("return document.getElementById('announcement').offsetHeight > 10;")
        assert violations(page) == [], tab


@pytest.mark.parametrize("scheme", ["light", "dark"])
@pytest.mark.parametrize("width", [360, 1400])
def test_axe_finds_nothing_in_the_question_before_changes_are_discarded(page, scheme, width):
    page.set_colours(scheme)
    page.set_size(width, 740)
    page.script("meter.replaceStore('');")
    page.click("#factory-meter")
    box = page.script("""
        const box = document.querySelector("dialog[open]").getBoundingClientRect();
        return [box.left >= 0, box.top >= 0, box.right <= innerWidth, box.bottom <= innerHeight, box.height > 50];""")
    assert box == [True] * 5
    assert violations(page) == []
    named = [(role, name) for role, name in tree(page) if role == "dialog"]
    assert named == [("dialog", "Discard the changes?")]


def test_the_question_before_changes_are_discarded_works_with_the_keyboard_only(page):
    page.script("meter.replaceStore('');")
    page.script("document.getElementById('factory-meter').focus();")
    page.press(ENTER)
    assert focused(page) == "keep-changes"
    page.press(ENTER)
    assert focused(page) == "factory-meter"
    assert page.script("return meter.store();") == ""
    page.press(ENTER)
    page.press(TAB)
    assert focused(page) == "discard-changes"
    page.press(ENTER)
    browsers.wait_until(lambda: page.script("return meter.store();") != "", lambda: "the store is still empty")
    assert focused(page) == "Console of the meter. Tab leaves it."


def test_axe_detects_a_violation(page):
    page.script("""
        document.getElementById("state").style.color = "#888";
        document.getElementById("leaf-search").parentNode.firstChild.remove();""")
    found = " ".join(violations(page))
    assert "color-contrast" in found and "label" in found


def focused(browser):
    return browser.script("""
        const at = document.activeElement;
        return at.id || at.getAttribute("aria-label") || at.textContent.trim().slice(0, 40) || at.tagName;""")


def tab_through(browser, most=200, key=TAB):
    """Presses the key until an element gets the focus again. Returns the elements that had the focus."""
    seen = []
    for _ in range(most):
        browser.press(key)
        at = focused(browser)
        if at in seen or at == "BODY":
            break
        seen.append(at)
    return seen


def test_tab_leaves_the_console_and_reaches_every_control(page):
    page.send_keys("1")
    page.send_keys("zzz no leaf", "#leaf-search")
    page.script("document.querySelector('#terminal textarea').focus();")
    before = browsers.output_of(page)
    reached = tab_through(page)
    wanted = {"with-menu", "speed", "backspace", "activity", "leaves-tab", "leaf-search", "only-changed",
              "download-store", "upload-store"}
    assert wanted <= set(reached)
    assert browsers.output_of(page) == before
    page.script("document.querySelector('#terminal textarea').focus();")
    page.press(SHIFT + TAB)
    assert focused(page) == "empty-meter"


def test_arrow_keys_change_the_tab(page):
    page.script("document.getElementById('leaves-tab').focus();")
    for name in (*TABS[1:], TABS[0]):
        page.press(ARROW_RIGHT)
        assert focused(page) == f"{name}-tab"
        shown = page.script("return [...document.querySelectorAll('[role=tabpanel]:not([hidden])')].map(p => p.id);")
        assert shown == [f"{name}-panel"]


def test_a_leaf_can_be_changed_and_an_exercise_begun_with_the_keyboard_only(page):
    page.send_keys("serial number", "#leaf-search")
    page.script("document.getElementById('leaf-search').focus();")
    while not focused(page).startswith("Serial number: 091512345"):
        page.press(TAB)
    page.press(ENTER)
    page.press("261900123" + ENTER)
    assert '"261900123"' in page.script("return meter.store();")
    assert focused(page) == "Serial number: 261900123. Change"
    page.script("document.getElementById('leaves-tab').focus();")
    page.press(ARROW_RIGHT + ARROW_RIGHT)
    while focused(page) != "Begin":
        page.press(TAB)
    page.press(ENTER)
    page.press(TAB + ENTER)  # answers that the change may be discarded
    assert page.script("return document.querySelector('.verdict') !== null;")
    assert focused(page) == "Console of the meter. Tab leaves it."


def test_a_screen_reader_gets_the_screen_and_new_output(page):
    page.send_keys(f"1{ENTER}")
    browsers.wait_until(lambda: any("Dynamic Addressing (DHCP)" in row for row in browsers.screen_rows(page)),
                        lambda: browsers.screen_rows(page))
    rows = page.script("""
        return [...document.querySelectorAll(".xterm-accessibility-tree > div")].map(row =>
            [row.getAttribute("role"), row.getBoundingClientRect().height > 5]);""")
    assert set(map(tuple, rows)) == {("listitem", True)}
    live = page.script("return document.querySelector('.live-region')?.getAttribute('aria-live');")
    assert live == "assertive"
    assert page.script("return document.getElementById('announcement').getAttribute('role');") == "status"


def tree(browser):
    nodes = browser.devtools("Accessibility.getFullAXTree")["nodes"]
    return [(node.get("role", {}).get("value"), node.get("name", {}).get("value", "")) for node in nodes
            if not node["ignored"]]


def test_every_control_has_a_name(page):
    unnamed = [role for role, name in tree(page) if not name.strip()
               and role in ("button", "textbox", "combobox", "checkbox", "tab", "tabpanel", "searchbox")]
    assert unnamed == []
    assert ("textbox", "Console of the meter. Tab leaves it.") in tree(page)


@pytest.mark.parametrize("width", [360, 480, 768, 1024, 1280, 1920, 2500])
def test_nothing_is_cut_off_at_any_width(page, width):
    page.set_size(width, 900)
    page.script("dispatchEvent(new Event('resize'));")
    for tab in TABS:
        page.script("document.getElementById(arguments[0]).click();", f"{tab}-tab")
        wide = page.script("""
            const outside = [...document.querySelectorAll("body *")].filter(element => {
                const box = element.getBoundingClientRect();
                return box.width > 0 && box.right > innerWidth + 1 && !element.closest("#terminal-frame, .visually-hidden, .xterm");
            });
            return [document.documentElement.scrollWidth > innerWidth, outside.map(element => element.id || element.outerHTML.slice(0, 80))];""")
        assert wide == [False, []], tab


@pytest.mark.parametrize("width", [640, 700])  # windows of 1280 and 1400 pixels at 200 % zoom
def test_everything_is_readable_at_twice_the_size(page, width):
    page.set_size(width, 450, scale=2)
    page.script("dispatchEvent(new Event('resize'));")
    assert page.script("return document.documentElement.scrollWidth <= innerWidth;")
    page.send_keys(f"1{ENTER}")
    box = page.script("""
        const frame = document.getElementById("terminal-frame");
        return [frame.scrollWidth - frame.clientWidth, getComputedStyle(document.querySelector(".xterm-rows")).fontSize];""")
    assert float(box[1].removesuffix("px")) >= 11
    assert box[0] <= 0  # every line of the terminal is completely visible


def test_the_terminal_is_readable_on_a_telephone(page):
    """Eighty columns do not fit the width. The frame scrolls, so that the letters stay large enough."""
    page.set_size(360, 740)
    page.script("dispatchEvent(new Event('resize'));")
    sizes = page.script("""
        const frame = document.getElementById("terminal-frame");
        return [frame.scrollWidth > frame.clientWidth, getComputedStyle(document.querySelector(".xterm-rows")).fontSize];""")
    assert sizes == [True, "11px"]


@pytest.mark.parametrize("width", [360, 480, 768, 1400])
def test_a_hint_is_shown_while_the_console_must_be_scrolled_sideways(page, width):
    page.set_size(width, 740)
    page.script("dispatchEvent(new Event('resize'));")
    page.async_script("requestAnimationFrame(() => requestAnimationFrame(arguments[0]));")
    state = page.script("""
        const frame = document.getElementById("terminal-frame");
        const hint = document.getElementById("scroll-hint");
        return [frame.scrollWidth > frame.clientWidth, hint.offsetHeight > 10, hint.textContent];""")
    too_narrow = width < 500
    assert state == [too_narrow, too_narrow, "Long lines continue on the right. Scroll the console sideways."]


def test_colours_follow_the_system(page):
    colour = "return getComputedStyle(document.body).backgroundColor;"
    page.set_colours("light")
    light = page.script(colour)
    page.set_colours("dark")
    assert json.dumps(page.script(colour)) != json.dumps(light)
