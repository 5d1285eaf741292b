// Finds properties of TOML text without a parser, by scanning the text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace simulator
{

// The deepest nesting of values that is accepted in a file. Each part of a dotted key, each array
// and each inline table is one level.
constexpr std::size_t deepest_nesting = 32;

// Returns the number of the first line that is nested too deeply, or 0 when no line is nested too
// deeply. For text that is not TOML, the scan may find more levels than a parser, but never fewer,
// because a parser stops at the first error.
std::uint32_t line_too_deep(std::string_view text);

// Returns the key before the last "=", exactly as written in `text`. `text` must end within the
// value of this key.
std::string_view last_key(std::string_view text);

} // namespace simulator
