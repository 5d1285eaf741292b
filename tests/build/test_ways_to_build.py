"""Builds the programs in the ways that integrators use. All builds use makefiles and no presets. The tests
cover each build type, each compiler of Debian, a build without RTTI, a static build, and a client library in
a pkg-config package."""

import os
import pathlib
import shutil
import subprocess
import tempfile

import hardening
import pytest
from harness.elf import allocated_size, needed_libraries, readelf
from harness.program import BUILD, REPOSITORY, RUN_WITH
from tools import (LIMIT, built, check_that_it_runs, check_that_the_doctor_runs, configured, installed_library,
                   shown_by_other_builds, sources_for, toolchain, output_of)

pytestmark = [shown_by_other_builds, pytest.mark.builds]

PREFIX = "powerpc-linux-gnu-" if RUN_WITH else ""
HOST_COMPILERS = ("g++-11", "g++-12", "g++-13", "g++-14", "clang++-19")
METER_COMPILERS = ("powerpc-linux-gnu-g++-12", "clang++-19")
COMPILERS = METER_COMPILERS if RUN_WITH else HOST_COMPILERS


PROGRAMS = ("meter-settings", "meter-settings-doctor")


def check_that_both_run(build, libraries, meter):
    check_that_it_runs(build / "meter-settings", libraries, meter)
    check_that_the_doctor_runs(build / "meter-settings-doctor", libraries, meter)


def check_programs(build, libraries, meter, calls_checked=True):
    for name in PROGRAMS:
        hardening.check_hardened(build / name, calls_checked)
    check_that_both_run(build, libraries, meter)


@pytest.fixture(scope="module")
def library():
    with tempfile.TemporaryDirectory() as folder:
        yield installed_library(pathlib.Path(folder))


@pytest.fixture
def tmp_path(plain_folder):
    """Returns a directory without a colon in its path, because make rejects a path with a colon."""
    return plain_folder


@pytest.mark.full
@pytest.mark.builds
def test_without_preset_and_build_type_the_program_is_hardened(library, tmp_path, meter):
    program = built(tmp_path / "build", f"-DCDS_ROOT={library}")
    check_programs(program.parent, library / "lib", meter)
    for name in PROGRAMS:
        hardening.check_without_streams_locales_and_threads(program.with_name(name))
        if RUN_WITH:
            assert allocated_size(program.with_name(name)) < allocated_size(BUILD / name) + 500


@pytest.mark.full
@pytest.mark.parametrize("build_type", ["Debug", "Release", "RelWithDebInfo", "MinSizeRel"])
def test_each_build_type(build_type, library, tmp_path, meter):
    program = built(tmp_path / "build", f"-DCDS_ROOT={library}", f"-DCMAKE_BUILD_TYPE={build_type}")
    check_programs(program.parent, library / "lib", meter, calls_checked=build_type != "Debug")


@pytest.mark.full
@pytest.mark.parametrize("compiler", COMPILERS)
def test_each_compiler(compiler, library, tmp_path, meter):
    if not shutil.which(compiler):
        pytest.skip(f"{compiler} is not installed")
    target = ["-DCMAKE_CXX_COMPILER_TARGET=powerpc-linux-gnu"] if RUN_WITH and "clang" in compiler else []
    file = tmp_path / "toolchain.cmake"
    file.write_text("".join(f'include("{path}")\n' for path in toolchain()[1:])
                    + f"set(CMAKE_CXX_COMPILER {compiler})\n")
    output_of("cmake", "-S", sources_for(tmp_path / "build"), "-B", tmp_path / "build", "-G", "Unix Makefiles",
              f"-DCDS_ROOT={library}", f"-DCMAKE_TOOLCHAIN_FILE={file}", "-DCMAKE_COMPILE_WARNING_AS_ERROR=ON", *target)
    output_of("cmake", "--build", tmp_path / "build")
    program = tmp_path / "build" / "meter-settings"
    assert compiler in (tmp_path / "build" / "CMakeCache.txt").read_text() + file.read_text()
    # clang has no checked versions of the library calls that the programs make.
    check_programs(program.parent, library / "lib", meter, calls_checked="clang" not in compiler)


@pytest.mark.full
def test_without_rtti(library, tmp_path, meter):
    program = built(tmp_path / "build", f"-DCDS_ROOT={library}", "-DCMAKE_CXX_FLAGS=-fno-rtti")
    check_programs(program.parent, library / "lib", meter)


