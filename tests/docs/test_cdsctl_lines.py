"""The `cdsctl` lines in docs/what-a-save-calls.md read and write the same leaves as the menus."""

import re
import shlex
import subprocess
import tomllib

import pytest
from guides import saves
from harness.meter import FACTORY, Meter, toml_text
from harness.program import BUILD, REPOSITORY, STEP_LIMIT, command

pytestmark = pytest.mark.host_only

PAGE = (REPOSITORY / "docs" / "what-a-save-calls.md").read_text(encoding="utf-8")
LINES = dict(re.findall(r"^## (.*)\n\n```sh\n(cdsctl get (?:.|\n)*?)```$", PAGE, re.M))
CDSCTL = BUILD / "cdsctl"
FACTORY_LEAVES = tomllib.loads(FACTORY.read_text())


def run(lines, meter):
    script = f'cdsctl() {{ {shlex.join(command(CDSCTL))} "$@"; }}\n{lines}'
    return subprocess.run(["sh", "-eu", "-c", script], env=meter.environment(), capture_output=True,
                          text=True, timeout=STEP_LIMIT)


def test_every_item_has_its_lines():
    assert list(LINES) == [item.label for item in saves.ITEMS]


def leaves_written(item):
    calls = saves.saved("lines", saves.edits(item, item.answer) + saves.SAVE + saves.EXIT)[0]
    return {path: value for path, value in saves.leaves_written(calls)
            if not path.startswith(saves.OPTIONS)}


def written_to(leaves, lines):
    """Runs the lines on a meter with these leaves. Returns the output, and the meter's new leaves as TOML."""
    meter = Meter("cdsctl-lines", leaves)
    done = run(lines, meter)
    new = [line for line in done.stderr.splitlines() if ": new leaf " in line]
    assert (done.returncode, done.stderr.splitlines()) == (0, new)
    assert len(new) == len(meter.leaves().keys() - leaves.keys())
    after = toml_text(meter.leaves())
    meter.remove()
    return done.stdout.rstrip("\n"), after


@pytest.mark.parametrize("item", saves.ITEMS, ids=lambda item: item.label)
def test_the_lines_of_an_item(item):
    written = leaves_written(item)
    after = toml_text(FACTORY_LEAVES | written)
    value = str_of(FACTORY_LEAVES[leaf_of(item, written)])
    assert written_to(FACTORY_LEAVES, LINES[item.label]) == (value, after)


@pytest.mark.parametrize("item", saves.ITEMS, ids=lambda item: item.label)
def test_the_lines_write_the_same_over_leaves_that_are_missing_or_of_another_type(item):
    written = leaves_written(item)
    after = toml_text(FACTORY_LEAVES | written)
    set_lines = LINES[item.label].split("\n", 1)[1]
    missing = {path: value for path, value in FACTORY_LEAVES.items() if path not in written}
    others = FACTORY_LEAVES | {path: "5" if type(value) is int else 5 for path, value in written.items()}
    assert written_to(missing, set_lines) == ("", after)
    assert written_to(others, set_lines) == ("", after)


def leaf_of(item, written):
    return next(path for path in saves.read(item.screen)[1] if path in written)


def str_of(value):
    return str(value).lower() if isinstance(value, bool) else str(value)
