// Leaves as lines of text, and the changes between two sets of leaves.
#pragma once

#include "simulator/leaves.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cdsctl
{

struct Change {
    std::string path;
    std::optional<simulator::LeafValue> old_value; // empty: the leaf is new
    std::optional<simulator::LeafValue> new_value; // empty: the leaf is cleared
};

// Sorted by path.
std::vector<Change> changes_between(const simulator::Leaves& before,
                                    const simulator::Leaves& after);

// The lines below contain TOML values. A path is not quoted, unless it contains control characters,
// which would break the line; it is then a TOML string.

// "PATH = VALUE"
std::string leaf_line(const std::string& path, const simulator::LeafValue& value);

// "PATH: OLD -> NEW". OLD is "(new)" for a new leaf; NEW is "(cleared)" for a cleared one.
std::string change_line(const Change& change);

// Returns the leaves at or below `prefix`, which matches whole path components. A "/" at its end
// has no effect.
simulator::Leaves leaves_below(const simulator::Leaves& leaves, std::string_view prefix);

} // namespace cdsctl
