"""Checks that the file of a program or shared library is hardened. The checks do not run the program."""

import re

from harness.elf import readelf, symbols

CHECKED_CALLS = {"__printf_chk", "__fprintf_chk", "__snprintf_chk"}
# Symbols of C++ streams, locales and threads, which a small program must not use.
UNWANTED = re.compile(r"St6locale|St8ios_base|St6thread|basic_[io]?stream|^_ZNK?S[oi]|St4cout|pthread_create")


def segment(file, name):
    return re.search(rf"^ +{name} +(.*)$", readelf("-l", file), re.MULTILINE)[1].split()


def check_independent_of_its_address(file):
    assert re.search(r"Type: +DYN ", readelf("-h", file)), file
    assert "TEXTREL" not in readelf("-d", file), file


def check_loaded_at_a_random_address(program):
    check_independent_of_its_address(program)
    assert re.search(r"\(FLAGS_1\).*\bPIE\b", readelf("-d", program)), program


def check_imports_are_bound_at_the_start_and_then_read_only(file):
    assert re.search(r"\(FLAGS_1\).*\bNOW\b", readelf("-d", file)), file
    start, size = (int(word, 16) for word in segment(file, "GNU_RELRO")[1:5:3])
    table = re.search(r"^ +\[ *\d+\] \.got +\S+ +([0-9a-f]+)", readelf("-S", file), re.MULTILINE)
    assert start <= int(table[1], 16) < start + size, file


def check_that_no_stack_can_be_executed(file):
    assert segment(file, "GNU_STACK")[-2] == "RW", file


def check_that_stacks_are_checked(file):
    assert "__stack_chk_fail" in symbols(file), file


def check_that_library_calls_are_checked(program):
    assert symbols(program) & CHECKED_CALLS, program


def check_hardened(program, calls_checked=True):
    check_loaded_at_a_random_address(program)
    check_imports_are_bound_at_the_start_and_then_read_only(program)
    check_that_no_stack_can_be_executed(program)
    check_that_stacks_are_checked(program)
    if calls_checked:
        check_that_library_calls_are_checked(program)


def check_without_streams_locales_and_threads(program):
    assert not sorted(name for name in symbols(program) if UNWANTED.search(name))
