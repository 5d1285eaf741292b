"""Builds the program against an installed client library. This library is the simulated one, but it has the
directory layout of a meter's library."""

import os
import re
import shlex
import shutil
import subprocess
import sys

import pytest
from harness.program import BUILD, REPOSITORY, RUN_WITH
from tools import LIMIT, output_of, shown_by_other_builds

LIBRARIES_OF_A_METER = ("libcds++.so", "libcds.so", "libstdc++.so.", "libgcc_s.so.", "libm.so.",
                        "libc.so.")  # fmt: skip
BINUTILS = "powerpc-linux-gnu-" if RUN_WITH else ""


def built_against(library, build):
    """Builds the program against an installed library. The build directory was first configured for another
    library, which no longer exists."""
    other = library.with_name("other")
    shutil.copytree(library, other)
    for root in (other, library):
        output_of("cmake", "--preset", BUILD.name, "-B", build, f"-DCDS_ROOT={root}", cwd=REPOSITORY)
        shutil.rmtree(other, ignore_errors=True)
    output_of("cmake", "--build", build)
    return build / "meter-settings"


def find_libraries_in(folder):
    """Returns the words that must precede a program so that it finds shared libraries in the directory."""
    return shlex.join([*RUN_WITH, "-E", f"LD_LIBRARY_PATH={folder}"] if RUN_WITH
                      else ["env", f"LD_LIBRARY_PATH={folder}"])


def check_that_the_simulated_library_is_not_in(program):
    symbols = output_of(f"{BINUTILS}nm", "-C", program)
    assert " T main" in symbols
    assert not re.findall(r".*(?:simulator::|toml|nlohmann).*", symbols)
    library = r"pcd_init|pcd_close|toolkit::CCds::\w+\(.*|toolkit::CElement::to_string\(.*"
    assert not re.findall(rf".* [TWtw] (?:{library})$", symbols, re.MULTILINE)
    for called in ("pcd_init", "pcd_close", "system", "sleep"):
        assert re.search(rf"^ +U {called}\b", symbols, re.MULTILINE), called


def check_that_the_library_is_loaded_by(program):
    loaded = output_of(f"{BINUTILS}readelf", "-dW", program)
    needed = re.findall(r"\(NEEDED\).*\[(.*)\]", loaded)
    assert needed[:2] == ["libcds++.so", "libcds.so"]
    assert "RUNPATH" not in loaded and "RPATH" not in loaded
    assert not [name for name in needed if not name.startswith(LIBRARIES_OF_A_METER)]


def check_the_dialogues_of(program, library):
    played = subprocess.run(
        [sys.executable, "-m", "pytest", "-n", "4", "-p", "no:cacheprovider", "-q", "--quick",
         REPOSITORY / "tests" / "dialogues"],
        env={**os.environ, "BUILD_DIR": str(program.parent), "RUN_WITH": find_libraries_in(library)}, cwd=REPOSITORY, timeout=LIMIT,
        capture_output=True, text=True)
    assert played.returncode == 0, played.stdout
    assert int(re.search(r"(\d+) passed", played.stdout)[1]) > 150


@shown_by_other_builds
@pytest.mark.full
@pytest.mark.builds
def test_the_program_is_built_against_a_library_in_another_directory(tmp_path, plain_folder):
    prefix = tmp_path / "installed"
    output_of("cmake", "--install", BUILD, "--prefix", prefix, "--component", "desk")
    library = prefix / "lib" / "meter-settings"
    program = built_against(library, tmp_path / "build")
    check_that_the_simulated_library_is_not_in(program)
    check_that_the_library_is_loaded_by(program)
    (plain_folder / "lib").symlink_to(library / "lib")
    check_the_dialogues_of(program, plain_folder / "lib")
