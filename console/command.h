// Running the meter's scripts, and pausing. Both flush standard output first.
#pragma once

enum class Command : unsigned char {
    reset_passwords,
    restore_defaults,
    update_model_number,
    remove_downloads,
    restart_network,
};

struct CommandLine {
    Command command;
    char text[45]; // complete command line for the shell
};

// In the order of `Command`.
// clang-format off
inline constexpr CommandLine command_lines[] = {
    {Command::reset_passwords,     "sernetpwreset.sh > /dev/null 2>&1"},
    {Command::restore_defaults,    "fw_reset.sh > /dev/null 2>&1"},
    {Command::update_model_number, "vmkeys -m >/dev/null 2>&1"},
    {Command::remove_downloads,    "rm -rf /jffs/downloads/vmconfig.*"},
    {Command::restart_network,     "/etc/init.d/network restart > /dev/null 2>&1"},
};
// clang-format on

constexpr const CommandLine& line_of(Command command)
{
    return command_lines[static_cast<unsigned>(command)];
}

constexpr bool each_command_has_its_line()
{
    for (const CommandLine& line : command_lines) {
        if (&line_of(line.command) != &line)
            return false;
    }
    return true;
}
static_assert(each_command_has_its_line());

// Flushes standard output, then runs a command through `system`. Ignores its exit status.
void run_command(Command command);

// Flushes standard output, then pauses.
void pause_for(unsigned seconds);
