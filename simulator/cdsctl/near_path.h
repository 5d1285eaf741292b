// Finds an existing leaf whose path is similar to a path that does not exist.
#pragma once

#include "simulator/leaves.h"

#include <string>

namespace cdsctl
{

// Returns the path of the leaf that differs from `path` only by "/Value" at the end. If there is
// none, returns the nearest path that differs by a few letters, ignoring case. Returns an empty
// text if no path is that near.
std::string near_path(const std::string& path, const simulator::Leaves& leaves);

// Returns " (did you mean "PATH"?)" with the result of `near_path` as a TOML string, or an empty
// text.
std::string near_path_hint(const std::string& path, const simulator::Leaves& leaves);

} // namespace cdsctl
