// Leaf paths: each names one leaf of the store. A "?" in a path is a placeholder for the number of
// an Ethernet port.
#pragma once

#include "settings/setting_leaves.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Returns the paths of a table's rows, unaltered.
template <typename Settings, std::size_t count>
std::vector<std::string> leaf_paths(const SettingLeaf<Settings> (&leaves)[count])
{
    std::vector<std::string> paths;
    for (const SettingLeaf<Settings>& leaf : leaves)
        paths.push_back(leaf.path);
    return paths;
}

// Replaces the first "?" in each of `count` paths, starting at index `first`, by `number` in
// decimal. Throws std::out_of_range at a path without "?"; the paths before it are then already
// changed.
void number_paths(std::vector<std::string>& paths, std::size_t first, std::size_t count,
                  std::uint32_t number);

// Appends "/Value", the name of the leaf that holds a path's value, to every path.
void append_value_names(std::vector<std::string>& paths);
