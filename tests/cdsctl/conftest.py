import subprocess

import pytest
from harness.program import CDSCTL, STEP_LIMIT, command


@pytest.fixture
def cdsctl(meter):
    """Runs cdsctl on the test's meter: cdsctl("get", PATH, ...)."""

    def run(*arguments, keys="", environment=None):
        if environment is None:
            environment = meter.environment()
        return subprocess.run(command(CDSCTL, *arguments), env=environment, input=keys,
                              capture_output=True, encoding="utf-8", errors="surrogateescape",
                              timeout=STEP_LIMIT, check=False)

    return run


@pytest.fixture
def answer(cdsctl):
    """Returns the output of a cdsctl that succeeds and prints nothing on standard error."""

    def run(*arguments, **options):
        done = cdsctl(*arguments, **options)
        assert (done.returncode, done.stderr) == (0, ""), done
        return done.stdout

    return run


@pytest.fixture
def new_leaves(cdsctl, meter):
    """Runs a `set` that succeeds. Returns the leaves that it reports as new, including its hints."""

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
    """Returns the standard error of a cdsctl that exits with `status` and prints nothing else."""

    def run(status, *arguments, **options):
        done = cdsctl(*arguments, **options)
        assert (done.returncode, done.stdout) == (status, ""), done
        return done.stderr

    return run
