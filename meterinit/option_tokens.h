// The grammar of options lists as data: a table of the option leaves, and a table of the tokens
// that set these leaves.
//
// A new option needs one row in each of the two tables. The compiler derives the rest from the
// tables: the leaves that a token sets to true and to false, the leaves that clearing writes, and
// the tokens that the diagnostic of a rejected list accepts.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

// Each group except `single` is an exclusive group. A list may contain at most one token of each
// exclusive group, and any number of `single` tokens. The power-quality tokens have additional
// rules.
enum class OptionGroup : unsigned char {
    single,
    serial,
    ethernet,
    modem,
    digital_io,
    analog_output,
    external_io,
    power_quality,
    count, // not a group: the number of groups
};

inline constexpr char option_branch[] = "/VMIC/Options/";

// An option leaf, which holds a boolean.
struct OptionLeaf {
    char name[21]; // path below `option_branch`, without "/Value"
    OptionGroup group;
};

// Clearing writes the leaves in the order of these rows.
// clang-format off
inline constexpr OptionLeaf option_leaves[] = {
    {"Serial/1",             OptionGroup::serial},
    {"Serial/2",             OptionGroup::serial},
    {"Serial/3",             OptionGroup::serial},
    {"Ethernet/1",           OptionGroup::ethernet},
    {"Ethernet/2",           OptionGroup::ethernet},
    {"Ethernet/Wifi",        OptionGroup::ethernet},
    {"Modem/Analog",         OptionGroup::modem},
    {"Modem/CellGSM",        OptionGroup::modem},
    {"Modem/CellSprint",     OptionGroup::modem},
    {"Modem/CellVerison",    OptionGroup::modem}, // deliberate: the store misspells this name
    {"ExternAntenna",        OptionGroup::single},
    {"CommRepeater",         OptionGroup::single},
    {"PhoneHomeOnPowerFail", OptionGroup::single},
    {"IntDIO/6Ch",           OptionGroup::digital_io},
    {"IntDIO/6ChwPS",        OptionGroup::digital_io},
    {"IntAO/0_1ma",          OptionGroup::analog_output},
    {"IntAO/4_20ma",         OptionGroup::analog_output},
    {"ExternIO/8ChDIO",      OptionGroup::external_io},
    {"ExternIO/4ChAI",       OptionGroup::external_io},
    {"ExternIO/8DIOPlus4AI", OptionGroup::external_io},
    {"Web",                  OptionGroup::single},
    {"IEC61850",             OptionGroup::single},
    {"DLMS",                 OptionGroup::single},
    {"IB",                   OptionGroup::single},
    {"IEEE1588",             OptionGroup::single},
    {"NTP",                  OptionGroup::single},
    {"PPS",                  OptionGroup::single},
    {"DualLP",               OptionGroup::single},
    {"ML",                   OptionGroup::single},
    {"3P",                   OptionGroup::single},
    {"EAP",                  OptionGroup::single},
    {"DC",                   OptionGroup::single},
    {"PQ",                   OptionGroup::single}, // true if the list has any power-quality token
    {"PQ1",                  OptionGroup::power_quality},
    {"PQ2",                  OptionGroup::power_quality},
    {"PQ3",                  OptionGroup::power_quality},
    {"PMU",                  OptionGroup::single},
    {"MID",                  OptionGroup::single}, // must be the last row, see `cleared_leaves`
};
// clang-format on

// A set of rows of `option_leaves`. Bit i is set if row i is in the set.
using LeafSet = std::uint64_t;
static_assert(std::size(option_leaves) <= 64);

// A constant expression that calls this function does not compile, because it is not constexpr. It
// needs no definition, because only constant expressions call it.
void name_is_not_in_table();

// Returns the set with the row of this name. In a constant expression, an unknown name does not
// compile.
constexpr LeafSet leaf_named(std::string_view name)
{
    std::size_t row = 0;
    while (option_leaves[row].name != name) {
        if (++row == std::size(option_leaves))
            name_is_not_in_table();
    }
    return LeafSet{1} << row;
}

template <typename... Names>
constexpr LeafSet leaves(const Names&... names)
{
    return (leaf_named(names) | ...);
}

// Returns the set of all rows of this group.
constexpr LeafSet leaves_of(OptionGroup group)
{
    LeafSet rows = 0;
    for (std::size_t row = 0; row < std::size(option_leaves); ++row) {
        if (option_leaves[row].group == group)
            rows |= LeafSet{1} << row;
    }
    return rows;
}

// Deliberate: clearing the options leaves MID unchanged.
static_assert(std::string_view(option_leaves[std::size(option_leaves) - 1].name) == "MID");
constexpr LeafSet cleared_leaves = leaf_named("MID") - 1;

