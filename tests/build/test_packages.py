"""Tests of the installed files, of the Debian packages, and of reproducible builds."""

import os
import re
import shlex
import shutil
import subprocess
import tarfile

import pexpect
import pytest
from harness.menus import typed
from harness.meter import toml_value
from harness.piped import run
from harness.program import BUILD, REPOSITORY, RUN_WITH, STEP_LIMIT, command, wait_until
from tools import output_of, shown_by_other_builds

pytestmark = [shown_by_other_builds]

PICTURES = {f"share/doc/meter-settings/pictures/{path.name}"
            for path in (REPOSITORY / "docs" / "pictures").glob("*.svg")}
PROGRAM_FILES = {
    "sbin/meter-settings",
    "sbin/meter-settings-doctor",
    "share/doc/meter-settings/changelog.gz",
    "share/doc/meter-settings/copyright",
    "share/man/man8/meter-settings-doctor.8.gz",
    "share/man/man8/meter-settings.8.gz",
}
GUIDES = ("CHANGELOG", "compatibility", "doctor", "glossary", "integrator", "options-list", "simulated-meter",
          "speed", "technician", "technician-card", "trainer", "what-a-save-calls", "what-a-save-does")
DOC_FILES = {f"share/doc/meter-settings/{name}.md" for name in GUIDES} | {
    "share/doc/meter-settings-doc/changelog.gz",
    "share/doc/meter-settings-doc/copyright",
} | PICTURES
DESK_FILES = {
    "bin/cdsctl",
    "lib/meter-settings/include/cds++.h",
    "lib/meter-settings/include/cds.h",
    "lib/meter-settings/lib/libcds++.so",
    "lib/meter-settings/lib/libcds.so",
    "share/bash-completion/completions/cdsctl",
    "share/doc/meter-settings-desk/changelog.gz",
    "share/doc/meter-settings-desk/copyright",
    "share/fish/vendor_completions.d/cdsctl.fish",
    "share/man/man1/cdsctl.1.gz",
    "share/man/man5/store.toml.5.gz",
    "share/meter-settings/factory.toml",
    "share/zsh/vendor-completions/_cdsctl",
}
if not RUN_WITH:
    DESK_FILES |= {
        "bin/meter-session",
        "lib/meter-settings/bin/cdsctl",
        "lib/meter-settings/bin/meter-settings",
        "lib/meter-settings/bin/watched-session",
        "share/lintian/overrides/meter-settings-desk",
        "share/man/man1/meter-session.1.gz",
    }

COLLECTION = "share/ansible/collections/ansible_collections/meter_settings/fleet"
FLEET_FILES = {
    "bin/meter-fleet",
    "share/doc/meter-fleet/changelog.gz",
    "share/doc/meter-fleet/commissioning.md",
    "share/doc/meter-fleet/copyright",
    "share/doc/meter-fleet/pictures/fleet-progress.svg",
    "share/lintian/overrides/meter-fleet",
    "share/man/man1/meter-fleet.1.gz",
    *(f"lib/python3/dist-packages/meter_fleet/{path.name}"
      for path in (REPOSITORY / "fleet" / "meter_fleet").glob("*.py")),
    *(f"share/doc/meter-fleet/examples/ansible/{name}"
      for name in ("group_vars/meters.yml", "inventory.yml", "site.yml")),
    *(f"{COLLECTION}/{name}"
      for name in ("CHANGELOG.md", "README.md", "galaxy.yml", "meta/runtime.yml",
                   "plugins/doc_fragments/console.py", "plugins/module_utils/console.py",
                   "plugins/modules/meter_settings.py", "plugins/modules/meter_settings_info.py")),
}
# The components of this build. meter-fleet runs on any processor, so only the host build packs it.
COMPONENTS = {"program": PROGRAM_FILES, "doc": DOC_FILES, "desk": DESK_FILES}
if not RUN_WITH:
    COMPONENTS["fleet"] = FLEET_FILES
PACKAGES = {"program": "meter-settings", "doc": "meter-settings-doc", "desk": "meter-settings-desk",
            "fleet": "meter-fleet"}


PAGE = REPOSITORY / "build" / "web" / "meter.html"
if PAGE.exists():  # ./page builds this file
    DESK_FILES |= {"share/meter-settings/meter.html"}


def files_below(folder):
    return {str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir()}


def packages_of(build, folder):
    """Runs cpack on a build. Returns a dictionary from the packages' names to their files."""
    output_of("cpack", "--config", build / "CPackConfig.cmake", "-B", folder, cwd=build)
    return {path.name.partition("_")[0]: path for path in folder.glob("*.deb")}


