import shutil
import subprocess

import pytest
from harness.program import REPOSITORY


@pytest.fixture
def copy_to():
    """Returns a function that copies the project's sources to a directory and runs `git init` there."""

    def copy(folder):
        listed = subprocess.run(["git", "ls-files", "-zco", "--exclude-standard"], cwd=REPOSITORY,
                                capture_output=True, text=True, check=True).stdout
        for name in filter(None, listed.split("\0")):
            if (REPOSITORY / name).exists():
                (folder / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(REPOSITORY / name, folder / name)
        subprocess.run(["git", "init", "-q", folder], check=True)
        return folder

    return copy
