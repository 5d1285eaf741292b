// Standard input and output in the hands of a test.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <sys/time.h>

// Runs `action` with `keys` as what the technician types, and returns all that it printed.
// When the keys are used up, input has ended. The waits for a key end as `waits` says, a character
// each: k there is one, t none came in time, f the wait failed; those after them take their course.
std::string console_of(const std::string& keys, const std::function<void()>& action,
                       const std::string& waits = "");

// As `console_of`, with the descriptor `keyboard` as standard input; it stays open.
std::string console_on(int keyboard, const std::function<void()>& action);

// What has been flushed to standard output so far, from the byte `from` on; only while one of the
// above runs.
std::string console_so_far(std::size_t from = 0);

// Whether the text stands somewhere on the screen.
bool shows(const std::string& shown, const std::string& text);

struct WaitForKey {
    timeval time;            // that it was given; a wait that `waits` ends leaves 7.5 seconds of it
    bool for_keyboard_alone; // and for nothing else than standard input
};

// Every wait since the last of the above began.
const std::vector<WaitForKey>& waits_so_far();
