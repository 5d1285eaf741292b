#include "meterinit/option_tokens.h"

#include <doctest/doctest.h>

#include <iterator>
#include <set>
#include <string>

// The checks of the tables, on tables that they must refuse; on those of the program they run when
// it is compiled.

TEST_CASE("a lower form that is not the upper one in lower case is noticed")
{
    constexpr OptionToken matching[] = {{"A@Z[1", "a@z[1", OptionGroup::single, {}}};
    CHECK(lower_forms_match(matching));
    for (const char* lower : {"", "a@z[", "a@z[12", "b@z[1", "a@z[2", "A@z[1", "a@z{1"}) {
        CAPTURE(lower);
        const OptionToken other[] = {{"WEB", "web", OptionGroup::single, {}},
                                     {"A@Z[1", lower, OptionGroup::single, {}}};
        CHECK_FALSE(lower_forms_match(other));
    }
}

TEST_CASE("power-quality tokens in another order or number are noticed")
{
    const auto in_order = [](const char* one, const char* two, const char* three, const char* four,
                             OptionGroup fifth) {
        const OptionToken tokens[] = {
            {"WEB", "web", OptionGroup::single, {}},    {one, "", OptionGroup::power_quality, {}},
            {two, "", OptionGroup::power_quality, {}},  {three, "", OptionGroup::power_quality, {}},
            {four, "", OptionGroup::power_quality, {}}, {"PMU", "pmu", fifth, {}}};
        return power_quality_in_order(tokens);
    };
    CHECK(in_order("PQ1", "PQ2", "PQ3", "PQR", OptionGroup::single));
    CHECK_FALSE(in_order("PQ2", "PQ1", "PQ3", "PQR", OptionGroup::single));
    CHECK_FALSE(in_order("PQ1", "PQ2", "PQR", "PQ3", OptionGroup::single));
    CHECK_FALSE(in_order("PQ1", "PQ2", "PQ3", "PQRX", OptionGroup::single));
    CHECK_FALSE(in_order("PQ1", "PQ2", "PQ3", "PQ", OptionGroup::single));
    CHECK_FALSE(in_order("PQ1", "PQ2", "PQ3", "PQR", OptionGroup::power_quality));
}

TEST_CASE("a token of a group without rules is noticed, a single one needs none")
{
    const OptionToken known[] = {{"A", "a", OptionGroup::single, {}},
                                 {"B", "b", OptionGroup::power_quality, {}},
                                 {"C", "c", OptionGroup::serial, {}}};
    CHECK(every_group_has_rules(known));
    const OptionToken unknown[] = {{"A", "a", OptionGroup::single, {}},
                                   {"B", "b", static_cast<OptionGroup>(99), {}}};
    CHECK_FALSE(every_group_has_rules(unknown));
}

TEST_CASE("a row's leaves are named with their values")
{
    const std::string name = "Web";
    CHECK(on(name.c_str()).name == name);
    CHECK(on(name.c_str()).value);
    CHECK(off(name.c_str()).name == name);
    CHECK_FALSE(off(name.c_str()).value);
}

TEST_CASE("a refusal knows every form of every token but MID")
{
    const std::set<std::string> known = {
        "1A",  "1a",  "1B",  "1b",  "1C",  "1c",   "2A",   "2a",  "2B",  "2b",   "2C",   "2c",
        "3A",  "3a",  "3B",  "3b",  "3C",  "3c",   "3D",   "3d",  "4",   "5",    "6",    "7A",
        "7a",  "7B",  "7b",  "8A",  "8a",  "8B",   "8b",   "9A",  "9a",  "9B",   "9b",   "9C",
        "9c",  "WEB", "web", "IEC", "iec", "DLMS", "dlms", "IB",  "ib",  "IEEE", "ieee", "NTP",
        "ntp", "PPS", "pps", "DLP", "dlp", "ML",   "ml",   "THP", "thp", "EAP",  "eap",  "DC",
        "dc",  "PQR", "pqr", "PQ1", "pq1", "PQ2",  "pq2",  "PQ3", "pq3", "PMU",  "pmu"};
    auto tokens = valid_tokens;
    // An initialiser would be made by the compiler, and the routine never run.
    // cppcheck-suppress redundantInitialization
    tokens = collect_valid_tokens();
    CHECK(std::size(option_tokens) == 38);
    CHECK(tokens.size() == 71);
    CHECK(count_valid_tokens() == 71);
    CHECK(std::set<std::string>(tokens.begin(), tokens.end()) == known);
}
