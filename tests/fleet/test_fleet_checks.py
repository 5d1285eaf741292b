"""The Python code of fleet/ passes mypy in strict mode, pylint and flake8. The Python code of tests/fleet
passes flake8."""

import pathlib
import subprocess

import pytest
from harness.program import REPOSITORY

pytestmark = [pytest.mark.host_only]

CONFIGURATION = "fleet/pyproject.toml"
PACKAGE = "fleet/meter_fleet"
TESTS = "tests/fleet"
SCRIPTS = ["tests/fleet/bad-lines", "tests/fleet/scaled-meter-fleet"]


def run(*words):
    done = subprocess.run(words, cwd=REPOSITORY, capture_output=True, text=True, timeout=300, check=False)
    return done.returncode, done.stdout + done.stderr


@pytest.mark.slow
def test_types(tmp_path):
    status, output = run("mypy", "--config-file", CONFIGURATION, "--cache-dir", str(tmp_path), PACKAGE)
    assert status == 0, output


@pytest.mark.parametrize("longest, paths", [(100, [PACKAGE, "fleet/meter-fleet"]), (120, [TESTS, *SCRIPTS])])
def test_style(longest, paths):
    status, output = run("flake8", "--isolated", f"--max-line-length={longest}", "--extend-ignore=E203", *paths)
    assert status == 0, output


@pytest.mark.fleet
def test_lint():
    modules = [str(path.relative_to(REPOSITORY)) for path in (REPOSITORY / PACKAGE).glob("*.py")]
    status, output = run("pylint", "--rcfile", CONFIGURATION, "--persistent", "no", *modules)
    assert status == 0, output


@pytest.mark.slow
def test_a_wrong_type_is_found(tmp_path):
    wrong = pathlib.Path(tmp_path) / "wrong.py"
    wrong.write_text("def one() -> int:\n    return 'one'\n")
    status, output = run("mypy", "--config-file", CONFIGURATION, "--cache-dir", str(tmp_path / "cache"), str(wrong))
    assert status == 1 and "Incompatible return value type" in output
