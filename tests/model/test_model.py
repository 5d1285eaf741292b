"""Compares the reference model with worked examples."""

import itertools
import random
import tomllib

import coverage_table
import meter_model
import option_words
import pytest
import walker
from harness.menus import INIT, typed
from harness.meter import FACTORY

pytestmark = pytest.mark.host_only

SEED = 20240229
ALL_OPTIONS = "1C-2B-4-5-WEB-IEC-IB-IEEE-NTP-PPS-DLP-ML-THP-EAP-DC-PQ3-PMU"


def played(*script, arguments=("-m",), store=None, **session):
    session = {"arguments": list(arguments), "store": store or {}, **session}
    return meter_model.play(session, meter_model.scripted(meter_model.waits_of(script)))


def screen(*script, **session):
    return played(*script, **session).stdout.decode("latin-1")


def option(entry):
    """Enters an options list in the model. Returns the text that the model prints after the entry, the
    setting for the options list, and the batch of option leaves."""
    session = {"arguments": ["-m"], "store": {}}
    console = meter_model.Console(
        meter_model.scripted(meter_model.waits_of([entry + "\n"])), meter_model.Counter()
    )
    meter = meter_model.SimulatedMeter(session, console.tally)
    utility = meter_model.Utility(meter, console, True, console.tally)
    utility.enter_options()
    after = console.shown.decode().split("Enter Options List: " + entry + "\n")[1]
    return after, utility.record.options_list, utility.batch


def test_the_list_with_all_options_has_sixty_characters_and_is_accepted():
    finding = option_words.examine(ALL_OPTIONS)
    assert (len(ALL_OPTIONS), finding.total, finding.found) == (59, 60, 60)
    after, text, _ = option(ALL_OPTIONS)
    assert (after, text.text, text.changed) == ("", ALL_OPTIONS, True)


def test_the_grammar_agrees_with_its_counts():
    grammar = option_words.GRAMMAR
    assert len({*option_words.PATHS}) == len(option_words.PATHS) == grammar["option_leaves"]
    assert [leaf for leaf in option_words.PATHS if leaf not in option_words.CLEARED] == [
        "/VMIC/Options/MID/Value"]
    assert len(option_words.UNCOMPLAINED) == grammar["known_texts"]


def test_the_shipped_meter_has_the_option_leaves():
    shipped = tomllib.loads(FACTORY.read_text())
    assert [path for path in option_words.PATHS if not isinstance(shipped.get(path), bool)] == []
    assert {path for path in shipped if path.startswith("/VMIC/Options/")} == {*option_words.PATHS}


def test_the_longest_list_is_accepted():
    # The last name of each group, and each name without a group.
    groups = {group or name: name for name, group, _ in option_words.OPTIONS}
    longest = "-".join(groups.values())
    assert option_words.acceptable(longest)
    assert len(longest) == option_words.GRAMMAR["longest_list"]
    assert option(longest)[1].changed


@pytest.mark.parametrize(
    ("entry", "after"),
    (
        ("", "Could be an error, totalChars=1, validChars=0\n\nCheck the entry.\n"),
        ("WEB-WEB", "Could be an error, totalChars=8, validChars=4\n\nCheck the entry.\n"),
        ("WEB-", "Could be an error, totalChars=5, validChars=4\n\nCheck the entry.\n"),
        ("WEB--NTP", "Could be an error, totalChars=9, validChars=8\n\nCheck the entry.\n"),
        (
            "MID-XYZ",
            "Could be an error, totalChars=8, validChars=4\n"
            "\nError: MID is NOT a valid option.\nError: XYZ is NOT a valid option."
            "\nCheck the entry.\n",
        ),
        (
            "Web",
            "Could be an error, totalChars=4, validChars=0\n"
            "\nError: Web is NOT a valid option.\nCheck the entry.\n",
        ),
        (
            "1C-1A",
            "\nError: Enter only one option for Serial Ports (1A, 1B or 1C)\nCheck the entry.\n",
        ),
        ("-WEB", "\nError: Extra '-' at the beginning of the options list."),
        ("1A-1a", "Could be an error, totalChars=6, validChars=3\n\nCheck the entry.\n"),
        ("web-ntp", ""),
        ("PQR-PQ1", ""),
        ("~WEB", ""),
    ),
)
def test_the_output_of_an_options_entry(entry, after):
    assert option(entry)[0] == after


def leaves(entry, *names):
    """Returns the writes to these leaves in the entry's batch, as "+LEAF" for true and "-LEAF" for false."""
    paths = [f"/VMIC/Options/{name}/Value" for name in names]
    return [
        f"{'+' if value else '-'}{path[len('/VMIC/Options/') : -len('/Value')]}"
        for path, value in option_words.examine(entry).batch
        if path in paths
    ]


