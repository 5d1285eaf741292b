"""The grammar of the screens accepts every screen that the utility shows, and nothing else."""

import pytest
from harness import dialogue
from harness.program import REPOSITORY
from meter_fleet.screens import (PASSWORDS_LINE, SAVE_LINE, Damaged, Menu, Question, read_exchange)
from meter_fleet.view import View, feed

pytestmark = [pytest.mark.host_only, pytest.mark.slow]

DIALOGUES = sorted((REPOSITORY / "tests" / "dialogues").rglob("*.dialogue"))
# In these dialogues, Control-D or Control-J ends the lines. meter-fleet types neither key.
WITH_OTHER_LINE_ENDS = ("ctrl-d-ends-a-line", "carriage-return-unmapped")


def output_of(path):
    return b"".join(value for kind, value in dialogue.parse_console(dialogue.Dialogue(path).console)
                    if kind == "out")


def view_of(data, size=None):
    view = View()
    for start in range(0, len(data), size or max(len(data), 1)):
        feed(view, data[start:start + (size or len(data))])
    return view


@pytest.mark.parametrize("size", [None, 1, 7])
def test_every_dialogue_is_in_the_grammar(size):
    turns = 0
    for path in DIALOGUES:
        if path.stem in WITH_OTHER_LINE_ENDS:
            continue
        view = view_of(output_of(path), size)
        assert view.inexact == 0, path
        assert view.pending.strip("\n") == "" or view.turn == 0, (path, view.pending)
        turns += view.turn
    assert turns > 1000


def screen_of(name, number):
    """Returns the output of a dialogue up to the end of its menu number `number`. The first menu has the
    number 1."""
    data = output_of(REPOSITORY / "tests" / "dialogues" / f"{name}.dialogue")
    end = -1
    for _ in range(number):
        end = data.index(b"==>  ", end + 1)
    return data[:end + 5]


def test_a_menu_gives_each_label_its_number():
    plain = view_of(screen_of("save/addresses", 1)).prompt
    edited = view_of(screen_of("save/addresses", 6)).prompt
    with_init = view_of(screen_of("save/commissioning", 1)).prompt
    assert plain.choices[PASSWORDS_LINE] == 4
    assert SAVE_LINE not in plain.choices
    assert edited.choices[SAVE_LINE] == 5
    assert with_init.choices["Velmora II Initialization (Serial and Options List)"] == 5


def last_menu(data):
    view = view_of(data)
    return view.prompt if view.exact else None


@pytest.mark.parametrize("name, number", [("save/addresses", 1), ("save/addresses", 2), ("save/commissioning", 2)])
def test_every_lost_byte_of_a_menu_is_noticed(name, number):
    """After the loss of a byte, a line or the column of a value is too short."""
    data = screen_of(name, number)
    start = data.rindex(b"\n\n---")
    assert isinstance(last_menu(data), Menu)
    for place in range(start, len(data)):
        assert last_menu(data[:place] + data[place + 1:]) is None, place


@pytest.mark.parametrize("name, number", [("save/addresses", 1), ("save/addresses", 2), ("save/commissioning", 2)])
def test_a_flipped_byte_of_a_menu_is_noticed_or_is_in_a_value(name, number):
    data = screen_of(name, number)
    start = data.rindex(b"\n\n---")
    good = last_menu(data)
    for place in range(start, len(data)):
        for bit in range(7):
            flipped = bytearray(data)
            flipped[place] ^= 1 << bit
            menu = last_menu(bytes(flipped))
            # meter-fleet ignores the values of two lines: the hardware address and the link status.
            line = data[data.rfind(b"\n", 0, place) + 1:].partition(b"\n")[0]
            assert menu is None or menu.values != good.values or line.startswith(b"     "), (place, bit)
            assert menu is None or menu.choices == good.choices


def test_a_kernel_message_in_a_menu_is_noticed():
    data = screen_of("save/addresses", 2)
    start = data.rindex(b"\n\n---")
    for place in range(start + 1, len(data) - 1, 3):
        menu = last_menu(data[:place] + b"[   12.345678] eth0: link up\n" + data[place:])
        assert menu is None, place


def test_a_number_with_the_wrong_name_is_noticed():
    data = screen_of("save/commissioning", 2)
    assert b"3 = Form 9 " in data
    assert last_menu(data.replace(b"3 = Form 9 ", b"2 = Form 9 ")) is None
    assert last_menu(data.replace(b"3 = Form 9 ", b"2 = Form 8 ")).values["meter_form"] == "2"


def test_the_prompt_of_a_damaged_menu_is_found():
    data = screen_of("save/addresses", 1).replace(b"Velmora", b"Velm0ra")
    view = view_of(data)
    assert view.prompt == Damaged(is_menu=True)
    assert not view.exact


def test_a_save_question_is_never_taken_for_another_question():
    text = "Save & apply all settings? (y/n): "
    assert read_exchange(text).prompt == Question("Save & apply all settings? (y/n)")
    for place in range(len(text) - 2):
        for bit in range(7):
            flipped = text[:place] + chr(ord(text[place]) ^ 1 << bit) + text[place + 1:]
            assert read_exchange(flipped) is None


def test_the_echo_shows_the_contents_of_the_line():
    view = view_of(screen_of("save/addresses", 1) + b"12\b \b3")
    assert (view.typed, view.erased) == ("13", 1)
    feed(view, b"\b")
    assert view.typed == "13"
    feed(view, b" \b")
    assert view.typed == "1"


def test_the_byte_in_the_message_of_the_dhcp_leaf_is_known():
    name = "/VMC/Comms/EthPort/1/General/DHCP/Value"
    exchange = read_exchange(f"set_leaf failed for \x93{name}\nSettings saved.\n"
                             "Save & apply all settings? (y/n): ")
    assert [one.name for one in exchange.messages] == ["leaf_not_set", "saved"]
    assert read_exchange(f"set_leaf failed for \x93{name}x\nSettings saved.\n") is None
