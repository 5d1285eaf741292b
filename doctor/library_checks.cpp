#include "doctor/doctor.h"
#include "doctor/utility_leaves.h"
#include "store/connection.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

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
    begin_check("connection");
    const bool first = connects_and_closes();
    const bool second = connects_and_closes();
    doctor.connected = cds_connect() == 0;
    toolkit::CElement::_auto_time = true; // the utility sets this after it connects
    if (first && second && doctor.connected)
        report(ok, "connects and closes twice, and connects again");
    else if (first || second || doctor.connected)
        report(wrong,
               "pcd_init returns null in some of three attempts\n"
               "Make every attempt succeed. The utility connects again after a factory reset.");
    else
        report(wrong, "the store cannot be reached: pcd_init returns null\n"
                      "Start the store, and run this program with the rights of the utility.");
}

void judge_lengths(const Leaves& screens)
{
    begin_check("array-lengths");
    if (screens.result != 0)
        report(wrong,
               "get_leaves of %zu leaves returns %d\n"
               "Check the store and its rights. The screens warn and show no stored value.",
               screens.paths.size(), screens.result);
    else if (!has_right_lengths(screens))
        report(wrong,
               "get_leaves of %zu leaves fills %zu statuses and %zu elements\n"
               "Make it fill one entry per path. The utility treats this read as failed.",
               screens.paths.size(), screens.statuses.size(), screens.elements.size());
    else
        report(ok, "get_leaves fills arrays as long as the paths");
}

// Returns true when a read of leaf i alone gives the same status and element as the read of all
// leaves.
bool is_in_place(const Leaves& screens, std::size_t i)
{
    const Leaf alone = read_leaf(screens.paths[i].c_str());
    return screens.statuses[i] == alone.status && same_element(screens.elements[i], alone.element);
}

void judge_order(const Leaves& screens)
{
    begin_check("array-order");
    if (screens.result != 0 || !has_right_lengths(screens))
        return; // `judge_lengths` reports this
    for (std::size_t i = 0; i < screens.paths.size(); ++i) {
        if (is_in_place(screens, i))
            continue;
        begin_leaf(screens.paths[i].c_str());
        report(wrong,
               "comes back as %s: get_leaves does not keep the order of the paths\n"
               "Element i of every array must belong to path i.",
               shown(screens.elements[i]).text);
        return;
    }
    report(ok, "get_leaves answers in the order of the paths");
}

void judge_statuses(Doctor& doctor, const Leaves& screens)
{
    begin_check("leaf-status");
    unsigned readable = 0;
    for (const api_status_t status : screens.statuses)
        readable += status == status_success ? 1 : 0;
    doctor.sees_leaves = readable > 0;
    if (doctor.sees_leaves)
        report(ok, "%u of %zu leaves that the screens read have status 1", readable,
               screens.paths.size());
    else if (!screens.statuses.empty())
        report(wrong,
               "no leaf that the screens read has status 1; the first one has %d\n"
               "Correct the paths of the leaves, or status_success in store/client_library.h.",
               screens.statuses[0]);
}

// Reads all leaves of the screens in one call, and checks the arrays that the call fills.
void check_arrays(Doctor& doctor)
{
    Leaves screens;
    append_screen_paths(screens.paths);
    read_leaves(screens);
    judge_lengths(screens);
    judge_order(screens);
    judge_statuses(doctor, screens);
}

void check_missing_leaf(Doctor& doctor)
{
    begin_check("missing-leaf");
    const Leaf absent = read_leaf(absent_path);
    doctor.missing_status = absent.status;
    if (absent.result != 0)
        report(note,
               "the read of a missing leaf returns %d\n"
               "Make it return 0 and a status. A missing leaf makes its whole menu unreadable.",
               absent.result);
    else if (absent.status == status_success)
        report(wrong, "a missing leaf has status 1\n"
                      "Return another status. The screens show a missing leaf as if it existed.");
    else
        report(ok, "a missing leaf has status %d", absent.status);
}

