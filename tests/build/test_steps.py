"""Applies the steps of the developer's guide to a copy of the source tree. Then builds the copy, and records
and plays a dialogue with the new program."""

import os
import re
import shutil
import subprocess

import pytest
from harness.program import REPOSITORY

pytestmark = pytest.mark.host_only

GUIDE = (REPOSITORY / "docs" / "developer.md").read_text(encoding="utf-8")
PLAY = "meter: factory\narguments: -m\n\n[console]\n"
# For each section of the guide, EXAMPLES has the keys of a dialogue with the new feature, a leaf that this
# dialogue must write, and the tests that pass after the edits in the section's diff. The other tests need
# further edits, which the guide names.
TESTS = ("tests/dialogues", "tests/model", "tests/fuzz", "tests/test_harness.py")
EXAMPLES = {
    "An option": ("‹5⏎›‹2⏎›‹lte-WEB⏎›‹0⏎›‹6⏎›‹y⏎›‹0⏎›", "/VMIC/Options/LTE/Value = true\n",
                  (*TESTS, "tests/docs/test_made.py", "tests/docs/test_messages.py",
                   "tests/test_doctest.py")),
    "A main-menu item": ("‹4⏎›‹10.0.0.3⏎›‹7⏎›‹y⏎›‹0⏎›",
                         '/Software/System Settings/Network/Name Server/3/Value = "10.0.0.3"\n', TESTS),
}


def edits_of(section):
    """Yields (file, old text, new text) for each hunk in the diff of the section."""
    diff = re.search(rf"^### {section}$.*?^```diff\n(.*?)^```$", GUIDE, re.M | re.S)[1]
    for part in re.split(r"^\+\+\+ ", diff, flags=re.M)[1:]:
        name, _, hunks = part.partition("\n")
        for hunk in hunks.split("@@\n"):
            lines = hunk.splitlines(True)
            yield name, *("".join(line[1:] for line in lines if line[0] != other) for other in "+-")


def applied(text, name, old, new):
    """Returns the text after the edit. A number in the file may differ from the number in the guide, for
    example because a count has grown. The edit then changes the number by the same amount as in the guide."""
    if old not in text:
        digits = r"\d+".join(map(re.escape, re.split(r"\d+", old)))
        found = re.findall(digits, text)
        assert len(found) == 1, f"{name} does not contain this exactly once:\n{old}"
        numbers = [re.findall(r"\d+", part) for part in (found[0], old, new)]
        assert len({len(part) for part in numbers}) == 1, f"{name} has other numbers than:\n{old}"
        raised = iter([str(int(here) + int(after) - int(before)) for here, before, after in zip(*numbers)])
        old, new = found[0], re.sub(r"\d+", lambda _: next(raised), new)
    assert text.count(old) == 1, f"{name} does not contain this exactly once:\n{old}"
    return text.replace(old, new)


def copy_of_the_tree(folder):
    files = subprocess.check_output(["git", "ls-files", "-z"], cwd=REPOSITORY, text=True).split("\0")[:-1]
    for name in files:
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(REPOSITORY / name, folder / name, follow_symlinks=False)


@pytest.mark.parametrize("section", EXAMPLES)
def test_each_edit_can_be_applied_to_the_tree(section):
    edits = list(edits_of(section))
    assert edits
    for name, old, new in edits:
        applied((REPOSITORY / name).read_text(encoding="utf-8"), name, old, new)


def test_an_edit_of_a_count_adds_to_the_current_count():
    assert applied("a = 40  # b\n", "file", "a = 38  # b\n", "a = 39  # b\n") == "a = 41  # b\n"
    with pytest.raises(AssertionError):
        applied("a = 40\na = 41\n", "file", "a = 38\n", "a = 39\n")
    with pytest.raises(AssertionError):
        applied("b = 40\n", "file", "a = 38\n", "a = 39\n")


@pytest.mark.full
@pytest.mark.parametrize("section", EXAMPLES)
def test_the_program_has_the_new_feature_after_the_steps(section, tmp_path):
    copy_of_the_tree(tmp_path)
    for name, old, new in edits_of(section):
        text = (tmp_path / name).read_text(encoding="utf-8")
        (tmp_path / name).write_text(applied(text, name, old, new), encoding="utf-8")
    keys, written, tests = EXAMPLES[section]
    example = tmp_path / "tests" / "dialogues" / "example.dialogue"
    example.write_text(f"The new example is saved.\n\n{PLAY}{keys}\n", encoding="utf-8")

    def run(*words):
        done = subprocess.run(words, cwd=tmp_path, env=surroundings, capture_output=True, text=True)
        assert done.returncode == 0, done.stdout[-4000:] + done.stderr[-4000:]

    surroundings = {**os.environ, "BUILD_DIR": str(tmp_path / "build" / "host")}
    run("cmake", "--preset", "host")
    run("cmake", "--build", "build/host")
    run("tests/record", "--update")
    run("docs/tools/write")
    run("/usr/bin/python3", "-m", "pytest", "-n", "4", "-q", "-p", "no:cacheprovider", *tests, "--quick")
    assert f"    {written}" in example.read_text(encoding="utf-8")
