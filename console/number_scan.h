// Numbers in typed and stored text, read the same on every machine: the C library's own scans
// differ with the width of `long`.
#pragma once

#include <cstdint>
#include <limits>
#include <string>

constexpr unsigned any_width = std::numeric_limits<unsigned>::max();

// Reads an unsigned number as the conversion "%u" of the C library's scan does: blanks, an
// optional sign, digits, of which sign and digits take at most `width` characters.
// A number beyond 32 bits, and a negative one other than -0, reads as the largest number.
// Returns true and moves `cursor` behind the number; returns false when there is none, with
// `number` unchanged.
bool scan_unsigned(const char*& cursor, std::uint32_t& number, unsigned width = any_width);

// The decimal number at the start of `text`, after blanks and an optional sign: 0 when there
// is none, the nearest limit of 32 bits when it is beyond.
std::int32_t decimal_value(const std::string& text);

// Reads the whole of `text` as a decimal number, blanks and a sign before it allowed; it may
// end at a line end. Returns true and the number, or false when the text is empty or holds
// anything else. Numbers too large for a long are its nearest limit.
bool scan_whole_number(const std::string& text, long& number);
