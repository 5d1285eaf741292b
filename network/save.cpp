#include "network/save.h"

#include "console/command.h"
#include "console/line_reader.h"
#include "console/number_scan.h"
#include "meterinit/meter_leaves.h"
#include "meterinit/option_leaves.h"
#include "network/network_leaves.h"
#include "store/connection.h"
#include "store/leaf_path.h"

#include <algorithm>
#include <cstdio>

namespace
{

// What one save writes. The first two arrays run in parallel.
struct SaveLists {
    std::vector<std::string> set_paths;
    std::vector<toolkit::CElement> set_elements;
    std::vector<std::string> clear_paths;
};

struct DnsLeaf {
    EditableText SettingsSession::*text;
    const char* path;
};

constexpr DnsLeaf dns_leaves[] = {
    {&SettingsSession::primary_dns, primary_dns_path},
    {&SettingsSession::secondary_dns, secondary_dns_path},
};

// A port's text. One with a general leaf is also written there at once, ahead of the batch.
struct PortLeaf {
    EditableText InterfaceSettings::*text;
    const char* path;
    const char* general_path; // null: none
};

// The general leaves are those of port 1 whichever port is saved, which is deliberate.
constexpr char dhcp_general_path[] = "/VMC/Comms/EthPort/1/General/DHCP/Value";

// clang-format off
constexpr PortLeaf port_leaves[] = {
    {&InterfaceSettings::ip_address,      ip_address_path,      "/VMC/Comms/EthPort/1/General/IPAddress/Value"},
    {&InterfaceSettings::subnet_mask,     subnet_mask_path,     "/VMC/Comms/EthPort/1/General/SubnetMask/Value"},
    {&InterfaceSettings::default_gateway, default_gateway_path, "/VMC/Comms/EthPort/1/General/DefaultGateway/Value"},
    {&InterfaceSettings::media_type,      media_type_path,      nullptr},
};
// clang-format on

template <typename Value>
toolkit::CElement element_of(const Value& value)
{
    toolkit::CElement element;
    element = value;
    return element;
}

void collect_set(SaveLists& lists, const char* path, const toolkit::CElement& element)
{
    lists.set_paths.emplace_back(path);
    lists.set_elements.push_back(element);
}

// Puts a changed text on the set list, or on the clear list when it is empty.
void collect_text(SaveLists& lists, const char* path, const EditableText& value)
{
    if (!value.changed)
        return;
    if (value.text.empty())
        lists.clear_paths.emplace_back(path);
    else
        collect_set(lists, path, element_of(value.text));
}

// Writes one of the port's general leaves. A failure is told and does not stop the save.
// `remark` is printed before the path.
void set_general_leaf(const char* path, const toolkit::CElement& element, api_status_t& status,
                      const char* remark)
{
    const int result = cds().set_leaf(path, element, status, setting_flag, "");
    if (result != 0 || status != status_success)
        std::printf("set_leaf failed for %s%s\n", remark, path);
}

void collect_dhcp(SaveLists& lists, const EditableFlag& dhcp, api_status_t& status)
{
    if (!dhcp.changed)
        return;
    const toolkit::CElement enabled = element_of(dhcp.value);
    collect_set(lists, dhcp_path, enabled);
    // The byte 0x93 in this one message is deliberate.
    set_general_leaf(dhcp_general_path, element_of(enabled.to_int()), status, "\x93");
}

// Collects a port's settings and writes its general leaves.
void collect_port(SaveLists& lists, const InterfaceSettings& port)
{
    const std::size_t first_set = lists.set_paths.size();
    const std::size_t first_clear = lists.clear_paths.size();

    api_status_t status = status_success; // not reset between the port's leaves
    collect_dhcp(lists, port.dhcp, status);
    for (const PortLeaf& leaf : port_leaves) {
        const EditableText& value = port.*leaf.text;
        collect_text(lists, leaf.path, value);
        if (value.changed && !value.text.empty() && leaf.general_path != nullptr)
            set_general_leaf(leaf.general_path, element_of(value.text), status, "");
    }

    number_paths(lists.set_paths, first_set, lists.set_paths.size() - first_set, port.number);
    number_paths(lists.clear_paths, first_clear, lists.clear_paths.size() - first_clear,
                 port.number);
}

// Collects the initialisation texts and the trigger of the primary configuration.
void collect_init(SaveLists& lists, const SettingsSession& session)
{
    bool prim_cfg_changed = false;
    for (const MeterLeaf& leaf : meter_leaves) {
        const EditableText& value = session.*leaf.text;
        if (leaf.type == LeafType::text || value.text.empty()) {
            collect_text(lists, leaf.path, value);
        } else if (value.changed) {
            collect_set(lists, leaf.path, element_of(decimal_value(value.text)));
            prim_cfg_changed = true;
        }
    }
    if (session.options_list.changed && !session.options_list.text.empty())
        set_options_pending(true);
    if (prim_cfg_changed)
        collect_set(lists, "/VMF/UpdateService/SetPrimCfg", element_of(true));
}

SaveLists collect(const SettingsSession& session)
{
    SaveLists lists;
    for (const DnsLeaf& leaf : dns_leaves)
        collect_text(lists, leaf.path, session.*leaf.text);
    for (const InterfaceSettings& port : session.interfaces)
        collect_port(lists, port);
    collect_init(lists, session);
    append_value_names(lists.set_paths);
    append_value_names(lists.clear_paths);
    return lists;
}

// Writes the batch and tells how it went, `success` when all of it was taken.
bool write_told_batch(const char* success)
{
    const bool written = write_option_batch() == 0;
    std::puts(written ? success : "Error while setting Velmora II Options list in cds.");
    return written;
}

// Writes the option leaves and triggers their update services; then triggers the measurement
// logs. Returns true when both batches were written; the second is written in any case.
bool write_options()
{
    add_option_trigger("/VMF/UpdateService/OptionsUpdate/Value");
    add_option_trigger("/VMF/UpdateService/OptionChange/DualLP/Value");
    const bool options_set = write_told_batch("Velmora II Options list set in CDS");
    pause_for(1);

    // The batch keeps these two until the next options list is checked.
    begin_option_batch();
    add_option_trigger("/VMF/UpdateService/SetMeasLog/1/Value");
    add_option_trigger("/VMF/UpdateService/SetMeasLog/2/Value");
    const bool logs_told = write_told_batch("Velmora II ML Config sent");
    set_options_pending(false);
    return options_set && logs_told;
}

// Writes the set list, and the options when they are pending: also when a leaf of the set list
// was refused, but not when the whole list was. Returns true when all of it succeeded.
bool write_settings(const SaveLists& lists, std::vector<api_status_t>& statuses)
{
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

// Returns true when every changed setting is in the store; the marks are then clear.
bool save(SettingsSession& session)
{
    const SaveLists lists = collect(session);
    std::vector<api_status_t> statuses(lists.set_paths.size());
    if (!lists.set_paths.empty() && !write_settings(lists, statuses))
        return false;
    if (!lists.clear_paths.empty() && cds().clear_leaves(lists.clear_paths, statuses, "") != 0)
        return false;

    if (init_changed(session)) {
        std::puts("Updating the Model Number");
        run_command("vmkeys -m >/dev/null 2>&1");
        std::puts("Meter must be reset for changed options to take effect.");
    }
    clear_marks(session);
    return true;
}

} // namespace

void save_and_apply(SettingsSession& session)
{
    if (!confirmed("Save & apply all settings? (y/n)"))
        return;
    if (any_changed(session) && !save(session)) {
        std::puts("Error saving settings!");
        return;
    }
    std::puts("Settings saved.");
    run_command("rm -rf /jffs/downloads/vmconfig.*");
    run_command("/etc/init.d/network restart > /dev/null 2>&1");
}
