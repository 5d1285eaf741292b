"""The output of cdsctl list, get, dump and diff, and the messages about missing leaves and files."""

import json
import os
import subprocess
import tomllib

import pytest
from harness.meter import FACTORY, toml_text, toml_value
from harness.program import CDSCTL, RUN_WITH, STEP_LIMIT, command

ENCLOSURE = "/VMIC/Enclosure/Value"
FORM = "/VMC/PrimCfg/Form/Value"


def store_of(meter, text):
    (meter.folder / "store.toml").write_text(text)


# list and dump

def test_list_prints_the_whole_store_with_unquoted_paths(answer):
    leaves = tomllib.loads(FACTORY.read_text())
    assert answer("list") == "".join(f"{path} = {toml_value(leaves[path])}\n" for path in sorted(leaves))


def test_dump_prints_the_whole_store_as_the_store_writes_it(answer):
    assert answer("dump") == toml_text(tomllib.loads(FACTORY.read_text()))


def test_only_a_path_with_control_characters_is_quoted(meter, cdsctl, answer):
    store_of(meter, r'"/a\nb" = 1' + "\n" + r'"/c \"d\" = ä\\" = "e\nf"' + "\n")
    assert answer("list") == r'"/a\nb" = 1' + "\n" + r'/c "d" = ä\ = "e\nf"' + "\n"
    assert cdsctl("diff", "/dev/null").stdout == (
        r'"/a\nb": (new) -> 1' + "\n" + r'/c "d" = ä\: (new) -> "e\nf"' + "\n")


def test_list_prints_the_leaves_at_or_below_a_prefix(meter, answer):
    store_of(meter, '"/VMIC" = 1\n"/VMICX/a" = 2\n"/VMIC/b" = 3\n"/VMI" = 4\n')
    assert answer("list", "/VMIC") == '/VMIC = 1\n/VMIC/b = 3\n'
    assert answer("list", "/VMIC/") == answer("list", "/VMIC")
    assert answer("list", "/") == answer("list")
    assert answer("list", "/V") == ""


def test_load_accepts_the_output_of_dump(meter, answer):
    store_of(meter, r'"/a \"quoted\"\\path" = "line\nbreak\t\u0001 ä \"x\""' + '\n"/b" = -5\n')
    before = meter.leaves()
    text = answer("dump")
    assert answer("clear", *before) == ""
    assert meter.leaves() == {}
    answer("load", "-", keys=text)
    assert meter.leaves() == before


def test_list_as_json_is_one_object(meter, answer):
    store_of(meter, '"/b" = "ä \\"x\\""\n"/a/1" = true\n"/a/2" = -5\n')
    assert json.loads(answer("list", "--json")) == {"/a/1": True, "/a/2": -5, "/b": 'ä "x"'}
    assert '"/b": "ä \\"x\\""' in answer("list", "--json")  # non-ASCII letters are not escaped
    assert answer("list", "--json", "/a") == '{\n  "/a/1": true,\n  "/a/2": -5\n}\n'
    assert json.loads(answer("--json", "list", "/none")) == {}


# get

def test_get_prints_only_the_values_in_the_order_of_the_arguments(answer):
    assert answer("get", FORM, ENCLOSURE, "/VMIC/Options/PQ/Value", FORM) == "3\nS\ntrue\n3\n"


def test_get_prints_a_string_without_quotes(meter, answer):
    store_of(meter, '"/a" = "x \\"y\\"\\n\\\\ ä"\n"/b" = ""\n')
    assert answer("get", "/a", "/b") == 'x "y"\n\\ ä\n\n'
    assert answer("get", "/b") == "\n"


def test_get_names_every_missing_leaf_and_prints_the_others(meter, cdsctl):
    done = cdsctl("get", "/nope", ENCLOSURE, "/VMIC/SerialNumber", FORM)
    assert done.returncode == 1
    assert done.stdout == "S\n3\n"
    store = meter.folder / "store.toml"
    assert done.stderr.splitlines() == [
        f'cdsctl: {store}: no leaf "/nope"',
        f'cdsctl: {store}: no leaf "/VMIC/SerialNumber" (did you mean "/VMIC/SerialNumber/Value"?)']


