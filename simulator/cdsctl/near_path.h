// The leaf that was perhaps meant by a path that names none.
#pragma once

#include "simulator/leaves.h"

#include <string>

namespace cdsctl
{

// The path of a leaf that differs from `path` by "/Value" at its end, or else the nearest one of
// those that differ by a few letters, capitals aside. Empty: none is that close.
std::string near_path(const std::string& path, const simulator::Leaves& leaves);

// " (there is "PATH")" with the path above, quoted as TOML does it; empty: none.
std::string near_path_hint(const std::string& path, const simulator::Leaves& leaves);

} // namespace cdsctl
