// Checks on every input.
#pragma once

#include <string>

// When `holds` is false, prints `what` and `of` and aborts the process, so that a fuzzer saves the
// input.
void check(bool holds, const char* what, const std::string& of = "");

// Checks that two texts are equal. Prints both when they are not.
void check_equal(const std::string& actual, const std::string& expected, const char* what);
