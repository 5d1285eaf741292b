// Writing leaves as TOML text.
#pragma once

#include "simulator/leaves.h"

#include <string>
#include <string_view>

namespace simulator
{

// Returns true for UTF-8 text. TOML cannot hold any other text.
bool is_utf8(std::string_view text);

// Returns the text as a TOML basic string, with its quotes. Copies bytes that are not UTF-8
// unchanged.
std::string toml_string(std::string_view text);

std::string toml_value(const LeafValue& value);

// Returns one line per leaf, sorted by path. Every path and text must be UTF-8.
std::string toml_text(const Leaves& leaves);

} // namespace simulator
