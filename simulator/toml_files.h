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

} // namespace simulator
