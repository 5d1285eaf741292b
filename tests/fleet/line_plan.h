#pragma once

#include <string>
#include <vector>

// An event on the line. It happens when key number `at_key` of session number `session` arrives
// from the driver; both numbers start at 0. The list that holds the event decides what it is and
// whether it uses `keys` or `seconds`.
struct LineEvent {
    unsigned session = 0;
    unsigned long at_key = 0;
    double seconds = 0;
    std::string keys;
};

// Replaces one occurrence of the text `from` in the output. `occurrence` is its number in the
// session, starting at 0. Both texts must have the same length.
struct Substitution {
    std::string from;
    std::string to;
    unsigned occurrence = 0;
    unsigned session = 0;
};

// The damage that a line does to the bytes that it carries. A rate is a probability.
struct LinePlan {
    std::vector<std::string> command;
    unsigned seed = 0;
    double key_rate = 0;     // per key: it is lost, doubled or altered, or a foreign key is added
    double output_rate = 0;  // per byte of output: it is lost or altered, or a burst is lost
    double message_rate = 0; // per key: a kernel message is inserted into the output that follows
    double baud = 0;         // 8N1, in both directions; 0: no limit
    double transit = 0.25;   // seconds that a byte takes at most between the line and the driver
    std::string prelude;     // keys typed before the first session; their output is discarded
    std::vector<LineEvent> stalls;  // for `seconds` nothing passes; then all of it arrives
    std::vector<LineEvent> typists; // someone else types `keys`
    std::vector<LineEvent> ends;    // the line closes
    std::vector<LineEvent> deaths;  // nothing passes any more, but the line stays open
    std::vector<Substitution> substitutions;
};

// Reads a plan: a JSON object with these members, all of them optional. Throws an exception of the
// JSON library or std::runtime_error; its message says what is wrong.
LinePlan read_line_plan(const std::string& path);
