"""Browsers for the tests of the page, one of each for all the tests of a process."""

import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).parent))

import browsers  # noqa: E402


def pytest_collection_modifyitems(items):
    """Whatever is in this folder needs the page, and is left out where the page is not tested."""
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
    """Chromium with the page just opened."""
    chromium_process.open(browsers.address())
    chromium_process.complaints()
    return chromium_process


@pytest.fixture(scope="session")
def firefox():
    browser = browsers.Firefox()
    yield browser
    browser.close()
