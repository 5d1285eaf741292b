// The leaves of a meter in memory.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <variant>

namespace simulator
{

// The type of a leaf is the alternative that it holds.
using LeafValue = std::variant<bool, std::int32_t, std::string>;

// Keyed by the complete leaf path and sorted by its bytes.
using Leaves = std::map<std::string, LeafValue, std::less<>>;

} // namespace simulator
