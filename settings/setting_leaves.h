// The tables of the leaves that hold the settings. Each row describes one leaf.
//
// The code that loads settings, saves settings or looks for changed settings loops over these
// tables in the order of the rows. A new setting needs a member in a settings struct, a row in one
// of these tables, and a line and a case in a menu.
#pragma once

#include "settings/session.h"

#include <cstddef>
#include <vector>

enum class LeafType : unsigned char {
    boolean, // loaded into a flag; a leaf of another type counts as unreadable
    string,  // loaded into a text; a leaf of another type counts as unreadable
    number,  // any type is loaded into a text; a save writes the decimal value of the text
};

enum class LeafUse : unsigned char {
    saved,       // edited and saved; only settings of this kind count as changed
    shown,       // shown, but never edited or saved
    list_source, // names separated by ";", the choices for another setting
};

// Points to a text or a flag of `Settings`. One of the two pointers is null. The constructors
// convert implicitly, so that a table row can name the member directly.
template <typename Settings>
struct Member {
    // cppcheck-suppress noExplicitConstructor
    constexpr Member(EditableText Settings::*member) : text(member) {}
    // cppcheck-suppress noExplicitConstructor
    constexpr Member(EditableFlag Settings::*member) : flag(member) {}

    EditableText Settings::*text = nullptr;
    EditableFlag Settings::*flag = nullptr;
};

// A table row: a member of `Settings`, and the leaf that holds the member's value.
template <typename Settings>
struct SettingLeaf {
    char path[73]; // without "/Value"; "?" means the number of the port
    LeafType type;
    LeafUse use;
    Member<Settings> member;
    char mirror[15] = "";       // name below `mirror_branch`; empty if there is no mirror
    bool if_unreadable = false; // value of the flag when the leaf cannot be read
};

// The branch of the mirrors, from which the meter's services read the port settings. A save also
// writes each changed port setting that has a mirror to this branch. Deliberate: a save of any port
// uses the branch of port 1, because the meter's services read only this branch.
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

// Returns true when every row for a boolean leaf names a flag and every other row names a text.
template <typename Settings, std::size_t count>
constexpr bool members_match_types(const SettingLeaf<Settings> (&leaves)[count])
{
    // NOLINTNEXTLINE(readability-use-anyofallof): std::all_of is not constexpr in C++17
    for (const SettingLeaf<Settings>& leaf : leaves) {
        if ((leaf.member.flag != nullptr) != (leaf.type == LeafType::boolean))
            return false;
    }
    return true;
}
static_assert(members_match_types(dns_leaves));
static_assert(members_match_types(port_leaves));
static_assert(members_match_types(init_leaves));

// Returns the path in the row of `text`. In a constant expression, a text without a row does not
// compile.
template <typename Settings, std::size_t count>
constexpr const char* path_of(const SettingLeaf<Settings> (&leaves)[count],
                              const EditableText Settings::*text)
{
    const SettingLeaf<Settings>* leaf = leaves;
    while (leaf->member.text != text)
        ++leaf;
    return leaf->path;
}

// A setting whose changed flag is set, so that a save must write it.
struct Edit {
    const char* path; // the path in the table row, with "?" and without "/Value"
    const char* mirror;
    LeafType type;
    const EditableText* text; // null if the leaf is boolean
    const EditableFlag* flag; // null if the leaf is not boolean
};

// Returns one `Edit` for each changed setting that a save writes, in the order of the rows. Each
// `Edit` points into `settings`.
template <typename Settings, std::size_t count>
std::vector<Edit> edits_of(const SettingLeaf<Settings> (&leaves)[count], const Settings& settings)
{
    std::vector<Edit> edits;
    for (const SettingLeaf<Settings>& leaf : leaves) {
        const Member<Settings>& member = leaf.member;
        const EditableText* text = member.text != nullptr ? &(settings.*member.text) : nullptr;
        const EditableFlag* flag = member.flag != nullptr ? &(settings.*member.flag) : nullptr;
        const bool changed = member.text != nullptr ? (settings.*member.text).changed
                                                    : (settings.*member.flag).changed;
        if (leaf.use == LeafUse::saved && changed)
            edits.push_back({leaf.path, leaf.mirror, leaf.type, text, flag});
    }
    return edits;
}
