import subprocess

import pytest
from harness.program import CDSCTL, STEP_LIMIT, command


@pytest.fixture
def cdsctl(meter):
    """Returns a function that runs cdsctl on the test's meter: cdsctl("get", PATH, ...)."""

    def run(*arguments, keys="", environment=None):
        if environment is None:
            environment = meter.environment()
        return subprocess.run(command(CDSCTL, *arguments), env=environment, input=keys,
                              capture_output=True, encoding="utf-8", errors="surrogateescape",
                              timeout=STEP_LIMIT, check=False)

    return run


@pytest.fixture
def answer(cdsctl):
    """Returns a function that runs cdsctl and returns its output. The run must succeed and print no error."""

    def run(*arguments, **options):
        done = cdsctl(*arguments, **options)
        assert (done.returncode, done.stderr) == (0, ""), done
        return done.stdout

    return run


@pytest.fixture
def new_leaves(cdsctl, meter):
    """Returns a function that runs `set`, which must succeed. The function returns the leaves that `set`
    reports as new, with their hints."""

    def run(*arguments, **options):
        done = cdsctl(*arguments, **options)
        assert (done.returncode, done.stdout) == (0, ""), done
        beginning = f"cdsctl: {meter.folder}/store.toml: new leaf "
        lines = done.stderr.splitlines()
        assert all(line.startswith(beginning) for line in lines), done
        return [line.removeprefix(beginning) for line in lines]

    return run


@pytest.fixture
def error_of(cdsctl):
    """Returns a function that runs cdsctl and returns its standard error. cdsctl must exit with `status` and
    print nothing on standard output."""

    def run(status, *arguments, **options):
        done = cdsctl(*arguments, **options)
        assert (done.returncode, done.stdout) == (status, ""), done
        return done.stderr

    return run
