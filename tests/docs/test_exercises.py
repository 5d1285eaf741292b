"""The solution of each exercise in docs/exercises solves the exercise. A session without a save does not."""

import re
import subprocess
import tomllib

import pytest
from harness import piped
from harness.meter import FACTORY, Meter, toml_text
from harness.program import CDSCTL, REPOSITORY, UTILITY, command

EXERCISES = sorted((REPOSITORY / "docs" / "exercises").glob("*.toml"))
KEYS = {"title", "task", "hint", "arguments", "start", "solution", "expected"}

pytestmark = [pytest.mark.host_only, pytest.mark.parametrize("path", EXERCISES, ids=lambda path: path.stem)]


def read(path):
    return tomllib.loads(path.read_text(encoding="utf-8"))


def start_of(exercise):
    start = exercise.get("start", {})
    factory = tomllib.loads(FACTORY.read_text(encoding="utf-8"))
    leaves = {} if start.get("meter") == "empty" else factory
    removed = start.get("remove", [])
    assert set(removed) <= leaves.keys()
    return {path: value for path, value in (leaves | start.get("set", {})).items() if path not in removed}


def difference_after(lines, exercise, name, tmp_path):
    """Types these lines on the meter of the exercise. Returns the lines that `cdsctl diff` then prints."""
    meter = Meter(name, start_of(exercise), factory_text=FACTORY.read_text(encoding="utf-8"))
    (tmp_path / "start.toml").write_text(toml_text(meter.at_start), encoding="utf-8")
    keys = "".join(line + "\n" for line in lines).encode()
    program = command(UTILITY, *exercise.get("arguments", ["-m"]))
    assert piped.run(program, meter.environment(), keys).returncode == 0
    words = command(CDSCTL, "-C", str(meter.folder), "diff", str(tmp_path / "start.toml"))
    shown = subprocess.run(words, capture_output=True, text=True, check=False).stdout
    meter.remove()
    return shown.splitlines()


def test_the_solution_makes_exactly_the_expected_difference(path, tmp_path):
    exercise = read(path)
    assert difference_after(exercise["solution"], exercise, path.stem, tmp_path) == exercise["expected"]


def test_a_session_without_a_save_solves_nothing(path, tmp_path):
    exercise = read(path)
    assert exercise["expected"]
    *before, save, yes, leave = exercise["solution"]
    assert (yes, leave) == ("y", "0") and save in ("5", "6")
    assert difference_after([*before, "0", "y"], exercise, path.stem, tmp_path) == []


def test_the_file_has_the_keys_that_the_page_needs(path):
    exercise = read(path)
    assert {"title", "task", "hint", "solution", "expected"} <= exercise.keys() <= KEYS
    assert exercise.get("start", {}).keys() <= {"meter", "set", "remove"}
    assert re.fullmatch(r"\d\d-[a-z-]+\.toml", path.name)