@pytest.mark.parametrize("component, wanted", COMPONENTS.items(), ids=COMPONENTS)
def test_only_the_files_of_a_component_are_installed_below_the_prefix(component, wanted, tmp_path):
    output_of("cmake", "--install", BUILD, "--prefix", "/usr", "--component", component,
            env={**os.environ, "DESTDIR": str(tmp_path)})
    assert files_below(tmp_path) == {f"usr/{name}" for name in wanted}


def check_that_the_utility_runs_on_a_meter_of_the_package(root, meter):
    output_of(root / "usr/bin/cdsctl", "init", meter)
    session = run([root / "usr/lib/meter-settings/bin/meter-settings"],
                  {"METER_SIM_DIR": str(meter), "METER_SIM_NO_DELAY": "1"},
                  typed("{PRIMARY_DNS}\n10.1.2.3\n{SAVE_WITHOUT_INIT}\ny\n0\n").encode())
    assert session.returncode == 0, session.stderr
    assert output_of(root / "usr/bin/cdsctl", "-C", meter, "get",
                   "/Software/System Settings/Network/Name Server/1/Value") == "10.1.2.3\n"


def check_that_a_live_view_runs(root, meter):
    temporary = meter.with_name("temporary")
    temporary.mkdir()
    session = pexpect.spawn(str(root / "usr/bin/meter-session"), [str(meter) + "/"], dimensions=(50, 200),
                            env={**os.environ, "TMUX": "", "TERM": "xterm", "TMPDIR": str(temporary)}, timeout=STEP_LIMIT)
    try:
        session.expect("Initialization")  # only a start with -m shows this item
        assert list(temporary.iterdir())
        session.send("0\r")
        session.expect(pexpect.EOF)
        wait_until(lambda: not session.isalive(), lambda: "the session does not end")
        assert session.exitstatus == 0
    finally:
        session.close(force=True)
    assert not list(temporary.iterdir())
    assert list(meter.parent.glob(f"{meter.name}*")) == [meter]
    assert (meter / "store.toml").read_bytes() == (meter / "factory.toml").read_bytes()
    for words in ((), ("-m",)):
        rejected = subprocess.run([root / "usr/bin/meter-session", *words], capture_output=True, text=True,
                                 timeout=STEP_LIMIT)
        assert (rejected.returncode, rejected.stderr) == (2, "usage: meter-session METER [ARGUMENT...]\n")


# The field "Depends" that the packages must have. With the compilers of Debian 12, dpkg-shlibdeps prints the
# same text for the libraries of Debian packages.
NEEDED = {"meter-settings": "libc6 (>= 2.34), libgcc-s1 (>= 3.3.1), libstdc++6 (>= 11)" if RUN_WITH else
          "libc6 (>= 2.35)", "meter-settings-doc": ""}


def check_what_the_packages_need(packages):
    machine = "powerpc" if RUN_WITH else "amd64"
    for name, package in packages.items():
        field = output_of("dpkg-deb", "--field", package, "Architecture").strip()
        assert field == ("all" if name in ("meter-settings-doc", "meter-fleet") else machine)
    for name, needed in NEEDED.items():
        assert output_of("dpkg-deb", "--field", packages[name], "Depends").strip() == needed


def check_the_tarball(folder):
    """Checks the tarball. Root must own all its files. Their paths must start at the root directory. The
    meter's programs must be stripped."""
    with tarfile.open(next(folder.glob("meter-settings_*.tar.gz"))) as tarball:
        members = tarball.getmembers()
    assert {member.name for member in members if member.isfile()} == {f"./usr/{name}" for name in PROGRAM_FILES}
    assert {(member.uid, member.gid) for member in members} == {(0, 0)}
    if RUN_WITH:
        assert sum(member.size for member in members) <= 120_000


@pytest.mark.builds
def test_the_packages_hold_the_components_and_lintian_finds_no_fault(tmp_path, plain_folder):
    packages = packages_of(BUILD, tmp_path / "packages")
    said = output_of("lintian", "--fail-on", "error,warning", "--display-info", "--allow-root", *packages.values())
    assert "hardening" not in said
    check_what_the_packages_need(packages)
    check_the_tarball(tmp_path / "packages")
    for name, wanted in ((PACKAGES[component], wanted) for component, wanted in COMPONENTS.items()):
        output_of("dpkg-deb", "--extract", packages.pop(name), tmp_path / name)
        assert files_below(tmp_path / name / "usr") == wanted
    assert not packages
    if not RUN_WITH:
        check_that_the_utility_runs_on_a_meter_of_the_package(
            tmp_path / "meter-settings-desk", tmp_path / "meter")
        check_that_a_live_view_runs(tmp_path / "meter-settings-desk", tmp_path / "watched")
        check_that_a_plan_is_applied_from_the_package(tmp_path, plain_folder)


