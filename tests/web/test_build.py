"""Tests the sources and the size of the page, and that two builds are identical."""

import filecmp
import gzip
import json
import os
import re
import subprocess

import pytest
from browsers import PAGE
from harness.program import REPOSITORY

WEB = REPOSITORY / "build" / "web"
HOST = REPOSITORY / "build" / "host"
FOLDERS = ("app", "console", "settings", "store", "network", "meterinit", "simulator")
# The page is built from the program's sources, the sources in web/, and these sources, which read and write
# the text of a store.
STORE_TOOLS = {f"simulator/cdsctl/{name}.cpp" for name in ("changes", "json_text", "value_words")}

KILOBYTE = 1000


def sources_of_the_program(build):
    """Returns the C++ source files of meter-settings in this build, as the build system lists them."""
    shown = subprocess.run(["ninja", "-C", build, "-t", "inputs", "meter-settings"],
                           capture_output=True, text=True, check=True).stdout
    paths = {os.path.normpath(os.path.join(build, line)) for line in shown.splitlines() if line.endswith(".cpp")}
    return {os.path.relpath(path, REPOSITORY) for path in paths}


def compiled(build):
    commands = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
    return {os.path.relpath(entry["file"], REPOSITORY): entry["command"] for entry in commands}


def test_the_program_has_the_same_sources():
    on_the_host, in_the_page = sources_of_the_program(HOST), sources_of_the_program(WEB)
    assert {path.split("/")[0] for path in on_the_host} == set(FOLDERS)
    added = in_the_page - on_the_host
    assert on_the_host <= in_the_page
    assert {path for path in added if not path.startswith("web/")} == STORE_TOOLS


def test_no_source_of_the_program_mentions_the_page():
    files = [path for folder in FOLDERS for path in (REPOSITORY / folder).rglob("*") if path.suffix in (".h", ".cpp")]
    assert len(files) > 50
    assert [path for path in files if re.search(r"EMSCRIPTEN|__wasm|ASYNCIFY", path.read_text(encoding="utf-8"))] == []


def test_the_sources_are_compiled_with_the_same_definitions():
    allowed = {"main=program_main", "TOML_INT_CHARCONV=1", "NDEBUG", "_FILE_OFFSET_BITS=64"}
    sources = sources_of_the_program(HOST)
    commands = {path: command for path, command in compiled(WEB).items() if path in sources}
    assert commands.keys() == sources
    for command in commands.values():
        words = {word.strip("\\\"").split("=")[0] + "=" + word.partition("=")[2] if "=" in word else word
                 for word in re.findall(r'-D(\S+)', command)}
        assert {word for word in words if not word.startswith(("__DATE__", "__TIME__"))} <= allowed


def test_the_page_is_small():
    page = PAGE.read_bytes()
    assert len(page) <= 1300 * KILOBYTE
    assert len(gzip.compress(page, 9)) <= 400 * KILOBYTE
    assert (WEB / "meter-settings.wasm").stat().st_size <= 460 * KILOBYTE


def test_the_page_refers_to_no_other_file():
    page = PAGE.read_text(encoding="utf-8")
    markup = re.sub(r"<(script|style)>.*?</\1>", "", page, flags=re.S)
    assert re.findall(r"""\b(?:src|href|action|data)\s*=\s*["']([^"']*)""", markup) == ["data:,"]
    assert not re.search(r"@import|url\((?!data:)", re.search(r"<style>(.*?)</style>", page, re.S)[1])
    assert "default-src 'none'" in markup


def test_the_licences_are_in_the_page():
    text = PAGE.read_text(encoding="utf-8")
    for part in ("emscripten", "musl", "xterm.js", "toml++", "JSON for Modern C++", "LLVM", "Permission is hereby granted"):
        assert part in text


@pytest.mark.builds
def test_two_builds_are_identical(tmp_path):
    """The second build is in another directory at another time."""
    other = tmp_path / "other"
    quiet = {"check": True, "stdout": subprocess.DEVNULL}
    subprocess.run(["cmake", "--preset", "web", "-B", other], cwd=REPOSITORY, **quiet)
    subprocess.run(["cmake", "--build", other, "--target", "page"], **quiet)
    for name in ("meter-settings.wasm", "meter-settings", "meter.html"):
        assert filecmp.cmp(other / name, WEB / name, shallow=False), name
