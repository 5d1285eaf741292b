#include "meterinit/meter_identity.h"

#include "tests/unit/fake_console.h"

#include <doctest/doctest.h>

namespace
{

struct SerialEntry {
    EditableText serial = {"before", false};
    std::string printed; // the output after the echo of the answer
};

SerialEntry serial_answered(const std::string& answer)
{
    SerialEntry entry;
    const std::string screen =
        console_of(answer + "\n", [&] { enter_serial_number(entry.serial); });
    const std::string prompt = "Enter Serial Number (YYMMXXXXX): " + answer + "\n";
    REQUIRE(screen.substr(0, prompt.size()) == prompt);
    entry.printed = screen.substr(prompt.size());
    return entry;
}

struct IndexEntry {
    EditableText value = {"before", false};
    std::string printed;
};

IndexEntry index_answered(const IndexedSetting& setting, const std::string& answer)
{
    SettingsSession session;
    session.*setting.text = {"before", false};
    const std::string screen =
        console_of(answer + "\n", [&] { enter_indexed_value(setting, session); });
    const std::string echo = std::string(setting.prompt) + ": " + answer + "\n";
    const std::size_t end = screen.find(echo);
    REQUIRE(end != std::string::npos);
    return {session.*setting.text, screen.substr(end + echo.size())};
}

} // namespace

TEST_CASE("a serial number is stored exactly as typed")
{
    for (const char* answer : {"091512345", "0912345", "091212345678", "995299999", "9 1 1",
                               " 9 1 1x", "+9+1+1", "090100001", "09520001"}) {
        CAPTURE(answer);
        const SerialEntry entry = serial_answered(answer);
        CHECK(entry.serial.text == answer);
        CHECK(entry.serial.changed);
        CHECK(entry.printed == "");
    }
}

TEST_CASE("the first wrong part of a serial number is reported, then that the number is invalid")
{
    const std::string year = "Invalid Year (YY) entry must be 09->99\n";
    const std::string week = "Invalid Week of year (WW) must be 1->52\n";
    const std::string model = "Invalid Model number XXXXX must be > 0\n";
    struct Case {
        const char* answer;
        std::string reason;
    };
    for (const Case& rejected :
         {Case{"089912345", year}, Case{"000000000", year}, Case{"-9 1 1", year},
          Case{"095312345", week}, Case{"090012345", week}, Case{"09-112345", week},
          Case{"091200000", model}, Case{"0912-0000", model}, Case{"0912000001", model}}) {
        CAPTURE(rejected.answer);
        const SerialEntry entry = serial_answered(rejected.answer);
        CHECK(entry.printed == rejected.reason + "Error: Invalid Serial number\n");
        CHECK(entry.serial.text == "before");
        CHECK_FALSE(entry.serial.changed);
    }
    CHECK(serial_answered("0912-1").printed == ""); // -1 is read as a large number, so it is > 0
}

TEST_CASE("entering the same value again sets the changed flag")
{
    EditableText serial = {"091512345", false};
    console_of("091512345\n", [&] { enter_serial_number(serial); });
    CHECK(serial.changed);

    SettingsSession session;
    session.meter_form = {"3", false};
    console_of("3\n", [&] { enter_indexed_value(meter_form_setting, session); });
    CHECK(session.meter_form.changed);
}

TEST_CASE("an answer without three numbers is not a serial number")
{
    for (const char* answer : {"", "0915", "abc", "09x", "09-", " ~"}) {
        const SerialEntry entry = serial_answered(answer);
        CHECK(entry.printed == "Error: Invalid Serial number\n");
        CHECK(entry.serial.text == "before");
    }
}

TEST_CASE("a tilde replaces the serial number by the placeholder and sets the changed flag")
{
    const SerialEntry entry = serial_answered("~");
    CHECK(entry.serial.text == "YYMMXXXXX");
    CHECK(entry.serial.changed);
    CHECK(entry.printed == "");
}

TEST_CASE("indexes in range are shown with their names")
{
    const char* forms[] = {"0 = Form 5(35)", "1 = Form 6(36)", "2 = Form 8",
                           "3 = Form 9",     "4 = Form 45",    "5 = Form U"};
    for (int i = 0; i < 6; ++i)
        CHECK(indexed_value(meter_form_setting, {std::to_string(i), false}) == forms[i]);
    const char* amps[] = {"0 = Class Amps 2", "1 = Class Amps 10", "2 = Class Amps 20"};
    for (int i = 0; i < 3; ++i)
        CHECK(indexed_value(class_amps_setting, {std::to_string(i), false}) == amps[i]);
    CHECK(indexed_value(frequency_setting, {"0", false}) == "0 = 50 Hz");
    CHECK(indexed_value(frequency_setting, {"1", false}) == "1 = 60 Hz");
}

TEST_CASE("any other number is shown as invalid, and a text without a number as index 0")
{
    CHECK(indexed_value(meter_form_setting, {"6", false}) == "6 IS INVALID!!!");
    CHECK(indexed_value(class_amps_setting, {"3", false}) == "3 IS INVALID!!!");
    CHECK(indexed_value(frequency_setting, {"2", false}) == "2 IS INVALID!!!");
    CHECK(indexed_value(meter_form_setting, {"-1", false}) == "-1 IS INVALID!!!");
    CHECK(indexed_value(meter_form_setting, {"4294967296", false}) == "4294967296 IS INVALID!!!");
    CHECK(indexed_value(meter_form_setting, {"-4294967295", false}) == "-4294967295 IS INVALID!!!");
    CHECK(indexed_value(meter_form_setting, {"abc", false}) == "abc = Form 5(35)");
    CHECK(indexed_value(class_amps_setting, {" 1x", false}) == " 1x = Class Amps 10");
    CHECK(indexed_value(meter_form_setting, {"-0", false}) == "-0 = Form 5(35)");
    CHECK(indexed_value(meter_form_setting, {"", false}) == "[None]");
}

