#include "console/command.h"

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

void run_command(Command command)
{
    std::fflush(stdout);
    [[maybe_unused]] const int ignored =
        std::system(command_lines[static_cast<unsigned>(command)].text);
}

void pause_for(unsigned seconds)
{
    std::fflush(stdout);
    sleep(seconds);
}
