"""A transcript contains every byte except passwords. The tools of the dialogue tests can read a
transcript."""

import random
import re
import stat

import pytest
from harness import dialogue
from meter_fleet.record import open_record

pytestmark = pytest.mark.host_only


def read_back(path):
    """Returns the bytes that a transcript lists as received and as sent, and the text of the whole file."""
    text = path.read_text()
    console = text.partition("[console]")[2].partition("\n[exit 0]\n")[0] + "\n"
    steps = dialogue.parse_console(console.removeprefix("\n"))
    received = b"".join(value for kind, value in steps if kind == "out")
    sent = bytes(value for kind, value in steps if kind == "key")
    return received, sent, text


def play(record, pieces):
    for what, data in pieces:
        (record.sent if what == "sent" else record.received)(data)
    record.close()


def test_any_bytes_are_read_back_unchanged(tmp_path):
    choice = random.Random(20261121)
    some = [bytes([byte]) for byte in range(256)] + [
        b"\r\n", b"[exit 0]\n", b"[console]", b"\n[calls]\n", "‹x›".encode()]
    for number in range(200):
        pieces = [(choice.choice(("sent", "received")), b"".join(choice.choices(some, k=choice.randrange(1, 9))))
                  for _ in range(choice.randrange(60))]
        pieces = [(what, bytes(byte for byte in data if byte < 0x80 or what == "received"))
                  for what, data in pieces]
        record = open_record(tmp_path, f"m{number}")
        play(record, pieces)
        received, sent, _ = read_back(record.path)
        assert received == b"".join(data for what, data in pieces if what == "received")
        assert sent == b"".join(data for what, data in pieces if what == "sent")


def test_a_piece_has_its_time_and_length(tmp_path):
    record = open_record(tmp_path, "m")
    play(record, [("received", b"ab: "), ("sent", b"1"), ("received", b"1")])
    times = re.findall(r"^ *(\d+\.\d{3}) s  (sent|received) (\d+)$", record.path.read_text(), re.M)
    assert [time[1:] for time in times] == [("received", "4"), ("sent", "1"), ("received", "1")]


def test_only_the_owner_may_read_a_transcript(tmp_path):
    record = open_record(tmp_path, "m")
    record.close()
    assert stat.S_IMODE(record.path.stat().st_mode) == 0o600


def test_a_password_is_omitted_even_if_it_is_echoed(tmp_path):
    record = open_record(tmp_path, "m")
    record.received(b"Password: ")
    record.sent_secret(b"s3cret!")
    record.received(b"s3c")
    record.received(b"ret!\r\n$ ")
    play(record, [("sent", b"x"), ("received", b"x")])
    received, sent, text = read_back(record.path)
    assert "s3cret" not in text
    assert received == b"Password: *******\r\n$ x"
    assert sent == b"x"


def test_transcripts_do_not_replace_each_other(tmp_path):
    records = [open_record(tmp_path / "new", "../a/b") for _ in range(3)]
    for record in records:
        record.close()
    assert len({record.path for record in records}) == 3
    assert all(record.path.parent == tmp_path / "new" for record in records)
