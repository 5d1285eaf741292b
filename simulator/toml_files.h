// The contents of the simulated meter's TOML files.
#pragma once

#include "simulator/faults.h"
#include "simulator/leaves.h"

#include <string>
#include <string_view>
#include <vector>

namespace simulator
{

// Both read the text of the file named `file`. When it is not as it must be they return false,
// `error` is "file:line: reason", and the other result is not to be used.

bool parse_leaves(std::string_view text, const std::string& file, Leaves& leaves,
                  std::string& error);

bool parse_faults(std::string_view text, const std::string& file, std::vector<Fault>& faults,
                  std::string& error);

// What a text is when it is read as one TOML value, from its first byte to its last.
enum class TomlReading {
    no_value,    // `value` is left alone
    leaf_value,  // `value` is it
    other_value, // of a type that no leaf has; `value` is left alone
};
TomlReading parse_value(std::string_view text, LeafValue& value);

} // namespace simulator
