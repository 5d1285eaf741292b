// Leaves and their changes as JSON.
#pragma once

#include "simulator/cdsctl/changes.h"
#include "simulator/leaves.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cdsctl
{

// The texts below are without a line end. A leaf that is not there is null.

using FoundLeaf = std::pair<std::string, std::optional<simulator::LeafValue>>;

// {"PATH": VALUE, ...} in the order given.
std::string json_leaves(const std::vector<FoundLeaf>& leaves);

// {"PATH": {"old": VALUE, "new": VALUE}, ...}
std::string json_changes(const std::vector<Change>& changes);

// {"path":"PATH","old":VALUE,"new":VALUE}, one line.
std::string json_change(const Change& change);

} // namespace cdsctl
