"""Browsers for the tests of the page. Each test process starts at most one Chromium and one Firefox."""

import http.server
import sys
import threading
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).parent))

import browsers  # noqa: E402


def pytest_collection_modifyitems(items):
    """Adds the marker `page` to all tests in this directory. These tests need the page, so pytest skips them
    without the option --page."""
    here = Path(__file__).parent
    for item in items:
        if here in item.path.parents:
            item.add_marker("page")


@pytest.fixture(scope="session")
def chromium_process():
    browser = browsers.Chromium()
    yield browser
    browser.close()


@pytest.fixture
def chromium(chromium_process):
    """Returns Chromium after it has opened the page."""
    chromium_process.open(browsers.address())
    chromium_process.console_messages()
    return chromium_process


@pytest.fixture(scope="session")
def firefox():
    browser = browsers.Firefox()
    yield browser
    browser.close()


@pytest.fixture
def asked_of_the_server():
    """Returns a list to which `web_server` adds the path of each request."""
    return []


@pytest.fixture
def web_server(asked_of_the_server):
    """Yields the address of a web server that returns the page for every path."""

    class Handler(http.server.BaseHTTPRequestHandler):
        def do_GET(self):
            asked_of_the_server.append(self.path)
            self.send_response(200)
            self.send_header("Content-Type", "text/html; charset=utf-8")
            self.end_headers()
            self.wfile.write(browsers.PAGE.read_bytes())

        def log_message(self, *arguments):
            pass

    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    yield f"http://127.0.0.1:{server.server_port}"
    server.shutdown()
    server.server_close()
