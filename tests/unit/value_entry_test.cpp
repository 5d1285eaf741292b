#include "console/value_entry.h"

#include "console/line_reader.h"
#include "tests/unit/fake_console.h"
#include "tests/unit/fake_store.h"

#include <doctest/doctest.h>

#include <unistd.h>

namespace
{

// Answers the prompt for an address that holds "1.1.1.1" and is not marked.
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

struct Loaded {
    EditableText text = {"before", false};
    bool moved = false;
};

using Loader = void (*)(EditableText&, LeafCursor&);

Loaded loaded(Loader load, api_status_t status, const toolkit::CElement& element,
              bool changed = false)
{
    const std::vector<api_status_t> statuses = {status};
    const std::vector<toolkit::CElement> elements = {element};
    LeafCursor next = {statuses.begin(), elements.begin()};
    Loaded result;
    result.text.changed = changed;
    load(result.text, next);
    result.moved = next.status == statuses.end() && next.element == elements.end();
    return result;
}

EditableFlag flag_loaded(api_status_t status, const toolkit::CElement& element, EditableFlag before,
                         bool fallback)
{
    const std::vector<api_status_t> statuses = {status};
    const std::vector<toolkit::CElement> elements = {element};
    LeafCursor next = {statuses.begin(), elements.begin()};
    load_flag(before, next, fallback);
    CHECK(next.status == statuses.end());
    CHECK(next.element == elements.end());
    return before;
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

TEST_CASE("an answer that is no IPv4 address leaves the target alone")
{
    for (const char* answer :
         {"256.1.1.1", "1.1.1.256", "1.2.3", "1.2.3.", "", " ", "abc", "1 .2.3.4", "1,2,3,4",
          "1.2.3.-1", "-1.2.3.4", "4294967296.0.0.1", "4294967297.0.0.1", "-4294967295.0.0.1",
          "1.2.3.18446744073709551617", "1..2.3", ".1.2.3.4", " ~"}) {
        CAPTURE(answer);
        const AddressEntry entry = address_answered(answer);
        CHECK(entry.result == answer_refused);
        CHECK(entry.address.text == "1.1.1.1");
        CHECK_FALSE(entry.address.changed);
        CHECK(entry.screen == "Enter IP Address: " + std::string(answer) + "\n");
    }
}

TEST_CASE("a tilde empties an address without marking it changed")
{
    for (const char* answer : {"~", "~~", "~1.2.3.4"}) {
        const AddressEntry entry = address_answered(answer);
        CHECK(entry.result == answer_taken);
        CHECK(entry.address.text == "");
        CHECK_FALSE(entry.address.changed);
    }
}

TEST_CASE("a tilde leaves the mark of an edited address set")
{
    EditableText address = {"1.1.1.1", true};
    console_of("~\n", [&] { prompt_ipv4("Enter IP Address", address); });
    CHECK(address.text == "");
    CHECK(address.changed);
}

TEST_CASE("an address that is entered as it was is marked changed")
{
    EditableText address = {"10.0.0.1", false};
    console_of("10.0.0.1\n", [&] { prompt_ipv4("Enter IP Address", address); });
    CHECK(address.changed);
}

TEST_CASE("an address that was typed before a wait failed is not taken")
{
    EditableText address = {"1.1.1.1", false};
    int result = 77;
    console_of(
        "10.0.0.1", [&] { result = prompt_ipv4("Enter IP Address", address); }, "kkkkkkkkf");
    CHECK(result == answer_refused);
    CHECK(address.text == "1.1.1.1");
    CHECK_FALSE(address.changed);
}

TEST_CASE("a failed wait at an address is refused and leaves it alone")
{
    EditableText address = {"1.1.1.1", false};
    int result = 77;
    console_of("", [&] {
        close(STDIN_FILENO);
        result = prompt_ipv4("Enter IP Address", address);
    });
    CHECK(result == answer_refused);
    CHECK(address.text == "1.1.1.1");
    CHECK_FALSE(address.changed);
}

TEST_CASE("entering an address tells when none was taken")
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

TEST_CASE("assigning marks a text changed and never takes a mark back")
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

TEST_CASE("an empty text is shown as none")
{
    CHECK(text_or_none({"", true}) == "[None]");
    CHECK(text_or_none({"x", false}) == "x");
}

TEST_CASE("a leaf that was read becomes the text, whatever its type")
{
    for (const Loaded& result : {loaded(load_text, 1, text_element("x")),
                                 loaded(load_string_text, 1, text_element("x"))}) {
        CHECK(result.text.text == "x");
        CHECK_FALSE(result.text.changed);
        CHECK(result.moved);
    }
    CHECK(loaded(load_text, 1, number_element(-3)).text.text == "-3");
    CHECK(loaded(load_text, 1, boolean_element(true)).text.text == "true");
}

TEST_CASE("a leaf that must hold a string and does not is loaded as empty")
{
    for (const toolkit::CElement& element : {number_element(3), boolean_element(true)}) {
        const Loaded result = loaded(load_string_text, 1, element);
        CHECK(result.text.text == "");
        CHECK_FALSE(result.text.changed);
        CHECK(result.moved);
    }
}

TEST_CASE("a leaf with any other status is loaded as empty")
{
    for (const api_status_t status : {0, 2, -1, 5}) {
        for (Loader load : {&load_text, &load_string_text}) {
            const Loaded result = loaded(load, status, text_element("x"));
            CHECK(result.text.text == "");
            CHECK(result.moved);
        }
    }
}

TEST_CASE("an edit wins over whatever the store holds")
{
    for (Loader load : {&load_text, &load_string_text}) {
        for (const api_status_t status : {1, 2}) {
            const Loaded result = loaded(load, status, text_element("stored"), true);
            CHECK(result.text.text == "before");
            CHECK(result.text.changed);
            CHECK(result.moved);
        }
    }
}

TEST_CASE("a flag takes a readable boolean, and its fallback for anything else")
{
    for (const bool fallback : {false, true}) {
        CHECK(flag_loaded(1, boolean_element(true), {false, false}, fallback).value);
        CHECK_FALSE(flag_loaded(1, boolean_element(false), {true, false}, fallback).value);
        CHECK(flag_loaded(1, number_element(!fallback), {}, fallback).value == fallback);
        CHECK(flag_loaded(1, text_element("true"), {}, fallback).value == fallback);
        CHECK(flag_loaded(2, boolean_element(!fallback), {}, fallback).value == fallback);
        CHECK_FALSE(flag_loaded(1, boolean_element(true), {}, fallback).changed);
    }
}

TEST_CASE("an edited flag keeps its value")
{
    CHECK(flag_loaded(1, boolean_element(false), {true, true}, false).value);
    CHECK_FALSE(flag_loaded(2, boolean_element(true), {false, true}, true).value);
}

TEST_CASE("an address that is not entered in time is told and left alone")
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
