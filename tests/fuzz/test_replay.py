"""Plays the saved inputs and the inputs made from the dialogues on the fuzz targets of this build."""

import random
import re
import subprocess

import corpus
import pytest
from harness.calls import MENU_READS
from harness.program import BUILD, RUN_WITH, command

LIMIT = 300


CHANGED = 50 if RUN_WITH else 500  # fewer under emulation, which is slow


def play(target, inputs, folder):
    corpus.unpack(inputs, folder)
    played = subprocess.run(command(BUILD / target, str(folder)), capture_output=True, text=True,
                            errors="replace", timeout=LIMIT)
    assert played.returncode == 0, played.stderr[-6000:]
    assert played.stdout == f"{len(inputs)} inputs played\n"


@pytest.mark.parametrize("target", corpus.TARGETS)
def test_every_input_passes(target, tmp_path):
    kept = corpus.kept(target)
    assert kept
    inputs = {*kept, *corpus.seeds(target)}
    play(target, sorted(inputs)[::5] if RUN_WITH else inputs, tmp_path)


def changed(rng, inputs, words):
    """Returns a random input after one to four random changes. A change replaces a few bytes by other bytes,
    by a word or by nothing. Some changes also replace the end of the input by the end of another input."""
    data = bytearray(rng.choice(inputs))
    for _ in range(rng.randint(1, 4)):
        first = rng.randint(0, len(data))
        last = first + rng.randint(0, 6)
        other = rng.choice(inputs)
        data[first:last] = rng.choice((b"", rng.randbytes(last - first), rng.choice(words)))
        if rng.random() < 0.2:
            data[first:] = other[rng.randint(0, len(other)):]
    return bytes(data)


@pytest.mark.parametrize("target", corpus.TARGETS)
def test_changed_inputs_pass(target, tmp_path):
    """Plays random variants of the inputs. The variants are the same in every run."""
    rng = random.Random(1)
    inputs = sorted({*corpus.kept(target), *corpus.seeds(target)})
    words = [word.encode("latin-1") for word in sorted(corpus.words(target))]
    made = {changed(rng, inputs, words) for _ in range(CHANGED)}
    play(target, made - set(inputs), tmp_path)


def test_every_dialogue_becomes_a_seed():
    assert corpus.seeds("fuzz_session") and len(corpus.leaf_numbers()) == sum(map(len, MENU_READS.values()))
    typed = b"".join(corpus.seeds("fuzz_options"))
    assert b"1C-2B-4-5-WEB-IEC-IB-IEEE-NTP-PPS-DLP-ML-THP-EAP-DC-PQ3-PMU\n" in typed


def test_the_dictionary_contains_the_words_of_the_tables():
    assert {"1A", "1a", "4", "WEB", "web", "PQR", "MID", "mid"} <= corpus.words("fuzz_options")
    assert {"K1F\n", "W\n", "PQ3"} <= corpus.words("fuzz_session")
    assert {"times", '"pcd_init"'} <= corpus.words("fuzz_files")


@pytest.mark.parametrize("target", corpus.TARGETS)
def test_the_fuzzer_can_read_the_dictionary(target, tmp_path):
    file = tmp_path / "words"
    corpus.write_dictionary(target, file)
    for line in file.read_text().splitlines():
        assert re.fullmatch(r'"([ !#-\[\]-~]|\\x[0-9a-f]{2})+"', line), line