// Checks of the results of the library's functions

enum class Question : unsigned char {
    type,
    to_string,
    to_int,
    to_bool,
};

struct Conversion {
    char question[22];
    char wanted[6];
    bool is_needed; // true if the utility depends on this result
    Sample sample;
    Question function;
};

// clang-format off
constexpr Conversion conversions[] = {
    {"the type of a boolean", "1",     true,  Sample::boolean_true,  Question::type},
    {"the type of a string",  "6",     true,  Sample::string,        Question::type},
    {"to_string of \"a b\"",  "a b",   true,  Sample::string,        Question::to_string},
    {"to_string of -12",      "-12",   true,  Sample::integer,       Question::to_string},
    {"to_string of true",     "true",  false, Sample::boolean_true,  Question::to_string},
    {"to_int of true",        "1",     true,  Sample::boolean_true,  Question::to_int},
    {"to_int of false",       "0",     true,  Sample::boolean_false, Question::to_int},
    {"to_int of -12",         "-12",   false, Sample::integer,       Question::to_int},
    {"to_bool of true",       "true",  true,  Sample::boolean_true,  Question::to_bool},
    {"to_bool of false",      "false", true,  Sample::boolean_false, Question::to_bool},
};
// clang-format on

std::string answer(const toolkit::CElement& element, Question function)
{
    if (function == Question::to_string)
        return text_of(element);
    if (function == Question::to_bool)
        return element.to_bool() ? "true" : "false";
    char digits[12];
    std::snprintf(digits, sizeof digits, "%d",
                  function == Question::type ? element.type() : element.to_int());
    return digits;
}

void judge_answer(const char* question, const std::string& got, const char* wanted, bool is_needed)
{
    begin_check(question);
    if (got == wanted)
        report(ok, "%s is \"%s\"", question, wanted);
    else
        report(is_needed ? wrong : note, "%s is %s instead of \"%s\"\n%s", question,
               quoted(got).text, wanted,
               is_needed ? "Adapt store/client_library.h. The utility needs this answer."
                         : "Nothing to do: the utility does not depend on this answer.");
}

void check_conversions()
{
    for (const Conversion& row : conversions)
        judge_answer(row.question, answer(element_of_sample(row.sample), row.function), row.wanted,
                     row.is_needed);
}

struct Split {
    char question[22];
    char text[4];
    char wanted[7]; // the parts, each in brackets
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

void check_splits()
{
    for (const Split& row : splits)
        judge_answer(row.question, split(row.text), row.wanted, row.is_needed);
}

void check_source()
{
    std::string source;
    toolkit::CEvent::format_source_string(source, "Console", "", "");
    judge_answer(R"(format_source_string of "Console", "", "")", source, "Console", false);
}

void check_integer_type()
{
    begin_check("integer-type");
    const int code = type_code(LeafType::number);
    if (code == boolean_type || code == string_type)
        report(wrong,
               "an integer has type %d, as %s has\n"
               "Each type needs a code of its own. See store/client_library.h.",
               code, type_name(code));
    else
        report(ok, "an integer has type %d", code);
}

void check_time_stamps()
{
    begin_check("time-stamps");
    const toolkit::CElement element = element_of_sample(Sample::boolean_true);
    if (time_stamp(element) == toolkit::CElement::_invalid_time)
        report(wrong, "_auto_time is set, and an element has no time\n"
                      "Check the library's version. The store may ignore a value without a time.");
    else
        report(ok, "_auto_time stamps elements");
}

} // namespace

void check_library(Doctor& doctor)
{
    begin_group("Library");
    check_connection(doctor);
    if (doctor.connected) {
        check_arrays(doctor);
        check_missing_leaf(doctor);
    }
    check_conversions();
    check_splits();
    check_source();
    check_integer_type();
    check_time_stamps();
}
