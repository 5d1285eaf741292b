#include "meterinit/options_list.h"

#include "meterinit/option_leaves.h"
#include "tests/option_grammar.h"
#include "tests/unit/fake_console.h"
#include "tests/unit/fake_store.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <random>
#include <set>

#include <unistd.h>

namespace
{

struct Entered {
    EditableText list = {"before", false};
    std::string printed; // the output after the echo of the entry
    std::string batch;
};

const std::string untouched_batch = "set_leaves /untouched=true/1 \"\"";

Entered entered(const std::string& keys, const std::string& echo)
{
    fresh_store();
    begin_option_batch();
    add_option_leaf("/untouched", true);
    SettingsSession session;
    session.options_list = {"before", false};
    const std::string screen = console_of(keys, [&] { enter_options_list(session); });
    const std::size_t prompt = screen.find("Enter Options List: " + echo);
    REQUIRE(prompt != std::string::npos);
    write_option_batch();
    return {session.options_list, screen.substr(prompt + 20 + echo.size()),
            fake_store.calls.back()};
}

Entered entered(const std::string& list)
{
    return entered(list + "\n", list + "\n");
}

Names all_options()
{
    Names names;
    for (const GrammarOption& option : option_grammar().options)
        names.push_back(option.name);
    return names;
}

// Returns the options of each exclusive group, in the order of tests/grammar.toml.
std::map<std::string, Names> exclusive_groups()
{
    std::map<std::string, Names> groups;
    for (const GrammarOption& option : option_grammar().options) {
        if (option_grammar().messages.count(option.group) != 0)
            groups[option.group].push_back(option.name);
    }
    return groups;
}

std::string upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

std::string joined(const Names& words)
{
    std::string list;
    for (const std::string& word : words)
        list += (list.empty() ? "" : "-") + word;
    return list;
}

std::string rejected_by_count(std::size_t total, std::size_t valid, const Names& invalid)
{
    std::string printed = "Could be an error, totalChars=" + std::to_string(total) +
                          ", validChars=" + std::to_string(valid) + "\n";
    for (const std::string& word : invalid)
        printed += "\nError: " + word + " is NOT a valid option.";
    return printed + "\nCheck the entry.\n";
}

void check_accepted(const std::string& list, const std::set<std::string>& options)
{
    CAPTURE(list);
    const Entered result = entered(list);
    CHECK(result.printed == "");
    CHECK(result.list.text == list);
    CHECK(result.list.changed);
    CHECK(result.batch == batch_of(options));
}

void check_kept(const Entered& result)
{
    CHECK(result.list.text == "before");
    CHECK_FALSE(result.list.changed);
}

} // namespace

TEST_CASE("the whole help is printed before the prompt")
{
    SettingsSession session;
    CHECK(console_of("~\n", [&] { enter_options_list(session); }) ==
          "Enter the Velmora II Options List including ONLY options which are installed in this "
          "unit.\n"
          "You MUST enter dashes between options but any order is accepted. IF AN OPTION IS NOT "
          "PRESENT, DO NOT ENTER A VALUE.\n"
          "Sample options string with ALL options enabled "
          "1C-2B-4-5-WEB-IEC-IB-IEEE-NTP-PPS-DLP-ML-THP-EAP-DC-PQ3-PMU\nwhere:\n\n"
          "1x   = 2 characters for the Serial port options\n"
          "       1A = Single Serial: RS-232\n"
          "       1B = Dual Serial: RS-232/485\n"
          "       1C = Triple Serial: (2)RS-232/485, (1)RS-232\n"
          "2x   = 2 characters for the Ethernet/Wifi options\n"
          "       2A = Single Ethernet Port\n"
          "       2B = Dual Ethernet Port\n"
          "       2C = Single Ethernet & WIFI Port\n"
          "5    = 1 char for Communication Repeater\n"
          "WEB  = WEB Server\n"
          "MID  = MID meter\n"
          "IEC  = IEC61850 Protocol\n"
          "DLMS = DLMS Protocol\n"
          "IB   = IRIG-B Time Sync\n"
          "IEEE = IEEE 1599 Time Sync\n"
          "NTP  = NTP Time Sync\n"
          "PPS  = Pulse Per Second Time Sync\n"
          "DLP  = Dual Load Profile\n"
          "ML   = Measurement Logging (Auto set with PQ2 or PQ3)\n"
          "PQx  = Select 1 for Power Quality Options\n"
          "       PQR = Power Quality Ready\n"
          "       PQ1 = PQ Logging, High Speed RMS, Power Availability, EN50160, CBEMA, ITIC\n"
          "       PQ2 = PQ Capture, Waveform capture, Harmonic Recording, Flicker\n"
          "       PQ3 = PQ Expert, PQ Logging and PQ Capture\n"
          "PMU  = PMU(30 frames/sec)\n"
          "\n"
          "Enter Options List: ~\n");
}

TEST_CASE("every option alone is accepted in both forms and sets its leaves")
{
    for (const std::string& option : all_options()) {
        check_accepted(option, {option});
        check_accepted(lower(option), {option});
    }
}

