// Leaf paths: each names one leaf of the store. A "?" in a path is a placeholder for the number of
// an Ethernet port.
#pragma once

#include "settings/setting_leaves.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

// Replaces the first "?" in each of `count` paths, starting at index `first`, by `number` in
// decimal. Throws std::out_of_range at a path without "?"; the paths before it are then already
// changed.
void number_paths(std::vector<std::string>& paths, std::size_t first, std::size_t count,
                  std::uint32_t number);

// Returns `path` with "/Value" appended: the path of the leaf that holds the value.
std::string value_path(const std::string& path);

// Replaces every path by its `value_path`.
void append_value_names(std::vector<std::string>& paths);

// Returns the complete paths of the leaves that hold `settings`, in the order of the rows.
template <typename Settings, std::size_t count>
std::vector<std::string> leaf_paths(const SettingLeaf<Settings> (&leaves)[count],
                                    const Settings& settings)
{
    std::vector<std::string> paths;
    for (const SettingLeaf<Settings>& leaf : leaves)
        paths.push_back(leaf.path);
    if constexpr (std::is_same_v<Settings, InterfaceSettings>)
        number_paths(paths, 0, count, settings.number);
    append_value_names(paths);
    return paths;
}
