"""`mutate` chooses the right mutants, deletes the right saved outcomes, and ends at its deadline."""

import collections
import contextlib
import importlib.machinery
import importlib.util
import json
import pathlib
import signal
import sys

import pytest
from harness.program import REPOSITORY

pytest.importorskip("clang", reason="requires python3-clang-19 from packages/full")

import mutants  # noqa: E402
import suite  # noqa: E402

pytestmark = pytest.mark.host_only
FOLDER = pathlib.Path(__file__).parent


def load(name):
    loader = importlib.machinery.SourceFileLoader(name, str(FOLDER / name))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(name, loader))
    loader.exec_module(module)
    return module


@pytest.fixture
def mutate(monkeypatch, tmp_path):
    monkeypatch.setattr(sys, "dont_write_bytecode", True)
    module = load("mutate")
    monkeypatch.setitem(sys.modules, "mutate", module)  # the processes of the pool find functions by this name
    monkeypatch.setattr(module, "OUTCOMES", tmp_path / "outcomes")
    return module


@pytest.fixture
def options(mutate, monkeypatch):
    """Returns a function that parses command-line arguments of `mutate`."""

    def read(*words):
        monkeypatch.setattr(sys, "argv", ["mutate", *words])
        return mutate.options()

    return read


def mutants_of(tmp_path, text):
    """Returns the mutants of a file in simulator/ with the content `text`, each as "LINE: CHANGE"."""
    (tmp_path / "simulator").mkdir()
    (tmp_path / "simulator" / "source.cpp").write_text(text)
    return {f"{mutant.line}: {mutant.change}" for mutant in mutants.all_mutants(tmp_path, ("simulator",))}


@pytest.mark.parametrize("words, parts", [
    ((), ["program"]),
    (("--resume", "--minutes", "5"), ["program"]),
    (("--simulator",), ["simulator"]),
    (("--only", "console/menu.cpp"), ["program"]),
    (("--only", "simulator/cdsctl/watch.cpp"), ["simulator"]),
    (("--only", "simulator/files.h", "--only", "app/run.cpp"), ["program", "simulator"]),
])
def test_the_options_select_the_parts(mutate, options, words, parts):
    assert mutate.parts_of(options(*words)) == parts


@pytest.mark.parametrize("changed, parts", [
    (("store/leaf_loader.h", "simulator/cdsctl/watch.cpp"), ["program", "simulator"]),
    (("simulator/files.cpp",), ["simulator"]),
    ((), ["program"]),
])
def test_changed_lines_of_both_parts_are_tested(mutate, options, monkeypatch, changed, parts):
    monkeypatch.setattr(mutate, "changed_lines", lambda base: dict.fromkeys(changed))
    assert mutate.parts_of(options("--changed", "HEAD")) == parts


def test_every_source_of_the_simulator_belongs_to_its_part():
    for path in (REPOSITORY / "simulator").rglob("*.cpp"):
        name = str(path.relative_to(REPOSITORY))
        assert mutants.part_of(name) == "simulator"
        assert path.parent in [REPOSITORY / folder for folder in mutants.PARTS["simulator"]]
    assert mutants.part_of("tests/simulator/main.cpp") is None
    assert mutants.part_of("app/run.cpp") == "program"


def test_numbers_in_octal_and_with_separators_have_mutants(tmp_path):
    assert mutants_of(tmp_path, "int a()\n{\n    return 07777 + 1'000;\n}\n") >= {
        "3: 07777 -> 4096", "3: 07777 -> 4094", "3: 1'000 -> 1001", "3: 1'000 -> 999"}


def test_directives_have_no_mutants(tmp_path):
    assert mutants_of(tmp_path, "#define ONE 1\n#if ONE == 1\nint a = 2;\n#endif\n") == {"3: 2 -> 3", "3: 2 -> 1"}