TEST_CASE(
    "two options of one group are rejected in either order, and the first in the table is used")
{
    for (const auto& [group, members] : exclusive_groups()) {
        for (std::size_t i = 0; i < members.size(); ++i) {
            for (std::size_t j = i + 1; j < members.size(); ++j) {
                const std::string& first = members[i];
                const std::string& second = members[j];
                for (const Names& words :
                     {Names{first, second}, Names{second, first}, Names{lower(first), second}}) {
                    CAPTURE(joined(words));
                    const Entered result = entered(joined(words));
                    CHECK(result.printed == "\nError: Enter only one option for " +
                                                option_grammar().messages.at(group) +
                                                "\nCheck the entry.\n");
                    check_kept(result);
                    CHECK(result.batch == batch_of({first}));
                }
            }
        }
    }
}

TEST_CASE("a third option of one group is rejected like the second")
{
    const std::string message = "\nError: Enter only one option for Modem (3A, 3B, 3C or 3D)";
    CHECK(entered("3D-3C-3B-3A").printed == message + message + message + "\nCheck the entry.\n");
}

TEST_CASE("an option that occurs twice is counted once, and no message names it")
{
    for (const std::string& option : all_options()) {
        const std::size_t length = option.size() + 1;
        // Deliberate: a list may contain MID, but the diagnostic of a rejected list reports MID as
        // invalid.
        const Names invalid = option == "MID" ? Names{"MID", "MID"} : Names{};
        const Entered result = entered(option + "-" + option);
        CHECK(result.printed == rejected_by_count(2 * length, length, invalid));
        CHECK(result.batch == batch_of({option}));
        check_kept(result);
    }
}

TEST_CASE("an option in both forms is found once, so the count rejects it without a group message")
{
    CHECK(entered("WEB-web").printed == rejected_by_count(8, 4, {}));
    CHECK(entered("web-WEB").printed == rejected_by_count(8, 4, {}));
    CHECK(entered("1A-1a").printed == rejected_by_count(6, 3, {}));
    CHECK(entered("1A-1a").batch == batch_of({"1A"}));
}

TEST_CASE("a prefix hides an option; with a suffix it is found but the list is rejected")
{
    for (const std::string& option : all_options()) {
        const std::string before = "x" + option;
        CHECK(entered(before).printed == rejected_by_count(before.size() + 1, 0, {before}));
        CHECK(entered(before).batch == batch_of({}));
        const std::string after = option + "x";
        CHECK(entered(after).printed ==
              rejected_by_count(after.size() + 1, option.size() + 1, {after}));
        CHECK(entered(after).batch == batch_of({option}));
    }
    CHECK(entered("45").printed == rejected_by_count(3, 2, {"45"}));
}

TEST_CASE("a truncated option or one in mixed case is not found")
{
    for (const std::string& option : all_options()) {
        if (option.size() == 1)
            continue;
        const std::string cut = option.substr(0, option.size() - 1);
        CHECK(entered(cut).printed == rejected_by_count(cut.size() + 1, 0, {cut}));
        for (const std::string& mixed : {lower(option.substr(0, 1)) + option.substr(1),
                                         option.substr(0, 1) + lower(option.substr(1))}) {
            if (mixed == upper(option) || mixed == lower(option))
                continue;
            CHECK(entered(mixed).printed == rejected_by_count(mixed.size() + 1, 0, {mixed}));
        }
    }
}

TEST_CASE("the count rejects doubled and trailing dashes")
{
    CHECK(entered("WEB-").printed == rejected_by_count(5, 4, {}));
    CHECK(entered("WEB--NTP").printed == rejected_by_count(9, 8, {}));
    CHECK(entered("WEB-NTP---").printed == rejected_by_count(11, 8, {}));
    CHECK(entered("WEB- NTP").printed == rejected_by_count(9, 4, {" NTP"}));
}

TEST_CASE("a leading dash is rejected before anything is checked")
{
    for (const char* list : {"-", "-WEB", "--"}) {
        const Entered result = entered(list);
        CHECK(result.printed == "\nError: Extra '-' at the beginning of the options list.");
        check_kept(result);
        CHECK(result.batch == untouched_batch);
    }
}

TEST_CASE("the count rejects an empty line, and the batch has every option leaf as false")
{
    const Entered result = entered("");
    CHECK(result.printed == rejected_by_count(1, 0, {}));
    check_kept(result);
    CHECK(result.batch == batch_of({}));
    CHECK(result.batch.find("true") == std::string::npos);
}

TEST_CASE("a tilde empties the text and changes neither its changed flag nor the batch")
{
    for (const char* list : {"~", "~WEB"}) {
        const Entered result = entered(list);
        CHECK(result.printed == "");
        CHECK(result.list.text == "");
        CHECK_FALSE(result.list.changed);
        CHECK(result.batch == untouched_batch);
    }
}

