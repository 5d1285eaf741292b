#include "meterinit/meter_identity.h"

#include "console/line_reader.h"
#include "console/menu.h"
#include "console/number_scan.h"
#include "console/value_entry.h"

#include <cstdio>
#include <iterator>

namespace
{

constexpr char meter_form_names[][6] = {"5(35)", "6(36)", "8", "9", "45", "U"};
constexpr char class_amps_names[][6] = {"2", "10", "20"};
constexpr char frequency_names[][6] = {"50 Hz", "60 Hz"};

// clang-format off
constexpr char meter_form_help[] =
    "Below are the Meter Forms and the corresponding value that has to be entered.\n\n"
    "METER FORM    VALUE TO BE ENTERED\n"
    "  5(35)  ------------>  0\n"
    "  6(36)  ------------>  1\n"
    "    8    ------------>  2\n"
    "    9    ------------>  3\n"
    "   45    ------------>  4\n"
    "    U    ------------>  5\n\n";

constexpr char class_amps_help[] =
    "Below are the Meter Class Amps and the corresponding value that has to be entered.\n\n"
    "METER CLASS AMPS    VALUE TO BE ENTERED\n"
    "       2    -------------->   0\n"
    "      10    -------------->   1\n"
    "      20    -------------->   2\n\n";

constexpr char frequency_help[] =
    "Below are the Meter Frequencies and the corresponding value that has to be entered.\n\n"
    "METER FREQUENCY    VALUE TO BE ENTERED\n"
    "     50 Hz  -------------->  0\n"
    "     60 Hz  -------------->  1\n\n";
// clang-format on

// The program stores this text when the technician empties the serial number.
constexpr char serial_placeholder[] = "YYMMXXXXX";

// The numbers at the start of a serial number.
struct SerialParts {
    std::uint32_t year;
    std::uint32_t week;
    std::uint32_t model;
};

// Returns a message when the year, the week or the model number is out of range, otherwise null.
const char* serial_rejection(const SerialParts& parts)
{
    if (parts.year < 9 || parts.year > 99)
        return "Invalid Year (YY) entry must be 09->99";
    if (parts.week < 1 || parts.week > 52)
        return "Invalid Week of year (WW) must be 1->52";
    if (parts.model == 0)
        return "Invalid Model number XXXXX must be > 0";
    return nullptr;
}

// Stores a valid answer as the serial number, and the placeholder for an answer that begins with
// "~". Returns true in both cases, otherwise false. Prints a reason only when the year, the week or
// the model number is out of range.
bool take_serial_number(const std::string& answer, EditableText& serial_number)
{
    SerialParts parts = {};
    const char* cursor = answer.c_str();
    if (scan_unsigned(cursor, parts.year, 2) && scan_unsigned(cursor, parts.week, 2) &&
        scan_unsigned(cursor, parts.model, 5)) {
        if (const char* rejection = serial_rejection(parts)) {
            std::puts(rejection);
            return false;
        }
        assign_text(serial_number, answer, true);
        return true;
    }
    if (!asks_to_clear(answer))
        return false;
    assign_text(serial_number, serial_placeholder, true);
    return true;
}

} // namespace

const IndexedSetting meter_form_setting = {
    &SettingsSession::meter_form,
    "Meter Form",
    "Enter Meter Form",
    "Invalid. Meter Form must be 0->5",
    " = Form ",
    meter_form_help,
    meter_form_names,
    std::size(meter_form_names),
};

const IndexedSetting class_amps_setting = {
    &SettingsSession::class_amps,
    "Meter Class Amps",
    "Enter Meter Class Amps",
    "Invalid. Meter Class Amps must be 0->2",
    " = Class Amps ",
    class_amps_help,
    class_amps_names,
    std::size(class_amps_names),
};

const IndexedSetting frequency_setting = {
    &SettingsSession::nominal_frequency,
    "Meter Frequency",
    "Enter Meter Frequency",
    "Invalid. Meter Frequency must be 0 or 1",
    " = ",
    frequency_help,
    frequency_names,
    std::size(frequency_names),
};

std::string indexed_value(const IndexedSetting& setting, const EditableText& value)
{
    if (value.text.empty())
        return none_text;
    // The cast turns a negative number into a number that is larger than any index.
    const auto index = static_cast<std::uint32_t>(decimal_value(value.text));
    if (index >= setting.name_count)
        return value.text + " IS INVALID!!!";
    return value.text + setting.infix + setting.names[index];
}

void enter_indexed_value(const IndexedSetting& setting, SettingsSession& session)
{
    std::fputs(setting.help, stdout);
    std::string answer;
    const int result = prompt_line(setting.prompt, answer);
    report_no_answer(result, nullptr);
    if (result != answer_taken)
        return;

    EditableText& value = session.*setting.text;
    const char* cursor = answer.c_str();
    std::uint32_t index = 0;
    if (!scan_unsigned(cursor, index)) {
        if (asks_to_clear(answer))
            value.text.clear();
    } else if (index < setting.name_count) {
        assign_text(value, answer, true);
    } else {
        std::puts(setting.rejection);
    }
}

void enter_serial_number(EditableText& serial_number)
{
    std::string answer;
    int result = prompt_line("Enter Serial Number (YYMMXXXXX)", answer);
    if (result == answer_taken && !take_serial_number(answer, serial_number))
        result = answer_rejected;
    report_no_answer(result, "Error: Invalid Serial number");
}
