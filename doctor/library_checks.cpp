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
                  "pcd_init returns null in some of three attempts\n"
                  "After a factory reset the utility connects again: this must always work.");
    else
        add_wrong(doctor.report,
                  "the store cannot be reached: pcd_init returns null\n"
                  "Start the store, and run this program with the rights of the utility.");
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
        add_wrong(doctor.report,
                  "get_leaves of %zu leaves returns %d\n"
                  "The screens warn and show no stored value.",
                  read.paths.size(), read.result);
    else if (!has_right_lengths(read))
        add_wrong(doctor.report,
                  "get_leaves of %zu leaves fills %zu statuses and %zu elements\n"
                  "The utility takes such a read as failed.",
                  read.paths.size(), read.statuses.size(), read.elements.size());
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
        add_wrong(doctor.report,
                  "comes back as %s: get_leaves answers in another order than the paths\n"
                  "Element i of every array must belong to path i.",
                  shown(read.elements[i]).text);
        return;
    }
    add_ok(doctor.report, "get_leaves answers in the order of the paths");
}

void check_leaf_status(Doctor& doctor)
{
    const Leaves read = read_screens();
    const auto& statuses = read.statuses;
    const auto readable = std::count(statuses.begin(), statuses.end(), status_success);
    doctor.sees_leaves = readable > 0;
    if (doctor.sees_leaves)
        add_ok(doctor.report, "%d of %zu leaves that the screens read have status 1",
               static_cast<int>(readable), read.paths.size());
    else if (!statuses.empty())
        add_wrong(doctor.report,
                  "no leaf that the screens read has status 1; the first one has %d\n"
                  "Correct the paths of the leaves, or status_success in store/client_library.h.",
                  statuses[0]);
}

void check_missing_leaf(Doctor& doctor)
{
    const Leaf absent = read_leaf(absent_path);
    doctor.missing_status = absent.status;
    if (absent.result != 0)
        add_note(doctor.report,
                 "the read of a missing leaf returns %d\n"
                 "A leaf that is missing makes its whole menu unreadable.",
                 absent.result);
    else if (absent.status == status_success)
        add_wrong(doctor.report, "a missing leaf has status 1\n"
                                 "The screens show a missing leaf as if it was there.");
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
    char question[22];
    char wanted[6];
    bool is_needed; // by the utility
    Sample sample;
    std::string (*convert)(const toolkit::CElement& element);
};

// clang-format off
constexpr Conversion conversions[] = {
    {"the type of a boolean", "1",     true,  Sample::boolean_true,  type},
    {"the type of a string",  "6",     true,  Sample::string,        type},
    {"to_string of \"a b\"",  "a b",   true,  Sample::string,        text_of},
    {"to_string of -12",      "-12",   true,  Sample::integer,       text_of},
    {"to_string of true",     "true",  false, Sample::boolean_true,  text_of},
    {"to_int of true",        "1",     true,  Sample::boolean_true,  to_int},
    {"to_int of false",       "0",     true,  Sample::boolean_false, to_int},
    {"to_int of -12",         "-12",   false, Sample::integer,       to_int},
    {"to_bool of true",       "true",  true,  Sample::boolean_true,  to_bool},
    {"to_bool of false",      "false", true,  Sample::boolean_false, to_bool},
};
// clang-format on

void add_answer(Doctor& doctor, const char* question, const std::string& got, const char* wanted,
                bool is_needed)
{
    doctor.report.check = question;
    if (got == wanted)
        add_ok(doctor.report, "%s is \"%s\"", question, wanted);
    else
        (is_needed ? add_wrong : add_note)(
            doctor.report, "%s is %s instead of \"%s\"\n%s", question, quoted(got).text, wanted,
            is_needed ? "The utility needs this answer. See store/client_library.h."
                      : "The utility shows or writes this text and does not depend on it.");
}

void check_conversions(Doctor& doctor)
{
    for (const Conversion& row : conversions)
        add_answer(doctor, row.question, row.convert(element_of_sample(row.sample)), row.wanted,
                   row.is_needed);
}

struct Split {
    char question[22];
    char text[4];
    char wanted[7]; // each part in brackets
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
        add_answer(doctor, row.question, split(row.text), row.wanted, row.is_needed);
}

void check_source(Doctor& doctor)
{
    std::string source;
    toolkit::CEvent::format_source_string(source, "Console", "", "");
    add_answer(doctor, R"(format_source_string of "Console", "", "")", source, "Console", false);
}

void check_integer_type(Doctor& doctor)
{
    const int code = type_code(LeafType::number);
    if (code == boolean_type || code == string_type)
        add_wrong(doctor.report,
                  "an integer has type %d, as %s has\n"
                  "Numbers and DHCP for the meter's services are written so.",
                  code, type_name(code));
    else
        add_ok(doctor.report, "an integer has type %d", code);
}

void check_time_stamps(Doctor& doctor)
{
    const toolkit::CElement element = element_of_sample(Sample::boolean_true);
    if (time_stamp(element) == toolkit::CElement::_invalid_time)
        add_wrong(doctor.report, "_auto_time is set, and an element has no time\n"
                                 "The store may ignore what is written without a time.");
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
