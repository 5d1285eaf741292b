// The tokens of an options list and the option leaves that each of them sets: the grammar of
// the list as data. A new option is a new row here, and a new leaf also a row in the table of those
// that are cleared.
#pragma once

#include <array>
#include <cstddef>
#include <initializer_list>

// Of an exclusive group a list may name one member; any number of `single` options may stand
// together. Power quality has rules of its own, beside the scan.
enum class OptionGroup {
    single,
    serial,
    ethernet,
    modem,
    digital_io,
    analog_output,
    external_io,
    power_quality,
};

// One option leaf, named relative to "/VMIC/Options/" and without "/Value".
struct OptionLeaf {
    const char* name; // null: no leaf
    bool value;
};

struct OptionToken {
    const char* upper;
    const char* lower; // the same text where the token is a digit
    OptionGroup group;
    OptionLeaf leaves[4]; // set in this order when the token is accepted
};

// What an exclusive group does when two members or none are named.
struct ExclusiveGroup {
    OptionGroup group;
    const char* message;       // for a second member; printed without a line end
    OptionLeaf none_leaves[4]; // set when no member is named
};

constexpr OptionLeaf on(const char* name)
{
    return {name, true};
}

constexpr OptionLeaf off(const char* name)
{
    return {name, false};
}

// Scanned in this order, not as typed. The members of a group stand together.
// clang-format off
constexpr OptionToken option_tokens[] = {
    {"1A",   "1a",   OptionGroup::serial,        {on("Serial/3"), off("Serial/1"), off("Serial/2")}},
    {"1B",   "1b",   OptionGroup::serial,        {on("Serial/1"), on("Serial/2"), off("Serial/3")}},
    {"1C",   "1c",   OptionGroup::serial,        {on("Serial/1"), on("Serial/2"), on("Serial/3")}},
    {"2A",   "2a",   OptionGroup::ethernet,      {on("Ethernet/1"), off("Ethernet/2"), off("Ethernet/Wifi")}},
    {"2B",   "2b",   OptionGroup::ethernet,      {on("Ethernet/1"), on("Ethernet/2"), off("Ethernet/Wifi")}},
    {"2C",   "2c",   OptionGroup::ethernet,      {on("Ethernet/1"), on("Ethernet/Wifi"), off("Ethernet/2")}},
    {"3A",   "3a",   OptionGroup::modem,         {on("Modem/Analog"), off("Modem/CellGSM"), off("Modem/CellSprint"), off("Modem/CellVerison")}},
    {"3B",   "3b",   OptionGroup::modem,         {on("Modem/CellGSM"), off("Modem/Analog"), off("Modem/CellSprint"), off("Modem/CellVerison")}},
    {"3C",   "3c",   OptionGroup::modem,         {on("Modem/CellSprint"), off("Modem/Analog"), off("Modem/CellGSM"), off("Modem/CellVerison")}},
    {"3D",   "3d",   OptionGroup::modem,         {on("Modem/CellVerison"), off("Modem/Analog"), off("Modem/CellGSM"), off("Modem/CellSprint")}},
    {"4",    "4",    OptionGroup::single,        {on("ExternAntenna")}},
    {"5",    "5",    OptionGroup::single,        {on("CommRepeater")}},
    {"6",    "6",    OptionGroup::single,        {on("PhoneHomeOnPowerFail")}},
    {"7A",   "7a",   OptionGroup::digital_io,    {on("IntDIO/6Ch"), off("IntDIO/6ChwPS")}},
    {"7B",   "7b",   OptionGroup::digital_io,    {on("IntDIO/6Ch"), on("IntDIO/6ChwPS")}},
    {"8A",   "8a",   OptionGroup::analog_output, {on("IntAO/0_1ma"), off("IntAO/4_20ma")}},
    {"8B",   "8b",   OptionGroup::analog_output, {on("IntAO/4_20ma"), off("IntAO/0_1ma")}},
    {"9A",   "9a",   OptionGroup::external_io,   {on("ExternIO/8ChDIO"), off("ExternIO/4ChAI"), off("ExternIO/8DIOPlus4AI")}},
    {"9B",   "9b",   OptionGroup::external_io,   {on("ExternIO/4ChAI"), off("ExternIO/8ChDIO"), off("ExternIO/8DIOPlus4AI")}},
    {"9C",   "9c",   OptionGroup::external_io,   {on("ExternIO/8DIOPlus4AI"), off("ExternIO/8ChDIO"), off("ExternIO/4ChAI")}},
    {"WEB",  "web",  OptionGroup::single,        {on("Web")}},
    {"IEC",  "iec",  OptionGroup::single,        {on("IEC61850")}},
    {"DLMS", "dlms", OptionGroup::single,        {on("DLMS")}},
    {"IB",   "ib",   OptionGroup::single,        {on("IB")}},
    {"IEEE", "ieee", OptionGroup::single,        {on("IEEE1588")}},
    {"NTP",  "ntp",  OptionGroup::single,        {on("NTP")}},
    {"PPS",  "pps",  OptionGroup::single,        {on("PPS")}},
    {"DLP",  "dlp",  OptionGroup::single,        {on("DualLP")}},
    {"ML",   "ml",   OptionGroup::single,        {on("ML")}},
    {"THP",  "thp",  OptionGroup::single,        {on("3P")}},
    {"EAP",  "eap",  OptionGroup::single,        {on("EAP")}},
    {"DC",   "dc",   OptionGroup::single,        {on("DC")}},
    {"PQ1",  "pq1",  OptionGroup::power_quality, {on("PQ1"), off("PQ2"), off("PQ3")}},
    {"PQ2",  "pq2",  OptionGroup::power_quality, {on("PQ2"), off("PQ1"), off("PQ3")}},
    {"PQ3",  "pq3",  OptionGroup::power_quality, {on("PQ1"), on("PQ2"), on("PQ3")}},
    {"PQR",  "pqr",  OptionGroup::power_quality, {on("PQ")}},
    {"PMU",  "pmu",  OptionGroup::single,        {on("PMU")}},
    {"MID",  "mid",  OptionGroup::single,        {on("MID")}},
};

