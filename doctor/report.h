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

// Names the check of the findings that follow, which are about no leaf.
void begin_check(const char* name);

// Names the leaf that the following findings of this check are about; empty for no leaf.
void begin_leaf(const char* path);

// Prints one finding: a message, formatted as by printf, which follows the name of the leaf.
// After a newline it says what to do about a problem; the path of the leaf follows that. It is
// printed immediately, so that a library that then hangs hides nothing.
[[gnu::format(printf, 2, 3)]] void report(Verdict verdict, const char* message, ...);

// True when a finding is wrong.
bool is_anything_wrong();

// Prints the summary.
void end_report();

// A part of a message. Nothing must be released, which keeps the many places that print one small.
struct Words {
    char text[200];
};

// A text in quotes, in printable ASCII: any other byte is shown as \x and two digits. A long text
// is cut.
Words quoted(std::string_view text);
