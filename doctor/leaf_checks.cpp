#include "console/value_entry.h"
#include "doctor/doctor.h"
#include "doctor/utility_leaves.h"
#include "meterinit/meter_identity.h"
#include "network/port_menu.h"
#include "store/connection.h"
#include "store/leaf_loader.h"

namespace
{

// The path without what many paths have in common.
std::string short_name(const std::string& path)
{
    constexpr std::string_view branch = "/Software/System Settings/Network/";
    constexpr std::string_view ending = "/Value";
    const std::size_t begin = path.compare(0, branch.size(), branch) == 0 ? branch.size() : 0;
    return path.substr(begin, path.size() - ending.size() - begin);
}

// Leaves that the screens read

// What a menu shows for a leaf, from the menu's own functions.
std::string shown_value(const SettingLeaf<InterfaceSettings>& leaf, const InterfaceSettings& port)
{
    if (leaf.type == LeafType::boolean)
        return enabled_or_disabled(port.*leaf.flag);
    const EditableText& text = port.*leaf.text;
    return leaf.text == &InterfaceSettings::media_type ? media_type_or_auto(text)
                                                       : text_or_none(text);
}

std::string shown_value(const SettingLeaf<SettingsSession>& leaf, const SettingsSession& session)
{
    const EditableText& text = session.*leaf.text;
    for (const IndexedSetting* setting :
         {&meter_form_setting, &class_amps_setting, &frequency_setting}) {
        if (setting->text == leaf.text)
            return indexed_value(*setting, text);
    }
    return text_or_none(text);
}

struct MenuRow {
    const char* menu;
    LeafType type;
    bool can_be_removed; // by a save, so that it may be missing
    const char* verb;    // for the value
    std::string value;   // that the menu shows or offers
};

// The row of a menu's table, its leaf loaded as the menu loads it.
template <typename Record>
MenuRow load_row(const char* menu, const SettingLeaf<Record>& row, const LeafRead& read)
{
    const std::vector<api_status_t> statuses(1, read.status);
    const std::vector<toolkit::CElement> elements(1, read.element);
    LeafCursor next = {statuses.begin(), elements.begin()};
    Record record;
    load_leaf(row, record, next);
    const bool can_be_removed = row.use == LeafUse::saved && row.text != nullptr;
    if (row.use == LeafUse::list_source)
        return {menu, row.type, can_be_removed, "offers", (record.*row.text).text};
    return {menu, row.type, can_be_removed, "shows", shown_value(row, record)};
}

void judge_unreadable(Doctor& doctor, const MenuRow& row, const LeafRead& read)
{
    const std::string name = short_name(doctor.report.leaf);
    const std::string value = quoted(row.value);
    if (!is_missing(doctor, read))
        add_wrong(doctor.report,
                  "Make this leaf readable:", "%s has result %d and status %d: the %s %s %s",
                  name.c_str(), read.result, read.status, row.menu, row.verb, value.c_str());
    else if (row.can_be_removed)
        add_note(doctor.report, "This is usual while no value is set. If one is, correct the path:",
                 "%s is missing: the %s %s %s", name.c_str(), row.menu, row.verb, value.c_str());
    else
        add_wrong(doctor.report,
                  "Create this leaf or correct its path:", "%s is missing: the %s %s %s",
                  name.c_str(), row.menu, row.verb, value.c_str());
}

void judge_other_type(Doctor& doctor, const MenuRow& row, const toolkit::CElement& element)
{
    const std::string name = short_name(doctor.report.leaf);
    const std::string value = quoted(row.value);
    const char* type = type_name(element.type());
    if (row.type == LeafType::number)
        add_note(doctor.report, "A save writes an integer to this leaf:", "%s is %s: the %s %s %s",
                 name.c_str(), type, row.menu, row.verb, value.c_str());
    else
        add_wrong(doctor.report,
                  row.type == LeafType::boolean ? "Store a boolean in this leaf:"
                                                : "Store a string in this leaf:",
                  "%s is %s: the %s always %s %s", name.c_str(), type, row.menu, row.verb,
                  value.c_str());
}

bool is_shown_as_invalid(const MenuRow& row)
{
    return row.type == LeafType::number && row.value.back() == '!';
}

void judge(Doctor& doctor, const MenuRow& row, const LeafRead& read)
{
    const std::string name = short_name(doctor.report.leaf);
    if (!is_readable(read))
        judge_unreadable(doctor, row, read);
    else if (read.element.type() != type_code(row.type))
        judge_other_type(doctor, row, read.element);
    else if (is_shown_as_invalid(row))
        add_note(doctor.report,
                 "Choose a valid value on the menu. The leaf is:", "%s: the %s %s %s", name.c_str(),
                 row.menu, row.verb, quoted(row.value).c_str());
    else
        add_ok(doctor.report, "%s: the %s %s %s", name.c_str(), row.menu, row.verb,
               quoted(row.value).c_str());
}

// Reads a menu's leaves in one call, as the menu does. When that fails, reads each of them alone,
// which shows the leaf that is the cause; returns nothing when no leaf can be read.
std::vector<LeafRead> read_menu(Doctor& doctor, const char* menu,
                                const std::vector<std::string>& paths)
{
    std::vector<api_status_t> statuses;
    std::vector<toolkit::CElement> elements;
    std::vector<LeafRead> leaves(paths.size());
    bool any_readable = false;
    const int result = cds_get(paths, statuses, elements);
    for (std::size_t i = 0; i < paths.size(); ++i) {
        leaves[i] = result == 0 ? LeafRead{0, statuses[i], elements[i]} : read_leaf(paths[i]);
        any_readable = any_readable || is_readable(leaves[i]);
    }
    if (result == 0)
        return leaves;
    add_wrong(doctor.report, "The menu warns on every screen and shows no stored value.",
              "the %s cannot read its leaves: result %d", menu, result);
    return any_readable ? leaves : std::vector<LeafRead>();
}

template <typename Record, std::size_t count>
void check_menu(Doctor& doctor, LeafKind kind, const char* menu,
                const SettingLeaf<Record> (&rows)[count])
{
    const std::vector<std::string> paths = paths_of(kind, kind);
    const std::vector<LeafRead> leaves = read_menu(doctor, menu, paths);
    for (std::size_t i = 0; i < leaves.size(); ++i) {
        doctor.report.leaf = paths[i];
        judge(doctor, load_row(menu, rows[i], leaves[i]), leaves[i]);
    }
}

void check_main_menu(Doctor& doctor)
{
    check_menu(doctor, LeafKind::main_menu, "main menu", dns_leaves);
}

void check_port_menu(Doctor& doctor)
{
    check_menu(doctor, LeafKind::port_menu, "port menu", port_leaves);
}

void check_init_menu(Doctor& doctor)
{
    check_menu(doctor, LeafKind::init_menu, "initialisation menu", init_leaves);
}

// Leaves that a save writes and no screen reads

// Adds a finding, and returns false, unless the leaf is there with the type that a save writes.
// What cannot be read may still be written: the utility never reads these leaves.
bool judge_written(Doctor& doctor, const UtilityLeaf& leaf)
{
    const LeafRead read = read_leaf(leaf.path);
    const std::string name = short_name(leaf.path);
    doctor.report.leaf = leaf.path;
    if (is_missing(doctor, read))
        add_wrong(doctor.report,
                  "Create this leaf or correct its path:", "%s is missing, and a save writes it",
                  name.c_str());
    else if (!is_readable(read))
        add_note(doctor.report, "The utility never reads this leaf. Check that it can be written:",
                 "%s has result %d and status %d, and a save writes it", name.c_str(), read.result,
                 read.status);
    else if (read.element.type() != type_code(leaf.type))
        add_note(doctor.report, "Check that the store takes the other type for this leaf:",
                 "%s is %s, and a save writes %s", name.c_str(), type_name(read.element.type()),
                 type_name(type_code(leaf.type)));
    else
        return true;
    return false;
}

void check_written(Doctor& doctor, LeafKind kind, const char* what)
{
    unsigned count = 0;
    unsigned good = 0;
    for (const UtilityLeaf& leaf : utility_leaves()) {
        if (leaf.kind != kind)
            continue;
        ++count;
        good += judge_written(doctor, leaf) ? 1 : 0;
    }
    doctor.report.leaf.clear();
    if (good == count)
        add_ok(doctor.report, "all %u %s are there, with the type that a save writes", count, what);
}

void check_mirrors(Doctor& doctor)
{
    check_written(doctor, LeafKind::mirror, "leaves for the meter's services");
}

void check_options(Doctor& doctor)
{
    check_written(doctor, LeafKind::option, "option leaves");
}

void check_triggers(Doctor& doctor)
{
    check_written(doctor, LeafKind::trigger, "update triggers");
}

constexpr Check leaf_checks[] = {
    {"main-menu", check_main_menu}, {"port-menu", check_port_menu}, {"init-menu", check_init_menu},
    {"mirrors", check_mirrors},     {"options", check_options},     {"triggers", check_triggers},
};

} // namespace

void check_leaves(Doctor& doctor)
{
    run_checks(doctor, "Leaves", leaf_checks);
}
