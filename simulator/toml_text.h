// Leaves as TOML text.
#pragma once

#include "simulator/leaves.h"

#include <string>
#include <string_view>

namespace simulator
{

// Whether TOML can hold the text: it holds UTF-8 only.
bool is_utf8(std::string_view text);

// A basic string, quotes included. Bytes that are not UTF-8 are passed on as they are.
std::string toml_string(std::string_view text);

std::string toml_value(const LeafValue& value);

// One line a leaf, sorted by path. Every path and text must be UTF-8.
std::string toml_text(const Leaves& leaves);

} // namespace simulator