def test_a_new_run_deletes_only_the_outcomes_of_its_part(mutate):
    lines = [[[file, "x", "1 -> 2", 1], suite.SURVIVED] for file in ("app/run.cpp", "simulator/files.h")]
    mutate.OUTCOMES.write_text("".join(json.dumps(line) + "\n" for line in lines))
    mutate.forget_outcomes(["simulator"])
    assert mutate.saved_outcomes() == {tuple(lines[0][0]): suite.SURVIVED}


def test_a_run_ignores_the_listed_mutants_of_the_other_part(mutate, monkeypatch, tmp_path):
    entry = '[[equivalent]]\nfile = "%s"\nline = "x"\nchange = "1 -> 2"\nreason = "None."\n'
    (tmp_path / "equivalent.toml").write_text(entry % "app/run.cpp" + entry % "simulator/files.h")
    monkeypatch.setattr(mutate, "EQUIVALENT", tmp_path / "equivalent.toml")
    assert mutate.listed_as_equivalent(["simulator"]) == {("simulator/files.h", "x", "1 -> 2", 1)}


def test_without_a_sandbox_no_mutant_of_the_simulator_runs(mutate, options, monkeypatch, capsys):
    monkeypatch.setattr(mutate.sandbox, "why_not", lambda: "no such thing")
    assert mutate.run_and_report(options("--simulator")) == 2
    assert capsys.readouterr().err == (
        "cannot test mutants of the simulator without a sandbox: no such thing\n")


def test_every_program_that_contains_a_mutant_is_tested():
    assert suite.unit_programs("simulator/files.cpp") == ["simulator-tests", "cdsctl-tests"]
    assert suite.unit_programs("simulator/cdsctl/watch.cpp") == ["cdsctl-tests"]
    assert suite.unit_programs("app/run.cpp") == ["unit-tests"]
    assert "meter-settings" in suite.programs_of("simulator/include/cds.h")


def test_the_simulators_own_tests_take_at_most_half_of_the_minutes(mutate):
    assert mutate.seconds_for_mutants(10, 0) == 600
    assert mutate.seconds_for_mutants(10, 100) == 500
    assert mutate.seconds_for_mutants(10, 1000) == 300
    assert mutate.seconds_for_mutants(None, 1000) == float("inf")


class FakeTree(suite.Tree):
    """A tree that builds nothing. A mutant in a group takes ten seconds and survives. A mutant without a
    group is killed."""

    def __init__(self, clock):  # pylint: disable=super-init-not-called
        self.clock = clock
        self.model_sessions = 0
        self.alone = []

    def changed(self, name, change):
        return contextlib.nullcontext()

    def builds(self, *programs):
        return True

    def unit_tests_pass(self, name):
        return True

    def tested(self, name):
        self.clock[0] += 10
        return suite.SURVIVED

    def test_alone(self, mutant):
        self.alone.append(mutant)
        return suite.UNIT_TESTS


@pytest.fixture
def tree(monkeypatch):
    clock = [0]
    monkeypatch.setattr(suite.time, "monotonic", lambda: clock[0])
    return FakeTree(clock)


def group_in(file, size):
    return [mutants.Mutant(file, at, at + 1, "2", "constant", 1, "1", "x", (at, at + 1)) for at in range(size)]


def test_a_group_ends_at_the_deadline(tree):
    assert tree.test(group_in("app/run.cpp", 5), deadline=25) == [suite.SURVIVED] * 3
    assert tree.test(group_in("app/run.cpp", 5)) == [suite.SURVIVED] * 5


def test_a_mutant_of_the_simulator_that_survives_in_a_group_is_tested_alone(tree):
    group = group_in("simulator/files.cpp", 2)
    assert tree.test(group) == [suite.UNIT_TESTS] * 2
    assert tree.alone == group


class SignalTree:
    """A tree whose outcome for each mutant is the action of this process for SIGTERM."""

    def __init__(self, number, model_sessions):
        pass

    def must_pass_unchanged(self, part):
        pass

    def test(self, group, deadline):
        return [str(signal.getsignal(signal.SIGTERM)) for _ in group]


