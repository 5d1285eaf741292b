// Finds properties of TOML text by scanning it, without a parser.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace simulator
{

// The deepest nesting of values that a file may have. Each part of a dotted key, each array and
// each inline table is one level.
constexpr std::size_t deepest_nesting = 32;

// Returns the first line with deeper nesting, or 0. For text that is not TOML the result may be too
// strict, but never too lenient: a parser that stops at the first error never nests deeper.
std::uint32_t line_too_deep(std::string_view text);

// Returns the key before the last "=", as it is written. `text` must end within that key's value.
std::string_view last_key(std::string_view text);

} // namespace simulator