using TokenText = std::array<char, 5>;

constexpr std::string_view view_of(const TokenText& text)
{
    return text.data();
}

// A token of an exclusive group also sets the other leaves of the group to false.
struct OptionToken {
    TokenText text; // in upper case; a list may contain it in lower case instead
    OptionGroup group;
    LeafSet leaves; // leaves that the token sets to true
};

// The scan looks for the tokens in the order of these rows, not in the order of the typed list. The
// tokens of an exclusive group must be in adjacent rows.
// clang-format off
inline constexpr OptionToken option_tokens[] = {
    {"1A",   OptionGroup::serial,        leaves("Serial/3")},
    {"1B",   OptionGroup::serial,        leaves("Serial/1", "Serial/2")},
    {"1C",   OptionGroup::serial,        leaves("Serial/1", "Serial/2", "Serial/3")},
    {"2A",   OptionGroup::ethernet,      leaves("Ethernet/1")},
    {"2B",   OptionGroup::ethernet,      leaves("Ethernet/1", "Ethernet/2")},
    {"2C",   OptionGroup::ethernet,      leaves("Ethernet/1", "Ethernet/Wifi")},
    {"3A",   OptionGroup::modem,         leaves("Modem/Analog")},
    {"3B",   OptionGroup::modem,         leaves("Modem/CellGSM")},
    {"3C",   OptionGroup::modem,         leaves("Modem/CellSprint")},
    {"3D",   OptionGroup::modem,         leaves("Modem/CellVerison")},
    {"4",    OptionGroup::single,        leaves("ExternAntenna")},
    {"5",    OptionGroup::single,        leaves("CommRepeater")},
    {"6",    OptionGroup::single,        leaves("PhoneHomeOnPowerFail")},
    {"7A",   OptionGroup::digital_io,    leaves("IntDIO/6Ch")},
    {"7B",   OptionGroup::digital_io,    leaves("IntDIO/6Ch", "IntDIO/6ChwPS")},
    {"8A",   OptionGroup::analog_output, leaves("IntAO/0_1ma")},
    {"8B",   OptionGroup::analog_output, leaves("IntAO/4_20ma")},
    {"9A",   OptionGroup::external_io,   leaves("ExternIO/8ChDIO")},
    {"9B",   OptionGroup::external_io,   leaves("ExternIO/4ChAI")},
    {"9C",   OptionGroup::external_io,   leaves("ExternIO/8DIOPlus4AI")},
    {"WEB",  OptionGroup::single,        leaves("Web")},
    {"IEC",  OptionGroup::single,        leaves("IEC61850")},
    {"DLMS", OptionGroup::single,        leaves("DLMS")},
    {"IB",   OptionGroup::single,        leaves("IB")},
    {"IEEE", OptionGroup::single,        leaves("IEEE1588")},
    {"NTP",  OptionGroup::single,        leaves("NTP")},
    {"PPS",  OptionGroup::single,        leaves("PPS")},
    {"DLP",  OptionGroup::single,        leaves("DualLP")},
    {"ML",   OptionGroup::single,        leaves("ML")},
    {"THP",  OptionGroup::single,        leaves("3P")},
    {"EAP",  OptionGroup::single,        leaves("EAP")},
    {"DC",   OptionGroup::single,        leaves("DC")},
    {"PQR",  OptionGroup::power_quality, leaves("PQ")},
    {"PQ1",  OptionGroup::power_quality, leaves("PQ1")},
    {"PQ2",  OptionGroup::power_quality, leaves("PQ2")},
    {"PQ3",  OptionGroup::power_quality, leaves("PQ1", "PQ2", "PQ3")}, // PQ3 includes PQ1 and PQ2
    {"PMU",  OptionGroup::single,        leaves("PMU")},
    {"MID",  OptionGroup::single,        leaves("MID")},
};
// clang-format on

// Returns the row of this token. In a constant expression, an unknown token does not compile.
constexpr const OptionToken& token_named(std::string_view text)
{
    const OptionToken* token = option_tokens;
    while (view_of(token->text) != text) {
        if (++token == std::end(option_tokens))
            name_is_not_in_table();
    }
    return *token;
}

// The message that rejects a second token of an exclusive group. The program prints no newline
// after it.
struct GroupMessage {
    OptionGroup group;
    char text[69];
};

