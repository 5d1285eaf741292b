"""Each behaviour that docs/compatibility.md lists has a reason, and names tests that exist."""

import re

import pytest
from harness.program import REPOSITORY

pytestmark = pytest.mark.host_only

PAGE = (REPOSITORY / "docs" / "compatibility.md").read_text(encoding="utf-8")
ROWS = [row.strip("|").split(" | ") for row in re.findall(r"^\| .*\|$", PAGE, re.M)][1:]
TEST = re.compile(r"`(tests/[^`]*)`")


def test_the_page_has_items():
    assert len(ROWS) > 10


@pytest.mark.parametrize("row", ROWS, ids=lambda row: row[0].strip()[:40])
def test_an_item_has_a_reason_and_tests_that_exist(row):
    behaviour, reason, tests = (cell.strip() for cell in row)
    assert behaviour and len(reason) > 20
    assert TEST.sub("", tests).strip(", ") == "" and TEST.findall(tests)
    for test in TEST.findall(tests):
        path, _, name = test.partition("::")
        assert (REPOSITORY / path).is_file(), f"{path} does not exist"
        assert not name or f"def {name}(" in (REPOSITORY / path).read_text(encoding="utf-8")
