// Finds an existing leaf with a path similar to a given path.
#pragma once

#include "simulator/leaves.h"

#include <string>

namespace cdsctl
{

// Returns the existing path that differs from `path` only by "/Value" at the end. If no such path
// exists, returns the existing path with the fewest edits, ignoring case. Returns an empty text if
// no existing path is similar.
std::string near_path(const std::string& path, const simulator::Leaves& leaves);

// Returns " (did you mean "PATH"?)". PATH is the result of `near_path`, as a TOML string. Returns
// an empty text if this result is empty.
std::string near_path_hint(const std::string& path, const simulator::Leaves& leaves);

} // namespace cdsctl
