// Writes leaves and changes of leaves as JSON.
#pragma once

#include "simulator/cdsctl/changes.h"
#include "simulator/leaves.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace cdsctl
{

// The functions below return JSON text without a newline at the end. A missing leaf is null.

using FoundLeaves = std::map<std::string, std::optional<simulator::LeafValue>>;

// Returns {"PATH": VALUE, ...}.
std::string json_leaves(const FoundLeaves& leaves);

// Returns {"PATH": {"old": VALUE, "new": VALUE}, ...}.
std::string json_changes(const std::vector<Change>& changes);

// Returns {"path":"PATH","old":VALUE,"new":VALUE}.
std::string json_change(const Change& change);

} // namespace cdsctl
