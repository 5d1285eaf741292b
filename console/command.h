// Running the meter's scripts, and pausing. Both flush standard output first.
#pragma once

enum class Command : unsigned char {
    reset_passwords,
    restore_defaults,
    update_model_number,
    remove_downloads,
    restart_network,
};

// Complete command lines for the shell, in the order of `Command`.
inline constexpr char command_lines[][45] = {
    "sernetpwreset.sh > /dev/null 2>&1",
    "fw_reset.sh > /dev/null 2>&1",
    "vmkeys -m >/dev/null 2>&1",
    "rm -rf /jffs/downloads/vmconfig.*",
    "/etc/init.d/network restart > /dev/null 2>&1",
};

// Flushes standard output, then runs a command through `system`. Ignores its exit status.
void run_command(Command command);

// Flushes standard output, then pauses.
void pause_for(unsigned seconds);
