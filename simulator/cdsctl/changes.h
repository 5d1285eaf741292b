// What differs between two states of the leaves.
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
    std::optional<simulator::LeafValue> old_value; // none: the leaf is new
    std::optional<simulator::LeafValue> new_value; // none: the leaf is cleared
};

// Sorted by path.
std::vector<Change> changes_between(const simulator::Leaves& before,
                                    const simulator::Leaves& after);

// "PATH: OLD -> NEW", values as TOML writes them, "(new)" and "(cleared)" for the missing one.
// A path is quoted when control characters in it would spoil the line.
std::string change_line(const Change& change);

// The leaves at or below `prefix`, by whole path components; "/" at its end adds nothing.
simulator::Leaves leaves_below(const simulator::Leaves& leaves, std::string_view prefix);

} // namespace cdsctl
