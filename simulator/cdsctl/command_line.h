// The command line of cdsctl.
#pragma once

#include "simulator/cdsctl/commands.h"

namespace cdsctl
{

struct CommandLine {
    const Command* command = nullptr; // null: the caller only exits with `status`
    Request request;
    Status status = done;
};

// Parses the arguments of `main`. Prints the help, the version and usage errors itself. Options may
// be anywhere before "--", except where `set` expects a VALUE. There, every argument other than
// "--" is the VALUE, even an argument that begins with "-".
CommandLine read_command_line(int argument_count, const char* const* arguments);

} // namespace cdsctl
