// Parses the TOML files of a simulated meter.
#pragma once

#include "simulator/faults.h"
#include "simulator/leaves.h"

#include <string>
#include <string_view>
#include <vector>

namespace simulator
{

// `parse_leaves` and `parse_faults` parse the text of the file named `file`. On failure, they
// return false and set `error` to "FILE:LINE: REASON". The value of `leaves` or `faults` is then
// undefined.

bool parse_leaves(std::string_view text, const std::string& file, Leaves& leaves,
                  std::string& error);

bool parse_faults(std::string_view text, const std::string& file, std::vector<Fault>& faults,
                  std::string& error);

// The result of `parse_value`.
enum class TomlReading {
    no_value,    // not a TOML value
    leaf_value,  // a value that a leaf can hold
    other_value, // a TOML value of another type
};

// Parses all of `text` as one TOML value. Changes `value` only when it returns leaf_value.
TomlReading parse_value(std::string_view text, LeafValue& value);

} // namespace simulator
