// The doctor's command line.
#pragma once

#include <optional>

struct Options {
    bool json = false;
    bool keys = false;             // ask for the Backspace key
    const char* scratch_path = ""; // of --write-test; empty: nothing is written
};

// Fills `options`. Returns the exit status when the program has nothing to examine: after --help,
// or after a message about wrong usage.
std::optional<int> read_command_line(int argument_count, char** arguments, Options& options);
