#pragma once

#include <string>
#include <vector>

// An event on the line. The event happens when key number `at_key` of session number `session`
// arrives from the driver, which is the program that operates the console. Both numbers start at 0.
// The list of LinePlan that contains the event determines the kind of the event, and whether the
// event uses `keys` or `seconds`.
struct LineEvent {
    unsigned session = 0;
    unsigned long at_key = 0;
    double seconds = 0;
    std::string keys;
};

// Replaces one occurrence of the text `from` in the output of session number `session` by the text
// `to`. `occurrence` is the number of the occurrence in the session. Both numbers start at 0. Both
// texts must have the same length.
struct Substitution {
    std::string from;
    std::string to;
    unsigned occurrence = 0;
    unsigned session = 0;
};

// The program at the end of a line, and the damage to the bytes that the line carries. Each rate is
// a probability.
struct LinePlan {
    std::vector<std::string> command;
    unsigned seed = 0;
    double key_rate = 0;     // per key: lost, doubled or altered, or somebody else's key is added
    double output_rate = 0;  // per byte of output: lost or altered
    double message_rate = 0; // per key: a kernel message is inserted into the next output
    double baud = 0;         // bits per second in each direction, 8N1; 0 means no limit
    double transit = 0.25;   // the longest time of a byte from the line to the driver, in seconds
    std::string prelude;     // keys typed before the driver's first key; their output is discarded
    std::vector<LineEvent> stalls;  // no byte passes for `seconds`; then all delayed bytes arrive
    std::vector<LineEvent> typists; // somebody else types `keys`
    std::vector<LineEvent> ends;    // the line closes
    std::vector<LineEvent> deaths;  // from then on no byte passes, but the line stays open
    std::vector<Substitution> substitutions;
};

// Reads a plan from a JSON file. The file contains an object with the members of LinePlan, all of
// them optional. Throws std::runtime_error or an exception of the JSON library when the plan cannot
// be read. The message of the exception says what is wrong.
LinePlan read_line_plan(const std::string& path);
