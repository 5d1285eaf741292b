// Values as they are typed on a command line.
#pragma once

#include "simulator/leaves.h"

#include <string>
#include <string_view>

namespace cdsctl
{

// Reads `word` as the value of a leaf. `type` is "bool", "int" or "string"; when it is empty, the
// leaf keeps the type of `present` (null: a new leaf, which takes the type that TOML gives the
// word; what is no TOML value is a string). A string is the word as it stands; only for a new leaf
// quotes around it are TOML's.
// When the word does not fit it returns false, and `reason` says why.
bool read_value_word(const std::string& word, std::string_view type,
                     const simulator::LeafValue* present, simulator::LeafValue& value,
                     std::string& reason);

} // namespace cdsctl
