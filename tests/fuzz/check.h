// Functions with which the fuzz targets check the result of an input.
#pragma once

#include <string>

// When `holds` is false, prints `what` and `of` and aborts the process, so that a fuzzer saves the
// input.
void check(bool holds, const char* what, const std::string& of = "");

// When the texts differ, prints `what` and both texts and aborts the process.
void check_equal(const std::string& actual, const std::string& expected, const char* what);
