// Functions with which a test controls standard input and standard output.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <sys/time.h>

// Runs `action` with `keys` as standard input. Returns everything that `action` printed. The input
// ends after the last key. Each character of `waits` decides the end of one wait for a key: k when
// a key is available, t for a time-out, f for a failure. All later waits are real.
std::string console_of(const std::string& keys, const std::function<void()>& action,
                       const std::string& waits = "");

// Like `console_of`, with the descriptor `keyboard` as standard input. Does not close `keyboard`.
std::string console_on(int keyboard, const std::function<void()>& action);

// Returns the output that `action` has flushed so far, from byte `from` on. May be called only
// while `console_of` or `console_on` runs.
std::string console_so_far(std::size_t from = 0);

// Returns true when `shown` contains `text`.
bool shows(const std::string& shown, const std::string& text);

struct WaitForKey {
    timeval time;            // the time-out that the caller gave to select()
    bool for_keyboard_alone; // the wait was for standard input and nothing else
};

// Returns the waits since the last call of `console_of` or `console_on` began.
const std::vector<WaitForKey>& waits_so_far();
