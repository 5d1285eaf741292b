"""The CMake files use no feature that is newer than the CMake version that they require."""

import re

from harness.program import REPOSITORY

# Features that CMake added after version 3.16. Only two parts of the project need a later version: cpack needs
# 3.19, as docs/integrator.md says, and the presets of the page need 3.25.
ADDED = {
    (3, 17): r"ZIP_LISTS|CMAKE_CURRENT_FUNCTION|CMAKE_MESSAGE_LOG_LEVEL|message\((CHECK_START|CHECK_PASS)",
    (3, 18): r"cmake_language|ARCHIVE_(CREATE|EXTRACT)|find_(program|library|path|file)\([^)]*REQUIRED|DEVICE_LINK",
    (3, 19): r"string\(JSON|COMMAND_ERROR_IS_FATAL|file\(REAL_PATH|file\(CHMOD|DEFER",
    (3, 20): r"cmake_path|_BYTE_ORDER|FILE_PERMISSIONS|DEPFILE|CONFIGURE_HANDLED_BY_BUILD",
    (3, 21): r"PROJECT_IS_TOP_LEVEL|COPY_FILE|IMPORTED_RUNTIME_ARTIFACTS|RUNTIME_DEPENDENC",
    (3, 23): r"FILE_SET|IMMEDIATE_CALL",
    (3, 24): r"LINK_LIBRARY:|LINK_GROUP:|\$<PATH:|COLOR_DIAGNOSTICS",
    (3, 25): r"\bblock\(|return\(PROPAGATE|try_compile\([^)]*PROJECT\b",
}
# Not below build/: other tests create and remove copies of the project there.
FOLDERS = [path for path in REPOSITORY.iterdir() if path.is_dir() and path.name not in ("build", "web", "tests")]
FILES = [REPOSITORY / "CMakeLists.txt",
         *(path for folder in FOLDERS for pattern in ("CMakeLists.txt", "*.cmake") for path in folder.rglob(pattern))]
ROOT = (REPOSITORY / "CMakeLists.txt").read_text()


def newer_features(text, version):
    code = re.sub(r"#.*", "", text)
    return [(since, found[0]) for since, pattern in ADDED.items() if since > version
            for found in re.finditer(pattern, code)]


def test_nothing_newer_than_the_version_that_is_required():
    version = tuple(map(int, re.match(r"cmake_minimum_required\(VERSION (\d+)\.(\d+)", ROOT).groups()))
    assert version == (3, 16)
    assert len(FILES) > 20
    found = {str(path.relative_to(REPOSITORY)): newer_features(path.read_text(), version) for path in FILES}
    assert {name: features for name, features in found.items() if features} == {}


def test_a_newer_feature_would_be_found():
    assert newer_features("block()\ncmake_path(GET a b)  # cmake_language", (3, 16)) == [
        ((3, 20), "cmake_path"), ((3, 25), "block(")]
    assert newer_features("foreach(a IN ZIP_LISTS b)", (3, 17)) == []
