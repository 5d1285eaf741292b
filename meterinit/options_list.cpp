#include "meterinit/options_list.h"

#include "console/line_reader.h"
#include "console/value_entry.h"
#include "meterinit/option_leaves.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace
{

// Deliberate: the help omits some accepted tokens, and shows IEEE 1599 instead of IEEE 1588.
// Scripts compare the screen byte by byte.
// clang-format off
constexpr char legend[] =
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
    "\n";
// clang-format on

void show_help()
{
    // clang-format off
    std::puts("Enter the Velmora II Options List including ONLY options which are installed in this unit.");
    std::puts("You MUST enter dashes between options but any order is accepted. IF AN OPTION IS NOT PRESENT, DO NOT ENTER A VALUE.");
    // clang-format on
    std::fputs("Sample options string with ALL options enabled ", stdout);
    std::fputs("1C-2B-4-5-WEB-IEC-IB-IEEE-NTP-PPS-DLP-ML-THP-EAP-DC-PQ3-PMU\nwhere:", stdout);
    std::puts("\n");
    std::fputs(legend, stdout);
}

// The state of the check of one options list.
struct Attempt {
    std::string dashed_list; // the typed list with a dash in front
    int total_chars;
    int valid_chars; // length of all found tokens, each with the dash before it
    int result;      // answer_taken or exclusivity_error
};

constexpr int exclusivity_error = -2;

bool occurs(const Attempt& attempt, const TokenText& form)
{
    return attempt.dashed_list.find(std::string("-") + form.data()) != std::string::npos;
}

// Returns true when the list contains the token in upper case or in lower case. Does not find mixed
// case.
bool is_found(const Attempt& attempt, const OptionToken& token)
{
    return occurs(attempt, token.text) || occurs(attempt, lower_form(token.text));
}

// Like `is_found`, but also adds the length of a found token and its dash to `valid_chars`. Adds
// this length only once, even when the list repeats the token.
bool take_token(Attempt& attempt, const OptionToken& token)
{
    if (!is_found(attempt, token))
        return false;
    attempt.valid_chars += static_cast<int>(std::strlen(token.text.data())) + 1;
    return true;
}

void reject_second_member(Attempt& attempt, OptionGroup group)
{
    std::fputs(group_messages[static_cast<unsigned>(group) - 1].text, stdout);
    attempt.result = exclusivity_error;
}

// Looks for one token of an exclusive group in the list. The first token of the group adds its
// leaves to the batch as true, and the other leaves of the group as false. A second token is
// rejected with a message. Returns true only for the first token.
bool take_member(Attempt& attempt, const OptionToken& token, bool& taken)
{
    if (!take_token(attempt, token))
        return false;
    if (taken) {
        reject_second_member(attempt, token.group);
        return false;
    }
    add_option_leaves(token.leaves, true);
    add_option_leaves(leaves_of(token.group) & ~token.leaves, false);
    taken = true;
    return true;
}

void scan_exclusive_group(Attempt& attempt, const OptionToken* first, const OptionToken* last)
{
    bool taken = false;
    for (const OptionToken* token = first; token != last; ++token)
        take_member(attempt, *token, taken);
    if (!taken)
        add_option_leaves(leaves_of(first->group), false);
}

// PQ1, PQ2 and PQ3 exclude each other. PQR excludes no token. PQ2 and PQ3 also set the leaf of ML
// to true. Deliberate: if the list does not contain ML, the batch then contains the leaf of ML
// twice.
void scan_power_quality(Attempt& attempt)
{
    constexpr const OptionToken& pq1 = token_named("PQ1");
    constexpr const OptionToken& pq2 = token_named("PQ2");
    constexpr const OptionToken& pq3 = token_named("PQ3");
    constexpr const OptionToken& pqr = token_named("PQR");
    constexpr const OptionToken& ml = token_named("ML");

    bool taken = false;
    take_member(attempt, pq1, taken);
    bool capture_chosen = take_member(attempt, pq2, taken);
    if (take_member(attempt, pq3, taken))
        capture_chosen = true;
    if (taken)
        add_option_leaves(pqr.leaves, true);
    else
        add_option_leaves(leaves_of(OptionGroup::power_quality), false);

    if (capture_chosen && !is_found(attempt, ml))
        add_option_leaves(ml.leaves, true);

    const bool ready = take_token(attempt, pqr);
    if (ready || !taken)
        add_option_leaves(pqr.leaves, ready);
}

const OptionToken* end_of_group(const OptionToken* token)
{
    if (token->group == OptionGroup::single)
        return token + 1;
    return std::find_if(token, std::end(option_tokens),
                        [token](const OptionToken& other) { return other.group != token->group; });
}

// Looks for the tokens in the order of the table, and adds the option leaves to the batch.
void scan_options(Attempt& attempt)
{
    const OptionToken* token = std::begin(option_tokens);
    while (token != std::end(option_tokens)) {
        const OptionToken* group_end = end_of_group(token);
        if (token->group == OptionGroup::single)
            add_option_leaves(token->leaves, take_token(attempt, *token));
        else if (token->group == OptionGroup::power_quality)
            scan_power_quality(attempt);
        else
            scan_exclusive_group(attempt, token, group_end);
        token = group_end;
    }
}

bool is_valid_token(const std::string& piece)
{
    return std::any_of(std::begin(valid_tokens), std::end(valid_tokens),
                       [&](const TokenText& token) { return piece == token.data(); });
}

// Prints an error for every piece between dashes that is not a valid token. Prints nothing for a
// repeated token.
void name_invalid_pieces(const std::string& entry)
{
    std::size_t start = 0;
    while ((start = entry.find_first_not_of('-', start)) != std::string::npos) {
        const std::size_t end = std::min(entry.find('-', start), entry.size());
        const std::string piece = entry.substr(start, end - start);
        if (!is_valid_token(piece))
            std::printf("\nError: %s is NOT a valid option.", piece.c_str());
        start = end;
    }
}

void explain_rejection(const std::string& entry, const Attempt& attempt)
{
    std::printf("Could be an error, totalChars=%d, validChars=%d\n", attempt.total_chars,
                attempt.valid_chars);
    // Deliberate: this condition is never true, because the caller rejects a list that begins with
    // a dash.
    if (entry[0] == '-')
        std::fputs("\nError: Extra '-' at the beginning of the list.", stdout);
    name_invalid_pieces(entry);
}

void check_options_list(const std::string& entry, int input_result, EditableText& options_list)
{
    Attempt attempt = {"-" + entry, static_cast<int>(entry.size()) + 1, 0, input_result};
    // Deliberate: this condition is never true, because the copy is always complete.
    if (attempt.dashed_list.size() != static_cast<std::size_t>(attempt.total_chars)) {
        std::fputs("\nLength mismatch between entered list and created list.", stdout);
        return;
    }
    begin_option_batch();
    scan_options(attempt);

    const bool all_counted = attempt.total_chars == attempt.valid_chars;
    if (all_counted && attempt.result == answer_taken) {
        assign_text(options_list, entry, true);
        return;
    }
    if (!all_counted)
        explain_rejection(entry, attempt);
    std::puts("\nCheck the entry.");
}

} // namespace

void enter_options_list(SettingsSession& session)
{
    show_help();
    std::string entry;
    const int result = prompt_line("Enter Options List", entry);
    if (result == answer_timed_out)
        std::puts("\nTimed out.");
    if (result != answer_taken)
        return;
    if (asks_to_clear(entry))
        session.options_list.text.clear();
    else if (entry[0] == '-')
        std::fputs("\nError: Extra '-' at the beginning of the options list.", stdout);
    else
        check_options_list(entry, result, session.options_list);
}
