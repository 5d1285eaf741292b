#include "console/command.h"

#include <doctest/doctest.h>

TEST_CASE("a table of commands that lacks one, or has them in another order, is rejected")
{
    CHECK(each_command_has_its_line(command_lines));
    const CommandLine swapped[] = {command_lines[1], command_lines[0], command_lines[2],
                                   command_lines[3], command_lines[4]};
    CHECK_FALSE(each_command_has_its_line(swapped));
    const CommandLine short_by_one[] = {command_lines[0], command_lines[1], command_lines[2],
                                        command_lines[3]};
    CHECK_FALSE(each_command_has_its_line(short_by_one));
}
