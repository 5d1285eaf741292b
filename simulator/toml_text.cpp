#include "simulator/toml_text.h"

#include <cstddef>
#include <cstdint>

namespace simulator
{

namespace
{

unsigned byte_at(std::string_view text, std::size_t at)
{
    return static_cast<unsigned char>(text[at]);
}

// Returns the length of a UTF-8 sequence that begins with the byte `lead`, or 0 when no UTF-8
// sequence can begin with `lead`.
std::size_t sequence_length(unsigned lead)
{
    if (lead < 0x80)
        return 1;
    if (lead < 0xC2)
        return 0;
    if (lead < 0xE0)
        return 2;
    if (lead < 0xF0)
        return 3;
    return lead < 0xF5 ? 4 : 0;
}

// Checks the second byte of a UTF-8 sequence. The permitted range also excludes overlong forms,
// surrogates and code points beyond U+10FFFF.
bool second_byte_fits(unsigned lead, unsigned second)
{
    const unsigned lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    return second >= lowest && second <= highest;
}

void append_escaped(std::string& out, char character)
{
    constexpr char digits[] = "0123456789ABCDEF";
    const auto code = static_cast<unsigned char>(character);
    switch (character) {
    case '"': out += "\\\""; break;
    case '\\': out += "\\\\"; break;
    case '\b': out += "\\b"; break;
    case '\t': out += "\\t"; break;
    case '\n': out += "\\n"; break;
    case '\f': out += "\\f"; break;
    case '\r': out += "\\r"; break;
    default:
        if (code >= 0x20 && code != 0x7F) {
            out += character;
        } else {
            out += "\\u00";
            out += digits[code >> 4];
            out += digits[code & 0x0F];
        }
    }
}

} // namespace

bool is_utf8(std::string_view text)
{
    for (std::size_t at = 0; at < text.size();) {
        const unsigned lead = byte_at(text, at);
        const std::size_t length = sequence_length(lead);
        if (length == 0 || length > text.size() - at)
            return false;
        if (length > 1 && !second_byte_fits(lead, byte_at(text, at + 1)))
            return false;
        for (std::size_t i = 2; i < length; ++i) {
            if ((byte_at(text, at + i) & 0xC0) != 0x80)
                return false;
        }
        at += length;
    }
    return true;
}

std::string toml_string(std::string_view text)
{
    std::string out = "\"";
    for (const char character : text)
        append_escaped(out, character);
    out += '"';
    return out;
}

std::string toml_value(const LeafValue& value)
{
    if (const bool* flag = std::get_if<bool>(&value))
        return *flag ? "true" : "false";
    if (const std::int32_t* number = std::get_if<std::int32_t>(&value))
        return std::to_string(*number);
    return toml_string(std::get<std::string>(value));
}

std::string toml_text(const Leaves& leaves)
{
    std::string out;
    for (const auto& [path, value] : leaves)
        out += toml_string(path) + " = " + toml_value(value) + "\n";
    return out;
}

} // namespace simulator
