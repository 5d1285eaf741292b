#include "bench/contest.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <random>

namespace
{

double quantile(const std::vector<double>& sorted, double part)
{
    return sorted[static_cast<std::size_t>(part * static_cast<double>(sorted.size() - 1))];
}

} // namespace

void give_up(const char* what)
{
    std::perror(what);
    std::exit(1);
}

void hold_contest(int rounds, const std::vector<std::string>& names,
                  const std::function<double(std::size_t contender, int round)>& measure)
{
    std::vector<std::vector<double>> times(names.size());
    std::vector<std::size_t> order(names.size());
    std::iota(order.begin(), order.end(), 0);
    std::mt19937 random(std::random_device{}());

    for (int round = 0; round < rounds; ++round) {
        std::shuffle(order.begin(), order.end(), random);
        for (const std::size_t i : order)
            times[i].push_back(measure(i, round));
    }
    double floor = 0;
    for (std::size_t i = 0; i < names.size(); ++i) {
        std::sort(times[i].begin(), times[i].end());
        const double median = quantile(times[i], 0.5);
        floor = i == 0 ? median : floor;
        std::printf("%-20s median %7.0f us  (quartiles %.0f to %.0f)  ratio %.2f\n",
                    names[i].substr(names[i].rfind('/') + 1).c_str(), median,
                    quantile(times[i], 0.25), quantile(times[i], 0.75), median / floor);
    }
}
