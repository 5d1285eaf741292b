#include "simulator/cdsctl/value_words.h"

#include "simulator/toml_text.h"

#include <doctest/doctest.h>

using namespace cdsctl;
using simulator::LeafValue;

namespace
{

// Returns the value in TOML, or "rejected: " and the reason.
std::string read(const std::string& word, const std::string& type, const LeafValue* present)
{
    LeafValue value;
    std::string reason;
    return read_value_word(word, type, present, value, reason) ? simulator::toml_value(value)
                                                               : "rejected: " + reason;
}

std::string as_new(const std::string& word)
{
    return read(word, "", nullptr);
}

std::string over(const LeafValue& present, const std::string& word)
{
    return read(word, "", &present);
}

std::string rejected(const std::string& word, const std::string& why)
{
    return "rejected: " + simulator::toml_string(word) + " is not " + why;
}

const std::string of_no_leaf =
    "a string, a boolean or an integer of 32 bits (--type string takes it as text)";

} // namespace

TEST_CASE("a new leaf has the type that TOML gives the argument")
{
    CHECK(as_new("true") == "true");
    CHECK(as_new("false") == "false");
    CHECK(as_new("5") == "5");
    CHECK(as_new("-5") == "-5");
    CHECK(as_new("+5") == "5");
    CHECK(as_new("1_000") == "1000");
    CHECK(as_new("0x1F") == "31");
    CHECK(as_new("-2147483648") == "-2147483648");
    CHECK(as_new("\"5\"") == "\"5\"");
    CHECK(as_new("'a\\b'") == "\"a\\\\b\"");
    CHECK(as_new("\"\"\"a\nb\"\"\"") == "\"a\\nb\"");
}

TEST_CASE("an argument that is not TOML is a string, unchanged")
{
    for (const char* word :
         {"", "RK", "True", "007", "091512345", "192.0.2.1", "[None]", "a b", "-", "-x", "--", "\"",
          "\"a", "1 2", "1,2", "\xC3\xA4", "5x", "v = 5"}) {
        CAPTURE(word);
        CHECK(as_new(word) == simulator::toml_string(word));
    }
}

TEST_CASE("a value with anything before or after it is not a TOML value")
{
    for (const char* word : {" 5", "5 ", "5 # five", "5\n", "\n5", "5\n\"/other\" = 6", "\"a\" ",
                             "\"\xC3\xA4\" ", "true\r\n", "1\nw=2"}) {
        CAPTURE(word);
        CHECK(as_new(word) == simulator::toml_string(word));
    }
}

TEST_CASE("a TOML value that no leaf can hold is rejected for a new leaf")
{
    for (const char* word : {"1.5", "2147483648", "-2147483649", "[1,2]", "[]", "{a=1}", "inf",
                             "2026-11-21", "07:32:00"}) {
        CAPTURE(word);
        CHECK(as_new(word) == rejected(word, of_no_leaf));
    }
}

TEST_CASE("a leaf keeps its type")
{
    CHECK(over(std::string("x"), "5") == "\"5\"");
    CHECK(over(std::string("x"), "true") == "\"true\"");
    CHECK(over(std::string("x"), "\"y\"") == "\"\\\"y\\\"\""); // with the argument's quotes
    CHECK(over(5, "-6") == "-6");
    CHECK(over(false, "true") == "true");
}

TEST_CASE("a value that does not fit the leaf is rejected")
{
    for (const char* word : {"", "x", "true", "\"5\"", "2147483648", "5.0", " 5"})
        CHECK(over(5, word) == rejected(word, "an integer of 32 bits"));
    for (const char* word : {"", "x", "1", "0", "\"true\"", "TRUE", "yes"})
        CHECK(over(false, word) == rejected(word, "true or false"));
    CHECK(over(std::string("x"), "\xFF") == rejected("\xFF", "UTF-8 text"));
}

TEST_CASE("a given type decides, whatever type the leaf has")
{
    const LeafValue present = 5;
    CHECK(read("7", "string", &present) == "\"7\"");
    CHECK(read("\"7\"", "string", nullptr) == "\"\\\"7\\\"\"");
    CHECK(read("true", "bool", &present) == "true");
    CHECK(read("7", "bool", &present) == rejected("7", "true or false"));
    CHECK(read("x", "int", nullptr) == rejected("x", "an integer of 32 bits"));
}