def check_that_a_plan_is_applied_from_the_package(folder, plain_folder):
    """Runs the meter-fleet of its package with the Python library of this package. The package
    meter-settings-desk creates the simulated meter."""
    desk, fleet = folder / "meter-settings-desk" / "usr", folder / "meter-fleet" / "usr"
    output_of(desk / "bin/cdsctl", "init", folder / "fleet-meter")
    console = "run:" + shlex.join(["env", f"METER_SIM_DIR={folder}/fleet-meter",
                                   f"{desk}/lib/meter-settings/bin/meter-settings", "-m"])
    plan = folder / "plan.toml"
    plan.write_text(f'[[meter]]\nname = "one"\nconsole = {toml_value(console)}\n[meter.settings]\nenclosure = "RK"\n')
    library = plain_folder / "library"
    library.symlink_to(fleet / "lib/python3/dist-packages")
    output_of("/usr/bin/python3", fleet / "bin/meter-fleet", "apply", plan, cwd=folder,
            env={**os.environ, "PYTHONPATH": str(library)})
    assert output_of(desk / "bin/cdsctl", "-C", folder / "fleet-meter", "get", "/VMIC/Enclosure/Value") == "RK\n"


@pytest.mark.skipif(bool(RUN_WITH), reason="the meter's build has no live view, and no page")
def test_the_page_is_opened(tmp_path, plain_folder):
    """Tests three cases: no program can open the page, a program opens the page, and the page is missing."""
    for name in ("bash", "dirname", "readlink", "realpath"):
        (plain_folder / name).symlink_to(shutil.which(name))
    alone = {"PATH": str(plain_folder)}
    output_of("cmake", "--install", BUILD, "--prefix", "/usr", "--component", "desk",
            env={**os.environ, "DESTDIR": str(tmp_path)})
    page = tmp_path / "usr/share/meter-settings/meter.html"
    page.write_text("a page", encoding="utf-8")
    session = tmp_path / "usr/bin/meter-session"
    assert output_of(session, "--page", env=alone) == f"Open this file in a browser: {page}\n"
    opener = plain_folder / "xdg-open"
    opener.write_text('#!/bin/sh\necho "opened $1"\n', encoding="utf-8")
    opener.chmod(0o755)
    assert output_of(session, "--page", env=alone) == f"opened {page}\n"
    page.unlink()
    missing = subprocess.run([session, "--page"], env=alone, capture_output=True, text=True, timeout=STEP_LIMIT, check=False)
    assert missing.returncode == 3 and "meter.html is missing" in missing.stderr


@pytest.mark.full
@pytest.mark.builds
def test_cpack_builds_what_it_packs(tmp_path):
    """Runs cpack in a build directory that is configured but not built. cpack must build the programs that it
    packs, and no test program."""
    build = tmp_path / "it's a build"
    output_of("cmake", "--preset", BUILD.name, "-B", build, cwd=REPOSITORY)
    packages = packages_of(build, tmp_path / "packages")
    assert set(packages) == {PACKAGES[component] for component in COMPONENTS}
    assert not (build / "unit-tests").exists()


EPOCH = "1700000000"


def built_in(folder, mask):
    """Copies this checkout to another directory and builds it there with this umask. Returns the files of two
    programs and of all packages."""
    folder.mkdir(parents=True)
    names = output_of("git", "ls-files", "-zco", "--exclude-standard", cwd=REPOSITORY).split("\0")
    for name in filter(None, names):
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(REPOSITORY / name, folder / name)
        if os.access(REPOSITORY / name, os.X_OK):
            (folder / name).chmod(0o755)
    environment = {**os.environ, "SOURCE_DATE_EPOCH": EPOCH, "CCACHE_DISABLE": "1"}  # compile every file twice
    output_of("cmake", "--preset", BUILD.name, "-DBUILD_TESTING=OFF", cwd=folder, env=environment, umask=mask)
    output_of("cmake", "--build", "--preset", BUILD.name, cwd=folder, env=environment, umask=mask)
    build = folder / "build" / BUILD.name
    output_of("cpack", "-B", "packages", cwd=build, env=environment, umask=0o022)  # the umask changes the archive
    return [build / "meter-settings", build / "cdsctl", *sorted((build / "packages").glob("*.deb")),
            *(build / "packages").glob("*.tar.gz")]


@pytest.mark.full
def test_builds_in_two_directories_are_identical_and_show_the_given_date(tmp_path):
    one, other = built_in(tmp_path / "one", 0o022), built_in(tmp_path / "another" / "folder", 0o077)
    assert len(one) == 3 + len(COMPONENTS)  # two programs, a tarball, and one package for each component
    for left, right in zip(one, other):
        assert left.name == right.name
        assert left.read_bytes() == right.read_bytes(), left.name
    version = subprocess.run(command(one[0], "-v"), capture_output=True, text=True, timeout=STEP_LIMIT).stdout
    assert re.search(r"^Build date: (.*)$", version, re.MULTILINE)[1] == "Nov 14 2023 22:13:20"
