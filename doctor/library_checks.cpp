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

// All leaves that the screens read, read in one call.
struct ScreenRead {
    std::vector<std::string> paths = screen_paths();
    std::vector<api_status_t> statuses;
    std::vector<toolkit::CElement> elements;
    int result = 0;
};

ScreenRead read_screens()
{
    ScreenRead read;
    std::vector<toolkit::element_property_t> properties;
    read.result = cds().get_leaves(read.paths, read.statuses, read.elements, properties);
    return read;
}

bool has_right_lengths(const ScreenRead& read)
{
    return read.statuses.size() == read.paths.size() && read.elements.size() == read.paths.size();
}

void check_array_lengths(Doctor& doctor)
{
    const ScreenRead read = read_screens();
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
    const ScreenRead read = read_screens();
    if (read.result != 0 || !has_right_lengths(read))
        return; // the finding of another check
    for (std::size_t i = 0; i < read.paths.size(); ++i) {
        const LeafRead alone = read_leaf(read.paths[i]);
        if (read.statuses[i] == alone.status && same_element(read.elements[i], alone.element))
            continue;
        doctor.report.leaf = read.paths[i];
        return add_wrong(doctor.report, "Element i of every array must belong to path i.",
                         "get_leaves answers in another order than that of the paths: %s",
                         shown(read.elements[i]).c_str());
    }
    add_ok(doctor.report, "get_leaves answers in the order of the paths");
}

void check_leaf_status(Doctor& doctor)
{
    const ScreenRead read = read_screens();
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
    doctor.absent_leaf = read_leaf(absent_path);
    const LeafRead& absent = doctor.absent_leaf;
    if (absent.result != 0)
        add_note(doctor.report, "A leaf that is missing makes its whole menu unreadable.",
                 "the read of a missing leaf returns %d", absent.result);
    else if (absent.status == status_success)
        add_wrong(doctor.report, "The screens show a missing leaf as if it was there.",
                  "a missing leaf has status 1");
    else
        add_ok(doctor.report, "a missing leaf has status %d", absent.status);
}

// What the library's own functions answer

template <typename Value>
std::string type_of(const Value& value)
{
    return std::to_string(element_of(value).type());
}

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

std::string source_string()
{
    std::string source;
    toolkit::CEvent::format_source_string(source, "Console", "", "");
    return source;
}

struct Answer {
    const char* question;
    const char* wanted;
    std::string (*get)();
    Verdict otherwise;
    const char* advice;
};

constexpr char correct_type_codes[] = "Correct the type codes in store/client_library.h.";
constexpr char shown_on_screens[] = "The screens show values in this form.";
constexpr char dhcp_is_written[] = "A save writes DHCP to the meter's services in this form.";
constexpr char flags_are_read[] = "The port menu shows DHCP and the link state by it.";
constexpr char media_types[] = "The media-type question offers these names.";
constexpr char source_is_named[] = "A save names this text as its source.";

// clang-format off
constexpr Answer answers[] = {
    {"the type of a boolean",    "1",       [] { return type_of(true); },              Verdict::wrong, correct_type_codes},
    {"the type of a string",     "6",       [] { return type_of(std::string("a")); },  Verdict::wrong, correct_type_codes},
    {"to_string of \"a b\"",     "a b",     [] { return text_of(element_of(std::string("a b"))); },   Verdict::wrong, shown_on_screens},
    {"to_string of -12",         "-12",     [] { return text_of(element_of(std::int32_t{-12})); },    Verdict::wrong, shown_on_screens},
    {"to_string of true",        "true",    [] { return text_of(element_of(true)); },                 Verdict::note,  shown_on_screens},
    {"to_int of true",           "1",       [] { return std::to_string(element_of(true).to_int()); },  Verdict::wrong, dhcp_is_written},
    {"to_int of false",          "0",       [] { return std::to_string(element_of(false).to_int()); }, Verdict::wrong, dhcp_is_written},
    {"to_int of -12",            "-12",     [] { return std::to_string(element_of(std::int32_t{-12}).to_int()); }, Verdict::note, dhcp_is_written},
    {"to_bool of true",          "1",       [] { return std::to_string(int{element_of(true).to_bool()}); },  Verdict::wrong, flags_are_read},
    {"to_bool of false",         "0",       [] { return std::to_string(int{element_of(false).to_bool()}); }, Verdict::wrong, flags_are_read},
    {"split_string of \"a;b\"",  "[a][b]",  [] { return split("a;b"); },               Verdict::wrong, media_types},
    {"split_string of \"\"",     "",        [] { return split(""); },                  Verdict::note,  media_types},
    {"split_string of \"a;\"",   "[a]",     [] { return split("a;"); },                Verdict::note,  media_types},
    {"split_string of \";\"",    "[]",      [] { return split(";"); },                 Verdict::note,  media_types},
    {"format_source_string of \"Console\", \"\", \"\"", "Console", source_string,      Verdict::note,  source_is_named},
};
// clang-format on

void check_answer(Doctor& doctor, const Answer& answer)
{
    const std::string got = answer.get();
    doctor.report.check = answer.question;
    if (got == answer.wanted)
        add_ok(doctor.report, "%s is %s", answer.question, quoted(got).c_str());
    else
        (answer.otherwise == Verdict::wrong ? add_wrong : add_note)(
            doctor.report, answer.advice, "%s is %s instead of %s", answer.question,
            quoted(got).c_str(), quoted(answer.wanted).c_str());
}

void check_answers(Doctor& doctor)
{
    for (const Answer& answer : answers)
        check_answer(doctor, answer);
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
    const toolkit::CElement element = element_of(true);
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
    {"answers", check_answers, RunWhen::asked},
    {"integer-type", check_integer_type, RunWhen::asked},
    {"time-stamps", check_time_stamps, RunWhen::asked},
};

} // namespace

void check_library(Doctor& doctor)
{
    run_checks(doctor, "Library", library_checks);
}
