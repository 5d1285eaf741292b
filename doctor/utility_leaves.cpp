#include "doctor/utility_leaves.h"

#include "meterinit/option_tokens.h"
#include "network/update_triggers.h"
#include "store/leaf_path.h"

#include <algorithm>
#include <type_traits>

namespace
{

using UtilityLeaves = std::vector<UtilityLeaf>;

// The rows of a menu, with the paths that the menu makes of them.
template <typename Record, std::size_t count>
void append_rows(UtilityLeaves& leaves, LeafKind kind, const SettingLeaf<Record> (&rows)[count])
{
    std::vector<std::string> paths = leaf_paths(rows);
    if constexpr (std::is_same_v<Record, InterfaceSettings>)
        number_paths(paths, 0, count, InterfaceSettings().number);
    append_value_names(paths);
    for (std::size_t i = 0; i < count; ++i)
        leaves.push_back({kind, rows[i].type, paths[i]});
}

void append(UtilityLeaves& leaves, LeafKind kind, LeafType type, const char* branch,
            const char* name)
{
    leaves.push_back({kind, type, branch});
    leaves.back().path += name;
    leaves.back().path += "/Value";
}

// The mirror of a flag is an integer.
void append_mirrors(UtilityLeaves& leaves)
{
    for (const SettingLeaf<InterfaceSettings>& row : port_leaves) {
        const LeafType type = row.type == LeafType::boolean ? LeafType::number : row.type;
        if (row.mirror[0] != '\0')
            append(leaves, LeafKind::mirror, type, mirror_branch, row.mirror);
    }
}

UtilityLeaves collect_leaves()
{
    UtilityLeaves leaves;
    append_rows(leaves, LeafKind::main_menu, dns_leaves);
    append_rows(leaves, LeafKind::port_menu, port_leaves);
    append_rows(leaves, LeafKind::init_menu, init_leaves);
    append_mirrors(leaves);
    for (const OptionLeaf& leaf : option_leaves)
        append(leaves, LeafKind::option, LeafType::boolean, option_branch, leaf.name);
    for (const UpdateTrigger& trigger : update_triggers)
        append(leaves, LeafKind::trigger, LeafType::boolean, "", trigger.path);
    return leaves;
}

} // namespace

const UtilityLeaves& utility_leaves()
{
    static const UtilityLeaves leaves = collect_leaves();
    return leaves;
}

std::vector<std::string> paths_of(LeafKind first, LeafKind last)
{
    std::vector<std::string> paths;
    for (const UtilityLeaf& leaf : utility_leaves()) {
        if (leaf.kind >= first && leaf.kind <= last)
            paths.push_back(leaf.path);
    }
    return paths;
}

std::vector<std::string> screen_paths()
{
    return paths_of(LeafKind::main_menu, LeafKind::init_menu);
}

bool is_leaf_of_utility(const char* path)
{
    const UtilityLeaves& leaves = utility_leaves();
    return std::any_of(leaves.begin(), leaves.end(),
                       [&](const UtilityLeaf& leaf) { return leaf.path == path; });
}
