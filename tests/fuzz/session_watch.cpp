#include "tests/fuzz/session_watch.h"

#include "tests/fuzz/check.h"
#include "tests/fuzz/option_grammar.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <sstream>

namespace
{

enum class Kind { address, mask, flag, media, serial, index, options, enclosure };

// A value that can be entered. In the order in which a save writes them.
struct Entry {
    Kind kind;
    const char* prompt;
    const char* label; // on its screen
    std::string path;
    const char* general_leaf; // written at once by a save; null: none
};

const std::string network = "/Software/System Settings/Network/";
const std::string port = network + "Interface/1/";
constexpr char media_question[] = "Available media types"; // it ends in what the store holds
#define GENERAL "/VMC/Comms/EthPort/1/General/"

// clang-format off
const std::array<Entry, entry_count> entries = {{
    {Kind::address,   "Enter Primary DNS Server",        "DNS Server (Primary)",      network + "Name Server/1/Value", nullptr},
    {Kind::address,   "Enter Secondary DNS Server",      "DNS Server (Secondary)",    network + "Name Server/2/Value", nullptr},
    {Kind::flag,      "Enable DHCP? (y/n)",              "Dynamic Addressing (DHCP)", port + "DHCP Enabled/Value",    GENERAL "DHCP/Value"},
    {Kind::address,   "Enter IP Address",                "IP Address",                port + "IP Address/Value",      GENERAL "IPAddress/Value"},
    {Kind::mask,      "Enter Subnet Mask",               "Subnet Mask",               port + "Subnet Mask/Value",     GENERAL "SubnetMask/Value"},
    {Kind::address,   "Enter Default Gateway",           "Default Gateway",           port + "Default Gateway/Value", GENERAL "DefaultGateway/Value"},
    {Kind::media,     media_question,                         "Media Type",                port + "Media Type/Current Type/Value", nullptr},
    {Kind::serial,    "Enter Serial Number (YYMMXXXXX)", "Serial Number",             "/VMIC/SerialNumber/Value",     nullptr},
    {Kind::options,   "Enter Options List",              "Options List",              "/VMIC/OptionsList/Value",      nullptr},
    {Kind::index,     "Enter Meter Form",                "Meter Form",                "/VMC/PrimCfg/Form/Value",      nullptr},
    {Kind::index,     "Enter Meter Class Amps",          "Meter Class Amps",          "/VMC/PrimCfg/ClassAmps/Value", nullptr},
    {Kind::index,     "Enter Meter Frequency",           "Meter Frequency",           "/VMC/PrimCfg/NomFreq/Value",   nullptr},
    {Kind::enclosure, "Enter Meter Enclossure Type",     "Enclosure Type",            "/VMIC/Enclosure/Value",        nullptr},
}};
// clang-format on

constexpr std::size_t first_port_entry = 2;
constexpr std::size_t first_init_entry = 7;
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

bool any_marked(const SessionWatch& watch, std::size_t first)
{
    return std::any_of(watch.edits.begin() + static_cast<std::ptrdiff_t>(first), watch.edits.end(),
                       [](const Edit& edit) { return edit.marked; });
}

std::string padded(const std::string& text, std::size_t width)
{
    return text + std::string(text.size() < width ? width - text.size() : 0, ' ');
}

// -- screens --

// Each side of the title has dashes, with one more on the right when they are odd.
void check_title(const std::string& line)
{
    const std::size_t left = std::min(line.find(' '), line.size());
    const std::size_t right = line.size() - 1 - std::min(line.rfind(' '), line.size() - 1);
    check(line.size() == columns && line.find_first_not_of('-') == left && right >= left &&
              right - left <= 1,
          "the title is centred in its line", line);
}

// A value that is edited is shown as it was entered, whatever the store holds.
void check_value(const Entry& entry, const Edit& edit, const std::string& shown)
{
    std::string expected = edit.text;
    if (entry.kind == Kind::flag)
        expected = edit.text == "true" ? "Enabled" : "Disabled";
    else if (edit.text.empty())
        expected = entry.kind == Kind::media ? "[Auto-negotiate]" : "[None]";
    if (entry.kind == Kind::index && !edit.text.empty())
        check(begins_with(shown, expected + " = "), "an edited number is shown", shown);
    else if (expected.find('\0') == std::string::npos) // shown up to there only
        check_equal(shown, padded(expected, columns - value_column), "an edited value");
}

void check_line(const SessionWatch& watch, const std::string& line)
{
    check(line.size() == columns || (line.size() > columns && line.compare(35, 5, "  :  ") == 0),
          "a line fills the frame, and only a value passes it", line);
    for (std::size_t i = 0; i < entry_count; ++i) {
        if (watch.edits[i].marked &&
            line.compare(5, 35, padded(entries[i].label, 30) + "  :  ") == 0)
            check_value(entries[i], watch.edits[i], line.substr(value_column));
    }
}

// `screen` begins with its first rule; the three lines of its title and an empty one come first.
bool is_screen_of(const std::string& screen, const char* first_line)
{
    return screen.compare(3 * (columns + 1) + 1, std::strlen(first_line), first_line) == 0;
}

bool is_main(const std::string& screen)
{
    return is_screen_of(screen, " 1.  Ethernet Port 1 Settings ");
}

std::string paths_of(std::size_t first, std::size_t last)
{
    std::string paths;
    for (std::size_t i = first; i < last; ++i)
        paths += " " + entries[i].path;
    return paths;
}

// The one call that reads what a screen shows.
std::string read_for(const std::string& screen)
{
    if (is_main(screen))
        return "get_leaves" + paths_of(0, first_port_entry);
    if (is_screen_of(screen, " 1.  Serial Number "))
        return "get_leaves" + paths_of(first_init_entry, entry_count);
    return "get_leaves" + paths_of(first_port_entry, first_init_entry - 1) + " " + port +
           "MAC Address/Value " + port + "Link Enabled/Value " + port +
           "Media Type/Supported Types/Value" + paths_of(first_init_entry - 1, first_init_entry);
}

// `screen` is as above and ends where the choice is asked for.
void check_screen(const SessionWatch& watch, const std::string& screen)
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

