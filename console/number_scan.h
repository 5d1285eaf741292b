// Numbers in typed and stored text. These functions give the same result on every machine; those of
// the C library depend on the width of `long`.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

constexpr unsigned any_width = std::numeric_limits<unsigned>::max();

// Reads an unsigned number at `cursor` as `scanf` does with "%u": white space, an optional sign,
// then digits. The sign and the digits together take at most `width` characters, at least 1.
// A number beyond 32 bits, and a negative number other than -0, becomes the largest 32-bit number.
// Returns true and moves `cursor` past the number. Returns false when there is no number; `number`
// is then unchanged.
bool scan_unsigned(const char*& cursor, std::uint32_t& number, unsigned width = any_width);

// Returns the decimal number at the start of `text`, after white space and an optional sign.
// Returns 0 when there is no number, and the nearest 32-bit limit when it does not fit.
std::int32_t decimal_value(const std::string& text);

// Reads all of `text` as a decimal number. White space and a sign may precede the number, and a
// newline may end it. A number that does not fit a long becomes the nearest limit of a long.
// Returns nothing when `text` is empty or holds anything else.
std::optional<long> scan_whole_number(const std::string& text);
