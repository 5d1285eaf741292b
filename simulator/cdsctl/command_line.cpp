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

// The state of parsing. Only the options are declared to the option parser `app`, because declaring
// every command would take longer than reading a store.
struct Parser {
    CLI::App app;
    std::vector<std::string> option_arguments;
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
    parser.app
        .add_option("-C", parser.request.folder, "The meter's folder (default: METER_SIM_DIR)")
        ->type_name("DIR")
        ->take_last();
    parser.app.add_flag("--json", parser.request.json, "Print JSON")->take_last();
    parser.app.add_option("--type", parser.request.type, "The type of the values")
        ->type_name("TYPE")
        ->take_last()
        ->check(CLI::IsMember({"bool", "int", "string"}));
}

// Removes the options that the named command does not accept, so that the option parser rejects
// them.
void remove_other_options(Parser& parser)
{
    const Command* command = parser.command;
    if (command == nullptr || !command->has_json)
        parser.app.remove_option(parser.app.get_option("--json"));
    if (command == nullptr || !command->has_type)
        parser.app.remove_option(parser.app.get_option("--type"));
}

// Returns true if `argument` is an option without its value, such as "--type" or "-C". The value is
// then the next argument.
bool takes_next_argument(const Parser& parser, const std::string& argument)
{
    const CLI::Option* option = parser.app.get_option_no_throw(argument);
    return option != nullptr && option->get_items_expected_min() > 0;
}

// Returns true when the next operand must be the VALUE for the last PATH.
bool awaits_value(const Parser& parser)
{
    return parser.command != nullptr && parser.command->run == set_leaves &&
           parser.request.operands.size() % 2 == 1;
}

void take_operand(Parser& parser, const std::string& argument)
{
    if (parser.command != nullptr) {
        parser.request.operands.push_back(argument);
        return;
    }
    parser.command = find_command(argument);
    if (parser.command == nullptr)
        throw CLI::ParseError("unknown command " + argument, wrong_usage);
}

// Separates the operands from the options. The option parser does not get the operands, because it
// would split an operand such as "[1,2]" in two.
void split_arguments(Parser& parser, const std::vector<std::string>& arguments)
{
    bool only_operands = false;
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
        // NOLINTNEXTLINE(bugprone-branch-clone): "--" must be recognised before a VALUE is taken
        if (only_operands || argument->size() < 2 || argument->front() != '-') {
            take_operand(parser, *argument);
        } else if (*argument == "--") {
            only_operands = true;
        } else if (awaits_value(parser)) {
            take_operand(parser, *argument);
        } else {
            parser.option_arguments.push_back(*argument); // the parser rejects unknown options
            if (takes_next_argument(parser, *argument) && argument + 1 != arguments.end())
                parser.option_arguments.push_back(*++argument);
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
        parser.app.footer("'cdsctl COMMAND --help' describes a command.");
        parser.app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    } else {
        parser.app.name(synopsis(*parser.command));
        parser.app.description(parser.command->summary);
        parser.app.footer(parser.command->details);
    }
    return parser.app.help();
}

void reject(const Parser& parser, const char* reason)
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
        split_arguments(parser, {arguments + 1, arguments + argument_count});
        remove_other_options(parser);
        // The option parser expects its arguments in reverse order.
        std::reverse(parser.option_arguments.begin(), parser.option_arguments.end());
        parser.app.parse(parser.option_arguments);
        check_operands(parser);
        line.command = parser.command;
    } catch (const CLI::CallForHelp&) {
        std::fputs(help_text(parser).c_str(), stdout);
    } catch (const CLI::CallForVersion& version) {
        std::puts(version.what());
    } catch (const CLI::ParseError& error) {
        reject(parser, error.what());
        line.status = wrong_usage;
    }
    if (parser.app.count("-C") == 0)
        parser.request.folder = folder_of_environment();
    line.request = std::move(parser.request);
    return line;
}

} // namespace cdsctl
