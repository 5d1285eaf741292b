// Contenders measured by turns, so that what else the machine does falls on all alike.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

// Says what failed, with the reason in `errno`, and ends the program.
[[noreturn]] void give_up(const char* what);

// Calls `measure` `rounds` times for each contender, by its position in `names`, in a new order
// each round. It returns microseconds. Prints for each contender the median and the quartiles,
// and the ratio of its median to that of the first one.
void hold_contest(int rounds, const std::vector<std::string>& names,
                  const std::function<double(std::size_t contender, int round)>& measure);
