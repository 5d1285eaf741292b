// The leaves that the utility reads and writes, from its own tables.
#pragma once

#include "settings/setting_leaves.h"

#include <cstddef>
#include <string>
#include <vector>

// Each appends whole paths to `paths`, in the order of the utility's table.
void append_main_menu_paths(std::vector<std::string>& paths);
void append_port_menu_paths(std::vector<std::string>& paths); // of port 1
void append_init_menu_paths(std::vector<std::string>& paths);

// Appends the paths of all leaves that the screens read.
void append_screen_paths(std::vector<std::string>& paths);

// Each appends the paths of leaves that a save writes and no screen reads. All options and triggers
// are booleans.
void append_mirror_paths(std::vector<std::string>& paths);
void append_option_paths(std::vector<std::string>& paths);
void append_trigger_paths(std::vector<std::string>& paths);

// Returns the type that a save writes to mirror `index` of `append_mirror_paths`.
LeafType mirror_type(std::size_t index);

bool is_leaf_of_utility(const char* path);