TEST_CASE("an index in range is stored exactly as typed")
{
    for (const char* answer : {"0", "1", " 1", "1x", "+1", "-0", "01"}) {
        for (const IndexedSetting* setting :
             {&meter_form_setting, &class_amps_setting, &frequency_setting}) {
            const IndexEntry entry = index_answered(*setting, answer);
            CHECK(entry.value.text == answer);
            CHECK(entry.value.changed);
            CHECK(entry.printed == "");
        }
    }
    CHECK(index_answered(meter_form_setting, "5").value.changed);
    CHECK(index_answered(class_amps_setting, "2").value.changed);
}

TEST_CASE("an index out of range is rejected with the setting's message")
{
    struct Case {
        const IndexedSetting& setting;
        const char* first_rejected;
        const char* message;
    };
    for (const Case& rejected :
         {Case{meter_form_setting, "6", "Invalid. Meter Form must be 0->5\n"},
          Case{class_amps_setting, "3", "Invalid. Meter Class Amps must be 0->2\n"},
          Case{frequency_setting, "2", "Invalid. Meter Frequency must be 0 or 1\n"}}) {
        for (const char* answer :
             {rejected.first_rejected, "-1", "4294967296", "99999999999999999999"}) {
            CAPTURE(answer);
            const IndexEntry entry = index_answered(rejected.setting, answer);
            CHECK(entry.value.text == "before");
            CHECK_FALSE(entry.value.changed);
            CHECK(entry.printed == rejected.message);
        }
    }
}

TEST_CASE("an answer that is not a number is ignored, and a tilde empties without setting the "
          "changed flag")
{
    for (const char* answer : {"", "x", "-", " ~"}) {
        const IndexEntry entry = index_answered(class_amps_setting, answer);
        CHECK(entry.value.text == "before");
        CHECK(entry.printed == "");
    }
    const IndexEntry emptied = index_answered(class_amps_setting, "~2");
    CHECK(emptied.value.text == "");
    CHECK_FALSE(emptied.value.changed);
    CHECK(emptied.printed == "");
}

TEST_CASE("the help of each index is printed before its prompt")
{
    SettingsSession session;
    CHECK(console_of("x\n", [&] { enter_indexed_value(meter_form_setting, session); }) ==
          "Below are the Meter Forms and the corresponding value that has to be entered.\n\n"
          "METER FORM    VALUE TO BE ENTERED\n"
          "  5(35)  ------------>  0\n"
          "  6(36)  ------------>  1\n"
          "    8    ------------>  2\n"
          "    9    ------------>  3\n"
          "   45    ------------>  4\n"
          "    U    ------------>  5\n\n"
          "Enter Meter Form: x\n");
    CHECK(console_of("x\n", [&] { enter_indexed_value(class_amps_setting, session); }) ==
          "Below are the Meter Class Amps and the corresponding value that has to be entered.\n\n"
          "METER CLASS AMPS    VALUE TO BE ENTERED\n"
          "       2    -------------->   0\n"
          "      10    -------------->   1\n"
          "      20    -------------->   2\n\n"
          "Enter Meter Class Amps: x\n");
    CHECK(console_of("x\n", [&] { enter_indexed_value(frequency_setting, session); }) ==
          "Below are the Meter Frequencies and the corresponding value that has to be entered.\n\n"
          "METER FREQUENCY    VALUE TO BE ENTERED\n"
          "     50 Hz  -------------->  0\n"
          "     60 Hz  -------------->  1\n\n"
          "Enter Meter Frequency: x\n");
}

TEST_CASE("a time-out at an index is reported, a failed wait is not")
{
    for (const IndexedSetting* setting :
         {&meter_form_setting, &class_amps_setting, &frequency_setting}) {
        const auto printed = [setting](const char* waits) {
            SettingsSession session;
            session.*setting->text = {"before", false};
            const std::string screen = console_of(
                "1\n", [&] { enter_indexed_value(*setting, session); }, waits);
            CHECK((session.*setting->text).text == "before");
            CHECK_FALSE((session.*setting->text).changed);
            const std::string prompt = std::string(setting->prompt) + ": ";
            return screen.substr(screen.find(prompt) + prompt.size());
        };
        CHECK(printed("kt") == "1\nTimed out.\n");
        CHECK(printed("kf") == "1\n");
    }
}

TEST_CASE("a serial number that is not entered is reported and unchanged")
{
    const std::string prompt = "Enter Serial Number (YYMMXXXXX): ";
    EditableText serial = {"before", false};
    const auto entered = [&](const char* waits) {
        return console_of(
            "091512345\n", [&] { enter_serial_number(serial); }, waits);
    };
    CHECK(entered("t") == prompt + "\nTimed out.\n");
    CHECK(entered("f") == prompt + "\nError: Invalid Serial number\n");
    CHECK(entered("kkkkkkkkkt") == prompt + "091512345\nTimed out.\n");
    CHECK(entered("kkkkkkkkkf") == prompt + "091512345\nError: Invalid Serial number\n");
    CHECK(serial.text == "before");
    CHECK_FALSE(serial.changed);
}
