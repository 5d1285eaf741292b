#include "console/command.h"
#include "meterinit/meter_identity.h"
#include "meterinit/option_tokens.h"
#include "network/update_triggers.h"
#include "settings/setting_leaves.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cstring>

namespace
{

// Returns the number of bytes at the end of a text array that no row of the table uses.
template <typename Row, std::size_t rows, std::size_t size>
std::size_t unused_bytes(const Row (&table)[rows], const char (Row::*text)[size])
{
    std::size_t longest = 0;
    for (const Row& row : table)
        longest = std::max(longest, std::strlen(row.*text));
    return size - (longest + 1);
}

} // namespace

// The meter has little memory, and every row of a table takes the full size of its text array.
TEST_CASE("no text array of a table is longer than its longest text")
{
    CHECK(unused_bytes(command_lines, &CommandLine::text) == 0);
    CHECK(unused_bytes(option_leaves, &OptionLeaf::name) == 0);
    CHECK(unused_bytes(group_messages, &GroupMessage::text) == 0);
    CHECK(unused_bytes(update_triggers, &UpdateTrigger::path) == 0);
    CHECK(unused_bytes(port_leaves, &SettingLeaf<InterfaceSettings>::path) == 0);
    CHECK(unused_bytes(port_leaves, &SettingLeaf<InterfaceSettings>::mirror) == 0);
}

TEST_CASE("no text array of a token is longer than its longest text")
{
    const auto is_full = [](const OptionToken& token) {
        return view_of(token.text).size() + 1 == token.text.size();
    };
    CHECK(std::any_of(std::begin(option_tokens), std::end(option_tokens), is_full));
}

TEST_CASE("no text array of an indexed setting is longer than its longest text")
{
    const IndexedSetting settings[] = {meter_form_setting, class_amps_setting, frequency_setting};
    CHECK(unused_bytes(settings, &IndexedSetting::label) == 0);
    CHECK(unused_bytes(settings, &IndexedSetting::prompt) == 0);
    CHECK(unused_bytes(settings, &IndexedSetting::rejection) == 0);
    CHECK(unused_bytes(settings, &IndexedSetting::infix) == 0);
}
