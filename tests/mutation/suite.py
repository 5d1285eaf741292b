"""Builds and tests mutants, one after the other, in a copy of the project.

The sources outside the copy do not change. The tests run in this order until a test fails: unit tests,
dialogues without waits, and tests of the console. With --model, generated sessions are then compared with the
reference model. The simulator and cdsctl write and remove files, so their mutants run in a sandbox. The tests
of these mutants are unit tests, quick Python tests, and dialogues."""

import collections
import contextlib
import os
import pathlib
import re
import resource
import shlex
import shutil
import subprocess
import sys
import time

import mutants
import sandbox

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build" / "mutation"
PROGRAMS = ("unit-tests", "meter-settings")
# Only CDSCTL_PROGRAMS contain a mutant of cdsctl. All SIMULATOR_PROGRAMS contain a mutant of the simulator.
CDSCTL = "simulator/cdsctl"
CDSCTL_PROGRAMS = ("cdsctl-tests", "cdsctl")
SIMULATOR_PROGRAMS = ("simulator-tests", *CDSCTL_PROGRAMS, "store-client", "meter-settings")
WRITTEN_FOLDERS = ("tests/simulator", "tests/cdsctl")  # in the build directory; the unit tests write here
TESTS_OF_SCRIPTS = ("cdsctl/test_completion.py", "cdsctl/test_watched_session.py")
FAILED_TEST = re.compile(r"^(?:FAILED|ERROR) (.+?)(?: - .*)?$", re.MULTILINE)
USUAL_TESTS = 8
WAITS = re.compile(r"‹wait \d+ s›")

BUILD_LIMIT = 600  # seconds
TEST_LIMIT = 150  # seconds for one test program, which a busy machine may delay
BUSY_LIMIT = 20  # seconds of processor time for one process
# Tests in the sandbox have shorter limits, because many mutants of the simulator wait forever.
UNIT_TEST_LIMIT = 60  # seconds
STEP_LIMIT = 12  # seconds for one step of a Python test
# These limits stop a mutant that writes without end or requests more and more memory.
LIMITS = {resource.RLIMIT_FSIZE: 16 << 20, resource.RLIMIT_AS: 3 << 30, resource.RLIMIT_CORE: 0,
          resource.RLIMIT_CPU: BUSY_LIMIT}
# The sandbox allows larger files, because the simulator's tests create a file that is too large for a store.
SANDBOX_LIMITS = {**LIMITS, resource.RLIMIT_FSIZE: 512 << 20}

# The content of a precompiled header, which the compiler includes before every source file.
COMMON_HEADERS = "".join(f"#include <{name}>\n" for name in (
    "algorithm", "cstdio", "cstdlib", "cstring", "functional", "map", "string", "vector")) + """
inline const int mutant_number = std::getenv("MUTANT") ? std::atoi(std::getenv("MUTANT")) : 0;
"""
# -w switches warnings off, because the compiler often warns about mutants that must still compile.
FLAGS = "-std=c++17 -O0 -w"

PYTEST = ("/usr/bin/python3", "-m", "pytest", "-x", "-q", "-p", "no:cacheprovider", "-p", "no:xdist")

# The possible outcomes of a mutant.
NOT_COMPILED, SURVIVED, NOT_RUN = "not compiled", "survived", "not run"
UNIT_TESTS, DIALOGUES, CONSOLE_TESTS, PYTHON_TESTS, MODEL, TIME_OUT = (
    "unit tests", "dialogues", "console tests", "Python tests", "model", "time-out")
KILLED = (UNIT_TESTS, DIALOGUES, CONSOLE_TESTS, PYTHON_TESTS, MODEL, TIME_OUT)


class Broken(Exception):
    """The unchanged program cannot be built or tested."""


def set_limits(limits):
    for limit, value in limits.items():
        resource.setrlimit(limit, (value, value))


def is_simulated(name):
    """Returns True for a file of the simulator or of cdsctl."""
    return mutants.part_of(name) == "simulator"


def programs_of(name):
    """Returns the programs that contain a mutant of the file `name`, the unit tests first."""
    if not is_simulated(name):
        return PROGRAMS
    return CDSCTL_PROGRAMS if name.startswith(f"{CDSCTL}/") else SIMULATOR_PROGRAMS


def unit_programs(name):
    return [program for program in programs_of(name) if program.endswith("-tests")]


def project_files():
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=ROOT,
                            capture_output=True, text=True, check=True).stdout
    return {name for name in listed.split("\0") if name and (ROOT / name).is_file()}


