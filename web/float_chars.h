// Defines the floating-point functions of <charconv>. The TOML parser needs them, but the web
// compiler's library lacks them. The web build includes this file before every source file.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <type_traits>

// NOLINTBEGIN(cert-dcl58-cpp): the parser calls them as members of std
namespace std
{

template <typename Number>
using if_floating = enable_if_t<is_floating_point_v<Number>, int>;

// Unlike the standard function, accepts spaces and a "+" before the digits. The only caller, the
// TOML parser, passes neither.
template <typename Number, if_floating<Number> = 0>
from_chars_result from_chars(const char* first, const char* last, Number& value,
                             chars_format format = chars_format::general)
{
    const string prefix = format == chars_format::hex ? "0x" : "";
    const string text = prefix + string(first, last);
    char* end = nullptr;
    const double read = strtod(text.c_str(), &end);
    const auto length = static_cast<size_t>(end - text.c_str());
    if (length <= prefix.size())
        return {first, errc::invalid_argument};
    value = static_cast<Number>(read);
    return {first + (length - prefix.size()), errc()};
}

// The program never calls this function, but the parser's header needs it to compile. Seventeen
// digits are enough to read the same number back.
template <typename Number, if_floating<Number> = 0>
to_chars_result to_chars(char* first, char* last, Number value,
                         chars_format format = chars_format::general, int precision = 17)
{
    char digits[64];
    const bool hex = format == chars_format::hex;
    const auto wide = static_cast<double>(value);
    const int length = hex ? snprintf(digits, sizeof digits, "%a", wide)
                           : snprintf(digits, sizeof digits, "%.*g", precision, wide);
    const char* begin = hex ? digits + 2 : digits; // without "0x"
    if (digits + length - begin > last - first)
        return {last, errc::value_too_large};
    return {copy(begin, static_cast<const char*>(digits + length), first), errc()};
}

} // namespace std
// NOLINTEND(cert-dcl58-cpp)
