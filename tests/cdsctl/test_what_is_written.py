"""The changes that cdsctl set, clear, load, reset and init make, and the arguments that they reject."""

import os
import stat
import subprocess

import pytest
from harness.meter import FACTORY
from harness.program import CDSCTL, STEP_LIMIT, command

ENCLOSURE = "/VMIC/Enclosure/Value"
FORM = "/VMC/PrimCfg/Form/Value"
NEW = "/VMIC/Extra/Value"


@pytest.fixture
def store(meter):
    """Adds a comment to the store file, and returns the file. Any write removes this comment."""
    file = meter.folder / "store.toml"
    file.write_text("# as it was\n" + file.read_text())
    return file


def state_of(file):
    """Returns a value that changes with every write, even if the bytes stay the same."""
    status = file.stat()
    return status.st_ino, status.st_mtime_ns, status.st_ctime_ns, file.read_bytes()


# set

def test_set_prints_nothing_and_writes_sorted_keys(meter, answer, store):
    assert answer("set", ENCLOSURE, "RK") == ""
    assert meter.difference() == [f'~ "{ENCLOSURE}" = "S" -> "RK"']
    lines = store.read_text().splitlines()
    assert lines == sorted(lines) and not lines[0].startswith("#")


def test_set_writes_several_leaves_atomically(meter, new_leaves, store):
    before = store.stat().st_ino
    os.link(store, meter.top / "kept")  # a second link keeps the old inode number in use
    assert new_leaves("set", ENCLOSURE, "RK", FORM, "5", NEW, "true") == [f'"{NEW}"']
    assert meter.difference() == [f'~ "{FORM}" = 3 -> 5', f'~ "{ENCLOSURE}" = "S" -> "RK"', f'+ "{NEW}" = true']
    assert store.stat().st_ino != before
    assert sorted(os.listdir(meter.folder)) == ["store.toml"]


@pytest.mark.parametrize("word, value", [
    ("-5", -5), ("--", "--"), ("-x", "-x"), ("--tpye", "--tpye"), ("-", "-"), ("", ""), ("[1.2", "[1.2"),
    ("[None]", "[None]"), ("a,b", "a,b"), ("list", "list"), ("--help", "--help"), ("-h", "-h"), ("--version", "--version"), ("--type=int", "--type=int"),
    ("-Cx", "-Cx"), ("5", 5), ('"5"', "5"), ("true", True), ("ä b", "ä b")])
def test_an_argument_in_the_place_of_a_value_is_a_value(meter, new_leaves, word, value):
    before_it = ("--",) if word == "--" else ()
    assert new_leaves("set", *before_it, NEW, word) == [f'"{NEW}"']
    assert meter.leaves()[NEW] == value
    assert type(meter.leaves()[NEW]) is type(value)


def test_an_argument_in_the_place_of_a_later_value_is_a_value(meter, new_leaves):
    new_leaves("set", "/a", "1", "/b", "-5", "/c", "--json", "/d", "-x")
    assert {path: meter.leaves()[path] for path in ("/a", "/b", "/c", "/d")} == {
        "/a": 1, "/b": -5, "/c": "--json", "/d": "-x"}


def test_after_two_dashes_every_argument_is_an_operand(meter, answer, new_leaves):
    new_leaves("set", "--", NEW, "--help", "-C", "-5", "--", "x")
    assert {path: meter.leaves()[path] for path in (NEW, "-C", "--")} == {NEW: "--help", "-C": -5, "--": "x"}
    assert answer("get", "--", "-C") == "-5\n"
    answer("clear", "--", "-C", "--")
    assert meter.difference() == [f'+ "{NEW}" = "--help"']


@pytest.mark.parametrize("arguments", [
    ("set", "--type", "string", NEW, "-5"), ("set", NEW, "-5", "--type", "string"), ("set", "--type=string", NEW, "-5"),
    ("set", "--type", "string", "--", NEW, "-5"), ("--type", "string", "set", NEW, "-5")])
