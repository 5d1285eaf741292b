// The leaves of the store behind the settings record: one row per leaf.
//
// Loading, saving and the changed flags are loops over these tables, in the order of the rows. A
// new setting is its member of the record, its row here, and its line and case in a menu.
#pragma once

#include "settings/session.h"

#include <cstddef>

enum class LeafType : unsigned char {
    boolean, // held by a flag; any other stored type is unreadable
    string,  // held by a text; any other stored type is unreadable
    number,  // held by a text; loads any stored type as its text, saves the text's decimal value
};

enum class LeafUse : unsigned char {
    saved,       // edited and saved; only these leaves count as a change
    shown,       // shown only
    list_source, // names separated by ";", from which another setting is chosen
};

// A member of `Record` and its leaf.
template <typename Record>
struct SettingLeaf {
    char path[73]; // without "/Value"; "?" is the number of the port
    LeafType type;
    LeafUse use;
    EditableText Record::*text;           // null for a boolean leaf
    EditableFlag Record::*flag = nullptr; // null for the other types
    bool if_unreadable = false;           // value of the flag when its leaf cannot be read
    char mirror[15] = "";                 // name below `mirror_branch`, or empty
};

// The leaves that the meter's own services read: a saved port setting with a mirror is also written
// there. They are those of port 1 whichever port is saved, which is deliberate.
inline constexpr char mirror_branch[] = "/VMC/Comms/EthPort/1/General/";

// clang-format off
inline constexpr SettingLeaf<SettingsSession> dns_leaves[] = {
    {"/Software/System Settings/Network/Name Server/1", LeafType::string, LeafUse::saved, &SettingsSession::primary_dns},
    {"/Software/System Settings/Network/Name Server/2", LeafType::string, LeafUse::saved, &SettingsSession::secondary_dns},
};

inline constexpr SettingLeaf<InterfaceSettings> port_leaves[] = {
    {"/Software/System Settings/Network/Interface/?/DHCP Enabled",               LeafType::boolean, LeafUse::saved,       nullptr, &InterfaceSettings::dhcp, true, "DHCP"},
    {"/Software/System Settings/Network/Interface/?/IP Address",                 LeafType::string,  LeafUse::saved,       &InterfaceSettings::ip_address, nullptr, false, "IPAddress"},
    {"/Software/System Settings/Network/Interface/?/Subnet Mask",                LeafType::string,  LeafUse::saved,       &InterfaceSettings::subnet_mask, nullptr, false, "SubnetMask"},
    {"/Software/System Settings/Network/Interface/?/Default Gateway",            LeafType::string,  LeafUse::saved,       &InterfaceSettings::default_gateway, nullptr, false, "DefaultGateway"},
    {"/Software/System Settings/Network/Interface/?/MAC Address",                LeafType::string,  LeafUse::shown,       &InterfaceSettings::mac_address},
    {"/Software/System Settings/Network/Interface/?/Link Enabled",               LeafType::boolean, LeafUse::shown,       nullptr, &InterfaceSettings::link_enabled, false},
    {"/Software/System Settings/Network/Interface/?/Media Type/Supported Types", LeafType::string,  LeafUse::list_source, &InterfaceSettings::supported_media_types},
    {"/Software/System Settings/Network/Interface/?/Media Type/Current Type",    LeafType::string,  LeafUse::saved,       &InterfaceSettings::media_type},
};

inline constexpr SettingLeaf<SettingsSession> init_leaves[] = {
    {"/VMIC/SerialNumber",     LeafType::string, LeafUse::saved, &SettingsSession::serial_number},
    {"/VMIC/OptionsList",      LeafType::string, LeafUse::saved, &SettingsSession::options_list},
    {"/VMC/PrimCfg/Form",      LeafType::number, LeafUse::saved, &SettingsSession::meter_form},
    {"/VMC/PrimCfg/ClassAmps", LeafType::number, LeafUse::saved, &SettingsSession::class_amps},
    {"/VMC/PrimCfg/NomFreq",   LeafType::number, LeafUse::saved, &SettingsSession::nominal_frequency},
    {"/VMIC/Enclosure",        LeafType::string, LeafUse::saved, &SettingsSession::enclosure},
};
// clang-format on

// A row has the kind of member that its type needs.
template <typename Record, std::size_t count>
constexpr bool members_match_types(const SettingLeaf<Record> (&leaves)[count])
{
    for (const SettingLeaf<Record>& leaf : leaves) {
        const bool is_flag = leaf.type == LeafType::boolean;
        if ((leaf.flag != nullptr) != is_flag || (leaf.text != nullptr) == is_flag)
            return false;
    }
    return true;
}
static_assert(members_match_types(dns_leaves));
static_assert(members_match_types(port_leaves));
static_assert(members_match_types(init_leaves));

// The changed flag of a row's member.
template <typename Record, typename Owner>
auto& changed_flag(const SettingLeaf<Record>& leaf, Owner& record)
{
    return leaf.flag != nullptr ? (record.*leaf.flag).changed : (record.*leaf.text).changed;
}

// True when a save must write the row: it is saved and its member was edited.
template <typename Record>
bool is_edited(const SettingLeaf<Record>& leaf, const Record& record)
{
    return leaf.use == LeafUse::saved && changed_flag(leaf, record);
}
