// The doctor's command line.
#pragma once

#include <optional>

struct Options {
    bool json = false;
    bool keys = false;             // ask the user to press Backspace
    const char* scratch_path = ""; // argument of --write-test; if empty, nothing is written
};

// Reads the command line into `options`. Returns std::nullopt when the program can start the
// checks. Otherwise returns the exit status: after --help, or after a message about wrong usage.
std::optional<int> read_command_line(int argument_count, char** arguments, Options& options);
