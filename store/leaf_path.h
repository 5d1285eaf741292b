// Functions that make leaf paths. A leaf path names one leaf of the store. A "?" in a path must be
// replaced by the number of an Ethernet port.
#pragma once

#include "settings/setting_leaves.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

// Replaces the first "?" in each of the `count` paths from index `first` on by `number` in decimal.
// Throws std::out_of_range when a path has no "?". The paths before that path are then already
// changed.
void number_paths(std::vector<std::string>& paths, std::size_t first, std::size_t count,
                  std::uint32_t number);

// Returns `path` with "/Value" appended. The result is the path of the leaf that holds the value.
std::string value_path(const std::string& path);

// Appends "/Value" to each path.
void append_value_names(std::vector<std::string>& paths);

// Returns the path of every leaf in the table, in the order of the rows. Each path ends with
// "/Value". In paths of a port, the number of the port replaces "?".
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
