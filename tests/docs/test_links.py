"""Everything that the guides refer to exists: link targets, files, names in the sources, and leaves."""

import re

import pytest
from guides import made, saves
from harness.program import REPOSITORY

pytestmark = pytest.mark.host_only

PAGES = {str(page.relative_to(REPOSITORY)): page for page in made.pages()}
LINK = re.compile(r"(!?)\[([^\]]*)\]\(([^)\s]+)\)")


def text_of(page):
    return re.sub(r"^```.*?^```$", "", page.read_text(encoding="utf-8"), flags=re.S | re.M)


def anchors(page):
    """Returns the anchors of all headings on the page."""
    return [saves.anchor(heading) for heading in re.findall(r"^#+ (.*)$", text_of(page), re.M)]


@pytest.mark.parametrize("name", PAGES)
def test_links(name):
    page = PAGES[name]
    links = LINK.findall(text_of(page))
    assert len(links) == text_of(page).count("](")
    for picture, words, link in links:
        if re.match("https?:", link):
            continue
        path, _, anchor = link.partition("#")
        target = (page.parent / path).resolve() if path else page
        assert words, f"{link} has no text"
        assert target.exists(), f"{link}: the file does not exist"
        assert target.is_relative_to(REPOSITORY), f"{link} leaves the repository"
        assert not anchor or anchors(target).count(anchor) == 1, f"{link}: there is not exactly one such heading"
        assert picture != "!" or target.suffix in (".svg", ".png"), f"{link} is not a generated picture"


SOURCES = [path for folder in ("app", "network", "meterinit", "console", "settings", "store", "simulator")
           for path in (REPOSITORY / folder).rglob("*.*")]


@pytest.mark.parametrize("name", ["docs/developer.md", "docs/integrator.md"])
def test_files_names_and_leaves(name):
    """Each file or directory in backquotes exists. Each name in backquotes occurs in the sources. Each leaf
    in backquotes occurs on the generated pages."""
    leaves = "".join((REPOSITORY / "docs" / page).read_text(encoding="utf-8")
                     for page in ("what-a-save-does.md", "what-a-save-calls.md"))
    words = set(re.findall(r"\w+", "".join(path.read_text(encoding="utf-8") for path in SOURCES)))
    for quoted in re.findall(r"`([^`\n]+)`", text_of(PAGES[name])):
        if quoted.startswith(("include/", "lib/")):
            continue  # a file of the client library, whose directory is outside the project
        if re.match("/(V|Software)", quoted):
            assert f"`{quoted}" in leaves, f"no save writes {quoted}"
        elif re.fullmatch(r"(\w+/)+|(\w+/)*[\w-]+\.(h|cpp|toml|cmake|md)", quoted):
            same_name = [path for path in SOURCES if path.name == quoted]
            assert same_name or (REPOSITORY / quoted).exists(), f"{quoted} does not exist"
        elif re.fullmatch(r"[a-z]+(_[a-z0-9]+)+|([A-Z][a-z]+){2,}", quoted):
            assert quoted in words, f"{quoted} does not occur in the sources"
