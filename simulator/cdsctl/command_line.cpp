#include "simulator/cdsctl/command_line.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace cdsctl
{

namespace
{

// What the option parser works on. It does not know the commands: to tell it of every one would
// take longer than to read a store.
struct Parser {
    CLI::App app;
    std::vector<std::string> option_words;
    const Command* command = nullptr;
    Request request;
};

const Command* find_command(std::string_view name)
{
    const auto* const found =
        std::find_if(std::begin(commands), std::end(commands),
                     [&](const Command& command) { return command.name == name; });
    return found == std::end(commands) ? nullptr : found;
}

void add_options(Parser& parser)
{
    parser.app.name("cdsctl");
    parser.app.set_help_flag("-h,--help", "Print this help and exit");
    parser.app.set_version_flag("--version", "cdsctl " CDSCTL_VERSION,
                                "Print the version and exit");
    parser.app.add_option("-C", parser.request.folder, "The meter's folder (else: METER_SIM_DIR)")
        ->type_name("DIR")
        ->take_last();
    parser.app.add_flag("--json", parser.request.json, "Print JSON")->take_last();
    parser.app.add_option("--type", parser.request.type, "The type of the values")
        ->type_name("TYPE")
        ->take_last()
        ->check(CLI::IsMember({"bool", "int", "string"}));
}

// Takes away what the command that was named has no use for, to be refused like any other word.
void remove_other_options(Parser& parser)
{
    const Command* command = parser.command;
    if (command == nullptr || !command->has_json)
        parser.app.remove_option(parser.app.get_option("--json"));
    if (command == nullptr || !command->has_type)
        parser.app.remove_option(parser.app.get_option("--type"));
}

// The option that a word names, also as "--type=int" and "-CDIR"; null: none that is known.
const CLI::Option* named_option(const Parser& parser, const std::string& word)
{
    const bool is_long = word.compare(0, 2, "--") == 0;
    const CLI::Option* option = parser.app.get_option_no_throw(
        is_long ? word.substr(0, word.find('=')) : word.substr(0, 2));
    const bool fits =
        is_long || word.size() <= 2 || (option != nullptr && option->get_items_expected_min() > 0);
    return fits ? option : nullptr;
}

bool takes_next_word(const CLI::Option& option, const std::string& word)
{
    const bool has_argument =
        word.compare(0, 2, "--") == 0 ? word.find('=') != std::string::npos : word.size() > 2;
    return option.get_items_expected_min() > 0 && !has_argument;
}

// Whether the next operand is the value of the path before it.
bool awaits_value(const Parser& parser)
{
    return parser.command != nullptr && parser.command->run == set_leaves &&
           parser.request.operands.size() % 2 == 1;
}

void take_operand(Parser& parser, const std::string& word)
{
    if (parser.command != nullptr) {
        parser.request.operands.push_back(word);
        return;
    }
    parser.command = find_command(word);
    if (parser.command == nullptr)
        throw CLI::ParseError("unknown command " + word, wrong_usage);
}

// Parts operands from options. The operands stay away from the option parser, which would take
// "[1,2]" for two words.
void part_words(Parser& parser, const std::vector<std::string>& words)
{
    bool only_operands = false;
    for (auto word = words.begin(); word != words.end(); ++word) {
        // NOLINTNEXTLINE(bugprone-branch-clone): an option that is not known is asked for first
        if (only_operands || word->size() < 2 || word->front() != '-') {
            take_operand(parser, *word);
        } else if (*word == "--") {
            only_operands = true;
        } else if (awaits_value(parser)) {
            take_operand(parser, *word);
        } else if (const CLI::Option* option = named_option(parser, *word)) {
            parser.option_words.push_back(*word);
            if (takes_next_word(*option, *word) && word + 1 != words.end())
                parser.option_words.push_back(*++word);
        } else {
            parser.option_words.push_back(*word); // for the option parser to refuse
        }
    }
}

std::string synopsis(const Command& command)
{
    return std::string("cdsctl ") + command.name + (*command.operands == 0 ? "" : " ") +
           command.operands;
}

void check_operands(const Parser& parser)
{
    if (parser.command == nullptr)
        throw CLI::ParseError("a command is needed", wrong_usage);
    const std::size_t count = parser.request.operands.size();
    const Command& command = *parser.command;
    if (count < command.fewest || count > command.most ||
        (command.run == set_leaves && count % 2 != 0))
        throw CLI::ParseError("usage: " + synopsis(command), wrong_usage);
    if (command.run == make_meter && parser.app.count("-C") != 0)
        throw CLI::ParseError("init takes the meter's folder as DIR, not with -C", wrong_usage);
}

std::string help_text(Parser& parser)
{
    if (parser.command == nullptr) {
        parser.app.description("Reads, changes and watches the leaves of a simulated meter.");
        for (const Command& command : commands)
            parser.app.add_subcommand(command.name, command.summary)->group("Commands");
        parser.app.footer("cdsctl COMMAND --help tells more of a command.");
        parser.app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    } else {
        parser.app.name(synopsis(*parser.command));
        parser.app.description(parser.command->summary);
        parser.app.footer(parser.command->details);
    }
    return parser.app.help();
}

void refuse(const Parser& parser, const char* reason)
{
    const std::string command =
        parser.command == nullptr ? "" : std::string(" ") + parser.command->name;
    complain(std::string(reason) + "\nTry 'cdsctl" + command + " --help'.");
}

const char* folder_of_environment()
{
    const char* folder = std::getenv("METER_SIM_DIR");
    return folder == nullptr ? "" : folder;
}

} // namespace

CommandLine read_command_line(int argument_count, const char* const* arguments)
{
    CommandLine line;
    Parser parser;
    try {
        add_options(parser);
        part_words(parser, {arguments + 1, arguments + argument_count});
        remove_other_options(parser);
        std::reverse(parser.option_words.begin(), parser.option_words.end()); // as it wants them
        parser.app.parse(parser.option_words);
        check_operands(parser);
        line.command = parser.command;
    } catch (const CLI::CallForHelp&) {
        std::fputs(help_text(parser).c_str(), stdout);
    } catch (const CLI::CallForVersion& version) {
        std::puts(version.what());
    } catch (const CLI::ParseError& error) {
        refuse(parser, error.what());
        line.status = wrong_usage;
    }
    if (parser.app.count("-C") == 0)
        parser.request.folder = folder_of_environment();
    line.request = std::move(parser.request);
    return line;
}

} // namespace cdsctl