def static_library(library, folder):
    """Creates a directory for CDS_ROOT that has only static libraries. They contain the simulated library."""
    for name in ("lib", "parts"):
        (folder / name).mkdir(parents=True)
    shutil.copytree(library / "include", folder / "include")
    for name, to in (("libcds++.a", "lib"), ("libcds.a", "parts"), ("libmeter_store.a", "parts")):
        shutil.copy(BUILD / "simulator" / name, folder / to)
    script = "create lib/libcds.a\naddlib parts/libcds.a\naddlib parts/libmeter_store.a\nsave\nend\n"
    subprocess.run([f"{PREFIX}ar", "-M"], input=script, text=True, check=True, cwd=folder)
    return folder


@pytest.mark.full
def test_a_static_program(library, tmp_path, meter):
    root = static_library(library, tmp_path / "static")
    program = built(tmp_path / "build", f"-DCDS_ROOT={root}", "-DCMAKE_EXE_LINKER_FLAGS=-static")
    for file in (program.with_name(name) for name in PROGRAMS):
        assert needed_libraries(file) == []
        assert "INTERP" not in readelf("-l", file)
        hardening.check_that_no_stack_can_be_executed(file)
        hardening.check_that_library_calls_are_checked(file)
        hardening.check_without_streams_locales_and_threads(file)
        if not RUN_WITH:  # Debian's C library for the meter does not support a static PIE
            hardening.check_loaded_at_a_random_address(file)
    check_that_both_run(program.parent, root / "lib", meter)


PACKAGE = """\
prefix=/usr
Name: cds
Description: client library of the meter's configuration data store
Version: 4.2
Libs: -L${prefix}/lib -lcds++ -lcds
Cflags: -I${prefix}/include
"""


@pytest.mark.full
@pytest.mark.builds
def test_the_library_of_the_package_cds_in_the_sysroot(library, tmp_path, meter):
    root = tmp_path / "sysroot"
    for name in ("include", "lib"):
        shutil.copytree(library / name, root / "usr" / name)
    (root / "usr" / "lib" / "pkgconfig").mkdir()
    (root / "usr" / "lib" / "pkgconfig" / "cds.pc").write_text(PACKAGE)
    # A sysroot for the host's compiler would also need the headers of the C library. So the host build gets
    # no sysroot, but the variables of pkg-config that image builds set.
    sysroot = [f"-DCMAKE_SYSROOT={root}"] if RUN_WITH else []
    variables = {} if RUN_WITH else {"PKG_CONFIG_SYSROOT_DIR": str(root),
                                     "PKG_CONFIG_LIBDIR": str(root / "usr" / "lib" / "pkgconfig")}
    program = built(tmp_path / "build", *sysroot, env={**os.environ, **variables})
    assert needed_libraries(program)[:2] == ["libcds++.so", "libcds.so"]
    assert "RUNPATH" not in readelf("-d", program)
    check_that_it_runs(program, root / "usr" / "lib", meter)


def test_without_any_library_the_message_names_each_way_to_give_one(tmp_path):
    nowhere = {**os.environ, "PKG_CONFIG_LIBDIR": str(tmp_path)}
    done = subprocess.run(["cmake", "-S", sources_for(tmp_path / "build"), "-B", tmp_path / "build", *toolchain()], env=nowhere,
                          capture_output=True, text=True, timeout=LIMIT)
    assert done.returncode == 1
    for way in ("-DCDS_ROOT=DIRECTORY", "cds.pc", "PKG_CONFIG_LIBDIR", "-DSIMULATED_METER=ON"):
        assert way in done.stderr


def test_a_path_that_make_cannot_handle_is_rejected(tmp_path):
    (tmp_path / "a:b").symlink_to(REPOSITORY)
    for source, build in ((tmp_path / "a:b", tmp_path / "build"), (REPOSITORY, tmp_path / "b:c")):
        done = subprocess.run(["cmake", "-S", source, "-B", build, "-G", "Unix Makefiles", *toolchain(),
                               "-DSIMULATED_METER=ON"], capture_output=True, text=True, timeout=LIMIT)
        assert done.returncode == 1 and "path contains a colon" in " ".join(done.stderr.split())


def test_a_directory_without_the_library_is_rejected(tmp_path):
    done = subprocess.run(["cmake", "-S", sources_for(tmp_path / "build"), "-B", tmp_path / "build", *toolchain(),
                           f"-DCDS_ROOT={tmp_path}"], capture_output=True, text=True, timeout=LIMIT)
    assert done.returncode == 1
    assert f"{tmp_path}/lib" in done.stderr and "cds++" in done.stderr


def test_a_library_that_is_given_is_preferred_to_the_simulated_one(library, tmp_path):
    configured(tmp_path / "build", f"-DCDS_ROOT={library}", "-DSIMULATED_METER=ON")
    targets = output_of("cmake", "--build", tmp_path / "build", "--target", "help")
    assert "meter-settings" in targets and "cdsctl" not in targets
