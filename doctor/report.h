// What the checks find: one line for each finding, in groups, as text for people or as JSON for
// scripts. The findings go to standard output.
#pragma once

#include <string_view>

enum Verdict : unsigned char {
    ok,
    note,  // the utility works, but this differs from what is usual
    wrong, // the utility would not work as it should
};

void begin_report(bool as_json);

// Names the group of the findings that follow.
void begin_group(const char* name);

// Names the check of the findings that follow. They are not about a leaf until `begin_leaf` names
// one.
void begin_check(const char* name);

// Names the leaf that the following findings of this check are about; empty for no leaf.
void begin_leaf(const char* path);

// Prints one finding: the path of the leaf, then `message`, formatted as by `printf`. The text
// after a newline in `message` is advice, and the full path of the leaf follows it. The finding is
// printed immediately, so that it is on the screen even if the library then hangs.
[[gnu::format(printf, 2, 3)]] void report(Verdict verdict, const char* message, ...);

// True when a finding is wrong.
bool is_anything_wrong();

// Prints the summary.
void end_report();

// A part of a message. The fixed array needs no destructor, which keeps the code small at the many
// places that print one.
struct Words {
    char text[200];
};

// A text in quotes, in printable ASCII: any other byte is shown as \x and two digits. A long text
// is cut.
Words quoted(std::string_view text);
