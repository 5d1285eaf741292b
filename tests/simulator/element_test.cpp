#include "tests/simulator/test_meter.h"

#include <doctest/doctest.h>

#include <limits>

using toolkit::CElement;
using toolkit::CEvent;

namespace
{

constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();

std::string as_text(const CElement& element)
{
    std::string out = "left from before";
    element.to_string(out);
    return out;
}

std::vector<std::string> parts(const std::string& in, char separator = ';')
{
    std::vector<std::string> out = {"left from before"};
    CElement::split_string(out, in, separator);
    return out;
}

std::string source(const std::string& first, const std::string& second, const std::string& third)
{
    std::string out = "left from before";
    CEvent::format_source_string(out, first, second, third);
    return out;
}

using Parts = std::vector<std::string>;

} // namespace

TEST_CASE("assignment decides an element's type")
{
    CHECK(CElement().type() == 6);
    CHECK(boolean(true).type() == 1);
    CHECK(integer(2).type() == 3);
    CHECK(text("2").type() == 6);

    CElement element = integer(2);
    element = true;
    CHECK(element.type() == 1);
    element = std::string("2");
    CHECK(element.type() == 6);
    element = std::int32_t{2};
    CHECK(element.type() == 3);
}

TEST_CASE("a new element is an empty string")
{
    CHECK(shown(CElement()) == "''");
}

TEST_CASE("to_string gives true and false, a decimal number, or the text")
{
    CHECK(as_text(boolean(true)) == "true");
    CHECK(as_text(boolean(false)) == "false");
    CHECK(as_text(integer(0)) == "0");
    CHECK(as_text(integer(-12)) == "-12");
    CHECK(as_text(integer(lowest)) == "-2147483648");
    CHECK(as_text(integer(highest)) == "2147483647");
    CHECK(as_text(text(" a\tb ")) == " a\tb ");
    CHECK(as_text(text("")) == "");
}

TEST_CASE("an assigned value replaces the old one completely")
{
    CElement element = text("12");
    element = std::int32_t{3};
    CHECK(as_text(element) == "3");
    element = std::string("x");
    CHECK(element.to_int() == 0);
    CHECK_FALSE(element.to_bool());
}

TEST_CASE("to_int gives 1 and 0, the number, or the text's leading number")
{
    CHECK(boolean(true).to_int() == 1);
    CHECK(boolean(false).to_int() == 0);
    CHECK(integer(-7).to_int() == -7);
    CHECK(text("42").to_int() == 42);
    CHECK(text("3x").to_int() == 3);
    CHECK(text("010").to_int() == 10);
    CHECK(text("0x10").to_int() == 0);
    CHECK(text("x3").to_int() == 0);
    CHECK(text("").to_int() == 0);
    CHECK(text("true").to_int() == 0);
}

TEST_CASE("to_int accepts leading spaces and one sign")
{
    CHECK(text("  \t\n5").to_int() == 5);
    CHECK(text("+5").to_int() == 5);
    CHECK(text(" -5").to_int() == -5);
    CHECK(text("- 5").to_int() == 0);
    CHECK(text("--5").to_int() == 0);
}

TEST_CASE("to_int of a text stops at the limits of 32 bits")
{
    CHECK(text("2147483647").to_int() == highest);
    CHECK(text("2147483648").to_int() == highest);
    CHECK(text("4294967297").to_int() == highest);
    CHECK(text("99999999999999999999999").to_int() == highest);
    CHECK(text("-2147483648").to_int() == lowest);
    CHECK(text("-2147483649").to_int() == lowest);
    CHECK(text("-99999999999999999999999").to_int() == lowest);
}

TEST_CASE("to_bool gives the boolean, non-zero, or whether the text is true or 1")
{
    CHECK(boolean(true).to_bool());
    CHECK_FALSE(boolean(false).to_bool());
    CHECK(integer(2).to_bool());
    CHECK(integer(-1).to_bool());
    CHECK_FALSE(integer(0).to_bool());
    CHECK(text("true").to_bool());
    CHECK(text("1").to_bool());
    for (const char* other : {"", "0", "false", "True", "TRUE", " true", "1 ", "2", "11"})
        CHECK_FALSE(text(other).to_bool());
}

static const bool auto_time_at_start = CElement::_auto_time;

TEST_CASE("elements are stamped with the time only when that is switched on")
{
    CHECK_FALSE(auto_time_at_start);
    CHECK(CElement::_invalid_time == std::time_t{-1}); // the C library's value for an invalid time
    CElement::_auto_time = false;
    CHECK(CElement().time() == CElement::_invalid_time);
    CHECK(integer(1).time() == CElement::_invalid_time);

    CElement older;
    CElement::_auto_time = true;
    const std::time_t before = std::time(nullptr);
    CHECK(CElement().time() >= before);
    older = true;
    CHECK(older.time() >= before);
    CElement::_auto_time = false;

    older = CElement();
    CElement::_auto_time = true;
    older = std::string("x");
    CHECK(older.time() >= before);
    CHECK(older.time() <= std::time(nullptr));
    CElement::_auto_time = false;
}

TEST_CASE("a text is split as by repeated getline calls")
{
    CHECK(parts("") == Parts{});
    CHECK(parts("a") == Parts{"a"});
    CHECK(parts("a;b") == Parts{"a", "b"});
    CHECK(parts("a;b;") == Parts{"a", "b"});
    CHECK(parts(";") == Parts{""});
    CHECK(parts(";;") == Parts{"", ""});
    CHECK(parts(";a") == Parts{"", "a"});
    CHECK(parts("a;;b") == Parts{"a", "", "b"});
    CHECK(parts("a\nb; c ") == Parts{"a\nb", " c "});
    CHECK(parts("a;b/c", '/') == Parts{"a;b", "c"});
}

TEST_CASE("the text to split may be an entry of the result list")
{
    Parts list = {"x", "a;b"};
    CElement::split_string(list, list[1], ';');
    CHECK(list == Parts{"a", "b"});
}

TEST_CASE("a source is its non-empty names joined with slashes")
{
    CHECK(source("Console", "", "") == "Console");
    CHECK(source("", "Console", "") == "Console");
    CHECK(source("", "", "Console") == "Console");
    CHECK(source("a", "b", "c") == "a/b/c");
    CHECK(source("a", "", "c") == "a/c");
    CHECK(source("", "b", "c") == "b/c");
    CHECK(source("", "", "") == "");

    std::string name = "a";
    CEvent::format_source_string(name, name, name, "");
    CHECK(name == "a/a");
}
