#include "doctor/doctor.h"
#include "doctor/elements.h"
#include "doctor/utility_leaves.h"
#include "store/connection.h"

#include <algorithm>
#include <cstdint>

namespace
{

bool connects_and_closes()
{
    const bool connected = cds_connect() == 0;
    cds_disconnect();
    return connected;
}

void check_connection(Doctor& doctor)
{
    const bool first = connects_and_closes();
    const bool second = connects_and_closes();
    doctor.connected = cds_connect() == 0;
    toolkit::CElement::_auto_time = true; // as the utility sets it once it is connected
    if (first && second && doctor.connected)
        add_ok(doctor.report, "connects and closes twice, and connects again");
    else if (first || second || doctor.connected)
        add_wrong(doctor.report,
                  "After a factory reset the utility connects again: this must always work.",
                  "pcd_init returns null in some of three attempts");
    else
        add_wrong(doctor.report,
                  "Start the store, and run this program with the rights of the utility.",
                  "the store cannot be reached: pcd_init returns null");
}

// All leaves that the screens read, in one call.
Leaves read_screens()
{
    Leaves leaves;
    append_screen_paths(leaves.paths);
    read_leaves(leaves);
    return leaves;
}

void check_array_lengths(Doctor& doctor)
{
    const Leaves read = read_screens();
    if (read.result != 0)
        add_wrong(doctor.report, "The screens warn and show no stored value.",
                  "get_leaves of %zu leaves returns %d", read.paths.size(), read.result);
    else if (!has_right_lengths(read))
        add_wrong(doctor.report, "The utility takes such a read as failed.",
                  "get_leaves of %zu leaves fills %zu statuses and %zu elements", read.paths.size(),
                  read.statuses.size(), read.elements.size());
    else
        add_ok(doctor.report, "get_leaves fills arrays as long as the paths");
}

void check_array_order(Doctor& doctor)
{
    const Leaves read = read_screens();
    if (read.result != 0 || !has_right_lengths(read))
        return; // the finding of another check
    for (std::size_t i = 0; i < read.paths.size(); ++i) {
        const Leaf alone = read_leaf(read.paths[i]);
        if (read.statuses[i] == alone.status && same_element(read.elements[i], alone.element))
            continue;
        doctor.report.leaf = read.paths[i].c_str();
        return add_wrong(doctor.report, "Element i of every array must belong to path i.",
                         "comes back as %s: get_leaves answers in another order than the paths",
                         shown(read.elements[i]).text);
    }
    add_ok(doctor.report, "get_leaves answers in the order of the paths");
}

void check_leaf_status(Doctor& doctor)
{
    const Leaves read = read_screens();
    const auto& statuses = read.statuses;
    const auto readable = std::count(statuses.begin(), statuses.end(), status_success);
    if (readable > 0)
        add_ok(doctor.report, "%d of %zu leaves that the screens read have status 1",
               static_cast<int>(readable), read.paths.size());
    else if (!statuses.empty())
        add_wrong(doctor.report,
                  "Correct the paths of the leaves, or status_success in store/client_library.h.",
                  "no leaf that the screens read has status 1; the first one has %d", statuses[0]);
}

void check_missing_leaf(Doctor& doctor)
{
    const Leaf absent = read_leaf(absent_path);
    doctor.missing_status = absent.status;
    if (absent.result != 0)
        add_note(doctor.report, "A leaf that is missing makes its whole menu unreadable.",
                 "the read of a missing leaf returns %d", absent.result);
    else if (absent.status == status_success)
        add_wrong(doctor.report, "The screens show a missing leaf as if it was there.",
                  "a missing leaf has status 1");
    else
        add_ok(doctor.report, "a missing leaf has status %d", absent.status);
}

// What the library's functions answer

std::string type(const toolkit::CElement& element)
{
    return std::to_string(element.type());
}

std::string to_int(const toolkit::CElement& element)
{
    return std::to_string(element.to_int());
}

std::string to_bool(const toolkit::CElement& element)
{
    return element.to_bool() ? "true" : "false";
}

struct Conversion {
    const char* question;
    std::string (*convert)(const toolkit::CElement& element);
    Sample sample;
    const char* wanted;
    const char* advice;
    bool is_needed; // by the utility
};

constexpr char correct_codes[] = "Correct the type codes in store/client_library.h.";
constexpr char screens_show[] = "The screens show values in this form.";
constexpr char save_writes[] = "A save writes DHCP to the meter's services in this form.";
constexpr char menu_shows[] = "The port menu shows DHCP and the link state by it.";

// clang-format off
constexpr Conversion conversions[] = {
    {"the type of a boolean",    type,    Sample::boolean_true,  "1",     correct_codes, true},
    {"the type of a string",     type,    Sample::string,        "6",     correct_codes, true},
    {"to_string of \"a b\"",     text_of, Sample::string,        "a b",   screens_show,    true},
    {"to_string of -12",         text_of, Sample::integer,       "-12",   screens_show,    true},
    {"to_string of true",        text_of, Sample::boolean_true,  "true",  screens_show,    false},
    {"to_int of true",           to_int,  Sample::boolean_true,  "1",     save_writes,   true},
    {"to_int of false",          to_int,  Sample::boolean_false, "0",     save_writes,   true},
    {"to_int of -12",            to_int,  Sample::integer,       "-12",   save_writes,   false},
    {"to_bool of true",          to_bool, Sample::boolean_true,  "true",  menu_shows,      true},
    {"to_bool of false",         to_bool, Sample::boolean_false, "false", menu_shows,      true},
};
// clang-format on

void add_answer(Doctor& doctor, const char* question, const std::string& got, const char* wanted,
                const char* advice, bool is_needed)
{
    doctor.report.check = question;
    if (got == wanted)
        add_ok(doctor.report, "%s is \"%s\"", question, wanted);
    else
        (is_needed ? add_wrong : add_note)(doctor.report, advice, "%s is %s instead of \"%s\"",
                                           question, quoted(got).text, wanted);
}

void check_conversions(Doctor& doctor)
{
    for (const Conversion& row : conversions)
        add_answer(doctor, row.question, row.convert(element_of_sample(row.sample)), row.wanted,
                   row.advice, row.is_needed);
}

struct Split {
    const char* question;
    const char* text;
    const char* wanted; // each part in brackets
    bool is_needed;
};

constexpr Split splits[] = {
    {"split_string of \"a;b\"", "a;b", "[a][b]", true},
    {"split_string of \"\"", "", "", false},
    {"split_string of \"a;\"", "a;", "[a]", false},
    {"split_string of \";\"", ";", "[]", false},
};

std::string split(const char* text)
{
    std::vector<std::string> parts;
    toolkit::CElement::split_string(parts, text, ';');
    std::string all;
    for (const std::string& part : parts) {
        all += '[';
        all += part;
        all += ']';
    }
    return all;
}

void check_splits(Doctor& doctor)
{
    for (const Split& row : splits)
        add_answer(doctor, row.question, split(row.text), row.wanted,
                   "The media-type question offers these names.", row.is_needed);
}

void check_source(Doctor& doctor)
{
    std::string source;
    toolkit::CEvent::format_source_string(source, "Console", "", "");
    add_answer(doctor, "format_source_string of \"Console\", \"\", \"\"", source, "Console",
               "A save names this text as its source.", false);
}

void check_integer_type(Doctor& doctor)
{
    const int type = type_code(LeafType::number);
    if (type == boolean_type || type == string_type)
        add_wrong(doctor.report, "Numbers and DHCP for the meter's services are written so.",
                  "an integer has type %d, as %s has", type, type_name(type));
    else
        add_ok(doctor.report, "an integer has type %d", type);
}

void check_time_stamps(Doctor& doctor)
{
    const toolkit::CElement element = element_of_sample(Sample::boolean_true);
    if (time_stamp(element) == toolkit::CElement::_invalid_time)
        add_wrong(doctor.report, "The store may ignore what is written without a time.",
                  "_auto_time is set, and an element has no time");
    else
        add_ok(doctor.report, "_auto_time stamps elements");
}

constexpr Check library_checks[] = {
    {"connection", check_connection, RunWhen::asked},
    {"array-lengths", check_array_lengths},
    {"array-order", check_array_order},
    {"leaf-status", check_leaf_status},
    {"missing-leaf", check_missing_leaf},
    {"conversions", check_conversions, RunWhen::asked},
    {"split-string", check_splits, RunWhen::asked},
    {"source-string", check_source, RunWhen::asked},
    {"integer-type", check_integer_type, RunWhen::asked},
    {"time-stamps", check_time_stamps, RunWhen::asked},
};

} // namespace

void check_library(Doctor& doctor)
{
    run_checks(doctor, "Library", library_checks);
}