// The rows are in the order of `OptionGroup`. Its first group, `single`, has no message.
// clang-format off
inline constexpr GroupMessage group_messages[] = {
    {OptionGroup::serial,        "\nError: Enter only one option for Serial Ports (1A, 1B or 1C)"},
    {OptionGroup::ethernet,      "\nError: Enter only one option for Ethernet/Wifi Ports (2A, 2B or 2C)"},
    {OptionGroup::modem,         "\nError: Enter only one option for Modem (3A, 3B, 3C or 3D)"},
    {OptionGroup::digital_io,    "\nError: Enter only one option for Digital I/O (7A or 7B)"},
    {OptionGroup::analog_output, "\nError: Enter only one option for Analog I/O (8A or 8B)"},
    {OptionGroup::external_io,   "\nError: Enter only one option for External I/O (9A, 9B or 9C)"},
    {OptionGroup::power_quality, "\nError: Enter only one option for Power Quality (PQ1, PQ2 or PQ3)"},
};
// clang-format on

template <std::size_t count>
constexpr bool each_group_has_its_message(const GroupMessage (&messages)[count])
{
    auto group = static_cast<unsigned>(OptionGroup::single);
    for (const GroupMessage& message : messages) {
        if (message.group != static_cast<OptionGroup>(++group))
            return false;
    }
    return ++group == static_cast<unsigned>(OptionGroup::count);
}
static_assert(each_group_has_its_message(group_messages));

constexpr bool begins_with(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

// No token may begin another token, because the scan searches for substrings. The scan would find
// and count both tokens.
template <std::size_t count>
constexpr bool no_token_begins_another(const OptionToken (&tokens)[count])
{
    for (const OptionToken& token : tokens) {
        for (const OptionToken& other : tokens) {
            if (&token != &other && begins_with(view_of(token.text), view_of(other.text)))
                return false;
        }
    }
    return true;
}
static_assert(no_token_begins_another(option_tokens));

// The tokens of an exclusive group must be in adjacent rows, because the scan handles the rows of a
// group together.
template <std::size_t count>
constexpr bool members_are_neighbours(const OptionToken (&tokens)[count])
{
    unsigned ended = 0; // bit g is set if the rows of group g have ended
    for (std::size_t i = 1; i < count; ++i) {
        const auto last = static_cast<unsigned>(tokens[i - 1].group);
        const auto group = static_cast<unsigned>(tokens[i].group);
        if (group != last && tokens[i - 1].group != OptionGroup::single)
            ended |= 1U << last;
        if ((ended >> group & 1U) != 0)
            return false;
    }
    return true;
}
static_assert(members_are_neighbours(option_tokens));

// A token may set only leaves of its own group. Otherwise one batch could set a leaf to true for
// the token and to false for the group of the leaf.
template <std::size_t count>
constexpr bool leaves_are_in_their_groups(const OptionToken (&tokens)[count])
{
    // NOLINTNEXTLINE(readability-use-anyofallof): std::all_of is not constexpr in C++17
    for (const OptionToken& token : tokens) {
        // PQR does not exclude the other tokens of its group, so the leaf of PQR is not in the
        // group.
        const bool is_ready = view_of(token.text) == "PQR";
        if (!is_ready && (token.leaves & ~leaves_of(token.group)) != 0)
            return false;
    }
    return true;
}
static_assert(leaves_are_in_their_groups(option_tokens));

template <std::size_t count>
constexpr bool every_leaf_is_set(const OptionToken (&tokens)[count])
{
    LeafSet set = 0;
    for (const OptionToken& token : tokens)
        set |= token.leaves;
    return set == 2 * leaf_named("MID") - 1;
}
static_assert(every_leaf_is_set(option_tokens));

// Returns the text in lower case. Digits stay as they are.
constexpr TokenText lower_form(TokenText text)
{
    for (char& c : text)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return text;
}

constexpr bool has_lower_form(const OptionToken& token)
{
    return view_of(lower_form(token.text)) != view_of(token.text);
}

// Deliberate: the diagnostic of a rejected list does not accept MID, although a list may contain
// MID.
constexpr bool is_diagnosed(const OptionToken& token)
{
    return view_of(token.text) != "MID";
}

constexpr std::size_t count_valid_tokens()
{
    std::size_t count = 0;
    for (const OptionToken& token : option_tokens) {
        if (is_diagnosed(token))
            count += has_lower_form(token) ? 2 : 1;
    }
    return count;
}

constexpr std::array<TokenText, count_valid_tokens()> collect_valid_tokens()
{
    std::array<TokenText, count_valid_tokens()> tokens = {};
    std::size_t count = 0;
    for (const OptionToken& token : option_tokens) {
        if (!is_diagnosed(token))
            continue;
        tokens[count++] = token.text;
        if (has_lower_form(token))
            tokens[count++] = lower_form(token.text);
    }
    return tokens;
}

// The tokens that the diagnostic of a rejected list accepts.
inline constexpr auto valid_tokens = collect_valid_tokens();
