// Running the meter's scripts and pausing, with the screen brought up to date before.
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
    char text[45]; // as the shell gets it
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

// Shows what was printed so far, then runs a command. Its exit status is ignored.
void run_command(Command command);

// Shows what was printed so far, then pauses.
void pause_for(unsigned seconds);
