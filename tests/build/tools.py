"""Runs build tools for the tests in this directory."""

import os
import subprocess
import tempfile

import pytest
from harness.piped import run
from harness.program import BUILD, REPOSITORY, RUN_WITH

LIMIT = 500  # seconds for one command, such as a whole build on a busy machine

shown_by_other_builds = pytest.mark.skipif(BUILD.name == "asan",
                                           reason="the host build and the meter build cover this")


def output_of(*command, **options):
    """Runs a command, which must succeed. Returns its standard output."""
    done = subprocess.run(command, capture_output=True, text=True, timeout=LIMIT, **options)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


def installed_library(folder):
    """Installs the simulated client library below the directory. Returns the installed library's directory,
    which has the layout of a meter's library."""
    output_of("cmake", "--install", BUILD, "--prefix", folder, "--component", "desk")
    return folder / "lib" / "meter-settings"


def toolchain():
    """Returns the arguments that make cmake build for the processor of this build without a preset."""
    return ["--toolchain", REPOSITORY / "cmake" / "powerpc.cmake"] if RUN_WITH else []


def sources_for(build):
    """Returns a symbolic link to the sources, next to the build directory. make rejects a path with a colon,
    and the project's own path may contain a colon."""
    link = build.with_name("source")
    if not link.is_symlink():
        link.symlink_to(REPOSITORY)
    return link


def configured(build, *arguments, **options):
    """Configures with makefiles and without a preset. Returns the output of cmake."""
    return output_of("cmake", "-S", sources_for(build), "-B", build, "-G", "Unix Makefiles", *toolchain(), *arguments,
                     **options)


def built(build, *arguments, **options):
    """Configures and builds with makefiles. Returns the path of meter-settings."""
    configured(build, *arguments, **options)
    output_of("cmake", "--build", build)
    return build / "meter-settings"


def with_libraries_of(folder):
    """Returns the arguments to put before a program so that it finds shared libraries in the directory."""
    return [*RUN_WITH, "-E", f"LD_LIBRARY_PATH={folder}"] if RUN_WITH else ["env", f"LD_LIBRARY_PATH={folder}"]


def check_that_it_runs(program, libraries, meter):
    """Runs a session of the program. The session must show the main menu and end without an error."""
    with tempfile.TemporaryDirectory() as plain:  # the loader splits LD_LIBRARY_PATH at colons
        os.symlink(libraries, f"{plain}/lib")
        session = run([*with_libraries_of(f"{plain}/lib"), program], {**os.environ, **meter.environment()}, b"0\n")
    assert (session.returncode, session.stderr) == (0, b"")
    assert b"Velmora II Settings" in session.stdout
    assert meter.calls()[0] == '{"call":"pcd_init","connected":true}'


def check_that_the_doctor_runs(program, libraries, meter):
    """Runs the doctor on the simulated meter. The doctor must find no error."""
    with tempfile.TemporaryDirectory() as plain:
        os.symlink(libraries, f"{plain}/lib")
        done = run([*with_libraries_of(f"{plain}/lib"), program], {**os.environ, **meter.environment()}, b"")
    assert (done.returncode, done.stderr) == (0, b""), done.stdout
    assert done.stdout.endswith(b" 0 WRONG\n")
