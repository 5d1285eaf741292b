// What must hold after every input.
#pragma once

#include <string>

// Unless `holds`, says what is wrong, and of what, and ends the process as a failure that a fuzzer
// keeps.
void check(bool holds, const char* what, const std::string& of = "");

// As `check` that two texts are equal; shows both.
void check_equal(const std::string& actual, const std::string& expected, const char* what);
