#include "tests/fuzz/session_watch.h"

#include "tests/fuzz/check.h"
#include "tests/option_grammar.h"
#include "tests/unit/fake_store.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <regex>
#include <sstream>

namespace
{

enum class Kind { text, chosen, flag, number };

// A value that the technician can enter.
struct Entry {
    Kind kind;
    const char* question;
    const char* label; // the text before the value on the screen
    std::string path;
    std::string general_path; // the mirror leaf that a save also writes, or empty
};

const std::string network = "/Software/System Settings/Network/";
const std::string port = network + "Interface/1/";
const std::string general = "/VMC/Comms/EthPort/1/General/";

// All entries, in the order in which a save writes them.
// clang-format off
const Entry entries[] = {
    {Kind::text,   "Enter Primary DNS Server",        "DNS Server (Primary)",      network + "Name Server/1/Value", ""},
    {Kind::text,   "Enter Secondary DNS Server",      "DNS Server (Secondary)",    network + "Name Server/2/Value", ""},
    {Kind::flag,   "Enable DHCP? (y/n)",              "Dynamic Addressing (DHCP)", port + "DHCP Enabled/Value",    general + "DHCP/Value"},
    {Kind::text,   "Enter IP Address",                "IP Address",                port + "IP Address/Value",      general + "IPAddress/Value"},
    {Kind::text,   "Enter Subnet Mask",               "Subnet Mask",               port + "Subnet Mask/Value",     general + "SubnetMask/Value"},
    {Kind::text,   "Enter Default Gateway",           "Default Gateway",           port + "Default Gateway/Value", general + "DefaultGateway/Value"},
    {Kind::chosen, ") ==>  ",                         "Media Type",                port + "Media Type/Current Type/Value", ""},
    {Kind::text,   "Enter Serial Number (YYMMXXXXX)", "Serial Number",             "/VMIC/SerialNumber/Value",     ""},
    {Kind::text,   "Enter Options List",              "Options List",              "/VMIC/OptionsList/Value",      ""},
    {Kind::number, "Enter Meter Form",                "Meter Form",                "/VMC/PrimCfg/Form/Value",      ""},
    {Kind::number, "Enter Meter Class Amps",          "Meter Class Amps",          "/VMC/PrimCfg/ClassAmps/Value", ""},
    {Kind::number, "Enter Meter Frequency",           "Meter Frequency",           "/VMC/PrimCfg/NomFreq/Value",   ""},
    {Kind::text,   "Enter Meter Enclossure Type",     "Enclosure Type",            "/VMIC/Enclosure/Value",        ""},
};

// Classifies a recorded call by its beginning and its end. The first row that matches counts.
struct CallKind { char letter; std::string begins; std::string ends; };
const CallKind call_kinds[] = {
    {'o', "pcd_init", ""},
    {'x', "pcd_close", ""},
    {'1', "get_leaves " + network + "Name Server/", ""},
    {'2', "get_leaves " + port, ""},
    {'3', "get_leaves /VMIC/SerialNumber/", ""},
    {'g', "set_leaf " + general, ""},
    {'k', "set_leaves /VMIC/OptionsList/Value=\"\"/1", ""},
    {'s', "set_leaves ", " \"Console\""},
    {'b', "set_leaves ", " /VMF/UpdateService/OptionsUpdate/Value=true/0 /VMF/UpdateService/OptionChange/DualLP/Value=true/0 \"\""},
    {'l', "set_leaves /VMF/UpdateService/SetMeasLog/1/Value=true/0 /VMF/UpdateService/SetMeasLog/2/Value=true/0 \"\"", ""},
    {'c', "clear_leaves ", ""},
    {'w', "sleep 1", ""},
    {'m', "system vmkeys -m >/dev/null 2>&1", ""},
    {'d', "system rm -rf /jffs/downloads/vmconfig.*", ""},
    {'n', "system /etc/init.d/network restart > /dev/null 2>&1", ""},
    {'f', "system fw_reset.sh > /dev/null 2>&1", ""},
    {'p', "system sernetpwreset.sh > /dev/null 2>&1", ""},
};

// For each question, a regular expression of the letters of the calls that may follow a yes. After
// any other answer, the only call is the read for the next screen.
struct Confirmed { const char* question; const char* calls; };
const Confirmed confirmed_calls[] = {
    {"Save & apply all settings? (y/n): ",    "g*(s(bwl)?)?c?(m?dn)?"},
    {"Clear Velmora II Options List? (y/n): ", "k"},
    {"Reset all to Factory Defaults? (y/n): ", "x?fo"},
    {"Reset all passwords ? (y/n): ",          "p"},
};
// clang-format on

constexpr std::size_t columns = 78;
constexpr std::size_t value_column = 40;
const std::string rule(columns, '-');
const std::string screen_beginning = "\n\n" + rule + "\n";

bool begins_with(const std::string& text, const std::string& beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

bool ends_with(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

std::string padded(const std::string& text, std::size_t width)
{
    return text + std::string(text.size() < width ? width - text.size() : 0, ' ');
}

bool is_yes(const SessionWatch& watch)
{
    return watch.answered && !watch.answer.empty() &&
           std::tolower(static_cast<unsigned char>(watch.answer[0])) == 'y';
}

// -- screens --

// Checks that the title has equally many dashes on both sides, or one more on the right.
void check_title(const std::string& line)
{
    const std::size_t left = std::min(line.find(' '), line.size());
    const std::size_t right = line.size() - 1 - std::min(line.rfind(' '), line.size() - 1);
    check(line.size() == columns && line.find_first_not_of('-') == left && right >= left &&
              right - left <= 1,
          "the title is centred in its line", line);
}

void check_line(SessionWatch& watch, const std::string& line)
{
    const bool has_value = line.size() > value_column && line.compare(35, 5, "  :  ") == 0;
    check(line.size() == columns || (line.size() > columns && has_value),
          "a line fills the frame, and only a value passes it", line);
    for (const Entry& entry : entries) {
        if (!has_value || line.compare(5, 30, padded(entry.label, 30)) != 0)
            continue;
        watch.shown[entry.label] = line.substr(value_column);
        const auto kept = watch.kept.find(entry.label);
        if (kept != watch.kept.end())
            check_equal(watch.shown[entry.label], padded(kept->second, columns - value_column),
                        "an accepted answer stays on the screen until it is saved");
    }
}

// Checks that the main menu offers a save as long as there are unsaved edits.
void check_offers(SessionWatch& watch, const std::string& screen, const std::string& response)
{
    const bool offered = contains(screen, ".  Save & apply all settings ");
    check(contains(screen, "\n 0.  Exit without saving ") == offered &&
              contains(screen, "\n 0.  Exit  ") != offered,
          "the exit says whether there is something to save", screen);
    check(offered || (watch.kept.empty() && !ends_with(response, "Error saving settings!\n")),
          "the menu offers to save unsaved edits", screen);
    check(!offered || !watch.answered_labels.empty(), "the menu offers a save only after an answer",
          screen);
    check(offered || !watch.save_offered || watch.answered_labels.empty(),
          "the menu offers a save until one succeeds", screen);
    watch.save_offered = offered;
}

// Checks a screen, from its first line of dashes to the question for a choice.
void check_screen(SessionWatch& watch, const std::string& screen)
{
    std::istringstream rest(screen);
    std::string line;
    std::getline(rest, line);
    std::getline(rest, line);
    check_title(line);
    std::getline(rest, line);
    check_equal(line, rule, "the rule below the title");
    std::getline(rest, line);
    check_equal(line, "", "the line below the title's frame");
    int number = 0;
    while (std::getline(rest, line) && !rest.eof()) {
        if (line.empty())
            continue;
        check_line(watch, line);
        if (line.compare(2, 3, ".  ") == 0 && !begins_with(line, " 0"))
            check(std::atoi(line.c_str()) == ++number, "the choices are numbered from 1", line);
    }
}

// -- calls --

char letter_of(const std::string& call)
{
    for (const CallKind& kind : call_kinds) {
        if (begins_with(call, kind.begins) && ends_with(call, kind.ends))
            return kind.letter;
    }
    check(false, "every call is of a known kind", call);
    return 0;
}

std::string letters_of(const std::vector<std::string>& calls)
{
    std::string letters;
    for (const std::string& call : calls)
        letters += letter_of(call);
    return letters;
}

// Returns the letter in `call_kinds` of the read before this screen.
char read_for(const std::string& screen)
{
    if (contains(screen, "\n 1.  Ethernet Port 1 Settings "))
        return '1';
    return contains(screen, "\n 1.  Serial Number ") ? '3' : '2';
}

// Removes `text` from the beginning of `rest`. Returns false when `rest` does not begin with it.
bool take(std::string& rest, const std::string& text)
{
    const bool taken = begins_with(rest, text);
    if (taken)
        rest.erase(0, text.size());
    return taken;
}

std::string trimmed(const std::string& text)
{
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

// Removes the shown value from the beginning of `rest`. Also removes spaces after a text, because a
// screen does not show them. Returns false when `rest` begins with another value.
bool take_shown(std::string& rest, Kind kind, const std::string& shown)
{
    if (kind == Kind::flag)
        return take(rest, shown == "Enabled" ? "true" : "false");
    if (kind == Kind::number)
        return take(rest, std::to_string(std::atoi(shown.c_str())));
    if (!take(rest, '"' + shown))
        return false;
    while (take(rest, " ")) {
    }
    return take(rest, "\"");
}

// Checks the first batch of a save. It must contain only answers, in the order of `entries` and
// with the values that the screens show. A batch with a number must end with the numbers' trigger.
// The calls before the batch must write the mirror leaves of these answers and no others.
void check_settings(SessionWatch& watch, const std::vector<std::string>& calls, std::size_t batch)
{
    std::string rest = calls[batch].substr(std::string("set_leaves").size());
    std::size_t general_writes = 0;
    bool any_number = false;
    for (const Entry& entry : entries) {
        if (!take(rest, " " + entry.path + "="))
            continue;
        check(watch.answered_labels.count(entry.label) != 0 &&
                  take_shown(rest, entry.kind, trimmed(watch.shown.at(entry.label))) &&
                  take(rest, "/1"),
              "a saved value is an answer, as the screens show it", entry.path + " " + rest);
        any_number = any_number || entry.kind == Kind::number;
        watch.batch_is_owed = watch.batch_is_owed || ends_with(entry.question, "Options List");
        if (!entry.general_path.empty())
            check(begins_with(calls[general_writes++], "set_leaf " + entry.general_path + "="),
                  "a leaf and its mirror leaf are written together", entry.path);
    }
    check(!any_number || take(rest, " /VMF/UpdateService/SetPrimCfg/Value=true/1"),
          "numbers are followed by their trigger", rest);
    check_equal(rest, " \"Console\"", "the batch of settings holds nothing else");
    check(general_writes == batch, "no other mirror leaf is written", calls[batch]);
}

void check_cleared(const SessionWatch& watch, const std::string& call)
{
    std::string rest = call.substr(std::string("clear_leaves").size());
    for (const Entry& entry : entries) {
        if (!take(rest, " " + entry.path))
            continue;
        const std::string value = trimmed(watch.shown.at(entry.label));
        check(watch.answered_labels.count(entry.label) != 0 &&
                  (value == "[None]" || value == "[Auto-negotiate]"),
              "only an emptied value is cleared", entry.path);
    }
    check(begins_with(rest, " \"\" statuses "), "nothing else is cleared", call);
}

// Compares the leaves that a save writes with the screens.
void check_written(SessionWatch& watch, const std::vector<std::string>& calls,
                   const std::string& letters)
{
    for (std::size_t i = 0; i < letters.size(); ++i) {
        if (letters[i] == 's')
            check_settings(watch, calls, i);
        else if (letters[i] == 'c')
            check_cleared(watch, calls[i]);
    }
    check(letters.find('g') == std::string::npos || contains(letters, "gs"),
          "mirror leaves are written with their settings", letters);
}

void check_save(SessionWatch& watch, const std::vector<std::string>& calls,
                const std::string& letters, const std::string& response)
{
    if (!watch.values_break_lines)
        check_written(watch, calls, letters);
    const bool saved = ends_with(letters, "dn");
    check(ends_with(response, saved ? "Settings saved.\n" : "Error saving settings!\n"),
          "a save prints its outcome", response);
    check(saved || watch.writes_may_fail || !watch.connected, "a save fails only after a fault",
          response);
    check(!saved || !watch.save_offered || letters != "dn", "a save writes something", letters);
    if (contains(letters, "b"))
        check(watch.batch_is_owed || watch.values_break_lines, "options are saved with their list");
    else
        check(!saved || !contains(letters, "s") || !watch.batch_is_owed,
              "a save writes the batch that is owed");
    watch.batch_is_owed = watch.batch_is_owed && !contains(letters, "b");
    if (!saved)
        return;
    watch.kept.clear();
    watch.answered_labels.clear();
}

void check_clearing(const std::string& call)
{
    std::string expected = "set_leaves /VMIC/OptionsList/Value=\"\"/1";
    for (std::size_t i = 0; i < option_grammar().cleared_leaves; ++i)
        expected += " " + option_path(option_grammar().leaves[i]) + "=false/1";
    check_equal(call, expected + " \"\"", "the options are cleared in one call");
}

// Checks the calls since the last question. Only two kinds of calls are allowed: first the calls
// that may follow a yes to this question, then the read for the next screen. So nothing is written
// without a yes, and nothing is called while the store is closed.
void check_calls(SessionWatch& watch, const std::string& read, const std::string& response)
{
    std::vector<std::string> calls;
    calls.swap(fake_store.calls);
    const std::string letters = letters_of(calls);
    std::string may_be = watch.question.empty() ? "o" : "";
    for (const Confirmed& row : confirmed_calls) {
        if (is_yes(watch) && ends_with(watch.question, row.question))
            may_be = row.calls;
    }
    check(std::regex_match(letters, std::regex(may_be + read)), "the calls after an answer",
          letters + " after \"" + watch.answer + "\" to " + watch.question);
    if (begins_with(may_be, "g"))
        check_save(watch, calls, letters.substr(0, letters.size() - read.size()), response);
    if (may_be == "k")
        check_clearing(calls.front());
    if (ends_with(may_be, "o"))
        watch.connected = fake_store.reachable;
}

// Records the answer to the last question. Adds the answer to `kept` only when it is a text and the
// program printed no error, because the program may have rejected any other answer.
void take_answer(SessionWatch& watch, const std::string& response)
{
    for (const Entry& entry : entries) {
        if (!watch.answered || !ends_with(watch.question, std::string(entry.question) + ": "))
            continue;
        watch.answered_labels.insert(entry.label);
        watch.kept.erase(entry.label);
        if (entry.kind == Kind::text && (response.empty() || response == "Found valid match.\n") &&
            !watch.answer.empty() && watch.answer[0] != '~')
            watch.kept[entry.label] = watch.answer;
    }
}

bool is_menu(const std::string& question)
{
    return ends_with(question, "Select an option ==>  ");
}

} // namespace

void watch_question(SessionWatch& watch, const std::string& printed)
{
    // The output after the echo of the last answer.
    const std::string after = printed.substr(std::min(watch.echo, printed.size()));
    const std::size_t line = after.rfind('\n') + 1; // 0 when `after` has no newline
    const std::string question = after.substr(line);
    const std::size_t frame = is_menu(question) ? after.find(screen_beginning) : line;
    check(frame != std::string::npos, "the program asks for a choice below a screen", after);
    check(is_menu(question) || ends_with(question, ": "),
          "the program waits for a key only after a question");
    const std::string screen = is_menu(question) ? after.substr(frame + 2) : "";
    const std::string before = after.substr(0, frame);
    const std::string response = before.substr(0, before.find("Warning: couldn't read "));

    take_answer(watch, response);
    check_calls(watch, screen.empty() ? "" : std::string(1, read_for(screen)), response);
    if (!screen.empty() && !watch.values_break_lines) {
        check_screen(watch, screen);
        if (read_for(screen) == '1')
            check_offers(watch, screen, response);
    }
    watch.question = question;
    watch.answered = false;
    watch.answer.clear();
    watch.echo = 0;
}

void watch_key(SessionWatch& watch, int key)
{
    switch (key) {
    case '\n':
    case 4:
    case EOF:
        ++watch.echo;
        watch.answered = true;
        return;
    case 8:
    case 127:
        watch.echo += 3;
        if (!watch.answer.empty())
            watch.answer.pop_back();
        return;
    default:
        if (std::isprint(key)) {
            ++watch.echo;
            watch.answer += static_cast<char>(key);
        }
    }
}

void watch_no_key(SessionWatch& watch)
{
    ++watch.echo;
}

void watch_end(SessionWatch& watch)
{
    const bool at_exit = ends_with(watch.question, "Exit without saving? (y/n): ") && is_yes(watch);
    const bool at_menu = is_menu(watch.question) && std::atoi(watch.answer.c_str()) == 0;
    check(at_exit || (at_menu && !watch.save_offered),
          "the program exits from a menu, and discards edits only after a yes", watch.question);
    check_equal(letters_of(fake_store.calls), watch.connected ? "x" : "", "the calls at the end");
}
