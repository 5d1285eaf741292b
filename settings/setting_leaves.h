// The leaves of the store behind the settings record: one row per leaf.
//
// Loading, saving and the changed flags are loops over these tables, in the order of the rows. A
// new setting is its member of the record, its row here, and its line and case in a menu.
#pragma once

#include "settings/session.h"

#include <cstddef>
#include <vector>

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

// A text or a flag of `Record`; the other pointer is null. A row names its member directly, so the
// constructors convert.
template <typename Record>
struct Member {
    // cppcheck-suppress noExplicitConstructor
    constexpr Member(EditableText Record::*member) : text(member) {}
    // cppcheck-suppress noExplicitConstructor
    constexpr Member(EditableFlag Record::*member) : flag(member) {}

    EditableText Record::*text = nullptr;
    EditableFlag Record::*flag = nullptr;
};

// A member of `Record` and its leaf.
template <typename Record>
struct SettingLeaf {
    char path[73]; // without "/Value"; "?" is the number of the port
    LeafType type;
    LeafUse use;
    Member<Record> member;
    char mirror[15] = "";       // name below `mirror_branch`, or empty
    bool if_unreadable = false; // value of a flag whose leaf cannot be read
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
    {"/Software/System Settings/Network/Interface/?/DHCP Enabled",               LeafType::boolean, LeafUse::saved,       &InterfaceSettings::dhcp, "DHCP", true},
    {"/Software/System Settings/Network/Interface/?/IP Address",                 LeafType::string,  LeafUse::saved,       &InterfaceSettings::ip_address, "IPAddress"},
    {"/Software/System Settings/Network/Interface/?/Subnet Mask",                LeafType::string,  LeafUse::saved,       &InterfaceSettings::subnet_mask, "SubnetMask"},
    {"/Software/System Settings/Network/Interface/?/Default Gateway",            LeafType::string,  LeafUse::saved,       &InterfaceSettings::default_gateway, "DefaultGateway"},
    {"/Software/System Settings/Network/Interface/?/MAC Address",                LeafType::string,  LeafUse::shown,       &InterfaceSettings::mac_address},
    {"/Software/System Settings/Network/Interface/?/Link Enabled",               LeafType::boolean, LeafUse::shown,       &InterfaceSettings::link_enabled},
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

// A boolean leaf is held by a flag, any other by a text.
template <typename Record, std::size_t count>
constexpr bool members_match_types(const SettingLeaf<Record> (&leaves)[count])
{
    // NOLINTNEXTLINE(readability-use-anyofallof): std::all_of is no constant expression here
    for (const SettingLeaf<Record>& leaf : leaves) {
        if ((leaf.member.flag != nullptr) != (leaf.type == LeafType::boolean))
            return false;
    }
    return true;
}
static_assert(members_match_types(dns_leaves));
static_assert(members_match_types(port_leaves));
static_assert(members_match_types(init_leaves));

// A setting that was edited and that a save must therefore write.
struct Edit {
    const char* path; // as in the row
    const char* mirror;
    LeafType type;
    const EditableText* text; // null for a boolean leaf
    const EditableFlag* flag; // null for the other types
};

template <typename Record>
std::vector<Edit> edits_between(const SettingLeaf<Record>* first, const SettingLeaf<Record>* last,
                                const Record& record)
{
    std::vector<Edit> edits;
    for (const SettingLeaf<Record>* leaf = first; leaf != last; ++leaf) {
        const Member<Record>& member = leaf->member;
        const EditableText* text = member.text != nullptr ? &(record.*member.text) : nullptr;
        const EditableFlag* flag = member.flag != nullptr ? &(record.*member.flag) : nullptr;
        const bool changed =
            member.text != nullptr ? (record.*member.text).changed : (record.*member.flag).changed;
        if (leaf->use == LeafUse::saved && changed)
            edits.push_back({leaf->path, leaf->mirror, leaf->type, text, flag});
    }
    return edits;
}

// The edits of a record, in the order of its rows. They point into the record.
template <typename Record, std::size_t count>
std::vector<Edit> edits_of(const SettingLeaf<Record> (&leaves)[count], const Record& record)
{
    return edits_between(leaves, leaves + count, record);
}
