// Reads leaf values from command-line arguments.
#pragma once

#include "simulator/leaves.h"

#include <string>
#include <string_view>

namespace cdsctl
{

// Reads the argument `word` as the value of a leaf. `type` is "bool", "int", "string" or empty.
// `present` is the present value of the leaf, or null for a new leaf.
// When `type` is empty, an existing leaf keeps its type. A new leaf gets the type that TOML gives
// to `word`, or becomes a string when `word` is not TOML. For `type` "string", and for an existing
// string leaf that keeps its type, `value` becomes `word` itself, including any quotes.
// When `word` does not have the wanted type, returns false and sets `reason` to the reason.
bool read_value_word(const std::string& word, std::string_view type,
                     const simulator::LeafValue* present, simulator::LeafValue& value,
                     std::string& reason);

} // namespace cdsctl
