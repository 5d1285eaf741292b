// Prints the tables of the options parser as Markdown, for the reference of the options list:
// "option-tables tokens" or "option-tables groups". "option-tables names" prints only the options
// in upper case, one per line.
#include "meterinit/option_tokens.h"

#include <cstdio>
#include <cstring>

namespace
{

struct GroupName {
    OptionGroup group;
    const char* name;
};

constexpr GroupName group_names[] = {
    {OptionGroup::single, ""},
    {OptionGroup::serial, "serial ports"},
    {OptionGroup::ethernet, "Ethernet and Wi-Fi"},
    {OptionGroup::modem, "modem"},
    {OptionGroup::digital_io, "digital I/O"},
    {OptionGroup::analog_output, "analog output"},
    {OptionGroup::external_io, "external I/O"},
    {OptionGroup::power_quality, "power quality"},
};

const char* name_of(OptionGroup group)
{
    for (const GroupName& row : group_names) {
        if (row.group == group)
            return row.name;
    }
    return "?";
}

void print_leaves(LeafSet leaves)
{
    const char* between = " ";
    for (std::size_t row = 0; row < std::size(option_leaves); ++row) {
        if ((leaves >> row & 1U) != 0) {
            std::printf("%s`%s`", between, option_leaves[row].name);
            between = ", ";
        }
    }
    std::fputs(" |", stdout);
}

// Returns the leaves of an exclusive group, or an empty set for a single option.
LeafSet group_leaves(OptionGroup group)
{
    return group == OptionGroup::single ? 0 : leaves_of(group);
}

void print_tokens()
{
    std::puts(
        "| option | also typed | group | set to true | set to false |\n|---|---|---|---|---|");
    for (const OptionToken& token : option_tokens) {
        std::printf("| `%s` |", token.text.data());
        if (has_lower_form(token))
            std::printf(" `%s`", lower_form(token.text).data());
        std::printf(" | %s |", name_of(token.group));
        print_leaves(token.leaves);
        const bool alone = view_of(token.text) == "PQR"; // PQR excludes no other option
        print_leaves(alone ? 0 : group_leaves(token.group) & ~token.leaves);
        std::puts("");
    }
}

void print_members(OptionGroup group)
{
    const char* between = " ";
    for (const OptionToken& token : option_tokens) {
        if (token.group == group) {
            std::printf("%s`%s`", between, token.text.data());
            between = ", ";
        }
    }
    std::fputs(" |", stdout);
}

void print_groups()
{
    std::puts("| group | options | set to false when none is named | message for a second one "
              "|\n|---|---|---|---|");
    for (const GroupMessage& message : group_messages) {
        std::printf("| %s |", name_of(message.group));
        print_members(message.group);
        print_leaves(group_leaves(message.group));
        std::printf(" `%s` |\n", message.text + std::strspn(message.text, "\n"));
    }
}

void print_names()
{
    for (const OptionToken& token : option_tokens)
        std::puts(token.text.data());
}

} // namespace

int main(int argument_count, char** arguments)
{
    const char* part = argument_count == 2 ? arguments[1] : "";
    if (std::strcmp(part, "tokens") == 0)
        print_tokens();
    else if (std::strcmp(part, "groups") == 0)
        print_groups();
    else if (std::strcmp(part, "names") == 0)
        print_names();
    else
        return 2;
    return 0;
}
