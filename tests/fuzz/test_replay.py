"""The kept inputs of the fuzz targets, and the dialogues as inputs, played by the present build."""

import re
import subprocess

import corpus
import pytest
from harness.program import BUILD, command

LIMIT = 300


@pytest.mark.parametrize("target", corpus.TARGETS)
def test_every_input_holds(target, tmp_path):
    kept = corpus.kept(target)
    assert kept
    inputs = {*kept, *corpus.seeds(target)}
    corpus.unpack(inputs, tmp_path)
    played = subprocess.run(command(BUILD / target, str(tmp_path)), capture_output=True, text=True,
                            errors="replace", timeout=LIMIT)
    assert played.returncode == 0, played.stderr[-6000:]
    assert played.stdout == f"{len(inputs)} inputs played\n"


def test_every_dialogue_makes_a_seed():
    assert corpus.seeds("fuzz_session") and len(corpus.leaf_numbers()) == 16
    typed = b"".join(corpus.seeds("fuzz_options"))
    assert b"1C-2B-4-5-WEB-IEC-IB-IEEE-NTP-PPS-DLP-ML-THP-EAP-DC-PQ3-PMU\n" in typed


def test_the_dictionary_has_the_words_of_the_tables():
    assert {"1A", "1a", "4", "WEB", "web", "PQR", "MID", "mid"} <= corpus.words("fuzz_options")
    assert {"K1F\n", "W\n", "PQ3"} <= corpus.words("fuzz_session")
    assert {"times", '"pcd_init"'} <= corpus.words("fuzz_files")


@pytest.mark.parametrize("target", corpus.TARGETS)
def test_a_dictionary_is_written_as_the_fuzzer_reads_it(target, tmp_path):
    file = tmp_path / "words"
    corpus.write_dictionary(target, file)
    for line in file.read_text().splitlines():
        assert re.fullmatch(r'"([ !#-\[\]-~]|\\x[0-9a-f]{2})+"', line), line
