#include "console/menu.h"
#include "doctor/doctor.h"
#include "doctor/utility_leaves.h"
#include "meterinit/meter_identity.h"
#include "network/port_menu.h"
#include "store/connection.h"
#include "store/leaf_loader.h"

#include <cstring>

namespace
{

// Leaves that the screens read

// What the checks need of a row of a menu's table.
struct MenuRow {
    LeafType type;
    LeafUse use;
    bool if_unreadable;
    const char* if_empty;         // what the menu shows for an empty text
    const IndexedSetting* number; // null for a leaf that is not a number
};

MenuRow menu_row(const SettingLeaf<InterfaceSettings>& leaf)
{
    const bool is_media_type = leaf.member.text == &InterfaceSettings::media_type;
    return {leaf.type, leaf.use, leaf.if_unreadable,
            is_media_type ? media_type_if_empty : none_text, nullptr};
}

MenuRow menu_row(const SettingLeaf<SettingsSession>& leaf)
{
    const IndexedSetting* number = nullptr;
    for (const auto* setting : {&meter_form_setting, &class_amps_setting, &frequency_setting})
        number = setting->text == leaf.member.text ? setting : number;
    return {leaf.type, leaf.use, leaf.if_unreadable, none_text, number};
}

// What a menu shows, or offers, for a leaf: loaded and shown by the menu's own functions.
Words shown_by_menu(const MenuRow& row, LeafCursor next)
{
    EditableFlag flag;
    EditableText text; // NOLINT(misc-const-correctness): loaded below
    if (row.type == LeafType::boolean) {
        load_flag(flag, next, row.if_unreadable);
        return quoted(enabled_or_disabled(flag));
    }
    (row.type == LeafType::number ? load_text : load_string_text)(text, next);
    if (row.number != nullptr)
        return quoted(indexed_value(*row.number, text));
    const bool is_shown_empty = row.use == LeafUse::list_source || !text.text.empty();
    return quoted(is_shown_empty ? text.text.c_str() : row.if_empty);
}

const char* verb(const MenuRow& row)
{
    return row.use == LeafUse::list_source ? "offers" : "shows";
}

// A save removes an emptied text, which may be missing for that reason.
bool can_be_removed(const MenuRow& row)
{
    return row.use == LeafUse::saved && row.type != LeafType::boolean;
}

void judge_unreadable(Doctor& doctor, const MenuRow& row, const char* value, api_status_t status)
{
    if (!is_missing(doctor, {0, status, {}}))
        add_wrong(doctor.report,
                  "has status %d: the menu %s %s\n"
                  "Make this leaf readable:",
                  status, verb(row), value);
    else if (!can_be_removed(row))
        add_wrong(doctor.report,
                  "is missing: the menu %s %s\n"
                  "Create this leaf or correct its path:",
                  verb(row), value);
    else
        add_note(doctor.report,
                 "is missing: the menu %s %s\n"
                 "This is usual while no value is set. If one is, correct the path:",
                 verb(row), value);
}

void judge_type(Doctor& doctor, const MenuRow& row, const char* value, int type)
{
    const char* wanted = type_name(type_code(row.type));
    if (row.type == LeafType::number)
        add_note(doctor.report,
                 "is %s: the menu shows %s\nA save writes %s to this leaf:", type_name(type), value,
                 wanted);
    else
        add_wrong(doctor.report,
                  "is %s: the menu always %s %s\nStore %s in this leaf:", type_name(type),
                  verb(row), value, wanted);
}

void judge(Doctor& doctor, const MenuRow& row, const LeafCursor& read)
{
    const Words value = shown_by_menu(row, read);
    const int type = read.element->type();
    if (*read.status != status_success)
        judge_unreadable(doctor, row, value.text, *read.status);
    else if (type != type_code(row.type))
        judge_type(doctor, row, value.text, type);
    else if (row.number != nullptr && std::strstr(value.text, " IS INVALID!!!") != nullptr)
        add_note(doctor.report,
                 "is out of range: the menu shows %s\n"
                 "Choose a valid value on the menu. The leaf is:",
                 value.text);
    else
        add_ok(doctor.report, "is read: the menu %s %s", verb(row), value.text);
}

// Where the read of a menu's leaves fails, finds those that make it fail: each is read alone.
void find_cause(Doctor& doctor, const Leaves& leaves)
{
    unsigned failed = 0;
    for (const std::string& path : leaves.paths)
        failed += read_leaf(path).result != 0 ? 1 : 0;
    for (const std::string& path : leaves.paths) {
        const Leaf leaf = read_leaf(path);
        doctor.report.leaf = path.c_str();
        if (leaf.result != 0 && failed < leaves.paths.size())
            add_wrong(doctor.report,
                      "makes the read of its menu fail: result %d\n"
                      "Make this leaf readable:",
                      leaf.result);
    }
}

bool read_menu(Doctor& doctor, Leaves& leaves)
{
    read_leaves(leaves);
    if (leaves.result == 0 && has_right_lengths(leaves))
        return true;
    add_wrong(doctor.report,
              "the menu cannot read its leaves: result %d\n"
              "The menu warns on every screen and shows no stored value.",
              leaves.result);
    find_cause(doctor, leaves);
    return false;
}

template <typename Record, std::size_t count>
void check_menu(Doctor& doctor, void (*append_paths)(std::vector<std::string>& paths),
                const SettingLeaf<Record> (&rows)[count])
{
    Leaves leaves;
    append_paths(leaves.paths);
    if (!read_menu(doctor, leaves))
        return;
    LeafCursor next = {leaves.statuses.begin(), leaves.elements.begin()};
    for (std::size_t i = 0; i < count; ++i, ++next.status, ++next.element) {
        doctor.report.leaf = leaves.paths[i].c_str();
        judge(doctor, menu_row(rows[i]), next);
    }
}

void check_main_menu(Doctor& doctor)
{
    check_menu(doctor, append_main_menu_paths, dns_leaves);
}

void check_port_menu(Doctor& doctor)
{
    check_menu(doctor, append_port_menu_paths, port_leaves);
}

void check_init_menu(Doctor& doctor)
{
    check_menu(doctor, append_init_menu_paths, init_leaves);
}

// Leaves that a save writes and no screen reads

// Adds a finding, and returns false, unless the leaf is there with the type that a save writes.
// What cannot be read may still be written: the utility never reads these leaves.
bool judge_written(Doctor& doctor, LeafType wanted)
{
    const Leaf leaf = read_leaf(doctor.report.leaf);
    const int type = leaf.element.type();
    if (is_missing(doctor, leaf))
        add_wrong(doctor.report, "is missing, and a save writes it\n"
                                 "Create this leaf or correct its path:");
    else if (!is_readable(leaf))
        add_note(doctor.report,
                 "has result %d and status %d, and a save writes it\n"
                 "The utility never reads this leaf. Check that it can be written:",
                 leaf.result, leaf.status);
    else if (type != type_code(wanted))
        add_note(doctor.report,
                 "is %s, and a save writes %s\n"
                 "Check that the store takes the other type for this leaf:",
                 type_name(type), type_name(type_code(wanted)));
    else
        return true;
    return false;
}

void check_written(Doctor& doctor, const char* what, const std::vector<std::string>& paths,
                   LeafType (*type_of)(std::size_t index))
{
    std::size_t good = 0;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        doctor.report.leaf = paths[i].c_str();
        good += judge_written(doctor, type_of(i)) ? 1 : 0;
    }
    doctor.report.leaf = "";
    if (good == paths.size())
        add_ok(doctor.report, "all %zu %s are there, with the type that a save writes", good, what);
}

LeafType boolean(std::size_t /*row*/)
{
    return LeafType::boolean;
}

void check_mirrors(Doctor& doctor)
{
    std::vector<std::string> paths;
    append_mirror_paths(paths);
    check_written(doctor, "leaves for the meter's services", paths, mirror_type);
}

void check_options(Doctor& doctor)
{
    std::vector<std::string> paths;
    append_option_paths(paths);
    check_written(doctor, "option leaves", paths, boolean);
}

void check_triggers(Doctor& doctor)
{
    std::vector<std::string> paths;
    append_trigger_paths(paths);
    check_written(doctor, "update triggers", paths, boolean);
}

constexpr Check leaf_checks[] = {
    {"main menu", check_main_menu}, {"port menu", check_port_menu}, {"init menu", check_init_menu},
    {"mirrors", check_mirrors},     {"options", check_options},     {"triggers", check_triggers},
};

} // namespace

void check_leaves(Doctor& doctor)
{
    run_checks(doctor, "Leaves", leaf_checks);
}