def test_get_as_json_has_null_for_a_missing_leaf(cdsctl, answer):
    done = cdsctl("get", "--json", "/nope", ENCLOSURE)
    assert done.returncode == 1
    assert json.loads(done.stdout) == {"/nope": None, ENCLOSURE: "S"}
    assert 'no leaf "/nope"' in done.stderr
    assert answer("get", "--json", FORM, FORM) == f'{{\n  "{FORM}": 3\n}}\n'


# diff

@pytest.fixture
def dumped(meter):
    """Returns the file of a dump. Then changes one leaf of the meter, adds one leaf and clears one leaf."""
    dump = meter.top / "dump.toml"
    dump.write_text(toml_text(meter.leaves()))
    meter.change({FORM: 5, "/VMIC/Extra/Value": 'a "b"'}, [ENCLOSURE])
    return dump


DIFFERENCE = (f"{FORM}: 3 -> 5\n"
              f'{ENCLOSURE}: "S" -> (cleared)\n'
              '/VMIC/Extra/Value: (new) -> "a \\"b\\""\n')


def test_diff_prints_the_changes_since_a_dump(cdsctl, dumped):
    done = cdsctl("diff", str(dumped))
    assert (done.returncode, done.stdout, done.stderr) == (1, DIFFERENCE, "")


def test_diff_compares_two_dumps_without_a_meter(meter, cdsctl, dumped):
    later = meter.folder / "store.toml"
    done = cdsctl("diff", str(dumped), str(later), environment={"PATH": os.environ["PATH"]})
    assert (done.returncode, done.stdout, done.stderr) == (1, DIFFERENCE, "")
    back = cdsctl("diff", str(later), str(dumped))
    assert f"{FORM}: 5 -> 3\n" in back.stdout and f'{ENCLOSURE}: (new) -> "S"\n' in back.stdout


def test_diff_of_equal_leaves_prints_nothing_whatever_the_order(meter, answer):
    again = meter.top / "again.toml"
    again.write_text("# the same\n" + "".join(reversed(answer("dump").splitlines(True))))
    assert answer("diff", str(again)) == ""
    assert json.loads(answer("diff", "--json", str(again))) == {}


def test_diff_as_json_is_one_object_with_null_for_a_missing_leaf(cdsctl, dumped):
    done = cdsctl("diff", "--json", str(dumped))
    assert done.returncode == 1
    assert done.stdout == f"""{{
  "{FORM}": {{
    "old": 3,
    "new": 5
  }},
  "{ENCLOSURE}": {{
    "old": "S",
    "new": null
  }},
  "/VMIC/Extra/Value": {{
    "old": null,
    "new": "a \\"b\\""
  }}
}}
"""


def test_diff_reads_a_pipe_and_standard_input(meter, cdsctl, dumped):
    assert cdsctl("diff", "-", keys=dumped.read_text()).stdout == DIFFERENCE
    done = cdsctl("diff", "/dev/stdin", keys=dumped.read_text())
    assert done.stdout == DIFFERENCE


def test_diff_accepts_standard_input_for_either_file(meter, cdsctl, dumped, error_of):
    later = meter.folder / "store.toml"
    assert cdsctl("diff", str(dumped), "-", keys=later.read_text()).stdout == DIFFERENCE
    assert cdsctl("diff", "-", str(later), keys=dumped.read_text()).stdout == DIFFERENCE
    assert error_of(2, "diff", "-", "-") == "cdsctl: standard input can be read only once\n"


def test_diff_exits_with_3_and_not_1_for_an_unreadable_file(meter, error_of):
    missing = meter.top / "no such file"
    assert str(missing) + ": cannot be read: No such file" in error_of(3, "diff", str(missing))
    assert str(missing) + ": cannot be read: No such file" in error_of(3, "diff", str(FACTORY), str(missing))
    broken = meter.top / "broken.toml"
    broken.write_text('"/a" = 1\n"/b" = 1.5\n')
    assert f"{broken}:2: leaf \"/b\" is not" in error_of(3, "diff", str(broken))
    assert "standard input:1:" in error_of(3, "diff", "-", keys="no TOML")
    error_of(2, "diff", "-", "-")


