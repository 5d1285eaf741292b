// The paths of the leaves that the utility reads and writes, from the utility's own tables.
#pragma once

#include "settings/setting_leaves.h"

#include <cstddef>
#include <string>
#include <vector>

// Each function appends the complete paths of the leaves that one menu reads, in the order of the
// utility's table.
void append_main_menu_paths(std::vector<std::string>& paths);
void append_port_menu_paths(std::vector<std::string>& paths); // for port 1
void append_init_menu_paths(std::vector<std::string>& paths);

// Appends the paths of all leaves that the screens read.
void append_screen_paths(std::vector<std::string>& paths);

// Each function appends the complete paths of leaves that a save writes and no screen reads. All
// option leaves and triggers are booleans.
void append_mirror_paths(std::vector<std::string>& paths);
void append_option_paths(std::vector<std::string>& paths);
void append_trigger_paths(std::vector<std::string>& paths);

// Returns the type of value that a save writes to a mirror. `index` is the position of the mirror
// among the paths that `append_mirror_paths` appends.
LeafType mirror_type(std::size_t index);

bool is_leaf_of_utility(const char* path);