def test_a_termination_signal_kills_a_process_of_the_pool(mutate, options, monkeypatch):
    """If a handler ran instead, it could run too late in a process that waits for its next task."""
    monkeypatch.setattr(suite, "Tree", SignalTree)
    previous = signal.signal(signal.SIGTERM, lambda *_: sys.exit(2))
    try:
        mutate.test_all(group_in("app/run.cpp", 2), options("--jobs", "2"))
    finally:
        signal.signal(signal.SIGTERM, previous)
    assert set(mutate.saved_outcomes().values()) == {str(signal.SIG_DFL)}


class LoggingTree(suite.Tree):
    """A tree in which each run of pytest prints the next of the given outputs."""

    def __init__(self, folder, *outputs):  # pylint: disable=super-init-not-called
        self.folder = folder
        self.log = folder / "log"
        self.outputs = list(outputs)
        self.commands = []
        self.python_kills = collections.defaultdict(collections.Counter)

    def run_in_sandbox(self, programs, *command, seconds=0):
        self.commands.append(command)
        self.log.write_text(self.outputs.pop(0))
        return not self.log.read_text()


def test_the_python_tests_that_killed_mutants_of_a_file_run_first(tmp_path):
    kill = "FAILED ../tests/cdsctl/test_get.py::test_a[x y] - assert 1 == 2\n1 failed\n"
    tree = LoggingTree(tmp_path, kill, "", "")
    name = "simulator/files.cpp"
    assert tree.usual_tests_pass(name)
    assert not tree.run_pytest_in_sandbox(name, "cdsctl")
    assert tree.usual_tests_pass("simulator/trace.cpp")
    assert len(tree.commands) == 1
    assert tree.usual_tests_pass(name)
    assert tree.commands[-1][-1] == "../tests/cdsctl/test_get.py::test_a[x y]"


INDEPENDENT = """
#include <string>
#include <vector>
int total;
int other;
std::string text;
std::string word;
std::vector<int> numbers;
std::vector<int> list;
void call();
void swapped(int& reference, const std::string& given)
{
    %s
}
"""


@pytest.mark.parametrize("statements, is_mutant", [
    ("total = 1; other = 2;", False),
    ("text = given; ++other;", False),
    ("text.clear(); numbers.push_back(total);", False),
    ("text = std::move(word); numbers = std::move(list);", False),
    ("text = std::move(word); word = given;", True),
    ("total = 1; other = total;", True),
    ("other = total++; total = 2;", True),
    ("total = 1; total = 2;", True),
    ("total = 1; reference = 2;", True),  # the reference may refer to the variable
    ("text.clear(); other = given.size();", True),
    ("total = 1; call();", True),
    ("numbers.push_back(1); numbers.push_back(2);", True),
])
def test_only_a_swap_that_may_have_an_effect_is_a_mutant(tmp_path, statements, is_mutant):
    one, other = statements.rstrip(";").split("; ")
    found = mutants_of(tmp_path, INDEPENDENT % statements)
    assert (f"13: {one}; {other} -> {other}; {one}" in found) is is_mutant


def test_a_return_value_that_an_empty_list_would_give_has_no_mutant(tmp_path):
    found = mutants_of(tmp_path, """#include <optional>
enum class Kind { none, some };
Kind a() { return Kind::none; }
Kind b() { return Kind::some; }
std::optional<int> c() { return std::nullopt; }
""")
    assert found == {"4: Kind::some -> {}"}


def test_only_a_break_that_may_have_an_effect_has_mutants(tmp_path):
    found = mutants_of(tmp_path, """int a(int b)
{
    switch (b) {
    case 1: b = 2; break;
    case 2: b = 3; break;
    default: break;
    }
    return b;
}
""")
    assert {each for each in found if "break" in each} == {"4: break -> (void)0"}
