"""Runs the example recipe for image builds as an image build does: in a separate directory and without a
network. The recipe builds the sources of this checkout."""

import os
import shutil
import subprocess

import hardening
import pytest
from harness.program import REPOSITORY, RUN_WITH
from tools import check_that_it_runs, installed_library, output_of, shown_by_other_builds

pytestmark = [shown_by_other_builds]

RECIPE = REPOSITORY / "docs" / "examples" / "image-recipe"


def without_network():
    """Returns the words that must precede a command so that it runs without a network. Returns no words if
    the kernel does not permit this."""
    tried = subprocess.run(["unshare", "--net", "true"], capture_output=True)
    return ["unshare", "--net"] if tried.returncode == 0 else []


@pytest.mark.full
@pytest.mark.builds
@pytest.mark.skipif(not RUN_WITH, reason="the recipe builds for the meter")
def test_the_recipe_installs_the_program_into_the_staging_directory(plain_folder, meter):
    """Uses `plain_folder`, because make cannot build in a directory with a colon in its path."""
    library = installed_library(plain_folder / "installed")
    recipe = plain_folder / "image" / "meter-settings"
    (plain_folder / "source").symlink_to(REPOSITORY)
    shutil.copytree(RECIPE, recipe)
    output_of(*without_network(), "make", f"SOURCE={plain_folder}/source", f"CDS_ROOT={library}", cwd=recipe,
            env={name: value for name, value in os.environ.items() if name != "MAKEFLAGS"})
    staging = recipe / "staging"
    assert {path.name for path in recipe.iterdir()} == {"Makefile", "work", "staging"}
    assert {path.name for path in (staging / "usr").iterdir()} == {"sbin", "share"}
    assert (staging / "usr" / "share" / "man" / "man8" / "meter-settings.8.gz").exists()
    program = staging / "usr" / "sbin" / "meter-settings"
    assert program.stat().st_size <= 60_000  # only a stripped program is so small
    hardening.check_loaded_at_a_random_address(program)
    check_that_it_runs(program, library / "lib", meter)
