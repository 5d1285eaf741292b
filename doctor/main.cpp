#include "doctor/command_line.h"
#include "doctor/doctor.h"

int main(int argument_count, char** arguments)
{
    Options options;
    if (const auto status = read_command_line(argument_count, arguments, options))
        return *status;
    return examine(options);
}
