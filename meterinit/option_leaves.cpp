#include "meterinit/option_leaves.h"

#include "settings/setting_leaves.h"
#include "store/connection.h"
#include "store/leaf_path.h"

namespace
{

bool options_pending = false;

// The path and the value of the leaf that was prepared last, for the batch or for clearing.
std::string current_path;
toolkit::CElement current_element;

// The batch, as the parallel arrays that `set_leaves` takes.
std::vector<std::string> option_paths;
std::vector<toolkit::CElement> option_values;
std::vector<pcd_tribool_t> option_flags;
std::vector<api_status_t> option_statuses;

void push_to_batch(pcd_tribool_t flag)
{
    push_current_path(option_paths);
    option_values.push_back(current_element);
    option_flags.push_back(flag);
}

bool contains(LeafSet leaves, const OptionLeaf& leaf)
{
    return (leaves >> (&leaf - option_leaves) & 1U) != 0;
}

std::string path_of(const OptionLeaf& leaf)
{
    return value_path(std::string(option_branch) + leaf.name);
}

} // namespace

bool are_options_pending()
{
    return options_pending;
}

void set_options_pending(bool pending)
{
    options_pending = pending;
}

void begin_option_batch()
{
    option_paths.clear();
    option_values.clear();
    option_flags.clear();
}

void add_option_leaf(const std::string& path, bool value)
{
    current_path = path;
    current_element = value;
    push_to_batch(setting_flag);
}

void add_option_leaves(LeafSet leaves, bool value)
{
    for (const OptionLeaf& leaf : option_leaves) {
        if (contains(leaves, leaf))
            add_option_leaf(path_of(leaf), value);
    }
}

void add_option_trigger(const std::string& path)
{
    current_path = path;
    current_element = true;
    push_to_batch(trigger_flag);
}

int write_option_batch()
{
    return cds().set_leaves(option_paths, option_values, option_flags, option_statuses, "");
}

void push_current_path(std::vector<std::string>& paths)
{
    paths.push_back(current_path);
}

int clear_option_leaves()
{
    constexpr const char* options_list = path_of(init_leaves, &SettingsSession::options_list);
    current_path = value_path(options_list);
    current_element = std::string();
    std::vector<std::string> paths;
    push_current_path(paths);
    std::vector<toolkit::CElement> values = {current_element};

    current_element = false;
    for (const OptionLeaf& leaf : option_leaves) {
        if (!contains(cleared_leaves, leaf))
            continue;
        current_path = path_of(leaf);
        push_current_path(paths);
        values.push_back(current_element);
    }
    const std::vector<pcd_tribool_t> flags(paths.size(), setting_flag);
    std::vector<api_status_t> statuses; // the call fills it, but nothing reads it
    return cds().set_leaves(paths, values, flags, statuses, "");
}
