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

// Reads the arguments of `main`. Options may stand anywhere before "--", but in the place of a
// value: every word there but "--" is the value, whatever it begins with.
CommandLine read_command_line(int argument_count, const char* const* arguments);

} // namespace cdsctl
