#include "simulator/toml_files.h"
#include "simulator/toml_text.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <random>

using namespace simulator;

namespace
{

std::string encoded(unsigned code)
{
    const auto byte = [](unsigned value) { return static_cast<char>(value); };
    if (code < 0x80)
        return {byte(code)};
    if (code < 0x800)
        return {byte(0xC0 | code >> 6), byte(0x80 | (code & 0x3F))};
    if (code < 0x10000)
        return {byte(0xE0 | code >> 12), byte(0x80 | (code >> 6 & 0x3F)),
                byte(0x80 | (code & 0x3F))};
    return {byte(0xF0 | code >> 18), byte(0x80 | (code >> 12 & 0x3F)),
            byte(0x80 | (code >> 6 & 0x3F)), byte(0x80 | (code & 0x3F))};
}

Leaves read_back(const std::string& text)
{
    Leaves leaves;
    std::string error;
    const bool parsed = parse_leaves(text, "written", leaves, error);
    CHECK_MESSAGE(parsed, error);
    return leaves;
}

// Returns a random text. Most of its characters need an escape or end a token.
std::string random_text(std::mt19937& random)
{
    static constexpr char special[] = "\"\\'#=\n\r\t\b\f\x1B\x7F []{}.u0";
    std::string text;
    for (unsigned left = static_cast<unsigned>(random() % 12); left > 0; --left) {
        const unsigned pick = static_cast<unsigned>(random());
        unsigned code = pick / 4 % 0x110000;
        if (code >= 0xD800 && code <= 0xDFFF)
            code = 0xFFFD;
        text +=
            pick % 4 != 0 ? std::string(1, special[pick / 4 % (sizeof special)]) : encoded(code);
    }
    return text;
}

} // namespace

TEST_CASE("leaves are written one per line, sorted by the bytes of their paths")
{
    const Leaves leaves = {{"/b", true},
                           {"/a/1", std::string("x")},
                           {"/a 2", std::int32_t{-5}},
                           {"/\xC3\xA4", false},
                           {"/Z", std::string("")}};
    CHECK(toml_text(leaves) ==
          "\"/Z\" = \"\"\n\"/a 2\" = -5\n\"/a/1\" = \"x\"\n\"/b\" = true\n\"/\xC3\xA4\" = false\n");
    CHECK(toml_text({}) == "");
}

TEST_CASE("quotes, backslashes and control characters are escaped, all else is kept")
{
    CHECK(toml_string("a \"b\" \\ 'c' #") == "\"a \\\"b\\\" \\\\ 'c' #\"");
    CHECK(toml_string("\b\t\n\f\r") == "\"\\b\\t\\n\\f\\r\"");
    CHECK(toml_string(std::string("\0\x01\x1F\x7F", 4)) == "\"\\u0000\\u0001\\u001F\\u007F\"");
    CHECK(toml_string("\xC2\x80\xE2\x82\xAC") == "\"\xC2\x80\xE2\x82\xAC\"");
}

TEST_CASE("numbers are written to the limits of 32 bits")
{
    CHECK(toml_value(std::int32_t{-2147483647} - 1) == "-2147483648");
    CHECK(toml_value(std::int32_t{2147483647}) == "2147483647");
    const Leaves leaves = {{"/l", std::int32_t{-2147483647} - 1}, {"/h", std::int32_t{2147483647}}};
    CHECK(read_back(toml_text(leaves)) == leaves);
}

TEST_CASE("every character is read back as it was written")
{
    for (unsigned code = 0; code <= 0x10FFFF; code += code < 0x3000 ? 1 : 251) {
        if (code >= 0xD800 && code <= 0xDFFF)
            continue;
        const Leaves leaves = {{"/" + encoded(code), "<" + encoded(code) + ">"}};
        REQUIRE(read_back(toml_text(leaves)) == leaves);
    }
}

TEST_CASE("random texts are read back as they were written, as one line each")
{
    std::mt19937 random(20240229);
    for (int round = 0; round < 200; ++round) {
        Leaves leaves;
        for (int i = 0; i < 20; ++i)
            leaves[random_text(random)] = random_text(random);
        const std::string text = toml_text(leaves);
        REQUIRE(std::count(text.begin(), text.end(), '\n') ==
                static_cast<std::ptrdiff_t>(leaves.size()));
        REQUIRE(read_back(text) == leaves);
    }
}

TEST_CASE("UTF-8 is distinguished from other bytes")
{
    for (const unsigned code :
         {0x00u, 0x7Fu, 0x80u, 0x7FFu, 0x800u, 0xD7FFu, 0xE000u, 0xFFFFu, 0x10000u, 0x10FFFFu}) {
        CAPTURE(code);
        CHECK(is_utf8("a" + encoded(code) + "z"));
    }
    CHECK(is_utf8(""));
    CHECK_FALSE(is_utf8(std::string_view("\xC3\xA4", 1))); // the view ends before the second byte
    CHECK_FALSE(is_utf8(std::string_view("a\xC3\xA4", 2)));
    CHECK_FALSE(is_utf8(std::string_view("\xF0\x9F\x94\x8C", 3)));
    for (const char* bad : {"\x80",
                            "\xBF",
                            "\xC3",
                            "a\xC3",
                            "\xC3(",
                            "\xC3\x7F",
                            "\xC3\xC0",
                            "\x80\x80\x80",
                            "\xC1\x80\x80",
                            "\x80\x80\x80\x80",
                            "\xC1\x80\x80\x80",
                            "\xC0\x80",
                            "\xC1\xBF",
                            "\xE0\x9F\xBF",
                            "\xE2\x82",
                            "\xE2(\xAC",
                            "\xE2\x82(",
                            "\xED\xA0\x80",
                            "\xED\xBF\xBF",
                            "\xF0\x8F\xBF\xBF",
                            "\xF0\x90\x80",
                            "\xF0\x90\x80(",
                            "\xF4\x90\x80\x80",
                            "\xF5\x80\x80\x80",
                            "\xFE",
                            "\xFF"}) {
        CAPTURE(bad);
        CHECK_FALSE(is_utf8(bad));
    }
}
