// Writes leaves as lines of text, and finds the changes between two sets of leaves.
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

// Returns the changes, sorted by path.
std::vector<Change> changes_between(const simulator::Leaves& before,
                                    const simulator::Leaves& after);

// The two functions below return one line of text, in which values are in TOML. A path is not
// quoted, unless it contains control characters, which could break the line. Such a path is a TOML
// string.

// Returns "PATH = VALUE".
std::string leaf_line(const std::string& path, const simulator::LeafValue& value);

// Returns "PATH: OLD -> NEW". OLD is "(new)" for a new leaf. NEW is "(cleared)" for a cleared leaf.
std::string change_line(const Change& change);

// Returns the leaves at or below `prefix`. The prefix matches whole path components. A "/" at the
// end of the prefix has no effect.
simulator::Leaves leaves_below(const simulator::Leaves& leaves, std::string_view prefix);

} // namespace cdsctl
