#include "tests/fuzz/session_watch.h"

#include "console/command.h"
#include "network/update_triggers.h"
#include "settings/setting_leaves.h"
#include "store/leaf_path.h"
#include "tests/fuzz/check.h"
#include "tests/option_grammar.h"
#include "tests/unit/fake_store.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iterator>
#include <regex>
#include <sstream>

namespace
{

enum class Kind { text, chosen, flag, number };

// A question for a value. The program's tables map `member` to the leaf of the value.
template <typename Settings>
struct Question {
    Kind kind;
    const char* question;
    const char* label; // the text before the value on the screen
    Member<Settings> member;
};

// clang-format off
const Question<SettingsSession> session_questions[] = {
    {Kind::text,   "Enter Primary DNS Server",        "DNS Server (Primary)",      &SettingsSession::primary_dns},
    {Kind::text,   "Enter Secondary DNS Server",      "DNS Server (Secondary)",    &SettingsSession::secondary_dns},
    {Kind::text,   "Enter Serial Number (YYMMXXXXX)", "Serial Number",             &SettingsSession::serial_number},
    {Kind::text,   "Enter Options List",              "Options List",              &SettingsSession::options_list},
    {Kind::number, "Enter Meter Form",                "Meter Form",                &SettingsSession::meter_form},
    {Kind::number, "Enter Meter Class Amps",          "Meter Class Amps",          &SettingsSession::class_amps},
    {Kind::number, "Enter Meter Frequency",           "Meter Frequency",           &SettingsSession::nominal_frequency},
    {Kind::text,   "Enter Meter Enclossure Type",     "Enclosure Type",            &SettingsSession::enclosure},
};

const Question<InterfaceSettings> port_questions[] = {
    {Kind::flag,   "Enable DHCP? (y/n)",              "Dynamic Addressing (DHCP)", &InterfaceSettings::dhcp},
    {Kind::text,   "Enter IP Address",                "IP Address",                &InterfaceSettings::ip_address},
    {Kind::text,   "Enter Subnet Mask",               "Subnet Mask",               &InterfaceSettings::subnet_mask},
    {Kind::text,   "Enter Default Gateway",           "Default Gateway",           &InterfaceSettings::default_gateway},
    {Kind::chosen, ") ==>  ",                         "Media Type",                &InterfaceSettings::media_type},
};
// clang-format on

// A value that the technician can enter, with the leaves that a save writes.
struct Entry {
    Kind kind;
    const char* question;
    const char* label;
    std::string path;
    std::string mirror_path; // empty when the leaf has no mirror
};

// Adds an entry for each leaf in `leaves` that a save writes.
template <typename Settings, std::size_t leaf_count, std::size_t question_count>
void add_entries(std::vector<Entry>& entries, const SettingLeaf<Settings> (&leaves)[leaf_count],
                 const Question<Settings> (&questions)[question_count])
{
    const std::vector<std::string> paths = leaf_paths(leaves, Settings());
    for (std::size_t i = 0; i < leaf_count; ++i) {
        const SettingLeaf<Settings>& leaf = leaves[i];
        if (leaf.use != LeafUse::saved)
            continue;
        const auto* row = std::find_if(
            std::begin(questions), std::end(questions), [&leaf](const Question<Settings>& each) {
                return each.member.text == leaf.member.text && each.member.flag == leaf.member.flag;
            });
        check(row != std::end(questions), "every leaf that is saved has a question", leaf.path);
        const std::string mirror = leaf.mirror;
        entries.push_back({row->kind, row->question, row->label, paths[i],
                           mirror.empty() ? "" : value_path(mirror_branch + mirror)});
    }
}

// Returns the entries in the order in which a save writes them.
std::vector<Entry> all_entries()
{
    std::vector<Entry> all;
    add_entries(all, dns_leaves, session_questions);
    add_entries(all, port_leaves, port_questions);
    add_entries(all, init_leaves, session_questions);
    return all;
}

const std::vector<Entry> entries = all_entries();

// Returns the call that reads all leaves of a table.
template <typename Settings, std::size_t count>
std::string read_of(const SettingLeaf<Settings> (&leaves)[count])
{
    std::string call = "get_leaves";
    for (const std::string& path : leaf_paths(leaves, Settings()))
        call += " " + path;
    return call;
}

// Returns the triggers of a stage in the form that they have in a recorded call.
std::string triggers_of(TriggerStage stage, pcd_tribool_t flag)
{
    std::string leaves;
    for (const UpdateTrigger& trigger : update_triggers) {
        if (trigger.stage == stage)
            leaves += " " + value_path(trigger.path) + "=true/" + std::to_string(flag);
    }
    return leaves;
}

std::string run_of(Command command)
{
    return std::string("system ") + command_lines[static_cast<unsigned>(command)].text;
}

const std::string options_emptied =
    "set_leaves " + value_path(path_of(init_leaves, &SettingsSession::options_list)) + "=\"\"/1";

// Classifies a recorded call by its beginning and its end. The first row that matches counts.
// clang-format off
struct CallKind { char letter; std::string begins; std::string ends; };
const CallKind call_kinds[] = {
    {'o', "pcd_init", ""},
    {'x', "pcd_close", ""},
    {'1', read_of(dns_leaves), ""},
    {'2', read_of(port_leaves), ""},
    {'3', read_of(init_leaves), ""},
    {'g', std::string("set_leaf ") + mirror_branch, ""},
    {'k', options_emptied, ""},
    {'s', "set_leaves ", " \"Console\""},
    {'b', "set_leaves ", triggers_of(TriggerStage::options, trigger_flag) + " \"\""},
    {'l', "set_leaves" + triggers_of(TriggerStage::measurement_logs, trigger_flag) + " \"\"", ""},
    {'c', "clear_leaves ", ""},
    {'w', "sleep 1", ""},
    {'m', run_of(Command::update_model_number), ""},
    {'d', run_of(Command::remove_downloads), ""},
    {'n', run_of(Command::restart_network), ""},
    {'f', run_of(Command::restore_defaults), ""},
    {'p', run_of(Command::reset_passwords), ""},
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
    std::size_t mirror_writes = 0;
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
        if (!entry.mirror_path.empty())
            check(begins_with(calls[mirror_writes++], "set_leaf " + entry.mirror_path + "="),
                  "a leaf and its mirror leaf are written together", entry.path);
    }
    check(!any_number || take(rest, triggers_of(TriggerStage::settings, setting_flag)),
          "numbers are followed by their trigger", rest);
    check_equal(rest, " \"Console\"", "the batch of settings holds nothing else");
    check(mirror_writes == batch, "no other mirror leaf is written", calls[batch]);
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
    std::string expected = options_emptied;
    for (std::size_t i = 0; i < option_grammar().cleared_leaves; ++i)
        expected += " " + option_path(option_grammar().leaves[i]) + "=false/1";
    check_equal(call, expected + " \"\"", "the options are cleared in one call");
}

// Checks the calls since the last question. Only two kinds of calls are allowed: first the calls
// that may follow a yes to this question, then the read for the next screen. Without a yes, only
// the read is allowed. While the store is closed, no call is allowed.
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
