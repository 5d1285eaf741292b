"""Tests that the page makes no network requests and stores nothing in the browser."""

import json

import browsers
from browsers import ENTER


def requests_of(browser):
    """Returns the addresses that the browser has requested since the last call."""
    entries = [json.loads(entry["message"])["message"] for entry in browser.driver.get_log("performance")]
    return [entry["params"]["request"]["url"] for entry in entries if entry["method"] == "Network.requestWillBeSent"]


def use_everything(browser):
    browser.send_keys(f"2{ENTER}198.51.100.7{ENTER}6{ENTER}y{ENTER}")
    for tab in ("next-save", "exercises", "faults", "keep", "leaves"):
        browser.click(f"#{tab}-tab")
    browser.click("#leaves button.value")
    browser.script("document.querySelector('footer details').open = true;")
    browser.click("#start-again")
    browser.click("#empty-meter")


def test_from_a_file_only_the_page_is_requested(chromium):
    requests_of(chromium)
    chromium.open(browsers.address())
    use_everything(chromium)
    asked = [url for url in requests_of(chromium) if not url.startswith(("data:", "blob:", "about:"))]
    assert asked == [browsers.address()]


def test_from_a_web_server_only_the_page_is_requested(chromium, web_server, asked_of_the_server):
    chromium.open(f"{web_server}/meter.html")
    use_everything(chromium)
    assert asked_of_the_server == ["/meter.html"]


def test_a_request_is_detected_and_forbidden(chromium, web_server, asked_of_the_server):
    chromium.open(f"{web_server}/meter.html")
    outcome = chromium.async_script("""
        fetch("/elsewhere").then(() => arguments[0]("answered"), () => arguments[0]("forbidden"));""")
    assert outcome == "forbidden"
    assert asked_of_the_server == ["/meter.html"]


def test_nothing_is_stored(chromium, web_server):
    chromium.open(f"{web_server}/meter.html")
    use_everything(chromium)
    kept = chromium.async_script("""
        const done = arguments[0];
        const count = [localStorage.length, sessionStorage.length, document.cookie.length];
        indexedDB.databases().then(databases => caches.keys().then(names =>
            done([...count, databases.length, names.length])));""")
    assert kept == [0, 0, 0, 0, 0]
