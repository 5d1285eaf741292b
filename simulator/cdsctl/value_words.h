// Values as command-line arguments.
#pragma once

#include "simulator/leaves.h"

#include <string>
#include <string_view>

namespace cdsctl
{

// Reads the argument `word` as the value of a leaf. `type` is "bool", "int" or "string". When
// `type` is empty, an existing leaf keeps the type of its present value `present`. For a new leaf
// `present` is null: `word` has the type that TOML gives it, and is a string when it is not TOML.
// When `type` or `present` is a string, `value` is `word` itself, with any quotes.
// Returns false when `word` does not have the type; `reason` then says why.
bool read_value_word(const std::string& word, std::string_view type,
                     const simulator::LeafValue* present, simulator::LeafValue& value,
                     std::string& reason);

} // namespace cdsctl
