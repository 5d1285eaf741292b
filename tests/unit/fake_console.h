// Standard input and output under the control of a test.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <sys/time.h>

// Runs `action` with `keys` as standard input and returns everything that it printed. The input
// ends after the last key. Each character of `waits` decides how one wait for a key ends: k a key
// is available, t time-out, f the wait fails. The waits after these are real.
std::string console_of(const std::string& keys, const std::function<void()>& action,
                       const std::string& waits = "");

// Like `console_of`, with the descriptor `keyboard` as standard input. Does not close it.
std::string console_on(int keyboard, const std::function<void()>& action);

// Returns what was flushed to standard output so far, starting at byte `from`. May be called only
// while one of the above runs.
std::string console_so_far(std::size_t from = 0);

// Returns true when `shown` contains `text`.
bool shows(const std::string& shown, const std::string& text);

struct WaitForKey {
    timeval time;            // the time-out passed; a wait in `waits` leaves 7.5 seconds of it
    bool for_keyboard_alone; // waited for standard input and nothing else
};

// Returns the waits since the last call of `console_of` or `console_on` began.
const std::vector<WaitForKey>& waits_so_far();
