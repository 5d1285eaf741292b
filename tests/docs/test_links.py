"""Every link of the guides leads to a file, a folder or a heading that is there."""

import re

import pytest
from guides import made
from harness.program import REPOSITORY

PAGES = {str(page.relative_to(REPOSITORY)): page for page in made.pages()}
LINK = re.compile(r"(!?)\[([^\]]*)\]\(([^)\s]+)\)")


def text_of(page):
    return re.sub(r"^```.*?^```$", "", page.read_text(encoding="utf-8"), flags=re.S | re.M)


def anchors(page):
    """The headings as the links name them."""
    headings = re.findall(r"^#+ (.*)$", text_of(page), re.M)
    return [re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings]


@pytest.mark.parametrize("name", PAGES)
def test_links(name):
    page = PAGES[name]
    for picture, words, link in LINK.findall(text_of(page)):
        if re.match("https?:", link):
            continue
        path, _, anchor = link.partition("#")
        target = (page.parent / path).resolve() if path else page
        assert words, f"{link} has no words"
        assert target.exists(), f"{link}: there is no such file"
        assert target.is_relative_to(REPOSITORY), f"{link} leaves the repository"
        assert not anchor or anchors(target).count(anchor) == 1, f"{link}: there is no such heading"
        assert picture != "!" or target.suffix == ".svg", f"{link} is not a picture that is made"
