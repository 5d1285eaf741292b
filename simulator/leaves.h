// The leaves of a meter in memory.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <variant>

namespace simulator
{

// The alternative that is held is the leaf's type.
using LeafValue = std::variant<bool, std::int32_t, std::string>;

// By whole leaf path, sorted by its bytes.
using Leaves = std::map<std::string, LeafValue, std::less<>>;

} // namespace simulator