TEST_CASE("the unknown pieces, and MID, are reported in the order typed")
{
    CHECK(entered("MID-XYZ").printed == rejected_by_count(8, 4, {"MID", "XYZ"}));
    CHECK(entered("Q-WEB-~-web2").printed == rejected_by_count(13, 4, {"Q", "~", "web2"}));
    CHECK(entered("+WEB").printed == rejected_by_count(5, 0, {"+WEB"}));
    CHECK(entered("WEB-NTP-pmu-XYZ").printed == rejected_by_count(16, 12, {"XYZ"}));
}

TEST_CASE("a rejected list and a tilde keep the changed flag, and the same list sets it again")
{
    SettingsSession session;
    const auto enter = [&](const std::string& list) {
        fresh_store();
        console_of(list + "\n", [&] { enter_options_list(session); });
    };
    session.options_list = {"WEB", false};
    enter("WEB");
    CHECK(session.options_list.changed);
    enter("XYZ");
    CHECK(session.options_list.changed);
    enter("~");
    CHECK(session.options_list.text == "");
    CHECK(session.options_list.changed);
}

TEST_CASE("the sample of the help is accepted")
{
    check_accepted("1C-2B-4-5-WEB-IEC-IB-IEEE-NTP-PPS-DLP-ML-THP-EAP-DC-PQ3-PMU",
                   {"1C", "2B", "4", "5", "WEB", "IEC", "IB", "IEEE", "NTP", "PPS", "DLP", "ML",
                    "THP", "EAP", "DC", "PQ3", "PMU"});
}

TEST_CASE("the longest list of the grammar is accepted in any order")
{
    std::map<std::string, std::string> one_of_each;
    for (const GrammarOption& option : option_grammar().options)
        one_of_each[option.group.empty() ? option.name : option.group] = option.name;
    Names words;
    for (const auto& [group, name] : one_of_each)
        words.push_back(name);
    const std::set<std::string> options(words.begin(), words.end());
    CHECK(joined(words).size() == option_grammar().longest_list);
    check_accepted(joined(words), options);
    std::reverse(words.begin(), words.end());
    check_accepted(joined(words), options);
}

TEST_CASE("an entry of any length is checked")
{
    const std::string unknown(500, 'z');
    CHECK(entered("WEB-" + unknown).printed == rejected_by_count(505, 4, {unknown}));
}

TEST_CASE("power quality options also set measurement logging and PQ")
{
    CHECK(entered("PQ2").batch.find("/VMIC/Options/ML/Value=false/1") != std::string::npos);
    CHECK(entered("PQ2").batch.find("/VMIC/Options/ML/Value=true/1") != std::string::npos);
    CHECK(entered("ML-PQ2").batch.find("/VMIC/Options/ML/Value=false/1") == std::string::npos);
    check_accepted("PQR-PQ1", {"PQR", "PQ1"});
    check_accepted("pqr-pq3-ml", {"PQR", "PQ3", "ML"});
}

TEST_CASE("a chosen capture option sets measurement logging, even in a rejected list")
{
    // Only the first option of the group sets its leaves. After PQ1, the rejected PQ2 or PQ3 does
    // not set ML. In the third list, PQ2 is the first option and sets ML.
    CHECK(entered("PQ1-PQ2").batch == batch_of({"PQ1"}));
    CHECK(entered("PQ1-PQ3").batch == batch_of({"PQ1"}));
    CHECK(entered("PQ2-PQ3").batch == batch_of({"PQ2"}));
    CHECK(entered("PQ1-PQ2-PQ3-PQR").batch == batch_of({"PQ1", "PQR"}));
}

TEST_CASE("generated lists with one option per group are accepted as the grammar requires")
{
    std::mt19937 random(20240229);
    int accepted = 0;
    while (accepted < 500) {
        Names words;
        for (const std::string& option : all_options()) {
            if (random() % 3 == 0)
                words.push_back(random() % 2 == 0 ? option : lower(option));
        }
        std::shuffle(words.begin(), words.end(), random);
        const std::set<std::string> options = options_of(joined(words));
        if (options.empty())
            continue;
        check_accepted(joined(words), options);
        ++accepted;
    }
}

TEST_CASE("a failed wait changes and prints nothing")
{
    SettingsSession session;
    session.options_list = {"before", false};
    const std::string screen = console_of("", [&] {
        close(STDIN_FILENO);
        enter_options_list(session);
    });
    const std::string tail = "\n\nEnter Options List: \n";
    CHECK(screen.substr(screen.size() - tail.size()) == tail);
    CHECK(session.options_list.text == "before");
}

TEST_CASE("a time-out at the options list is reported after an empty line")
{
    SettingsSession session;
    session.options_list = {"before", false};
    const std::string screen = console_of(
        "WEB\n", [&] { enter_options_list(session); }, "kkkt");
    const std::string tail = "\n\nEnter Options List: WEB\n\nTimed out.\n";
    CHECK(screen.substr(screen.size() - tail.size()) == tail);
    CHECK(session.options_list.text == "before");
    CHECK_FALSE(session.options_list.changed);
}
