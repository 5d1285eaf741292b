// Leaves as lines, and what differs between two states of them.
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

// The lines below have values as TOML writes them. A path stands bare; only when it holds control
// characters, which would spoil the line, it is quoted as TOML does it.

// "PATH = VALUE"
std::string leaf_line(const std::string& path, const simulator::LeafValue& value);

// "PATH: OLD -> NEW", with "(new)" and "(cleared)" for the missing one.
std::string change_line(const Change& change);

// The leaves at or below `prefix`, by whole path components; "/" at its end adds nothing.
simulator::Leaves leaves_below(const simulator::Leaves& leaves, std::string_view prefix);

} // namespace cdsctl