    bool offers_save = false;
    int number = 0;
    std::string exit_line;
    while (std::getline(rest, line) && !rest.eof() && !watch.values_have_line_ends) {
        if (line.empty())
            continue;
        check_line(watch, line);
        if (begins_with(line, " 0.  "))
            exit_line = line;
        else if (line.compare(2, 3, ".  ") == 0)
            check(std::atoi(line.c_str()) == ++number, "numbers run on from 1", line);
        offers_save = offers_save || line.find(".  Save & apply all settings ") == 2;
    }
    if (watch.values_have_line_ends || !is_main(screen))
        return;
    const bool changed = any_marked(watch, 0);
    check(offers_save == changed, "a save is offered for edits, and only then");
    check_equal(exit_line, padded(changed ? " 0.  Exit without saving" : " 0.  Exit", columns),
                "the way out, which tells of edits that are not saved");
}

// -- what an answer brings about --

bool is_yes(const std::string& answer)
{
    return !answer.empty() && std::tolower(static_cast<unsigned char>(answer[0])) == 'y';
}

std::string shown_value(const Entry& entry, const Edit& edit)
{
    switch (entry.kind) {
    case Kind::flag: return edit.text;
    case Kind::index: return std::to_string(std::atoi(edit.text.c_str()));
    default: return '"' + edit.text + '"';
    }
}

// A save as it must go, with the faults that wait for its calls.
struct Plan {
    SessionWatch& watch;
    std::map<std::string, std::vector<int>> results = fake_store.results;
    std::vector<StatusFault> write_faults = watch.write_faults;
};

int result_of(Plan& plan, const std::string& call)
{
    std::vector<int>& results = plan.results[call];
    if (!plan.watch.connected)
        return -1;
    if (results.empty())
        return 0;
    const int result = results.front();
    results.erase(results.begin());
    return result;
}

// Returns whether every one of the written leaves has the status of success.
bool all_taken(Plan& plan, std::size_t leaf_count)
{
    bool taken = true;
    for (std::size_t i = 0; i < leaf_count; ++i)
        taken = next_status(plan.write_faults, status_success) == status_success && taken;
    return taken;
}

