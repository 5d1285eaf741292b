"""Tests that the pictures in the guides agree with the page. tests/web/make-pictures creates the pictures."""

import pictures
import pytest


def test_there_are_no_other_pictures():
    assert {path.stem for path in pictures.FOLDER.glob("page-*.png")} == pictures.SCENES.keys()


@pytest.mark.parametrize("name", pictures.SCENES)
def test_a_picture_agrees_with_the_page(chromium, name):
    kept = (pictures.FOLDER / f"{name}.png").read_bytes()
    made, text = pictures.play(chromium, name)
    assert pictures.text_in(kept) == text
    assert pictures.size_of(kept) == pictures.size_of(made) == pictures.SCENES[name][1:3]