def test_options_are_accepted_anywhere(meter, new_leaves, arguments):
    new_leaves(*arguments)
    assert meter.leaves()[NEW] == "-5"


def test_a_leaf_keeps_its_type(meter, answer):
    answer("set", "/VMIC/SerialNumber/Value", "5", FORM, "0x10", "/VMIC/Options/PQ/Value", "false")
    assert meter.difference() == [
        f'~ "{FORM}" = 3 -> 16', '~ "/VMIC/Options/PQ/Value" = true -> false',
        '~ "/VMIC/SerialNumber/Value" = "091512345" -> "5"']


def test_a_string_from_get_can_be_set_again_unchanged(meter, answer):
    for text in ('"quoted"', "'x'", "5", "true", " a ", "a\nb", "\\n", "# x"):
        answer("set", ENCLOSURE, text)
        assert answer("get", ENCLOSURE) == text + "\n"


@pytest.mark.parametrize("arguments, why", [
    ((FORM, "x"), f'leaf "{FORM}": "x" is not an integer of 32 bits'),
    ((FORM, "2147483648"), f'leaf "{FORM}": "2147483648" is not an integer of 32 bits'),
    (("/VMIC/Options/PQ/Value", "1"), 'leaf "/VMIC/Options/PQ/Value": "1" is not true or false'),
    ((NEW, "1.5"), f'leaf "{NEW}": "1.5" is not a string, a boolean or an integer of 32 bits'),
    (("--type", "bool", NEW, "5"), f'leaf "{NEW}": "5" is not true or false'),
    ((ENCLOSURE, "RK", FORM, "x"), f'leaf "{FORM}"'),
    ((ENCLOSURE, "\udcff"), f'leaf "{ENCLOSURE}": "\udcff" is not UTF-8 text'),
    (("", "1"), 'leaf "": the path is empty'),
    (("/\udcff", "1"), 'leaf "/\udcff": the path is not UTF-8 text'),
])
def test_a_value_that_does_not_fit_is_rejected_and_nothing_is_written(error_of, store, arguments, why):
    before = state_of(store)
    assert why in error_of(2, "set", *arguments)
    assert state_of(store) == before


@pytest.mark.parametrize("arguments", [
    (ENCLOSURE, "S"), (FORM, "3"), (FORM, "+3", ENCLOSURE, "S"), (FORM, "5", FORM, "3")])
def test_setting_the_present_values_does_not_write_the_file(answer, store, arguments):
    before = state_of(store)
    answer("set", *arguments)
    assert state_of(store) == before


def test_a_path_may_be_any_text(meter, new_leaves):
    assert new_leaves("set", "no/slash", "1", " ", "2", "ä\n", "3") == ['" "', '"no/slash"', '"ä\\n"']
    assert meter.difference() == ['+ " " = 2', '+ "no/slash" = 1', '+ "ä\\n" = 3']


def test_the_same_number_with_another_type_is_written(meter, answer):
    answer("set", "--type", "string", FORM, "3")
    assert meter.difference() == [f'~ "{FORM}" = 3 -> "3"']


def test_a_new_leaf_is_reported_with_the_nearest_existing_path(meter, new_leaves):
    assert new_leaves("set", "/VMIC/Enclosre/Value", "RK", "/VMIC/Enclosure", "RK", FORM, "5", NEW, "1") == [
        f'"/VMIC/Enclosre/Value" (did you mean "{ENCLOSURE}"?)', f'"/VMIC/Enclosure" (did you mean "{ENCLOSURE}"?)',
        f'"{NEW}"']
    assert new_leaves("set", NEW, "2", ENCLOSURE, "RK") == []  # now both leaves exist
    assert meter.leaves()["/VMIC/Enclosre/Value"] == "RK"


def test_new_leaves_of_one_command_are_no_hints_for_each_other(new_leaves):
    assert new_leaves("set", "/Extra/Name/Value", "1", "/Extra/Nane/Value", "2", "/Extra/Name/Value", "3") == [
        '"/Extra/Name/Value"', '"/Extra/Nane/Value"']


