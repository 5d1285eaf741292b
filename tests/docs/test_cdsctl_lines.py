"""The `cdsctl` lines of "what a save does" read what the item's line says, and write what a save writes."""

import re
import shlex
import subprocess
import tomllib

import pytest
from guides import saves
from harness.meter import FACTORY, Meter, toml_text
from harness.program import BUILD, REPOSITORY, STEP_LIMIT, command

pytestmark = pytest.mark.host_only

PAGE = (REPOSITORY / "docs" / "what-a-save-does.md").read_text(encoding="utf-8")
LINES = dict(re.findall(r"^### (.*)\n\n```sh\n(cdsctl get (?:.|\n)*?)```$", PAGE, re.M))
CDSCTL = BUILD / "cdsctl"
FACTORY_LEAVES = tomllib.loads(FACTORY.read_text())


def run(lines, meter):
    script = f'cdsctl() {{ {shlex.join(command(CDSCTL))} "$@"; }}\n{lines}'
    return subprocess.run(["sh", "-eu", "-c", script], env=meter.environment(), capture_output=True,
                          text=True, timeout=STEP_LIMIT)


def test_every_item_has_its_lines():
    assert list(LINES) == [item.label for item in saves.ITEMS]


@pytest.mark.parametrize("item", saves.ITEMS, ids=lambda item: item.label)
def test_the_lines_of_an_item(item):
    calls = saves.saved("lines", saves.edits(item, item.answer) + saves.SAVE + saves.EXIT)[0]
    written = {path: value for path, value in saves.leaves_written(calls)
               if not path.startswith(saves.OPTIONS)}
    meter = Meter("cdsctl-lines", FACTORY_LEAVES)
    done = run(LINES[item.label], meter)
    assert (done.returncode, done.stderr) == (0, "")
    assert done.stdout.rstrip("\n") == str_of(FACTORY_LEAVES[leaf_of(item, written)])
    assert toml_text(meter.leaves()) == toml_text(FACTORY_LEAVES | written)
    meter.remove()


def leaf_of(item, written):
    return next(path for path in saves.read(item.screen)[1] if path in written)


def str_of(value):
    return str(value).lower() if isinstance(value, bool) else str(value)
