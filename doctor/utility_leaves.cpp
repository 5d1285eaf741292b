#include "doctor/utility_leaves.h"

#include "meterinit/option_tokens.h"
#include "network/update_triggers.h"

#include <algorithm>
#include <iterator>

namespace
{

void append(std::vector<std::string>& paths, const char* branch, const char* name)
{
    std::string path = branch;
    path += name;
    path += "/Value";
    std::replace(path.begin(), path.end(), '?', '1'); // the port has the number 1
    paths.push_back(path);
}

} // namespace

void append_main_menu_paths(std::vector<std::string>& paths)
{
    for (const auto& row : dns_leaves)
        append(paths, "", row.path);
}

void append_port_menu_paths(std::vector<std::string>& paths)
{
    for (const auto& row : port_leaves)
        append(paths, "", row.path);
}

void append_init_menu_paths(std::vector<std::string>& paths)
{
    for (const auto& row : init_leaves)
        append(paths, "", row.path);
}

void append_screen_paths(std::vector<std::string>& paths)
{
    append_main_menu_paths(paths);
    append_port_menu_paths(paths);
    append_init_menu_paths(paths);
}

void append_mirror_paths(std::vector<std::string>& paths)
{
    for (const auto& row : port_leaves) {
        if (row.mirror[0] != '\0')
            append(paths, mirror_branch, row.mirror);
    }
}

// The mirror of a flag is an integer.
LeafType mirror_type(std::size_t index)
{
    const auto* row = std::begin(port_leaves);
    while (row->mirror[0] == '\0' || index-- > 0)
        ++row;
    return row->type == LeafType::boolean ? LeafType::number : row->type;
}

void append_option_paths(std::vector<std::string>& paths)
{
    for (const OptionLeaf& leaf : option_leaves)
        append(paths, option_branch, leaf.name);
}

void append_trigger_paths(std::vector<std::string>& paths)
{
    for (const UpdateTrigger& trigger : update_triggers)
        append(paths, "", trigger.path);
}

bool is_leaf_of_utility(const char* path)
{
    std::vector<std::string> paths;
    append_screen_paths(paths);
    append_mirror_paths(paths);
    append_option_paths(paths);
    append_trigger_paths(paths);
    bool is_found = false;
    for (const std::string& other : paths)
        is_found = is_found || other == path;
    return is_found;
}
