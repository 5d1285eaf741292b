// Measures several programs, the contenders, in turns, so that other load on the machine affects
// all contenders equally.
//
// contest ROUNDS SEED <PLAN: runs every contender once per round, in a new random order each round.
// Each contender runs on its own pseudo-terminal.
//
// PLAN consists of texts. A zero byte ends each text. A contender consists of the arguments of its
// command, an empty text, its steps, and an empty text. A step consists of its name, its keys, and
// the number of bytes of the answer. The last digit of the round's number replaces the argument
// ROUND.
//
// A step sends its keys and ends when all bytes of the answer have arrived. The first step includes
// the start of the contender. After the last step, the contender must exit by itself with status 0.
// Prints "ROUND CONTENDER NAME MICROSECONDS" for every step, and with NAME "end" for the whole run.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

using Clock = std::chrono::steady_clock;

constexpr unsigned seconds_of_run = 60; // a longer run ends this program

struct Step {
    std::string name;
    std::string keys;
    std::size_t bytes;
};

struct Contender {
    std::vector<std::string> command;
    std::vector<Step> steps;
};

std::string next_text()
{
    std::string text;
    std::getline(std::cin, text, '\0');
    return text;
}

std::vector<Contender> read_plan()
{
    std::vector<Contender> contenders;
    for (std::string word = next_text(); !word.empty(); word = next_text()) {
        Contender contender;
        for (; !word.empty(); word = next_text())
            contender.command.push_back(word);
        for (std::string name = next_text(); !name.empty(); name = next_text()) {
            const std::string keys = next_text();
            contender.steps.push_back({name, keys, std::stoul(next_text())});
        }
        contenders.push_back(contender);
    }
    return contenders;
}

[[noreturn]] void give_up(const std::string& what)
{
    std::perror(what.c_str());
    std::exit(1);
}

double microseconds_since(Clock::time_point start)
{
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

int open_terminal()
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0)
        give_up("pseudo-terminal");
    return master;
}

// Returns the arguments for `execv`, with a null pointer at the end.
std::vector<char*> words_of(std::vector<std::string>& command, int round)
{
    std::vector<char*> words;
    for (std::string& word : command) {
        if (word == "ROUND")
            word = std::to_string(round % 10);
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    return words;
}

// Starts a contender. The kernel kills the contender when this program exits, because a contender
// without its terminal might run forever.
pid_t start(const std::vector<char*>& words, int terminal, int nowhere)
{
    const pid_t child = vfork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(terminal, STDIN_FILENO);
        dup2(terminal, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        execv(words[0], words.data());
        _exit(127);
    }
    return child;
}

void follow(const Step& step, int master)
{
    if (write(master, step.keys.data(), step.keys.size()) != static_cast<ssize_t>(step.keys.size()))
        give_up("keys of " + step.name);
    char piece[4096];
    for (std::size_t left = step.bytes; left > 0;) {
        const ssize_t size = read(master, piece, std::min(left, sizeof piece));
        if (size <= 0)
            give_up("answer of " + step.name);
        left -= static_cast<std::size_t>(size);
    }
}

void run(Contender contender, std::size_t position, int round, int nowhere)
{
    const auto print = [&](const std::string& name, Clock::time_point since) {
        std::printf("%d %zu %s %.2f\n", round, position, name.c_str(), microseconds_since(since));
    };
    const std::vector<char*> words = words_of(contender.command, round);
    const int master = open_terminal();
    const int terminal = open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);

    alarm(seconds_of_run);
    const Clock::time_point begun = Clock::now();
    const pid_t child = start(words, terminal, nowhere);
    Clock::time_point since = begun;
    for (const Step& step : contender.steps) {
        follow(step, master);
        print(step.name, since);
        since = Clock::now();
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child || status != 0)
        give_up(contender.command[0]);
    print("end", begun);
    close(terminal);
    close(master);
}

} // namespace

int main(int argument_count, char** arguments)
{
    if (argument_count != 3) {
        std::fprintf(stderr, "usage: %s ROUNDS SEED <PLAN\n", arguments[0]);
        return 2;
    }
    const std::vector<Contender> contenders = read_plan();
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    std::vector<std::size_t> order(contenders.size());
    std::iota(order.begin(), order.end(), 0);
    std::mt19937 random(static_cast<unsigned>(std::atoi(arguments[2])));

    for (int round = 0; round < std::atoi(arguments[1]); ++round) {
        std::shuffle(order.begin(), order.end(), random);
        for (const std::size_t position : order)
            run(contenders[position], position, round, nowhere);
    }
    return 0;
}