class Tree:
    """A copy of the project below build/mutation. The next run of `mutate` uses the copy again and compiles
    only files that changed."""

    def __init__(self, number, model_sessions=0):
        self.folder = BUILD / f"tree-{number}"
        self.build_folder = self.folder / "build" / "mutated"
        self.log = self.folder / "build" / "log"
        self.model_sessions = model_sessions
        self.kills = collections.Counter()  # the number of mutants that each dialogue has killed
        self.python_kills = collections.defaultdict(collections.Counter)  # by file: the same for Python tests
        self.copy_project()
        self.configure()
        self.load_dialogues()

    def copy_project(self):
        wanted = project_files()
        for path in self.folder.rglob("*"):
            name = str(path.relative_to(self.folder))
            if path.is_file() and not name.startswith("build/") and name not in wanted:
                path.unlink()
        for name in wanted:
            copy = self.folder / name
            if not copy.exists() or copy.read_bytes() != (ROOT / name).read_bytes():
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(ROOT / name, copy)

    def configure(self):
        self.build_folder.mkdir(parents=True, exist_ok=True)
        common = self.build_folder / "common.h"
        if (self.build_folder / "build.ninja").exists():
            return
        common.write_text(COMMON_HEADERS)
        self.must("g++", *FLAGS.split(), "-x", "c++-header", common, "-o", f"{common}.gch")
        self.must("cmake", "-S", self.folder, "-B", self.build_folder, "-G", "Ninja",
                  "-DSIMULATED_METER=ON", "-DCMAKE_BUILD_TYPE=None",
                  "-DCMAKE_CXX_COMPILER=g++", f"-DCMAKE_CXX_FLAGS={FLAGS} -include {shlex.quote(str(common))}",
                  "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=gold")

    def must(self, *command):
        with self.log.open("w") as log:
            ended = subprocess.run([str(word) for word in command], stdout=log, stderr=log, check=False)
        if ended.returncode != 0:
            raise Broken(f"{self.log.read_text()}failed: {command[0]}")

    def load_dialogues(self):
        """Loads the dialogues of this copy, and the function that plays them on the programs of this copy."""
        os.environ["BUILD_DIR"] = str(self.build_folder)
        sys.path.insert(0, str(self.folder / "tests"))
        from harness import dialogue
        self.play = dialogue.play
        paths = sorted((self.folder / "tests" / "dialogues").rglob("*.dialogue"))
        self.dialogues = [dialogue.Dialogue(path) for path in paths
                          if not WAITS.search(path.read_text(encoding="utf-8"))]

    # -- building and testing --

    def builds(self, *programs):
        command = ["ninja", "-j1", "-C", str(self.build_folder), *programs]
        with self.log.open("w") as log:
            return subprocess.run(command, stdout=log, stderr=log, timeout=BUILD_LIMIT,
                                  check=False).returncode == 0

    def run(self, *command, limits=LIMITS, seconds=TEST_LIMIT):  # pylint: disable=dangerous-default-value
        """Runs a command and writes its output to the log. Returns True if the command succeeded."""
        with self.log.open("w") as log:
            return subprocess.run([str(word) for word in command], stdin=subprocess.DEVNULL, stdout=log,
                                  stderr=log, cwd=self.build_folder, timeout=seconds,
                                  preexec_fn=lambda: set_limits(limits), check=False).returncode == 0

    def run_in_sandbox(self, programs, *command, seconds=TEST_LIMIT):
        kept = (*programs, *WRITTEN_FOLDERS)
        return self.run(*sandbox.command(self.folder, self.build_folder, kept, *command),
                        limits=SANDBOX_LIMITS, seconds=seconds)

    def run_pytest_in_sandbox(self, name, *chosen):
        """Runs the chosen Python tests on a mutant of the file `name`. Counts the test that fails."""
        scripts = [f"--ignore={self.folder / 'tests' / script}" for script in TESTS_OF_SCRIPTS]
        passed = self.run_in_sandbox(SIMULATOR_PROGRAMS, "env", f"STEP_LIMIT={STEP_LIMIT}", *PYTEST, "--quick",
                                     *scripts, *chosen)
        self.python_kills[name].update(FAILED_TEST.findall(self.log.read_text(errors="replace")))
        return passed

    def usual_tests_pass(self, name):
        """Runs the Python tests that killed most mutants of the file `name`. This finds most of the mutants that
        the other tests would find later."""
        usual = [test for test, _ in self.python_kills[name].most_common(USUAL_TESTS)]
        return not usual or self.run_pytest_in_sandbox(name, *usual)

    def unit_tests_pass(self, name):
        """Returns True if the unit tests pass. The tests of the file `name` run first."""
        own = f"*{pathlib.Path(name).stem}_test.cpp"
        for program in unit_programs(name):
            words = (self.build_folder / program, "-aa=1", "--no-colors=true")
            for choice in (f"-sf={own}", f"-sfe={own}"):
                if not self.run_unit_tests(name, program, *words, choice):
                    return False
        return True

    def run_unit_tests(self, name, program, *command):
        if is_simulated(name):
            return self.run_in_sandbox([program], *command, seconds=UNIT_TEST_LIMIT)
        return self.run(*command)

    def dialogues_pass(self):
        for dialogue in sorted(self.dialogues, key=lambda each: -self.kills[each.path]):
            try:
                report = self.play(dialogue)
            except Exception as exception:  # a mutant may leave files that the runner cannot read
                report = repr(exception)
            if report:
                self.kills[dialogue.path] += 1
                self.log.write_text(f"{dialogue.path.stem}: {report}")
                return False
        return True

    def console_tests_pass(self):
        return self.run(*PYTEST, self.folder / "tests" / "console")

    def model_agrees(self):
        if not self.model_sessions or "MUTANT" in os.environ:
            return True
        return self.run(self.folder / "tests" / "model" / "differential", "--jobs", 1, "--sessions",
                        self.model_sessions, "--scratch", self.build_folder / "differences")

    def outcome(self, name):
        """Builds and tests the mutant that the file `name` now contains. Returns its outcome."""
        return self.tested(name) if self.builds(*unit_programs(name)) else NOT_COMPILED

    def tested(self, name):
        try:
            if not self.unit_tests_pass(name):
                return UNIT_TESTS
            if not self.builds(*programs_of(name)):
                return NOT_COMPILED
            for outcome, passes in self.later_tests(name):
                if not passes():
                    return outcome
        except subprocess.TimeoutExpired:
            return TIME_OUT
        finally:
            shutil.rmtree(self.build_folder / "test-meters", ignore_errors=True)
        return SURVIVED

    def later_tests(self, name):
        """Returns the tests that run after the unit tests, as pairs: the outcome if the tests fail, and the
        function that runs them."""
        if not is_simulated(name):
            return ((DIALOGUES, self.dialogues_pass), (CONSOLE_TESTS, self.console_tests_pass),
                    (MODEL, self.model_agrees))

        def pytest(*folders):
            return lambda: self.run_pytest_in_sandbox(name, *(self.folder / "tests" / folder for folder in folders))

        usual = (PYTHON_TESTS, lambda: self.usual_tests_pass(name))
        if programs_of(name) == CDSCTL_PROGRAMS:
            return usual, (PYTHON_TESTS, pytest("cdsctl"))
        return usual, (PYTHON_TESTS, pytest("simulator", "cdsctl", "faults")), (DIALOGUES, pytest("dialogues"))

    def must_pass_unchanged(self, part):
        programs = SIMULATOR_PROGRAMS if part == "simulator" else (*PROGRAMS, "scripted_wait")
        self.must("ninja", "-j1", "-C", self.build_folder, *programs)
        became = self.outcome("simulator/unchanged.cpp" if part == "simulator" else "app/unchanged.cpp")
        if became != SURVIVED:
            raise Broken(f"the unchanged {part} fails: {became}\n{self.log.read_text()[-3000:]}")

    @contextlib.contextmanager
    def changed(self, name, change):
        """Applies `change` to the file `name`. Restores the file at the end of the with statement."""
        path = self.folder / name
        text = path.read_bytes()
        path.write_bytes(change(text))
        try:
            yield
        finally:
            path.write_bytes(text)

    def test_alone(self, mutant):
        def change(text):
            return text[:mutant.start] + mutant.replacement.encode() + text[mutant.end:]

        with self.changed(mutant.file, change):
            return self.outcome(mutant.file)

    def test_together(self, group, deadline):
        """Tests the mutants of a group in one program. Returns the outcomes up to the deadline. Returns None
        on a time-out, or if the program does not compile or fails its unit tests without a selected
        mutant."""
        name = group[0].file
        outcomes = []
        with self.changed(name, lambda text: mutants.with_mutants(text, group)):
            try:
                if not self.builds(*unit_programs(name)) or not self.unit_tests_pass(name):
                    return None
                for number in range(1, len(group) + 1):
                    if time.monotonic() > deadline:
                        break
                    os.environ["MUTANT"] = str(number)
                    outcomes.append(self.tested(name))
            except subprocess.TimeoutExpired:
                return None
            finally:
                os.environ.pop("MUTANT", None)
        return outcomes

    def test(self, group, deadline=float("inf")):
        """Returns the outcome of each mutant of the group, in the same order. All mutants are in one file. A
        mutant that is not tested before the deadline has no outcome, so the result may be shorter."""
        outcomes = self.test_together(group, deadline) if len(group) > 1 else None
        if outcomes is None:
            return [self.test_alone(mutant) for mutant in group if time.monotonic() < deadline]
        # Some tests start programs without the variable MUTANT, so the mutant is not active in these
        # programs. Therefore each survivor is tested again alone.
        if self.model_sessions or is_simulated(group[0].file):
            outcomes = [self.test_alone(mutant) if outcome == SURVIVED else outcome
                        for mutant, outcome in zip(group, outcomes)]
        return outcomes
