// The floating-point part of <charconv>, which the web compiler's library lacks and the TOML parser
// needs. The web build includes this file before every source.
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

// Relies on its only caller, the parser, which passes checked digits without spaces or a "+".
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

// Not used here, but the parser's header needs it to compile. It writes seventeen digits, which are
// enough to read the same number back.
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
