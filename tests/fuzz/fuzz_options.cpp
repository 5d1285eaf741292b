// Types each line of an input as an options list. All lines belong to one session. The program must
// accept the lists that the grammar allows, and write the batch that the grammar defines. After a
// rejected list, the current list must be unchanged, and the batch may set a leaf to true only when
// the rejected list names an option with this leaf.
#include "meterinit/option_leaves.h"
#include "meterinit/options_list.h"
#include "tests/fuzz/check.h"
#include "tests/option_grammar.h"
#include "tests/unit/fake_console.h"
#include "tests/unit/fake_store.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <sstream>

namespace
{

const std::string prompt = "Enter Options List: ";

std::string printable_only(const std::string& line)
{
    std::string text;
    for (const char c : line) {
        if (std::isprint(static_cast<unsigned char>(c)))
            text += c;
    }
    return text;
}

// Returns true when a word of the list begins with an option that sets the leaf.
bool may_set(const std::string& list, const std::string& leaf)
{
    const auto sets = [&](const GrammarOption& option) {
        const auto further = option_grammar().further_leaves.find(option.name);
        return has(option.leaves, leaf) ||
               (further != option_grammar().further_leaves.end() && has(further->second, leaf));
    };
    for (const std::string& word : words_of(list)) {
        for (const GrammarOption& option : option_grammar().options) {
            if (sets(option) && (word.find(option.name) == 0 || word.find(lower(option.name)) == 0))
                return true;
        }
    }
    return false;
}

// Checks that the batch has every option leaf and no other leaf. Each leaf must be false, or true
// when `may_set` allows it.
void check_rejected_batch(const std::string& batch, const std::string& entry)
{
    std::istringstream rest(batch);
    std::string text;
    rest >> text;
    std::set<std::string> missing(option_grammar().leaves.begin(), option_grammar().leaves.end());
    while (rest >> text && text != "\"\"") {
        const auto leaf = std::find_if(
            option_grammar().leaves.begin(), option_grammar().leaves.end(),
            [&](const std::string& name) { return text.find(option_path(name) + '=') == 0; });
        check(leaf != option_grammar().leaves.end(), "only option leaves are in the batch", text);
        missing.erase(*leaf);
        check(text == option_path(*leaf) + "=false/1" ||
                  (text == option_path(*leaf) + "=true/1" && may_set(entry, *leaf)),
              "only an option of the list sets its leaf", text + " of " + entry);
    }
    check(missing.empty(), "every option leaf is in the batch", batch);
}

void check_output(const std::string& output, const std::string& entry, bool accepted)
{
    const std::string extra_dash = "\nError: Extra '-' at the beginning of the options list.";
    const std::string check_entry = "\nCheck the entry.\n";
    if (!entry.empty() && (accepted || entry[0] == '~' || entry[0] == '-'))
        check_equal(output, entry[0] == '-' ? extra_dash : "", "the output for an unchecked list");
    else
        check(output.size() >= check_entry.size() &&
                  output.substr(output.size() - check_entry.size()) == check_entry,
              "a rejected list ends with its message", output);
}

// Types the list and checks the result. `batch` is the call that would write the current batch.
// When the list makes a new batch, sets `batch` to the call that would write the new batch.
void judge(const std::string& entry, SettingsSession& session, std::string& batch)
{
    const std::set<std::string> options = options_of(entry);
    EditableText list = session.options_list;
    if (!options.empty())
        list = {entry, true};
    else if (!entry.empty() && entry[0] == '~')
        list.text.clear();

    const std::string screen = console_of(entry + "\n", [&] { enter_options_list(session); });
    const std::size_t asked = screen.find(prompt + entry + "\n");
    check(asked != std::string::npos, "the list is asked for", screen);
    check_output(screen.substr(asked + prompt.size() + entry.size() + 1), entry, !options.empty());
    check_equal(session.options_list.text, list.text, "the list after the entry");
    check(session.options_list.changed == list.changed, "the changed flag after the entry", entry);

    fake_store.calls.clear();
    check(write_option_batch() == 0, "the fake store takes every batch");
    if (!options.empty())
        batch = batch_of(options);
    else if (entry.empty() || (entry[0] != '~' && entry[0] != '-'))
        check_rejected_batch(batch = fake_store.calls.front(), entry);
    check_equal(fake_store.calls.front(), batch, "the leaves after the entry");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fresh_store();
    begin_option_batch();
    SettingsSession session;
    session.options_list.text = "before";
    std::string batch = "set_leaves \"\"";
    std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
    for (std::string line; std::getline(lines, line);)
        judge(printable_only(line), session, batch);
    return 0;
}
