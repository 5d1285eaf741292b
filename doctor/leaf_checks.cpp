#include "console/menu.h"
#include "doctor/doctor.h"
#include "doctor/utility_leaves.h"
#include "meterinit/meter_identity.h"
#include "network/port_menu.h"
#include "store/leaf_loader.h"

#include <array>
#include <cstring>

namespace
{

// Checks of the leaves that the screens read

// How a menu shows a value.
enum class Display : unsigned char {
    text,       // the text itself; "[None]" when it is empty
    media_type, // the text itself; "[Auto-negotiate]" when it is empty
    meter_form, // the index and the name of the form
    class_amps, // the index and the current
    frequency,  // the index and the frequency
};

// The parts of a leaf table's row that the checks use, and how the menu shows the value.
struct MenuRow {
    LeafType type;
    LeafUse use;
    bool if_unreadable;
    Display display;
};

constexpr Display display_of(const Member<InterfaceSettings>& member)
{
    return member.text == &InterfaceSettings::media_type ? Display::media_type : Display::text;
}

constexpr Display display_of(const Member<SettingsSession>& member)
{
    if (member.text == &SettingsSession::meter_form)
        return Display::meter_form;
    if (member.text == &SettingsSession::class_amps)
        return Display::class_amps;
    return member.text == &SettingsSession::nominal_frequency ? Display::frequency : Display::text;
}

template <typename Record, std::size_t count>
constexpr std::array<MenuRow, count> menu_rows(const SettingLeaf<Record> (&leaves)[count])
{
    std::array<MenuRow, count> rows = {};
    for (std::size_t i = 0; i < count; ++i)
        rows[i] = {leaves[i].type, leaves[i].use, leaves[i].if_unreadable,
                   display_of(leaves[i].member)};
    return rows;
}

constexpr auto main_menu_rows = menu_rows(dns_leaves);
constexpr auto port_menu_rows = menu_rows(port_leaves);
constexpr auto init_menu_rows = menu_rows(init_leaves);

Words shown_text(const MenuRow& row, const EditableText& text)
{
    switch (row.display) {
    case Display::meter_form: return quoted(indexed_value(meter_form_setting, text));
    case Display::class_amps: return quoted(indexed_value(class_amps_setting, text));
    case Display::frequency: return quoted(indexed_value(frequency_setting, text));
    default: break;
    }
    if (row.use == LeafUse::list_source || !text.text.empty())
        return quoted(text.text);
    return quoted(row.display == Display::media_type ? media_type_if_empty : none_text);
}

// Returns the text that a menu shows or offers for a leaf. Calls the functions of the menu, so that
// both texts are the same.
Words shown_by_menu(const MenuRow& row, LeafCursor next)
{
    if (row.type == LeafType::boolean) {
        EditableFlag flag;
        load_flag(flag, next, row.if_unreadable);
        return quoted(enabled_or_disabled(flag));
    }
    EditableText text;
    if (row.type == LeafType::number)
        load_text(text, next);
    else
        load_string_text(text, next);
    return shown_text(row, text);
}

const char* verb(const MenuRow& row)
{
    return row.use == LeafUse::list_source ? "offers" : "shows";
}

// Returns true when a save can remove the leaf, because a technician can empty the text of the
// setting. A missing leaf of this kind is not an error.
bool can_be_removed(const MenuRow& row)
{
    return row.use == LeafUse::saved && row.type != LeafType::boolean;
}

void judge_unreadable(const Doctor& doctor, const MenuRow& row, const char* value,
                      api_status_t status)
{
    if (!is_missing(doctor, {0, status, {}}))
        report(wrong,
               "has status %d: the menu %s %s\n"
               "Make this leaf readable:",
               status, verb(row), value);
    else if (!can_be_removed(row))
        report(wrong,
               "is missing: the menu %s %s\n"
               "Create this leaf or correct its path:",
               verb(row), value);
    else
        report(note,
               "is missing: the menu %s %s\n"
               "This is usual while no value is set. If one is, correct the path:",
               verb(row), value);
}

void judge_type(const MenuRow& row, const char* value, int type)
{
    const char* wanted = type_name(type_code(row.type));
    if (row.type == LeafType::number)
        report(note,
               "is %s: the menu shows %s\n"
               "Check that the store accepts %s for this leaf, which a save writes:",
               type_name(type), value, wanted);
    else
        report(wrong,
               "is %s: the menu always %s %s\n"
               "Store %s in this leaf:",
               type_name(type), verb(row), value, wanted);
}

void judge(const Doctor& doctor, const MenuRow& row, const LeafCursor& read)
{
    const Words value = shown_by_menu(row, read);
    const int type = read.element->type();
    if (*read.status != status_success)
        judge_unreadable(doctor, row, value.text, *read.status);
    else if (type != type_code(row.type))
        judge_type(row, value.text, type);
    else if (row.type == LeafType::number && std::strstr(value.text, " IS INVALID!!!") != nullptr)
        report(note,
               "is out of range: the menu shows %s\n"
               "Choose a valid value on the menu. The leaf is:",
               value.text);
    else
        report(ok, "is read: the menu %s %s", verb(row), value.text);
}

// Reads each leaf of a menu alone, after the read of all leaves failed. Reports the leaves that
// cannot be read, unless no leaf can be read.
void find_cause(const Leaves& leaves)
{
    unsigned failed = 0;
    for (const std::string& path : leaves.paths)
        failed += read_leaf(path.c_str()).result != 0 ? 1 : 0;
    for (const std::string& path : leaves.paths) {
        const int result = read_leaf(path.c_str()).result;
        begin_leaf(path.c_str());
        if (result != 0 && failed < leaves.paths.size())
            report(wrong,
                   "makes the read of its menu fail: result %d\n"
                   "Make this leaf readable:",
                   result);
    }
}

bool read_menu(Leaves& leaves)
{
    read_leaves(leaves);
    if (leaves.result == 0 && has_right_lengths(leaves))
        return true;
    report(wrong,
           "the menu cannot read its leaves: result %d\n"
           "Make its leaves readable. The menu warns on every screen and shows no stored value.",
           leaves.result);
    find_cause(leaves);
    return false;
}

void check_menu(const Doctor& doctor, Leaves& leaves, const MenuRow* rows)
{
    if (!read_menu(leaves))
        return;
    LeafCursor next = {leaves.statuses.begin(), leaves.elements.begin()};
    for (const std::string& path : leaves.paths) {
        begin_leaf(path.c_str());
        judge(doctor, *rows++, next);
        ++next.status;
        ++next.element;
    }
}

void check_main_menu(const Doctor& doctor)
{
    begin_check("main menu");
    Leaves leaves;
    append_main_menu_paths(leaves.paths);
    check_menu(doctor, leaves, main_menu_rows.data());
}

void check_port_menu(const Doctor& doctor)
{
    begin_check("port menu");
    Leaves leaves;
    append_port_menu_paths(leaves.paths);
    check_menu(doctor, leaves, port_menu_rows.data());
}

void check_init_menu(const Doctor& doctor)
{
    begin_check("init menu");
    Leaves leaves;
    append_init_menu_paths(leaves.paths);
    check_menu(doctor, leaves, init_menu_rows.data());
}

// Checks of the leaves that a save writes and no screen reads

// Returns true when the leaf exists with the type that a save writes. Otherwise adds a finding and
// returns false. An unreadable leaf is only a note, because the utility writes these leaves but
// never reads them.
bool judge_written(const Doctor& doctor, const char* path, LeafType wanted)
{
    begin_leaf(path);
    const Leaf leaf = read_leaf(path);
    const int type = leaf.element.type();
    if (is_missing(doctor, leaf))
        report(wrong, "is missing, and a save writes it\n"
                      "Create this leaf or correct its path:");
    else if (!is_readable(leaf))
        report(note,
               "has result %d and status %d, and a save writes it\n"
               "The utility never reads this leaf. Check that it can be written:",
               leaf.result, leaf.status);
    else if (type != type_code(wanted))
        report(note,
               "is %s, and a save writes %s\n"
               "Check that the store accepts the other type for this leaf:",
               type_name(type), type_name(type_code(wanted)));
    else
        return true;
    return false;
}

LeafType boolean(std::size_t /*row*/)
{
    return LeafType::boolean;
}

void check_written(const Doctor& doctor, const char* what,
                   void (*append_paths)(std::vector<std::string>& paths),
                   LeafType (*type_of)(std::size_t index))
{
    begin_check(what);
    std::vector<std::string> paths;
    append_paths(paths);
    std::size_t good = 0;
    for (std::size_t i = 0; i < paths.size(); ++i)
        good += judge_written(doctor, paths[i].c_str(), type_of(i)) ? 1 : 0;
    begin_leaf("");
    if (good == paths.size())
        report(ok, "all %zu %s exist, with the type that a save writes", good, what);
}

} // namespace

void check_leaves(const Doctor& doctor)
{
    begin_group("Leaves");
    check_main_menu(doctor);
    check_port_menu(doctor);
    check_init_menu(doctor);
    check_written(doctor, "leaves for the meter's services", append_mirror_paths, mirror_type);
    check_written(doctor, "option leaves", append_option_paths, boolean);
    check_written(doctor, "update triggers", append_trigger_paths, boolean);
}
