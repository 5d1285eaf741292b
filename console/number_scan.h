// Functions that read numbers from typed and stored text. `scan_unsigned` and `decimal_value` give
// the same result on every machine, whatever the width of `long`.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

constexpr unsigned any_width = std::numeric_limits<unsigned>::max();

// Reads an unsigned number at `cursor`. White space and a sign may precede the digits. The sign and
// the digits together have at most `width` characters. `width` is at least 1. A number beyond 32
// bits becomes the largest 32-bit number, and so does a negative number other than -0. Returns true
// and moves `cursor` past the number. Returns false when there is no number. In that case `number`
// is unchanged, but `cursor` may be past the white space and the sign.
bool scan_unsigned(const char*& cursor, std::uint32_t& number, unsigned width = any_width);

// Returns the decimal number at the start of `text`. White space and a sign may precede the digits.
// Returns 0 when `text` does not start with a number. A number that does not fit into 32 bits
// becomes the nearest limit of std::int32_t.
std::int32_t decimal_value(const std::string& text);

// Returns the number that the whole of `text` holds in decimal. White space and a sign may precede
// the digits, and a newline may follow them. A number that does not fit into a long becomes the
// nearest limit of a long. Returns std::nullopt when `text` is not such a number.
std::optional<long> scan_whole_number(const std::string& text);
