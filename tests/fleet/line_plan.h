#pragma once

#include <string>
#include <vector>

// Something that happens on the line when the driver's key number `at_key` of session `session`
// arrives, both counted from 0. `keys` and `seconds` mean what the list says that it is in.
struct LineEvent {
    unsigned session = 0;
    unsigned long at_key = 0;
    double seconds = 0;
    std::string keys;
};

// Output in which the text `from` is replaced the `occurrence`th time that it is put out, counted
// from 0 over one session. Both texts have one length.
struct Substitution {
    std::string from;
    std::string to;
    unsigned occurrence = 0;
    unsigned session = 0;
};

// What a line does to the bytes that it carries. A rate is a probability.
struct LinePlan {
    std::vector<std::string> command;
    unsigned seed = 0;
    double key_rate = 0;    // per key: it is lost, doubled, flipped, or a foreign one comes with it
    double output_rate = 0; // per byte of output: it is lost or flipped, or a burst is lost
    double message_rate = 0; // per key: a kernel message comes inside of the output that follows
    double baud = 0;         // 8N1, in both directions; 0: as fast as it goes
    std::string prelude;     // keys of someone who was there before; what they lead to is not shown
    std::vector<LineEvent> stalls;  // nothing passes for `seconds`, and everything comes then
    std::vector<LineEvent> typists; // someone else types `keys`
    std::vector<LineEvent> ends;    // the line closes
    std::vector<LineEvent> deaths;  // nothing passes any more, and the line stays open
    std::vector<Substitution> substitutions;
};

// Reads a plan, a JSON object with these members, each of them optional. Throws nlohmann's
// exceptions or std::runtime_error, which name what is wrong.
LinePlan read_line_plan(const std::string& path);
