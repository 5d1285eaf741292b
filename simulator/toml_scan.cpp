#include "simulator/toml_scan.h"

#include <algorithm>
#include <string>
#include <vector>

namespace simulator
{

namespace
{

// Returns the position after the closing quote of the string that begins at `at`. A string without
// a closing quote ends at the end of the line. A multi-line string without closing quotes ends at
// the end of the text.
std::size_t end_of_string(std::string_view text, std::size_t at)
{
    const char quote = text[at];
    const bool is_long = text.substr(at, 3) == std::string(3, quote);
    const std::string end(is_long ? 3 : 1, quote);
    for (at += end.size(); at < text.size(); ++at) {
        if (text[at] == '\n' && !is_long)
            return at;
        if (text[at] == '\\' && quote == '"')
            ++at;
        else if (text.substr(at, end.size()) == end)
            break;
    }
    at += end.size();
    for (int more = 0; is_long && more < 2 && at < text.size() && text[at] == quote; ++more)
        ++at; // up to two quotes before the three closing quotes belong to the string
    return std::min(at, text.size());
}

std::size_t end_of_comment(std::string_view text, std::size_t at)
{
    return std::min(text.find('\n', at), text.size());
}

// Calls `visit` for each character outside strings and comments, with the character and its
// position. Stops when `visit` returns false.
template <typename Visit>
void visit_outside_of_strings(std::string_view text, Visit visit)
{
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] == '"' || text[at] == '\'') {
            at = end_of_string(text, at);
        } else if (text[at] == '#') {
            at = end_of_comment(text, at);
        } else {
            if (!visit(text[at], at))
                return;
            ++at;
        }
    }
}

// The nesting depth at the present position of a scan.
struct Depth {
    std::vector<std::size_t> outside; // the depth before each open bracket
    std::size_t inside = 0;           // the depth directly inside the innermost open bracket
    std::size_t now = 0;
    bool in_header = false;
    bool in_value = false; // a dot in a value does not separate keys
};

void open_bracket(Depth& depth)
{
    depth.in_header = depth.in_header || (depth.outside.empty() && !depth.in_value);
    depth.outside.push_back(depth.inside);
    depth.inside = ++depth.now;
    depth.in_value = false;
}

void close_bracket(Depth& depth)
{
    if (!depth.outside.empty()) {
        depth.inside = depth.outside.back();
        depth.outside.pop_back();
    }
    depth.now = depth.inside;
}

void begin_next(Depth& depth)
{
    depth.now = depth.inside;
    depth.in_value = false;
}

// A table header ends at the end of its line, even when brackets are still open.
void end_line(Depth& depth)
{
    if (depth.in_header)
        depth = Depth();
    begin_next(depth);
}

void count(Depth& depth, char character)
{
    switch (character) {
    case '[':
    case '{': open_bracket(depth); break;
    case ']':
    case '}': close_bracket(depth); break;
    case '.': depth.now += depth.in_value ? 0 : 1; break;
    case '=': depth.in_value = true; break;
    case ',': begin_next(depth); break;
    case '\n': end_line(depth); break;
    default: break;
    }
}

} // namespace

std::uint32_t line_too_deep(std::string_view text)
{
    Depth depth;
    std::size_t place = text.size();
    visit_outside_of_strings(text, [&](char character, std::size_t at) {
        count(depth, character);
        place = at;
        return depth.now <= deepest_nesting;
    });
    if (depth.now <= deepest_nesting)
        return 0;
    const auto line_ends =
        std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(place), '\n');
    return static_cast<std::uint32_t>(line_ends + 1);
}

std::string_view last_key(std::string_view text)
{
    constexpr std::string_view separators = "[]{},\n";
    std::size_t begin = 0;
    std::string_view key;
    visit_outside_of_strings(text, [&](char character, std::size_t at) {
        if (separators.find(character) != std::string_view::npos)
            begin = at + 1;
        else if (character == '=')
            key = text.substr(begin, at - begin);
        return true;
    });
    constexpr std::string_view white_space = " \t";
    key.remove_prefix(std::min(key.find_first_not_of(white_space), key.size()));
    return key.substr(0, key.find_last_not_of(white_space) + 1);
}

} // namespace simulator
