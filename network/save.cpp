#include "network/save.h"

#include "console/command.h"
#include "console/line_reader.h"
#include "console/number_scan.h"
#include "meterinit/option_leaves.h"
#include "network/update_triggers.h"
#include "settings/setting_leaves.h"
#include "store/connection.h"
#include "store/leaf_path.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace
{

// The leaves that a save writes, and the leaves that it removes. `set_elements[i]` is the new value
// of the leaf `set_paths[i]`.
struct SaveLists {
    std::vector<std::string> set_paths;
    std::vector<toolkit::CElement> set_elements;
    std::vector<std::string> clear_paths;
};

void collect_set(SaveLists& lists, const std::string& path, const toolkit::CElement& element)
{
    lists.set_paths.push_back(path);
    lists.set_elements.push_back(element);
}

// Returns true when the text of an edit is empty. A save then removes the leaf instead of writing
// it.
bool is_emptied(const Edit& edit)
{
    return edit.text != nullptr && edit.text->text.empty();
}

toolkit::CElement element_to_save(const Edit& edit)
{
    switch (edit.type) {
    case LeafType::boolean: return element_of(edit.flag->value);
    case LeafType::number: return element_of(decimal_value(edit.text->text));
    default: return element_of(edit.text->text);
    }
}

void collect_edits(SaveLists& lists, const std::vector<Edit>& edits)
{
    for (const Edit& edit : edits) {
        const std::string path = value_path(edit.path);
        if (is_emptied(edit))
            lists.clear_paths.push_back(path);
        else
            collect_set(lists, path, element_to_save(edit));
    }
}

void collect_port(SaveLists& lists, const InterfaceSettings& port)
{
    const std::size_t first_set = lists.set_paths.size();
    const std::size_t first_clear = lists.clear_paths.size();
    collect_edits(lists, edits_of(port_leaves, port));
    number_paths(lists.set_paths, first_set, lists.set_paths.size() - first_set, port.number);
    number_paths(lists.clear_paths, first_clear, lists.clear_paths.size() - first_clear,
                 port.number);
}

bool is_in_prim_cfg(const Edit& edit)
{
    return std::strncmp(edit.path, prim_cfg_branch, std::strlen(prim_cfg_branch)) == 0;
}

// Returns true when the save writes at least one leaf of the primary configuration.
bool prim_cfg_changed(const std::vector<Edit>& edits)
{
    return std::any_of(edits.begin(), edits.end(),
                       [](const Edit& edit) { return is_in_prim_cfg(edit) && !is_emptied(edit); });
}

void collect_triggers(SaveLists& lists)
{
    for (const UpdateTrigger& trigger : update_triggers) {
        if (trigger.stage == TriggerStage::settings)
            collect_set(lists, value_path(trigger.path), element_of(true));
    }
}

SaveLists collect(const SettingsSession& session)
{
    SaveLists lists;
    collect_edits(lists, edits_of(dns_leaves, session));
    for (const InterfaceSettings& port : session.interfaces)
        collect_port(lists, port);
    const std::vector<Edit> init_edits = edits_of(init_leaves, session);
    collect_edits(lists, init_edits);
    if (prim_cfg_changed(init_edits))
        collect_triggers(lists);
    return lists;
}

// Writes the value of an edit to the mirror. A flag is written as an integer. Prints a message when
// the write fails. The save continues after a failure.
void write_mirror(const Edit& edit, api_status_t& status)
{
    const bool is_flag = edit.type == LeafType::boolean;
    const toolkit::CElement saved = element_to_save(edit);
    const toolkit::CElement written = is_flag ? element_of(saved.to_int()) : saved;
    const std::string path = value_path(std::string(mirror_branch) + edit.mirror);
    const int result = cds().set_leaf(path, written, status, setting_flag, "");
    if (result != 0 || status != status_success) {
        const char* byte = is_flag ? "\x93" : ""; // deliberate: only a flag's message has this byte
        std::printf("set_leaf failed for %s%s\n", byte, path.c_str());
    }
}

void write_mirrors(const InterfaceSettings& port)
{
    api_status_t status = status_success; // deliberate: the loop does not reset it
    for (const Edit& edit : edits_of(port_leaves, port)) {
        if (*edit.mirror != '\0' && !is_emptied(edit))
            write_mirror(edit, status);
    }
}

void add_option_triggers(TriggerStage stage)
{
    for (const UpdateTrigger& trigger : update_triggers) {
        if (trigger.stage == stage)
            add_option_trigger(value_path(trigger.path));
    }
}

// Writes the batch. After a success, prints `success` and returns true. After a failure, prints an
// error message and returns false.
bool write_and_report_batch(const char* success)
{
    const bool written = write_option_batch() == 0;
    std::puts(written ? success : "Error while setting Velmora II Options list in cds.");
    return written;
}

// Writes two batches: the option leaves with the option triggers, then the triggers of the
// measurement logs. Writes the second batch even when the first write fails. Returns true when both
// writes succeeded.
bool write_options()
{
    add_option_triggers(TriggerStage::options);
    const bool options_set = write_and_report_batch("Velmora II Options list set in CDS");
    pause_for(1);

    // The triggers of the measurement logs stay in the batch until an options list is checked.
    begin_option_batch();
    add_option_triggers(TriggerStage::measurement_logs);
    const bool logs_triggered = write_and_report_batch("Velmora II ML Config sent");
    set_options_pending(false);
    return options_set && logs_triggered;
}

// Writes the settings, then the option leaves if they are pending. Writes the option leaves even
// when the store rejected single settings, but not when the whole call failed. Returns true when
// every write succeeded. Writes nothing and returns true when `lists` has no leaf to set.
bool write_settings(const SaveLists& lists, std::vector<api_status_t>& statuses)
{
    if (lists.set_paths.empty())
        return true;
    const std::vector<pcd_tribool_t> flags(lists.set_paths.size(), setting_flag);
    std::string source;
    toolkit::CEvent::format_source_string(source, "Console", "", "");
    if (cds().set_leaves(lists.set_paths, lists.set_elements, flags, statuses, source) != 0)
        return false;

    const bool all_set = std::all_of(statuses.begin(), statuses.end(),
                                     [](api_status_t status) { return status == status_success; });
    const bool options_written = !are_options_pending() || write_options();
    return all_set && options_written;
}

bool clear_emptied(const SaveLists& lists, std::vector<api_status_t>& statuses)
{
    return lists.clear_paths.empty() || cds().clear_leaves(lists.clear_paths, statuses, "") == 0;
}

void update_model_number()
{
    std::puts("Updating the Model Number");
    run_command(Command::update_model_number);
    std::puts("Meter must be reset for changed options to take effect.");
}

// Writes every changed setting to the store and clears the changed flags. Returns true on success.
// After a failure, returns false and leaves the changed flags set. Without a change, makes no call
// and returns true.
bool save(SettingsSession& session)
{
    const SaveLists lists = collect(session);
    if (session.options_list.changed && !session.options_list.text.empty())
        set_options_pending(true);
    for (const InterfaceSettings& port : session.interfaces)
        write_mirrors(port);

    std::vector<api_status_t> statuses(lists.set_paths.size());
    if (!write_settings(lists, statuses) || !clear_emptied(lists, statuses))
        return false;
    if (init_changed(session))
        update_model_number();
    clear_changed_flags(session);
    return true;
}

void apply()
{
    run_command(Command::remove_downloads);
    run_command(Command::restart_network);
}

} // namespace

void save_and_apply(SettingsSession& session)
{
    if (!confirmed("Save & apply all settings? (y/n)"))
        return;
    if (!save(session)) {
        std::puts("Error saving settings!");
        return;
    }
    std::puts("Settings saved.");
    apply();
}