def test_an_empty_list_writes_every_option_false():
    batch = option_words.examine("").batch
    assert not any(value for _, value in batch)
    assert {path for path, _ in batch} == {*option_words.PATHS}
    assert len(batch) == option_words.GRAMMAR["option_leaves"]


def test_power_quality_leaves():
    names = ("ML", "PQ1", "PQ2", "PQ3", "PQ")
    assert leaves("PQ1", *names) == ["-ML", "+PQ1", "-PQ2", "-PQ3", "+PQ"]
    assert leaves("PQ2", *names) == ["-ML", "+PQ2", "-PQ1", "-PQ3", "+PQ", "+ML"]
    assert leaves("ML-PQ2", *names) == ["+ML", "+PQ2", "-PQ1", "-PQ3", "+PQ"]
    assert leaves("PQ3", *names) == ["-ML", "+PQ1", "+PQ2", "+PQ3", "+PQ", "+ML"]
    assert leaves("PQ1-PQ3", *names) == ["-ML", "+PQ1", "-PQ2", "-PQ3", "+PQ"]
    assert leaves("PQ2-PQ3", *names) == ["-ML", "+PQ2", "-PQ1", "-PQ3", "+PQ", "+ML"]
    assert leaves("PQR", *names) == ["-ML", "-PQ1", "-PQ2", "-PQ3", "+PQ"]
    assert leaves("PQR-PQ1", *names) == ["-ML", "+PQ1", "-PQ2", "-PQ3", "+PQ", "+PQ"]
    assert leaves("", *names) == ["-ML", "-PQ1", "-PQ2", "-PQ3", "-PQ"]


def counted(entry):
    """Searches for each name once, after any dash, in upper or lower case, like the utility. Returns the
    number of characters in the found names and their dashes, and True if no two names are from the same
    group."""
    dashed = "-" + entry
    found = [n for n in option_words.NAMES if "-" + n in dashed or "-" + n.lower() in dashed]
    groups = [g for n, g, _ in option_words.OPTIONS if n in found and g in option_words.GROUPS]
    return sum(len(n) + 1 for n in found), len(groups) == len(set(groups))


def grammar_examples():
    rng = random.Random(SEED)
    for _ in range(8_000):
        entry = walker.options_entry(rng)
        for _ in range(rng.randrange(3)):
            entry = walker.spoilt(rng, entry)
        yield entry
    words = (*option_words.NAMES, "web", "Web", "", "4", "45", "mid", "1a")
    for size in (1, 2):
        yield from ("-".join(some) for some in itertools.product(words, repeat=size))
    alphabet = "1A-aWEB4pq2"
    for size in range(4):
        yield from map("".join, itertools.product(alphabet, repeat=size))


def test_a_list_is_accepted_if_its_words_are_options_of_different_groups():
    accepted = 0
    for entry in grammar_examples():
        count, exclusive = counted(entry)
        finding = option_words.examine(entry)
        assert finding.found == count, entry
        assert finding.accepted == (count == len(entry) + 1 and exclusive), entry
        assert finding.accepted == option_words.acceptable(entry), entry
        accepted += finding.accepted
    assert accepted > 2000


@pytest.mark.parametrize(
    ("length", "left", "right"),
    ((0, 38, 38), (19, 28, 29), (75, 0, 1), (76, 0, 0), (77, 78, 78), (90, 78, 78)),
)
def test_a_title_is_centred_with_an_odd_dash_on_the_right(length, left, right):
    console = meter_model.Console(meter_model.scripted([]), meter_model.Counter())
    with pytest.raises(meter_model.ScriptEnded):
        console.menu("", "T" * length, [], "")
    line = console.shown.decode().splitlines()[3]
    assert line == "-" * left + " " + "T" * length + " " + "-" * right


@pytest.mark.parametrize("answer", ("1", " 1", "+1", "01"))
def test_answers_that_a_menu_accepts(answer):
    assert "Network Settings: Ethernet Port 1" in screen(answer + "\n")


@pytest.mark.parametrize(
    "answer", ("", " ", "1 ", "1a", "8", "7", "-1", "99999999999999999999", "1\x081a")
)
def test_answers_that_a_menu_rejects(answer):
    assert "\nError: Invalid selection\n\n" in screen(answer + "\n")


@pytest.mark.parametrize(
    ("answer", "accepted"),
    (
        ("255.255.255.255", True),
        ("010.0.0.1abc", True),
        (" 1. 2.+3.-0", True),
        ("256.1.1.1", False),
        ("1.2.3", False),
        ("1.2.3.-1", False),
        ("4294967297.0.0.1", False),
        ("-4294967295.0.0.1", False),
        ("", False),
        (" ~", False),
    ),
)
def test_addresses(answer, accepted):
    shown = screen(f"2\n{answer}\n")
    assert ("Error: invalid address" in shown) != accepted
    assert (f" 2.  DNS Server (Primary)            :  {answer:38}\n" in shown) == accepted