def test_a_new_leaf_is_not_reported_if_it_was_not_written(meter, error_of):
    assert "new leaf" not in error_of(2, "set", NEW, "1", FORM, "x")
    (meter.folder / "store.toml.new").mkdir()
    (meter.folder / "store.toml.new" / "in the way").touch()
    assert "new leaf" not in error_of(3, "set", NEW, "1")


def test_concurrent_writers_lose_nothing(meter):
    writers = [subprocess.Popen(command(CDSCTL, "set", f"/new/{i}", str(i)), env=meter.environment())
               for i in range(12)]
    assert [writer.wait(STEP_LIMIT) for writer in writers] == [0] * 12
    assert meter.difference() == sorted(f'+ "/new/{i}" = {i}' for i in range(12))


def test_the_file_keeps_its_permissions(answer, store):
    store.chmod(0o640)
    answer("set", FORM, "5")
    assert stat.S_IMODE(store.stat().st_mode) == 0o640


# clear

def test_clear_removes_leaves_atomically(meter, answer):
    assert answer("clear", ENCLOSURE, FORM, ENCLOSURE) == ""
    assert meter.difference() == [f'- "{FORM}" = 3', f'- "{ENCLOSURE}" = "S"']


def test_clear_reports_every_missing_leaf_and_removes_the_others(meter, error_of):
    said = error_of(1, "clear", "/nope", ENCLOSURE, "/VMIC/SerialNumber")
    assert said.splitlines() == [
        f'cdsctl: {meter.folder}/store.toml: no leaf "/nope"',
        f'cdsctl: {meter.folder}/store.toml: no leaf "/VMIC/SerialNumber" '
        '(did you mean "/VMIC/SerialNumber/Value"?)']
    assert meter.difference() == [f'- "{ENCLOSURE}" = "S"']


def test_clearing_missing_leaves_does_not_write_the_file(error_of, store):
    before = state_of(store)
    error_of(1, "clear", "/nope")
    assert state_of(store) == before


# load and reset

def test_load_writes_the_leaves_of_the_file_as_any_write_does(meter, answer, store):
    dump = meter.top / "dump"
    dump.write_text('# with a comment\n"/b" = 0x10\n\'/a\' = "x"\n')
    assert answer("load", str(dump)) == ""
    assert store.read_text() == '"/a" = "x"\n"/b" = 16\n'


def test_load_rejects_an_empty_file(meter, error_of, answer, store):
    before = state_of(store)
    nothing = meter.top / "nothing"
    nothing.write_text("")
    assert error_of(3, "load", "-") == "cdsctl: standard input: no leaves; the store is left as it is\n"
    assert error_of(3, "load", str(nothing)) == f"cdsctl: {nothing}: no leaves; the store is left as it is\n"
    assert state_of(store) == before
    answer("load", "-", keys="\n")
    assert meter.leaves() == {}


@pytest.mark.parametrize("text, line", [("no TOML", 1), ('"/a" = 1\n"/b" = 1.5\n', 2), ('[table]\na = 1\n', 1),
                                        ('"/a" = 1\n"/a" = 2\n', 2), ('"/a" = "\udcff"\n', 1)])
def test_load_checks_before_it_replaces(meter, error_of, store, text, line):
    before = state_of(store)
    dump = meter.top / "dump"
    dump.write_text(text, errors="surrogateescape")
    assert f"cdsctl: {dump}:{line}: " in error_of(3, "load", str(dump))
    assert f"cdsctl: standard input:{line}: " in error_of(3, "load", "-", keys=text)
    assert "no such file: cannot be read" in error_of(3, "load", str(meter.top / "no such file"))
    assert state_of(store) == before


def test_load_replaces_a_broken_store_and_creates_a_missing_one(meter, answer, store):
    for spoil in (lambda: store.write_text("broken"), store.unlink):
        spoil()
        answer("load", "-", keys='"/a" = 1\n')
        assert meter.leaves() == {"/a": 1}


