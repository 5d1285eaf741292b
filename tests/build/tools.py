"""Runs build tools for the tests of this folder."""

import os
import subprocess
import tempfile

import pytest
from harness.piped import run
from harness.program import BUILD, REPOSITORY, RUN_WITH

LIMIT = 500  # seconds for a whole build on a busy machine

shown_by_other_builds = pytest.mark.skipif(BUILD.name == "asan",
                                           reason="the host's and the meter's build show it")


def told_by(*command, **options):
    """What a command that succeeds puts out."""
    done = subprocess.run(command, capture_output=True, text=True, timeout=LIMIT, **options)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


def installed_library(folder):
    """The simulated client library, installed below the folder as a meter's library is."""
    told_by("cmake", "--install", BUILD, "--prefix", folder, "--component", "desk")
    return folder / "lib" / "meter-settings"


def toolchain():
    """The arguments that make cmake build for the machine of this build, without presets."""
    return ["--toolchain", REPOSITORY / "cmake" / "powerpc.cmake"] if RUN_WITH else []


def configured(build, *arguments, **options):
    """What cmake prints. The build directory uses makefiles, and no preset."""
    return told_by("cmake", "-S", REPOSITORY, "-B", build, "-G", "Unix Makefiles", *toolchain(), *arguments,
                   **options)


def built(build, *arguments, **options):
    """The program that such a build makes."""
    configured(build, *arguments, **options)
    told_by("cmake", "--build", build)
    return build / "meter-settings"


def with_libraries_of(folder):
    """The arguments before a program that make it find shared libraries in the directory."""
    return [*RUN_WITH, "-E", f"LD_LIBRARY_PATH={folder}"] if RUN_WITH else ["env", f"LD_LIBRARY_PATH={folder}"]


def check_that_it_runs(program, libraries, meter):
    """A session that shows the main menu and ends."""
    with tempfile.TemporaryDirectory() as plain:  # the loader splits its list of directories at colons
        os.symlink(libraries, f"{plain}/lib")
        session = run([*with_libraries_of(f"{plain}/lib"), program], {**os.environ, **meter.environment()}, b"0\n")
    assert (session.returncode, session.stderr) == (0, b"")
    assert b"Velmora II Settings" in session.stdout
    assert meter.calls()[0] == '{"call":"pcd_init","connected":true}'


def check_that_the_doctor_runs(program, libraries, meter):
    """An examination of the simulated meter, in which nothing is wrong."""
    with tempfile.TemporaryDirectory() as plain:
        os.symlink(libraries, f"{plain}/lib")
        done = run([*with_libraries_of(f"{plain}/lib"), program], {**os.environ, **meter.environment()}, b"")
    assert (done.returncode, done.stderr) == (0, b""), done.stdout
    assert done.stdout.endswith(b" 0 WRONG\n")
