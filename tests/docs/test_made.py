"""The parts of the guides that docs/tools/write generates agree with the program."""

import re
from xml.etree import ElementTree

import pytest
from guides import folders, made, options, pictures, screens
from harness.program import REPOSITORY

pytestmark = [pytest.mark.host_only, pytest.mark.slow]

GENERATE_AGAIN = "the guides do not agree with the program; docs/tools/write generates them again"

PICTURES = made.picture_names()
PAGES = {str(page.relative_to(REPOSITORY)): page for page in made.pages()}
FENCED = re.compile(r"^```\n(.*?)^```$", re.S | re.M)


def check(path, text):
    if made.present(path) != text:
        pytest.fail("\n".join([GENERATE_AGAIN, *made.difference(path, text)]), pytrace=False)


@pytest.mark.parametrize("name", PICTURES)
def test_a_picture_agrees_with_the_program(name):
    check(pictures.path_of(name), made.make_picture(name))


@pytest.mark.parametrize("name", PAGES)
def test_the_generated_parts_of_a_page_are_current(name):
    check(PAGES[name], made.make_page(PAGES[name]))


def test_the_options_that_meter_fleet_knows_are_current():
    check(options.FLEET, options.for_fleet())


def test_every_generated_part_is_on_a_page_between_its_comments():
    text = "".join(made.present(page) for page in PAGES.values())
    assert {match[2] for match in made.PART.finditer(text)} == set(made.PARTS)
    assert len(made.PART.findall(text)) == text.count("<!-- made by ") == text.count("<!-- end -->")


def test_every_picture_is_generated_and_shown_on_a_page():
    text = "".join(made.present(page) for page in PAGES.values())
    in_folder = {path.stem for path in pictures.FOLDER.glob("*.svg")}
    assert in_folder == set(PICTURES)
    assert {name for name in PICTURES if f"pictures/{name}.svg)" not in text} == set()


def test_the_program_shows_every_screen_that_a_page_quotes():
    shown = {name: pictures.screen_text(name) for name in ("main-menu", "port-menu", "init-menu")}
    quoted = [(page, block) for page, path in PAGES.items()
              for block in FENCED.findall(made.present(path)) if block.startswith(screens.RULE)]
    assert quoted, "no page quotes a screen, so this test checks nothing"
    for page, block in quoted:
        assert block in shown.values(), f"{page} quotes a screen that the program does not show"


@pytest.mark.parametrize("folder", folders.PROGRAM)
def test_includes_follow_the_picture_of_the_directories(folder):
    assert {folder} <= folders.included(folder) <= folders.reachable(folders.targets(), folder)


@pytest.mark.parametrize("name", PICTURES)
def test_a_picture_can_be_read_aloud(name):
    picture = ElementTree.parse(pictures.path_of(name)).getroot()
    title, shows = (picture.find(f"{{http://www.w3.org/2000/svg}}{tag}") for tag in ("title", "desc"))
    assert picture.get("role") == "img"
    assert picture.get("aria-labelledby") == f"{title.get('id')} {shows.get('id')}"
    assert title.text and len(shows.text) > 20
