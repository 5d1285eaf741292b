// Time from starting a program on a pseudo-terminal to its first prompt, contenders in turns.
//
// first_prompt ROUNDS PROGRAM PROGRAM...: prints for each program the median and the quartiles in
// microseconds, and the ratio of its median to that of the first one.
#include "bench/contest.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

using Clock = std::chrono::steady_clock;

int open_terminal()
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0)
        give_up("pseudo-terminal");
    return master;
}

void read_until_prompt(int master)
{
    std::string screen;
    char piece[4096];
    while (screen.find("==>  ") == std::string::npos) {
        const ssize_t size = read(master, piece, sizeof piece);
        if (size <= 0)
            give_up("no prompt");
        screen.append(piece, static_cast<std::size_t>(size));
    }
}

double microseconds_to_prompt(const char* program)
{
    const int master = open_terminal();
    const int slave = open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const Clock::time_point start = Clock::now();
    const pid_t child = vfork();
    if (child == 0) {
        dup2(slave, STDIN_FILENO);
        dup2(slave, STDOUT_FILENO);
        execl(program, program, static_cast<char*>(nullptr));
        _exit(127);
    }
    close(slave); // so that a program that ends early is noticed
    read_until_prompt(master);
    const std::chrono::duration<double, std::micro> elapsed = Clock::now() - start;

    int status = 0;
    if (write(master, "0\r", 2) != 2 || waitpid(child, &status, 0) != child || status != 0)
        give_up(program);
    close(master);
    return elapsed.count();
}

} // namespace

int main(int argument_count, char** arguments)
{
    if (argument_count < 3) {
        std::fprintf(stderr, "usage: %s ROUNDS PROGRAM...\n", arguments[0]);
        return 2;
    }
    const std::vector<std::string> programs(arguments + 2, arguments + argument_count);
    hold_contest(std::atoi(arguments[1]), programs, [&](std::size_t contender, int) {
        return microseconds_to_prompt(programs[contender].c_str());
    });
    return 0;
}
