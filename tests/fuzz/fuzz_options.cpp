// Each line of an input is typed as an options list, one after the other in one session: what is
// told, what the list becomes and which leaves the save would write must be as the grammar says.
#include "meterinit/option_leaves.h"
#include "meterinit/options_list.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/option_grammar.h"
#include "tests/unit/fake_console.h"
#include "tests/unit/fake_store.h"

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

void judge(const std::string& entry, SettingsSession& session, std::string& batch)
{
    const OptionsVerdict expected = judge_options(entry);
    EditableText list = session.options_list;
    if (expected.emptied)
        list.text.clear();
    if (expected.taken)
        list = {entry, true};
    if (expected.checked) {
        batch = "set_leaves";
        for (const std::string& leaf : expected.leaves)
            batch += " " + leaf + "/1";
        batch += " \"\"";
    }

    const std::string screen = console_of(entry + "\n", [&] { enter_options_list(session); });
    const std::size_t asked = screen.find(prompt);
    check(asked != std::string::npos, "the list is asked for");
    const std::string told = screen.substr(asked + prompt.size());
    check_equal(told, entry + "\n" + expected.told, "what is told of a list");
    check_equal(session.options_list.text, list.text, "the list after the entry");
    check(session.options_list.changed == list.changed, "the mark after the entry", entry);
    fake_store.calls.clear();
    check(write_option_batch() == 0, "the fake store takes every batch");
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
