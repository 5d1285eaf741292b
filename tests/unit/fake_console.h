// Standard input and output in the hands of a test.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

// Runs `action` with `keys` as what the technician types, and returns all that it printed.
// When the keys are used up, input has ended.
std::string console_of(const std::string& keys, const std::function<void()>& action);

// As `console_of`, with the descriptor `keyboard` as standard input; it stays open.
std::string console_on(int keyboard, const std::function<void()>& action);

// What has been flushed to standard output so far, from the byte `from` on; only while one of the
// above runs.
std::string console_so_far(std::size_t from = 0);