@pytest.mark.parametrize(
    ("answer", "message"),
    (
        ("091512345", None),
        ("0912345", None),
        ("091212345678", None),
        ("0912-1234", None),
        ("089912345", "Invalid Year (YY) entry must be 09->99\n"),
        ("-11512345", "Invalid Year (YY) entry must be 09->99\n"),
        ("095312345", "Invalid Week of year (WW) must be 1->52\n"),
        ("091200000", "Invalid Model number XXXXX must be > 0\n"),
        ("0912-0000", "Invalid Model number XXXXX must be > 0\n"),
        ("123", ""),
        ("", ""),
    ),
)
def test_serial_numbers(answer, message):
    shown = screen(f"{INIT}\n1\n{answer}\n")
    prompt = f"Enter Serial Number (YYMMXXXXX): {answer}\n"
    after = shown.split(prompt)[1]
    if message is None:
        assert after.startswith("\n\n---")
        assert f" 1.  Serial Number                   :  {answer:38}\n" in after
    else:
        assert after.startswith(message + "Error: Invalid Serial number\n\n\n---")


def test_a_tilde_enters_and_saves_a_placeholder_for_the_serial_number():
    outcome = played(typed("{INIT}\n1\n~\n0\n{SAVE}\ny\n"))
    assert outcome.store["/VMIC/SerialNumber/Value"] == "YYMMXXXXX"


def test_a_tilde_has_no_effect_on_an_unedited_value():
    store = {"/VMC/PrimCfg/Form/Value": 2}
    shown = screen(f"{INIT}\n3\n~\n", store=store)
    assert shown.count("Meter Form                      :  2 = Form 8") == 2
    assert "[None]" in screen(f"{INIT}\n3\n1\n3\n~\n", store=store).split("Meter Form")[-1][:60]


@pytest.mark.parametrize(
    ("name", "stored", "shown"),
    (
        ("Form", "abc", "abc = Form 5(35)"),
        ("Form", 7, "7 IS INVALID!!!"),
        ("Form", -1, "-1 IS INVALID!!!"),
        ("Form", "-0", "-0 = Form 5(35)"),
        ("Form", True, "true = Form 5(35)"),
        ("ClassAmps", "9", "9 IS INVALID!!!"),
        ("ClassAmps", "1", "1 = Class Amps 10"),
        ("NomFreq", 0, "0 = 50 Hz"),
        ("NomFreq", "4294967296", "4294967296 IS INVALID!!!"),
    ),
)
def test_the_text_for_a_stored_number(name, stored, shown):
    assert f"  :  {shown:38}\n" in screen(f"{INIT}\n", store={f"/VMC/PrimCfg/{name}/Value": stored})


def test_media_types_of_two_names():
    store = {meter_model.LEAVES["supported_media_types"]: "10;100"}
    asked = (
        "\nAvailable media types:\n\n0) Auto-negotiate (recommended)\n1) 10\n2) 100\n"
        "\nSelect an option (0-2) ==>  : "
    )
    for answer, media in (("2", "100"), ("0", "[Auto-negotiate]"), ("+1", "10"), (" 1", "10")):
        shown = screen(f"1\n5\n{answer}\n", store=store)
        assert asked in shown
        assert f" 5.  Media Type                      :  {media:38}\n" in shown.split(asked)[1]
    for answer in ("3", "-1", "1x", "", " "):
        assert "Error: invalid selection\n" in screen(f"1\n5\n{answer}\n", store=store)


def test_a_script_survives_a_round_trip_through_events():
    pause = {"wait": "time-out", "times": 2}
    script = ["5\n", "2\xff\x08", pause, "\x04", {"wait": "end", "times": 3}]
    assert meter_model.script_of(meter_model.waits_of(script)) == script


def test_keys_come_before_the_end_of_input():
    outcome = played({"wait": "end", "times": 2}, "1\n", arguments=())
    assert outcome.stdout.decode("latin-1").count("Network Settings: Ethernet Port 1") == 3
    assert outcome.stdout.count(b"\xff") == 2
    assert outcome.status == meter_model.EXIT_SCRIPT_ENDED


def test_every_message_is_reached_by_generated_sessions():
    """The differential test can compare only the messages that generated sessions reach."""
    reached = meter_model.Counter()
    for number in range(1000):
        rng = random.Random(f"{SEED}/{number}")
        session = walker.meter(rng)
        outcome = meter_model.play(session, walker.Walker(rng, session))
        reached += outcome.tally + coverage_table.messages_in(outcome)
    wanted = [f"shown: {message!r}" for message in coverage_table.MESSAGES]
    assert [name for name in wanted if not reached[name]] == []
