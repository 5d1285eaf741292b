#include "console/value_entry.h"

#include "console/line_reader.h"
#include "tests/unit/fake_console.h"

#include <doctest/doctest.h>

#include <unistd.h>

namespace
{

// The effects of an answer to the prompt for an address. Before the answer, the address is
// "1.1.1.1", and its changed flag is not set.
struct AddressEntry {
    int result = 77;
    EditableText address = {"1.1.1.1", false};
    std::string screen;
};

AddressEntry address_answered(const std::string& answer)
{
    AddressEntry entry;
    entry.screen = console_of(
        answer + "\n", [&] { entry.result = prompt_ipv4("Enter IP Address", entry.address); });
    return entry;
}

} // namespace

TEST_CASE("an IPv4 answer is stored exactly as typed")
{
    for (const char* answer : {"255.255.255.255", "0.0.0.0", "010.0.0.1", "10.0.0.1abc", " 1.2.3.4",
                               "1. 2. 3. 4", "+1.2.3.4", "1.2.3.-0", "1.2.3.4.5", "1.2.3.4 "}) {
        CAPTURE(answer);
        const AddressEntry entry = address_answered(answer);
        CHECK(entry.result == answer_taken);
        CHECK(entry.address.text == answer);
        CHECK(entry.address.changed);
    }
}

TEST_CASE("an answer that is not an IPv4 address leaves the target unchanged")
{
    for (const char* answer :
         {"256.1.1.1", "1.1.1.256", "1.2.3", "1.2.3.", "", " ", "abc", "1 .2.3.4", "1,2,3,4",
          "1.2.3.-1", "-1.2.3.4", "4294967296.0.0.1", "4294967297.0.0.1", "-4294967295.0.0.1",
          "1.2.3.18446744073709551617", "1..2.3", ".1.2.3.4", " ~"}) {
        CAPTURE(answer);
        const AddressEntry entry = address_answered(answer);
        CHECK(entry.result == answer_rejected);
        CHECK(entry.address.text == "1.1.1.1");
        CHECK_FALSE(entry.address.changed);
        CHECK(entry.screen == "Enter IP Address: " + std::string(answer) + "\n");
    }
}

TEST_CASE("a tilde empties an address without setting the changed flag")
{
    for (const char* answer : {"~", "~~", "~1.2.3.4"}) {
        const AddressEntry entry = address_answered(answer);
        CHECK(entry.result == answer_taken);
        CHECK(entry.address.text == "");
        CHECK_FALSE(entry.address.changed);
    }
}

TEST_CASE("a tilde keeps the changed flag of an edited address")
{
    EditableText address = {"1.1.1.1", true};
    console_of("~\n", [&] { prompt_ipv4("Enter IP Address", address); });
    CHECK(address.text == "");
    CHECK(address.changed);
}

TEST_CASE("entering the same address again sets the changed flag")
{
    EditableText address = {"10.0.0.1", false};
    console_of("10.0.0.1\n", [&] { prompt_ipv4("Enter IP Address", address); });
    CHECK(address.changed);
}

TEST_CASE("an address typed before a failed wait is not stored")
{
    EditableText address = {"1.1.1.1", false};
    int result = 77;
    console_of(
        "10.0.0.1", [&] { result = prompt_ipv4("Enter IP Address", address); }, "kkkkkkkkf");
    CHECK(result == answer_rejected);
    CHECK(address.text == "1.1.1.1");
    CHECK_FALSE(address.changed);
}

TEST_CASE("a failed wait is rejected and leaves the address unchanged")
{
    EditableText address = {"1.1.1.1", false};
    int result = 77;
    console_of("", [&] {
        close(STDIN_FILENO);
        result = prompt_ipv4("Enter IP Address", address);
    });
    CHECK(result == answer_rejected);
    CHECK(address.text == "1.1.1.1");
    CHECK_FALSE(address.changed);
}

TEST_CASE("entering an address reports an answer that was not taken")
{
    EditableText address;
    bool taken = true;
    CHECK(console_of("1.2\n", [&] { taken = enter_address("Enter IP Address", address); }) ==
          "Enter IP Address: 1.2\nError: invalid address\n");
    CHECK_FALSE(taken);
    CHECK(console_of("1.2.3.4\n", [&] { taken = enter_address("Enter IP Address", address); }) ==
          "Enter IP Address: 1.2.3.4\n");
    CHECK(taken);
}

TEST_CASE("assigning sets the changed flag and never clears it")
{
    EditableText text;
    assign_text(text, "a", false);
    CHECK(text.text == "a");
    CHECK_FALSE(text.changed);
    assign_text(text, "b", true);
    CHECK(text.changed);
    assign_text(text, "c", false);
    CHECK(text.text == "c");
    CHECK(text.changed);
}

TEST_CASE("a time-out at an address is reported and leaves it unchanged")
{
    EditableText address = {"1.1.1.1", false};
    bool taken = true;
    CHECK(console_of(
              "2.2.2.2", [&] { taken = enter_address("Enter IP Address", address); }, "kkkkkkkt") ==
          "Enter IP Address: 2.2.2.2\nTimed out.\n");
    CHECK_FALSE(taken);
    CHECK(address.text == "1.1.1.1");
    CHECK_FALSE(address.changed);
}