constexpr ExclusiveGroup exclusive_groups[] = {
    {OptionGroup::serial,        "\nError: Enter only one option for Serial Ports (1A, 1B or 1C)",
     {off("Serial/1"), off("Serial/2"), off("Serial/3")}},
    {OptionGroup::ethernet,      "\nError: Enter only one option for Ethernet/Wifi Ports (2A, 2B or 2C)",
     {off("Ethernet/1"), off("Ethernet/2"), off("Ethernet/Wifi")}},
    {OptionGroup::modem,         "\nError: Enter only one option for Modem (3A, 3B, 3C or 3D)",
     {off("Modem/Analog"), off("Modem/CellGSM"), off("Modem/CellSprint"), off("Modem/CellVerison")}},
    {OptionGroup::digital_io,    "\nError: Enter only one option for Digital I/O (7A or 7B)",
     {off("IntDIO/6Ch"), off("IntDIO/6ChwPS")}},
    {OptionGroup::analog_output, "\nError: Enter only one option for Analog I/O (8A or 8B)",
     {off("IntAO/0_1ma"), off("IntAO/4_20ma")}},
    {OptionGroup::external_io,   "\nError: Enter only one option for External I/O (9A, 9B or 9C)",
     {off("ExternIO/8ChDIO"), off("ExternIO/4ChAI"), off("ExternIO/8DIOPlus4AI")}},
    {OptionGroup::power_quality, "\nError: Enter only one option for Power Quality (PQ1, PQ2 or PQ3)",
     {off("PQ1"), off("PQ2"), off("PQ3")}},
};
// clang-format on

constexpr char lower_case(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

template <std::size_t count>
constexpr bool lower_forms_match(const OptionToken (&tokens)[count])
{
    for (const OptionToken& token : tokens) {
        const char* lower = token.lower;
        for (const char* upper = token.upper; *upper != '\0'; ++upper, ++lower) {
            if (*lower != lower_case(*upper))
                return false;
        }
        if (*lower != '\0')
            return false;
    }
    return true;
}
static_assert(lower_forms_match(option_tokens));

constexpr bool same_text(const char* one, const char* other)
{
    for (; *one != '\0' && *one == *other; ++one, ++other) {
    }
    return *one == *other;
}

// The scan of power quality takes its four rows by their places.
template <std::size_t count>
constexpr bool power_quality_in_order(const OptionToken (&tokens)[count])
{
    const OptionToken* row = tokens;
    while (row->group != OptionGroup::power_quality)
        ++row;
    for (const char* token : {"PQ1", "PQ2", "PQ3", "PQR"}) {
        if (!same_text((row++)->upper, token))
            return false;
    }
    return row->group != OptionGroup::power_quality;
}
static_assert(power_quality_in_order(option_tokens));

template <std::size_t count>
constexpr bool every_group_has_rules(const OptionToken (&tokens)[count])
{
    for (const OptionToken& token : tokens) {
        bool found = token.group == OptionGroup::single;
        for (const ExclusiveGroup& rules : exclusive_groups)
            found = found || rules.group == token.group;
        if (!found)
            return false;
    }
    return true;
}
static_assert(every_group_has_rules(option_tokens));

// The texts that the diagnostic of a refused list knows: every form of every token but MID, which
// is accepted in a list and yet unknown there. That is deliberate.
constexpr bool is_diagnosed(const OptionToken& token)
{
    return !same_text(token.upper, "MID");
}

constexpr std::size_t forms_of(const OptionToken& token)
{
    return same_text(token.lower, token.upper) ? 1 : 2;
}

constexpr std::size_t count_valid_tokens()
{
    std::size_t count = 0;
    for (const OptionToken& token : option_tokens)
        count += is_diagnosed(token) ? forms_of(token) : 0;
    return count;
}

constexpr std::array<const char*, count_valid_tokens()> collect_valid_tokens()
{
    std::array<const char*, count_valid_tokens()> tokens = {};
    std::size_t count = 0;
    for (const OptionToken& token : option_tokens) {
        if (!is_diagnosed(token))
            continue;
        tokens[count++] = token.upper;
        if (forms_of(token) == 2)
            tokens[count++] = token.lower;
    }
    return tokens;
}

constexpr auto valid_tokens = collect_valid_tokens();
