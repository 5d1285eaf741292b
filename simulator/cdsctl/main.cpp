#include "simulator/cdsctl/command_line.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>

int main(int argument_count, char** arguments)
{
    using namespace cdsctl;
    Status status = store_failed;
    try {
        const CommandLine line = read_command_line(argument_count, arguments);
        status = line.command == nullptr ? line.status : line.command->run(line.request);
    } catch (const std::exception& error) { // out of memory
        complain(error.what());
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        complain(std::string("standard output: ") + std::strerror(errno));
        return store_failed;
    }
    return status;
}