void plan_general_leaves(Plan& plan)
{
    api_status_t status = status_success;
    for (std::size_t i = 0; i < entry_count; ++i) {
        const Entry& entry = entries[i];
        const Edit& edit = plan.watch.edits[i];
        if (!edit.marked || edit.text.empty() || entry.general_leaf == nullptr)
            continue;
        const bool is_flag = entry.kind == Kind::flag;
        const std::string value =
            is_flag ? (edit.text == "true" ? "1" : "0") : shown_value(entry, edit);
        plan.watch.calls.push_back(std::string("set_leaf ") + entry.general_leaf + "=" + value +
                                   "/1 \"\" status " + std::to_string(status));
        const int result = result_of(plan, "set_leaf");
        if (result == 0)
            status = next_status(plan.write_faults, status_success);
        if (result != 0 || status != status_success)
            plan.watch.told += std::string("set_leaf failed for ") + (is_flag ? "\x93" : "") +
                               entry.general_leaf + "\n";
    }
}

bool plan_batch(Plan& plan, const char* success)
{
    SessionWatch& watch = plan.watch;
    std::string call = "set_leaves";
    for (const std::string& leaf : watch.batch)
        call += " " + leaf;
    watch.calls.push_back(call + " \"\"");
    const bool written = result_of(plan, "set_leaves") == 0;
    if (written)
        all_taken(plan, watch.batch.size()); // the statuses of a batch do not count
    watch.told += written ? success : "Error while setting Velmora II Options list in cds.";
    watch.told += "\n";
    return written;
}

bool plan_options(Plan& plan)
{
    SessionWatch& watch = plan.watch;
    watch.batch.push_back("/VMF/UpdateService/OptionsUpdate/Value=true/0");
    watch.batch.push_back("/VMF/UpdateService/OptionChange/DualLP/Value=true/0");
    const bool options_set = plan_batch(plan, "Velmora II Options list set in CDS");
    watch.calls.push_back("sleep 1");
    watch.batch = {"/VMF/UpdateService/SetMeasLog/1/Value=true/0",
                   "/VMF/UpdateService/SetMeasLog/2/Value=true/0"};
    const bool logs_told = plan_batch(plan, "Velmora II ML Config sent");
    watch.options_pending = false;
    return options_set && logs_told;
}

// Every edit is in one of the two lists, and nothing else but the trigger.
bool plan_lists(Plan& plan)
{
    SessionWatch& watch = plan.watch;
    std::string set = "set_leaves";
    std::string cleared = "clear_leaves";
    std::size_t set_count = 0;
    std::size_t clear_count = 0;
    bool any_number = false;
    for (std::size_t i = 0; i < entry_count; ++i) {
        const Entry& entry = entries[i];
        const Edit& edit = watch.edits[i];
        if (!edit.marked)
            continue;
        if (edit.text.empty()) {
            cleared += " " + entry.path;
            ++clear_count;
            continue;
        }
        set += " " + entry.path + "=" + shown_value(entry, edit) + "/1";
        ++set_count;
        any_number = any_number || entry.kind == Kind::index;
        watch.options_pending = watch.options_pending || entry.kind == Kind::options;
    }
    if (any_number) {
        set += " /VMF/UpdateService/SetPrimCfg/Value=true/1";
        ++set_count;
    }

    if (set_count > 0) {
        watch.calls.push_back(set + " \"Console\"");
        if (result_of(plan, "set_leaves") != 0)
            return false;
        const bool taken = all_taken(plan, set_count);
        if (!(!watch.options_pending || plan_options(plan)) || !taken)
            return false;
    }
    if (clear_count > 0) {
        watch.calls.push_back(cleared + " \"\" statuses " + std::to_string(set_count));
        if (result_of(plan, "clear_leaves") != 0)
            return false;
    }
    return true;
}

void plan_save(SessionWatch& watch)
{
    Plan plan = {watch};
    plan_general_leaves(plan);
    if (any_marked(watch, 0) && !plan_lists(plan)) {
        watch.told += "Error saving settings!\n";
        return; // every mark stays
    }
    if (any_marked(watch, first_init_entry)) {
        watch.told += "Updating the Model Number\n"
                      "Meter must be reset for changed options to take effect.\n";
        watch.calls.push_back("system vmkeys -m >/dev/null 2>&1");
    }
    for (Edit& edit : watch.edits)
        edit.marked = false;
    watch.told += "Settings saved.\n";
    watch.calls.push_back("system rm -rf /jffs/downloads/vmconfig.*");
    watch.calls.push_back("system /etc/init.d/network restart > /dev/null 2>&1");
}

