#include "console/number_scan.h"

#include <doctest/doctest.h>

namespace
{

// Scans `text`. Returns the number, a "|" and the rest of the text. Returns "none" when the scan
// fails, or "none, but changed" when a failed scan changes the number.
std::string scanned(const std::string& text, unsigned width = any_width)
{
    const char* cursor = text.c_str();
    std::uint32_t number = 77;
    if (!scan_unsigned(cursor, number, width))
        return number == 77 ? "none" : "none, but changed";
    return std::to_string(number) + "|" + cursor;
}

std::string whole(const std::string& text)
{
    const std::optional<long> number = scan_whole_number(text);
    return number ? std::to_string(*number) : "none";
}

} // namespace

TEST_CASE("an unsigned scan reads spaces, a sign and digits, and stops after them")
{
    CHECK(scanned("10.0") == "10|.0");
    CHECK(scanned("  7x") == "7|x");
    CHECK(scanned("\t\n\v\f\r7") == "7|");
    CHECK(scanned("+5") == "5|");
    CHECK(scanned("007") == "7|");
    CHECK(scanned("-0") == "0|");
    CHECK(scanned("-00z") == "0|z");
}

TEST_CASE("an unsigned scan without digits reads nothing")
{
    CHECK(scanned("") == "none");
    CHECK(scanned("x1") == "none");
    CHECK(scanned("-") == "none");
    CHECK(scanned("+ 1") == "none");
    CHECK(scanned("+-1") == "none");
    CHECK(scanned("~") == "none");
}

TEST_CASE("an unsigned scan reads a number that does not fit 32 bits as the largest number")
{
    CHECK(scanned("4294967295") == "4294967295|");
    CHECK(scanned("4294967296") == "4294967295|");
    CHECK(scanned("4294967297.0") == "4294967295|.0");
    CHECK(scanned("18446744073709551617") == "4294967295|");
    CHECK(scanned("99999999999999999999999999999999999999999") == "4294967295|");
    CHECK(scanned("-1") == "4294967295|");
    CHECK(scanned("-4294967295") == "4294967295|");
    CHECK(scanned("-4294967296") == "4294967295|");
}

TEST_CASE("the width of an unsigned scan counts the sign and the digits, not the spaces")
{
    CHECK(scanned("0915", 2) == "9|15");
    CHECK(scanned("   0915", 2) == "9|15");
    CHECK(scanned("+915", 2) == "9|15");
    CHECK(scanned("-915", 2) == "4294967295|15");
    CHECK(scanned("-0915", 2) == "0|915");
    CHECK(scanned("1", 2) == "1|");
    CHECK(scanned("+1", 1) == "none");
}

TEST_CASE("a decimal value saturates at the limits of 32 bits")
{
    CHECK(decimal_value("2147483647") == 2147483647);
    CHECK(decimal_value("2147483648") == 2147483647);
    CHECK(decimal_value("4294967296") == 2147483647);
    CHECK(decimal_value("-2147483648") == -2147483647 - 1);
    CHECK(decimal_value("-2147483649") == -2147483647 - 1);
    CHECK(decimal_value("99999999999999999999") == 2147483647);
    CHECK(decimal_value("-99999999999999999999") == -2147483647 - 1);
}

TEST_CASE("a decimal value is that of the leading digits, or 0 without digits")
{
    CHECK(decimal_value("") == 0);
    CHECK(decimal_value("abc") == 0);
    CHECK(decimal_value("3x") == 3);
    CHECK(decimal_value("  -4 ") == -4);
    CHECK(decimal_value("+5") == 5);
    CHECK(decimal_value("010") == 10);
    CHECK(decimal_value("0x10") == 0);
    CHECK(decimal_value("- 5") == 0);
}

TEST_CASE("spaces and a sign may precede a whole number, and only a newline may follow it")
{
    CHECK(whole("3") == "3");
    CHECK(whole(" 3") == "3");
    CHECK(whole("+3") == "3");
    CHECK(whole("-3") == "-3");
    CHECK(whole("-0") == "0");
    CHECK(whole("3\n") == "3");
    CHECK(whole("3\nx") == "3");
    CHECK(whole("") == "none");
    CHECK(whole(" ") == "none");
    CHECK(whole("3 ") == "none");
    CHECK(whole("3a") == "none");
    CHECK(whole("+") == "none");
    CHECK(whole("1 2") == "none");
}
