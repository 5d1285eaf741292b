// The command line of cdsctl.
#pragma once

#include "simulator/cdsctl/commands.h"

namespace cdsctl
{

struct CommandLine {
    const Command* command = nullptr; // none: all is said already, and `status` is the program's
    Request request;
    Status status = done;
};

// Reads the arguments of `main`. Options may stand anywhere before "--". A word in the place of a
// value is a value whatever it begins with, unless it is one of the options.
CommandLine read_command_line(int argument_count, const char* const* arguments);

} // namespace cdsctl