void plan_close(SessionWatch& watch)
{
    if (watch.connected)
        watch.calls.push_back("pcd_close");
    watch.connected = false;
}

void plan_open(SessionWatch& watch)
{
    watch.calls.push_back("pcd_init");
    watch.connected = fake_store.reachable;
}

void plan_factory_reset(SessionWatch& watch)
{
    plan_close(watch);
    watch.calls.push_back("system fw_reset.sh > /dev/null 2>&1");
    plan_open(watch);
    watch.told = "Restoring defaults: please wait...\nSettings reset to defaults.\n";
    if (!watch.connected)
        watch.told += "Error: can't connect to CDS\n";
}

void plan_confirmed(SessionWatch& watch)
{
    const auto asked = [&](const char* question) {
        return ends_with(watch.question, std::string(question) + " (y/n): ");
    };
    if (asked("Save & apply all settings?")) {
        plan_save(watch);
    } else if (asked("Clear Velmora II Options List?")) {
        watch.any_clear = true;
    } else if (asked("Reset all to Factory Defaults?")) {
        plan_factory_reset(watch);
    } else if (asked("Reset all passwords ?")) {
        watch.calls.push_back("system sernetpwreset.sh > /dev/null 2>&1");
        watch.told = "Restoring defaults: please wait...\nPasswords reset to defaults.\n";
    }
}

// -- what an answer edits --

void mark(Edit& edit, const std::string& text)
{
    edit = {true, text};
}

std::string media_type_of(const SessionWatch& watch)
{
    const long number = std::atol(watch.answer.c_str());
    std::istringstream names(watch.offered_types);
    std::string name;
    for (long i = 0; i < number; ++i)
        check(bool(std::getline(names, name, ';')), "only a media type of the list is taken");
    return name;
}

bool has_number(const std::string& answer)
{
    std::size_t at = answer.find_first_not_of(' ');
    if (at != std::string::npos && (answer[at] == '-' || answer[at] == '+'))
        ++at;
    return at < answer.size() && std::isdigit(static_cast<unsigned char>(answer[at]));
}

void take_options(SessionWatch& watch, Edit& edit, const std::string& told)
{
    const OptionsVerdict verdict = judge_options(watch.answer);
    check_equal(told.substr(0, verdict.told.size()), verdict.told, "what is told of the list");
    if (verdict.emptied)
        edit.text.clear();
    if (verdict.taken)
        mark(edit, watch.answer);
    if (verdict.checked) {
        watch.batch.clear();
        for (const std::string& leaf : verdict.leaves)
            watch.batch.push_back(leaf + "/1");
    }
}

// Takes an answer to one of the entries as the program told that it took it.
void take_answer(SessionWatch& watch, const Entry& entry, Edit& edit, const std::string& told)
{
    const bool clears = begins_with(watch.answer, "~");
    switch (entry.kind) {
    case Kind::address:
    case Kind::mask:
        if (begins_with(told, "Error: invalid address\n"))
            return;
        if (!clears)
            mark(edit, watch.answer);
        else if (entry.kind == Kind::mask)
            mark(edit, "255.255.255.0");
        else
            edit.text.clear();
        return;
    case Kind::flag:
        if (!watch.answer.empty())
            mark(edit, is_yes(watch.answer) ? "true" : "false");
        return;
    case Kind::media:
        if (!begins_with(told, "Error: invalid selection\n"))
            mark(edit, media_type_of(watch));
        return;
    case Kind::serial:
        if (!begins_with(told, "Invalid ") && !begins_with(told, "Error: "))
            mark(edit, clears ? "YYMMXXXXX" : watch.answer);
        return;
    case Kind::index:
        if (clears)
            edit.text.clear();
        else if (has_number(watch.answer) && !begins_with(told, "Invalid. "))
            mark(edit, watch.answer);
        return;
    case Kind::options: take_options(watch, edit, told); return;
    case Kind::enclosure:
        if (begins_with(told, "Found valid match.\n"))
            mark(edit, watch.answer);
        return;
    }
}

