"""Tests the exercises in the page. An exercise is solved after its whole solution, and not before."""

import tomllib

import browsers
import pytest
from browsers import ENTER
from harness.program import REPOSITORY

EXERCISES = sorted((REPOSITORY / "docs" / "exercises").glob("*.toml"))


def begin(browser, name):
    browser.click("#exercises-tab")
    browser.click(f'[data-exercise="{name}"] button')


def verdict(browser):
    browser.async_script("setTimeout(arguments[0], 50);")
    return browser.script("return document.querySelector('.verdict')?.innerText ?? null;")


def test_the_page_has_all_exercises(chromium):
    titles = chromium.script("return [...document.querySelectorAll('#exercise-list h3')].map(h => h.textContent);")
    assert titles == [tomllib.loads(path.read_text(encoding="utf-8"))["title"] for path in EXERCISES]


@pytest.mark.parametrize("path", EXERCISES, ids=lambda path: path.stem)
def test_an_exercise_is_solved_by_its_solution_and_not_before(chromium, path):
    exercise = tomllib.loads(path.read_text(encoding="utf-8"))
    begin(chromium, path.stem)
    current = chromium.script("return document.querySelector('#exercise-list .current').innerText;")
    assert " ".join(exercise["task"].split()) in " ".join(current.split())
    *before, yes, leave = exercise["solution"]
    for line in before:
        chromium.send_keys(line + ENTER)
        assert verdict(chromium).startswith("Not solved yet: 0 of ")
    chromium.send_keys(yes + ENTER)
    browsers.wait_for_output(chromium, b"Settings saved.", 10)
    assert verdict(chromium) == "Solved. The meter is as the task asks."
    assert chromium.script("return document.getElementById('announcement').textContent;") == f"Solved: {exercise['title']}."
    chromium.send_keys(leave + ENTER)
    assert verdict(chromium) == "Solved. The meter is as the task asks."


def test_a_wrong_value_is_reported(chromium):
    begin(chromium, "06-serial-number")
    chromium.send_keys(f"5{ENTER}1{ENTER}261900124{ENTER}0{ENTER}6{ENTER}y{ENTER}")
    assert verdict(chromium) == ("Not solved yet: 0 of 1 leaves are as they should be. These have another value than "
                                 "the task asks for: /VMIC/SerialNumber/Value.")


def test_an_exercise_continues_when_the_program_is_started_again(chromium):
    begin(chromium, "06-serial-number")
    chromium.send_keys(f"0{ENTER}{ENTER}")
    chromium.click("#start-again")
    chromium.send_keys(f"5{ENTER}1{ENTER}261900123{ENTER}0{ENTER}6{ENTER}y{ENTER}")
    assert verdict(chromium).startswith("Solved.")


def test_the_page_asks_before_an_exercise_only_when_the_last_one_is_not_solved(chromium):
    for serial, asks in (("261900124", True), ("261900123", False)):
        begin(chromium, "06-serial-number")
        chromium.send_keys(f"5{ENTER}1{ENTER}{serial}{ENTER}0{ENTER}6{ENTER}y{ENTER}")
        assert verdict(chromium).startswith("Not solved" if asks else "Solved.")
        begin(chromium, "02-dhcp-on")
        assert chromium.script("return document.getElementById('discard').open;") is asks
        if asks:
            chromium.click("#discard-changes")


def test_changing_the_meter_ends_the_exercise(chromium):
    begin(chromium, "02-dhcp-on")
    assert verdict(chromium)
    chromium.click("#factory-meter")
    chromium.click("#empty-meter")
    assert verdict(chromium) is None
