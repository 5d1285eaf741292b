// Time from starting a program on a pseudo-terminal to its first prompt, contenders in turns.
//
// first_prompt ROUNDS PROGRAM PROGRAM...: prints for each program the median and the quartiles in
// microseconds, and the ratio of its median to that of the first one.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

using Clock = std::chrono::steady_clock;

[[noreturn]] void give_up(const char* what)
{
    std::perror(what);
    std::exit(1);
}

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

double quantile(const std::vector<double>& sorted, double part)
{
    return sorted[static_cast<std::size_t>(part * static_cast<double>(sorted.size() - 1))];
}

} // namespace

int main(int argument_count, char** arguments)
{
    if (argument_count < 3) {
        std::fprintf(stderr, "usage: %s ROUNDS PROGRAM...\n", arguments[0]);
        return 2;
    }
    const int rounds = std::atoi(arguments[1]);
    const std::vector<const char*> programs(arguments + 2, arguments + argument_count);
    std::vector<std::vector<double>> times(programs.size());
    std::vector<std::size_t> order(programs.size());
    std::iota(order.begin(), order.end(), 0);
    std::mt19937 random(std::random_device{}());

    for (int round = 0; round < rounds; ++round) {
        std::shuffle(order.begin(), order.end(), random);
        for (const std::size_t i : order)
            times[i].push_back(microseconds_to_prompt(programs[i]));
    }
    double floor = 0;
    for (std::size_t i = 0; i < programs.size(); ++i) {
        std::sort(times[i].begin(), times[i].end());
        const double median = quantile(times[i], 0.5);
        floor = i == 0 ? median : floor;
        const char* slash = std::strrchr(programs[i], '/');
        std::printf("%-20s median %7.0f us  (quartiles %.0f to %.0f)  ratio %.2f\n",
                    slash != nullptr ? slash + 1 : programs[i], median, quantile(times[i], 0.25),
                    quantile(times[i], 0.75), median / floor);
    }
    return 0;
}
