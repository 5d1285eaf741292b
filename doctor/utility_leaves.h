// The leaves that the utility reads and writes, from its own tables.
#pragma once

#include "settings/setting_leaves.h"

#include <string>
#include <vector>

enum class LeafKind : unsigned char {
    main_menu, // what the screens read
    port_menu,
    init_menu,
    mirror, // what a save writes and no screen reads
    option,
    trigger,
};

struct UtilityLeaf {
    LeafKind kind;
    LeafType type;    // with which it is written
    std::string path; // whole
};

// All of them, those of a kind in the order of its table.
const std::vector<UtilityLeaf>& utility_leaves();

// The paths of the kinds from `first` to `last`.
std::vector<std::string> paths_of(LeafKind first, LeafKind last);

// The paths of those that the screens read.
std::vector<std::string> screen_paths();

bool is_leaf_of_utility(const char* path);
