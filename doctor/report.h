// The report of the checks: the findings in groups, as text for people or as JSON for scripts. The
// report goes to standard output.
#pragma once

#include <string_view>

enum Verdict : unsigned char {
    ok,
    note,  // the utility works, but something is unusual
    wrong, // the utility would not work correctly
};

void begin_report(bool as_json);

// Starts a group. The findings that follow belong to this group.
void begin_group(const char* name);

// Starts a check. The findings that follow belong to this check. These findings belong to no leaf
// until `begin_leaf` names a leaf.
void begin_check(const char* name);

// Names the leaf that the following findings of this check are about. An empty `path` means no
// leaf.
void begin_leaf(const char* path);

// Prints one finding: the path of the leaf, then `message`, formatted as by `printf`. The text
// after a newline in `message` is advice, and the full path of the leaf follows the advice. Flushes
// standard output, so that the finding is visible even if the library hangs afterwards.
[[gnu::format(printf, 2, 3)]] void report(Verdict verdict, const char* message, ...);

// Returns true when at least one finding has the verdict `wrong`.
bool is_anything_wrong();

// Prints the summary, which ends the report.
void end_report();

// A text that becomes part of a message. A fixed array needs no destructor. This keeps the code
// small, because many places print such a text.
struct Words {
    char text[200];
};

// Returns the text in quotes. Any byte that is not printable ASCII becomes \x and two hexadecimal
// digits, and a backslash precedes a quote or a backslash. A text that is too long is truncated.
Words quoted(std::string_view text);
