#include "console/number_scan.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace
{

bool is_space(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

} // namespace

bool scan_unsigned(const char*& cursor, std::uint32_t& number, unsigned width)
{
    constexpr std::uint64_t largest = std::numeric_limits<std::uint32_t>::max();

    while (is_space(*cursor))
        ++cursor;
    const bool negative = *cursor == '-';
    if (negative || *cursor == '+') {
        ++cursor;
        --width;
    }
    if (width == 0 || !is_digit(*cursor))
        return false;

    std::uint64_t value = 0;
    for (; width > 0 && is_digit(*cursor); ++cursor, --width)
        value = std::min(value * 10 + static_cast<std::uint64_t>(*cursor - '0'), largest);
    if (negative && value != 0)
        value = largest;
    number = static_cast<std::uint32_t>(value);
    return true;
}

std::int32_t decimal_value(const std::string& text)
{
    constexpr long lowest = std::numeric_limits<std::int32_t>::min();
    constexpr long highest = std::numeric_limits<std::int32_t>::max();
    const long value = std::strtol(text.c_str(), nullptr, 10);
    return static_cast<std::int32_t>(std::clamp(value, lowest, highest));
}

std::optional<long> scan_whole_number(const std::string& text)
{
    char* end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || (*end != '\0' && *end != '\n'))
        return {};
    return number;
}
