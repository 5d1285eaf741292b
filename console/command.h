// The commands that the utility runs on the meter, and a function that pauses.
#pragma once

#include <cstddef>

enum class Command : unsigned char {
    reset_passwords,
    restore_defaults,
    update_model_number,
    remove_downloads,
    restart_network,
    count, // not a command: the number of commands
};

struct CommandLine {
    Command command;
    char text[45]; // complete command line for the shell
};

// One row for each command, in the order of `Command`.
// clang-format off
inline constexpr CommandLine command_lines[] = {
    {Command::reset_passwords,     "sernetpwreset.sh > /dev/null 2>&1"},
    {Command::restore_defaults,    "fw_reset.sh > /dev/null 2>&1"},
    {Command::update_model_number, "vmkeys -m >/dev/null 2>&1"},
    {Command::remove_downloads,    "rm -rf /jffs/downloads/vmconfig.*"},
    {Command::restart_network,     "/etc/init.d/network restart > /dev/null 2>&1"},
};
// clang-format on

template <std::size_t count>
constexpr bool each_command_has_its_line(const CommandLine (&lines)[count])
{
    unsigned place = 0;
    for (const CommandLine& line : lines) {
        if (line.command != static_cast<Command>(place++))
            return false;
    }
    return place == static_cast<unsigned>(Command::count);
}
static_assert(each_command_has_its_line(command_lines));

// Flushes standard output, then runs the command line of `command` through `system`. Ignores the
// exit status of the command.
void run_command(Command command);

// Flushes standard output, then pauses for the given number of seconds.
void pause_for(unsigned seconds);