def test_reset_restores_the_factory_file(meter, answer, store):
    (meter.folder / "factory.toml").write_text('# factory\n"/a" = 1\n')
    assert answer("reset") == ""
    assert store.read_text() == '# factory\n"/a" = 1\n'


def test_reset_reports_a_missing_or_broken_factory_file(meter, error_of, store):
    before = state_of(store)
    factory = meter.folder / "factory.toml"
    assert error_of(3, "reset") == f"cdsctl: {factory}: cannot be read: No such file or directory\n"
    factory.write_text('"/a" = 1\n"/b" =\n')
    assert f"cdsctl: {factory}:2: " in error_of(3, "reset")
    assert state_of(store) == before


def test_a_missing_directory_is_reported_by_a_write(meter, error_of):
    for arguments in (("set", "/a", "1"), ("clear", "/a"), ("load", str(FACTORY))):
        said = error_of(3, "-C", str(meter.top / "none"), *arguments)
        assert said == f"cdsctl: {meter.top}/none: cannot be locked: No such file or directory\n"


def test_a_file_that_cannot_be_written_is_reported(meter, error_of, store):
    (meter.folder / "store.toml.new").mkdir()  # a directory with the name of the temporary file
    before = state_of(store)
    assert f"cdsctl: {store}: cannot be written: " in error_of(3, "set", FORM, "5")
    assert state_of(store) == before


# init

def test_init_creates_a_meter_with_the_factory_defaults(meter, answer):
    folder = meter.top / "new" / "meter"
    assert answer("init", str(folder), environment={}) == ""
    shipped = FACTORY.read_bytes()
    assert (folder / "store.toml").read_bytes() == shipped
    assert (folder / "factory.toml").read_bytes() == shipped
    assert (folder / "jffs" / "downloads").is_dir()
    answer("-C", str(folder), "set", FORM, "5")
    answer("-C", str(folder), "reset")
    assert (folder / "store.toml").read_bytes() == shipped


def test_init_rejects_a_directory_with_a_store(meter, error_of, store):
    store.write_text("broken")
    before = state_of(store)
    assert error_of(2, "init", str(meter.folder)) == f"cdsctl: {meter.folder}: a store already exists\n"
    assert state_of(store) == before
    assert sorted(os.listdir(meter.folder)) == ["store.toml"]


def test_init_keeps_an_existing_factory_file_and_copies_it(meter, answer, store):
    store.unlink()
    factory = meter.folder / "factory.toml"
    factory.write_text('# mine\n"/a" = 1\n')
    before = state_of(factory)
    answer("init", str(meter.folder) + "/")
    assert state_of(factory) == before
    assert store.read_text() == factory.read_text()


def test_init_rejects_a_broken_factory_file(meter, error_of, store):
    store.unlink()
    factory = meter.folder / "factory.toml"
    factory.write_text('"/a" = 1\n"/b" =\n')
    assert error_of(3, "init", str(meter.folder)).startswith(f"cdsctl: {factory}:2: ")
    assert os.listdir(meter.folder) == ["factory.toml"]


def test_init_reports_a_directory_that_cannot_be_created(error_of, store):
    for folder in (store, store / "meter"):
        assert error_of(3, "init", str(folder)) == f"cdsctl: {folder}: cannot be created: Not a directory\n"
    assert error_of(2, "init", "") == "cdsctl: the name of the folder is empty\n"


def test_init_reports_what_prevents_the_creation(meter, error_of, store):
    store.unlink()
    (meter.folder / "factory.toml.new").mkdir()  # a directory with the name of the temporary file
    assert error_of(3, "init", str(meter.folder)).startswith(f"cdsctl: {meter.folder}/factory.toml: cannot be written: ")
    downloads = meter.folder / "jffs" / "downloads"
    downloads.rmdir()
    downloads.touch()
    assert error_of(3, "init", str(meter.folder)) == f"cdsctl: {downloads}: cannot be created: Not a directory\n"
