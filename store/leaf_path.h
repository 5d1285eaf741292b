// Leaf paths: each text path names one leaf of the store. A "?" in a path is the place of an
// Ethernet port's number.
#pragma once

#include "settings/setting_leaves.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The paths of a table's rows, as they are in the table.
template <typename Record, std::size_t count>
std::vector<std::string> leaf_paths(const SettingLeaf<Record> (&leaves)[count])
{
    std::vector<std::string> paths;
    for (const SettingLeaf<Record>& leaf : leaves)
        paths.push_back(leaf.path);
    return paths;
}

// Replaces the first "?" of each of the `count` paths from index `first` on by the decimal
// `number`. Throws std::out_of_range at a path without "?"; those before it are then numbered.
void number_paths(std::vector<std::string>& paths, std::size_t first, std::size_t count,
                  std::uint32_t number);

// Appends "/Value", the name of the leaf that holds a path's value, to every path.
void append_value_names(std::vector<std::string>& paths);
