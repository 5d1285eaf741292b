// Running the meter's scripts and pausing, with the screen brought up to date before.
#pragma once

enum class Command : unsigned char {
    reset_passwords,
    restore_defaults,
    update_model_number,
    remove_downloads,
    restart_network,
};

// Whole command lines, as the shell gets them, in the order of `Command`.
inline constexpr char command_lines[][45] = {
    "sernetpwreset.sh > /dev/null 2>&1",
    "fw_reset.sh > /dev/null 2>&1",
    "vmkeys -m >/dev/null 2>&1",
    "rm -rf /jffs/downloads/vmconfig.*",
    "/etc/init.d/network restart > /dev/null 2>&1",
};

// Shows what was printed so far, then runs a command. Its exit status is ignored.
void run_command(Command command);

// Shows what was printed so far, then pauses.
void pause_for(unsigned seconds);
