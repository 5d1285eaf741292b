// Leaves and their changes as JSON.
#pragma once

#include "simulator/cdsctl/changes.h"
#include "simulator/leaves.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace cdsctl
{

// The texts below do not end with a newline. A missing leaf is null.

using FoundLeaves = std::map<std::string, std::optional<simulator::LeafValue>>;

// {"PATH": VALUE, ...}
std::string json_leaves(const FoundLeaves& leaves);

// {"PATH": {"old": VALUE, "new": VALUE}, ...}
std::string json_changes(const std::vector<Change>& changes);

// {"path":"PATH","old":VALUE,"new":VALUE}
std::string json_change(const Change& change);

} // namespace cdsctl