# A store that cannot be read

COMMANDS = [("list",), ("get", "/a"), ("get", "--json", "/a"), ("set", "/a", "1"), ("clear", "/a"), ("watch",),
            ("dump",), ("diff", "/dev/null")]


@pytest.mark.parametrize("arguments", COMMANDS, ids=" ".join)
def test_a_broken_store_is_reported_with_its_line_and_not_as_a_missing_leaf(meter, error_of, arguments):
    store_of(meter, '"/a" = 1\n"/b" = \n')
    assert f"cdsctl: {meter.folder}/store.toml:2: " in error_of(3, *arguments)
    assert (meter.folder / "store.toml").read_text() == '"/a" = 1\n"/b" = \n'


@pytest.mark.parametrize("arguments", COMMANDS, ids=" ".join)
def test_a_missing_store_is_not_reported_as_a_missing_leaf(meter, error_of, arguments):
    (meter.folder / "store.toml").unlink()
    said = error_of(3, *arguments)
    assert said == f"cdsctl: {meter.folder}/store.toml: cannot be read: No such file or directory\n"


@pytest.mark.parametrize("arguments", [*COMMANDS, ("load", "/dev/null"), ("reset",)], ids=" ".join)
def test_a_missing_meter_argument_is_reported(error_of, arguments):
    for environment in ({}, {"METER_SIM_DIR": ""}):
        said = error_of(3, *arguments, environment=environment)
        assert said == "cdsctl: no meter is named: give -C DIR or set METER_SIM_DIR\n"


def test_the_option_c_overrides_the_environment(meter, answer):
    elsewhere = {"METER_SIM_DIR": "/nonexistent"}
    for option in (("-C", str(meter.folder)), (f"-C{meter.folder}",)):
        assert answer(*option, "get", ENCLOSURE, environment=elsewhere) == "S\n"
        assert answer("get", *option, ENCLOSURE, environment=elsewhere) == "S\n"
        assert answer("get", ENCLOSURE, *option, environment={}) == "S\n"
    # If -C is given twice, the last -C counts.
    assert answer("-C", "/nonexistent", "-C", str(meter.folder), "get", ENCLOSURE) == "S\n"


@pytest.mark.skipif(bool(RUN_WITH) or b"__asan_init" in CDSCTL.read_bytes(),
                    reason="the emulator and the sanitizer need more memory than the limit of the test")
@pytest.mark.parametrize("large, words, reported", [
    ("store.toml", ["list"], "{}: cannot be read: Cannot allocate memory"),
    ("other.toml", ["diff", "{}"], "std::bad_alloc"),
])
def test_a_file_too_large_for_the_memory_is_reported(meter, large, words, reported):
    file = meter.folder / large
    file.touch()
    os.truncate(file, 200 * 2**20)  # a sparse file takes no disk space
    words = [word.format(file) for word in words]
    done = subprocess.run(["prlimit", f"--as={100 * 2**20}", *command(CDSCTL, *words)], env=meter.environment(),
                          capture_output=True, text=True, timeout=STEP_LIMIT)
    assert (done.returncode, done.stdout, done.stderr) == (3, "", f"cdsctl: {reported.format(file)}\n")


def test_an_output_that_cannot_be_written_is_reported(meter):
    with open("/dev/full", "w") as full:
        done = subprocess.run(command(CDSCTL, "list"), env=meter.environment(), stdout=full,
                              stderr=subprocess.PIPE, text=True, timeout=STEP_LIMIT)
    assert done.returncode == 3
    assert done.stderr == "cdsctl: standard output: No space left on device\n"


def test_an_output_that_was_lost_before_the_end_is_reported(meter):
    """Output to a terminal is written line by line, so nothing is left to write when the program ends."""
    keyboard, terminal = os.openpty()
    os.close(keyboard)
    with open(terminal, "w") as hung_up:
        done = subprocess.run(command(CDSCTL, "list"), env=meter.environment(), stdout=hung_up,
                              stderr=subprocess.PIPE, text=True, timeout=STEP_LIMIT)
    assert done.returncode == 3
    assert done.stderr == "cdsctl: standard output: Input/output error\n"