void take_entry(SessionWatch& watch, const std::string& told)
{
    for (std::size_t i = 0; i < entry_count; ++i) {
        if (ends_with(watch.question, std::string(entries[i].prompt) + ": "))
            take_answer(watch, entries[i], watch.edits[i], told);
    }
}

// -- the calls --

// All of the option leaves but that of MID are set to false, and the list is emptied.
void check_clearing(const std::string& call)
{
    std::size_t leaves = 0;
    for (std::size_t at = 0; (at = call.find("=false/1", at)) != std::string::npos; ++at)
        ++leaves;
    check(begins_with(call, "set_leaves /VMIC/OptionsList/Value=\"\"/1 /VMIC/Options/") &&
              leaves == 37 && call.find("true") == std::string::npos &&
              call.find("MID") == std::string::npos,
          "the options are cleared in one call", call);
}

std::string lines_of(const std::vector<std::string>& calls)
{
    std::string lines;
    for (const std::string& call : calls)
        lines += call + "\n";
    return lines;
}

// There are the calls that the answer asks for, then the read of the next screen, and no others:
// nothing that was not asked for is written, and nothing is called while the store is closed.
void check_calls(SessionWatch& watch)
{
    std::vector<std::string>& made = fake_store.calls;
    if (watch.any_clear) {
        check(!made.empty(), "the options are cleared");
        check_clearing(made.front());
        made.erase(made.begin());
    }
    if (made != watch.calls)
        check_equal(lines_of(made), lines_of(watch.calls),
                    ("the calls after \"" + watch.answer + "\" to " + watch.question).c_str());
    made.clear();
}

bool is_menu(const std::string& question)
{
    return ends_with(question, "Select an option ==>  ");
}

} // namespace

api_status_t next_status(std::vector<StatusFault>& faults, api_status_t usual)
{
    if (faults.empty() || faults.front().skip-- > 0)
        return usual;
    const api_status_t status = faults.front().status;
    faults.erase(faults.begin());
    return status;
}

void watch_start(SessionWatch& watch)
{
    plan_open(watch);
}

void watch_question(SessionWatch& watch, const std::string& printed)
{
    // What follows the echo of the last answer; all that was printed when there was none.
    const std::string after = printed.substr(std::min(watch.echo, printed.size()));
    if (!watch.question.empty()) {
        check_equal(after.substr(0, watch.told.size()), watch.told, "what is told after an answer");
        if (watch.answered) // else there was none
            take_entry(watch, after);
    }
    const std::size_t screen = after.find(screen_beginning);
    const std::size_t line = after.rfind('\n');
    const std::string question = after.substr(line == std::string::npos ? 0 : line + 1);
    if (is_menu(question)) {
        check(screen != std::string::npos, "a choice is asked for below a screen", after);
        check_screen(watch, after.substr(screen + 2));
        watch.calls.push_back(read_for(after.substr(screen + 2)));
    }
    check_calls(watch);

    watch.question = question;
    watch.offered_types = watch.supported_types;
    if (begins_with(after, "\nAvailable media types:\n\n0) Auto-negotiate (recommended)\n"))
        watch.question = std::string(media_question) + ": ";
    check(is_menu(watch.question) || ends_with(watch.question, ": "),
          "a key is waited for only after a question", watch.question);
    watch.answered = false;
    watch.answer.clear();
    watch.echo = 0;
    watch.calls.clear();
    watch.told.clear();
    watch.any_clear = false;
}

void watch_key(SessionWatch& watch, int key)
{
    switch (key) {
    case '\n':
    case 4:
    case EOF:
        ++watch.echo;
        watch.answered = true;
        if (is_yes(watch.answer))
            plan_confirmed(watch);
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
    if (any_marked(watch, 0))
        check(ends_with(watch.question, "Exit without saving? (y/n): ") && is_yes(watch.answer),
              "edits are given up only after a yes to the question", watch.question);
    else
        check(is_menu(watch.question) && std::atoi(watch.answer.c_str()) == 0,
              "the program ends only at a menu, after 0, not", watch.answer);
    plan_close(watch);
    check_calls(watch);
}
