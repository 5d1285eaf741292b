"""The technician's guide explains every text that the program can put on the screen."""

import re

import pytest
from guides import literals, made, pictures
from harness.program import REPOSITORY

pytestmark = pytest.mark.host_only

DOCS = REPOSITORY / "docs"
GUIDE = (DOCS / "technician.md").read_text(encoding="utf-8")
INTEGRATOR = (DOCS / "integrator.md").read_text(encoding="utf-8")  # explains the program's shell commands
PAGES = {str(page.relative_to(REPOSITORY)): page for page in made.pages()}
QUOTED = literals.quotes(GUIDE + INTEGRATOR)

# Texts that are leaf paths. Only the generated pages list them.
LEAF_FILES = ("setting_leaves.h", "option_leaves.cpp")
LEAF_PATH = re.compile("/(V|Software/).*")
OPTION = re.compile("ML|PQ[123R]")
MADE_PAGES = "".join((DOCS / name).read_text(encoding="utf-8")
                     for name in ("what-a-save-does.md", "what-a-save-calls.md", "options-list.md"))
# A table with one of these words in its name has lines of a help screen. The guide shows them in pictures.
HELP_HEADS = ("help", "legend", "enclosure_codes", "_names")


def texts():
    """Yields (where, kind, line) for each line of each text in the program, except leaf paths. A line of the
    kind "fragment" is a part of a line on the screen. The pictures show the "help" lines. The generated pages
    list the "option" lines."""
    for path, head, text in literals.program_texts():
        if path.name in LEAF_FILES or LEAF_PATH.fullmatch(text):
            continue
        for line in literals.as_quoted(text):
            if not line.startswith("Error") and (path.name == "option_tokens.h" or OPTION.fullmatch(line)):
                kind = "option"
            elif any(word in head for word in HELP_HEADS):
                kind = "help"
            else:
                kind = "fragment" if literals.is_fragment(text) else "text"
            yield f"{path.name}: {head}", kind, line


TEXTS = list(texts())


def test_there_are_texts_of_every_kind():
    assert {kind for _, kind, _ in TEXTS} == {"text", "fragment", "help", "option"}


def test_the_guide_quotes_every_text_of_the_program():
    missing = [(where, line) for where, kind, line in TEXTS
               if kind == "text" and line not in QUOTED
               or kind == "fragment" and not any(line in quote for quote in QUOTED)]
    assert missing == []


def test_the_guide_has_every_line_of_every_screen():
    screens = ("main-menu-edited", "main-menu", "port-menu", "init-menu")
    shown = "".join(pictures.screen_text(name) for name in screens)
    lines = re.findall(r"^(?: \d\.|   )  (\S.*?)(?: +:  .*)?$", shown, re.M)
    explained = [cell for heading in ("## Main menu", "## Ethernet port", "## Initialisation menu")
                 for cell in literals.first_cells(GUIDE, heading)]
    assert set(explained) == set(lines)


def test_the_pictures_show_every_line_of_help():
    shown = "\n".join(pictures.text_of(path) for path in pictures.FOLDER.glob("*.svg"))
    assert [(where, line) for where, kind, line in TEXTS if kind == "help" and line not in shown] == []


def test_the_reference_of_the_options_has_every_option_and_leaf():
    missing = [(where, line) for where, kind, line in TEXTS
               if kind == "option" and f"`{line}`" not in MADE_PAGES and f"/{line}/" not in MADE_PAGES]
    assert missing == []


def test_every_message_that_the_guide_explains_is_in_the_program():
    program = {line for _, _, line in TEXTS}
    explained = literals.first_cells(GUIDE, "## Messages")
    assert len(explained) > 40
    assert [message for message in explained if message not in program] == []
    assert len(explained) == len(set(explained))


@pytest.mark.parametrize("name", PAGES)
def test_every_text_that_a_page_quotes_is_on_a_screen(name):
    """Text in backquotes is a quotation if it starts with a capital letter and contains a space."""
    program = {line for _, _, line in TEXTS}
    shown = "\n".join(pictures.text_of(path) for path in pictures.FOLDER.glob("*.svg"))
    quoted = [quote for quote in literals.quotes(PAGES[name].read_text(encoding="utf-8"))
              if re.match("[A-Z].* ", quote) and "/" not in quote.split(" ")[0]]
    assert [quote for quote in quoted if quote not in program and quote not in shown] == []
