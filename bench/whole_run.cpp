// Time of whole runs of programs, from their start to their end, contenders in turns.
//
// whole-run ROUNDS COMMAND... [-- COMMAND...]...: the word ROUND stands for the number of the
// round, one digit.
#include "bench/contest.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

using Clock = std::chrono::steady_clock;
using Words = std::vector<char*>; // as `execv` wants them, the null at the end included

std::vector<Words> commands_of(int count, char** words)
{
    std::vector<Words> commands(1);
    for (int i = 0; i < count; ++i) {
        if (std::strcmp(words[i], "--") == 0)
            commands.emplace_back();
        else
            commands.back().push_back(words[i]);
    }
    for (Words& command : commands)
        command.push_back(nullptr);
    return commands;
}

double microseconds_of(Words command, int round, int output)
{
    char digit[] = {static_cast<char>('0' + round % 10), '\0'};
    for (char*& word : command) {
        if (word != nullptr && std::strcmp(word, "ROUND") == 0)
            word = digit;
    }
    const Clock::time_point start = Clock::now();
    const pid_t child = vfork();
    if (child == 0) {
        dup2(output, STDOUT_FILENO);
        execv(command[0], command.data());
        _exit(127);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child || status != 0)
        give_up(command[0]);
    const std::chrono::duration<double, std::micro> elapsed = Clock::now() - start;
    return elapsed.count();
}

} // namespace

int main(int argument_count, char** arguments)
{
    if (argument_count < 3) {
        std::fprintf(stderr, "usage: %s ROUNDS COMMAND... [-- COMMAND...]...\n", arguments[0]);
        return 2;
    }
    const std::vector<Words> commands = commands_of(argument_count - 2, arguments + 2);
    const int output = open("/dev/null", O_WRONLY | O_CLOEXEC);
    std::vector<std::string> names;
    for (const Words& command : commands)
        names.emplace_back(command[0]);
    hold_contest(std::atoi(arguments[1]), names, [&](std::size_t contender, int round) {
        return microseconds_of(commands[contender], round, output);
    });
    return 0;
}
