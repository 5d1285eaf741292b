// What can be seen of TOML text without parsing it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace simulator
{

// How deep the values of a file may lie within each other. Each part of a dotted key, each array
// and each inline table counts.
constexpr std::size_t deepest_nesting = 32;

// The first line where values lie deeper than that; 0: none. What is not TOML may count as deeper
// than it is, never as less deep than a parser takes it that stops at the first error.
std::uint32_t line_too_deep(std::string_view text);

// The key before the last "=" in `text`, as it is written there; the text ends within its value.
std::string_view last_key(std::string_view text);

} // namespace simulator
