// The leaves of a meter, as they are held in memory.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <variant>

namespace simulator
{

// The type of a leaf is the alternative that the variant holds.
using LeafValue = std::variant<bool, std::int32_t, std::string>;

// The key is the complete path of a leaf. The leaves are sorted by the bytes of their paths.
using Leaves = std::map<std::string, LeafValue, std::less<>>;

} // namespace simulator
