// What the checks find: one line for each finding, in groups, as text for people or as JSON for
// scripts.
#pragma once

#include <string_view>

enum class Verdict : unsigned char {
    ok,
    note,  // works, but differs from what is usual
    wrong, // the utility would not work as it should
};

struct Report {
    bool as_json = false;
    const char* group = "";  // of the findings that follow
    const char* check = "";  // likewise
    const char* leaf = "";   // path of the leaf that they are about; may be empty
    unsigned counts[3] = {}; // findings so far, by verdict
};

void begin_report(const Report& report);
void begin_group(Report& report, const char* name);

// Each prints one finding: a message, formatted as by printf, which follows the name of the leaf.
// After a newline it says what to do about a problem; the path of the leaf follows that. It is
// printed immediately, so that a library that then hangs hides nothing.
[[gnu::format(printf, 2, 3)]] void add_ok(Report& report, const char* message, ...);
[[gnu::format(printf, 2, 3)]] void add_note(Report& report, const char* message, ...);
[[gnu::format(printf, 2, 3)]] void add_wrong(Report& report, const char* message, ...);

// Prints the summary.
void end_report(const Report& report);

// A part of a message. Nothing must be released, which keeps the many places that print one small.
struct Words {
    char text[200];
};

// A text in quotes, in printable ASCII: any other byte is shown as \x and two digits. A long text
// is cut.
Words quoted(std::string_view text);
