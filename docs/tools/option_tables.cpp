// Prints the options parser's own tables as Markdown, for the reference of the options list:
// "option-tables tokens" or "option-tables groups". "option-tables names" prints the options'
// upper-case forms alone, one a line.
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

// The names of the leaves that are set to `value`, in the order in which they are set.
void print_leaves(const OptionLeaf (&leaves)[4], bool value)
{
    const char* between = " ";
    for (const OptionLeaf& leaf : leaves) {
        if (leaf.name != nullptr && leaf.value == value) {
            std::printf("%s`%s`", between, leaf.name);
            between = ", ";
        }
    }
    std::fputs(" |", stdout);
}

void print_tokens()
{
    std::puts(
        "| option | also typed | group | set to true | set to false |\n|---|---|---|---|---|");
    for (const OptionToken& token : option_tokens) {
        std::printf("| `%s` |", token.upper);
        if (forms_of(token) == 2)
            std::printf(" `%s`", token.lower);
        std::printf(" | %s |", name_of(token.group));
        print_leaves(token.leaves, true);
        print_leaves(token.leaves, false);
        std::puts("");
    }
}

void print_members(OptionGroup group)
{
    const char* between = " ";
    for (const OptionToken& token : option_tokens) {
        if (token.group == group) {
            std::printf("%s`%s`", between, token.upper);
            between = ", ";
        }
    }
    std::fputs(" |", stdout);
}

void print_groups()
{
    std::puts("| group | options | set to false when none is named | message for a second one "
              "|\n|---|---|---|---|");
    for (const ExclusiveGroup& rules : exclusive_groups) {
        std::printf("| %s |", name_of(rules.group));
        print_members(rules.group);
        print_leaves(rules.none_leaves, false);
        std::printf(" `%s` |\n", rules.message + std::strspn(rules.message, "\n"));
    }
}

void print_names()
{
    for (const OptionToken& token : option_tokens)
        std::puts(token.upper);
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
