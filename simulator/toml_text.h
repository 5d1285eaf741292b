// Functions that write leaves as TOML text.
#pragma once

#include "simulator/leaves.h"

#include <string>
#include <string_view>

namespace simulator
{

// Returns true when `text` is UTF-8. TOML can hold only UTF-8 text.
bool is_utf8(std::string_view text);

// Returns `text` as a TOML basic string, including the quotes. Copies bytes that are not UTF-8
// unchanged.
std::string toml_string(std::string_view text);

std::string toml_value(const LeafValue& value);

// Returns one line per leaf, sorted by path. Every path and every text value must be UTF-8.
std::string toml_text(const Leaves& leaves);

} // namespace simulator
