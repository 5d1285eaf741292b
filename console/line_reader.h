// Reads all keyboard input: a line reader with a time-out, and the questions that use it. The
// program switches off the terminal's echo and line editing, so the line reader itself echoes keys
// and erases characters.
#pragma once

#include "settings/editable.h"

#include <string>

// The results of the functions that read an answer.
constexpr int answer_taken = 1;
constexpr int answer_timed_out = 0;
constexpr int answer_rejected = -1; // the answer is invalid, or the wait for a key failed

// A question times out after this many seconds without a key.
constexpr unsigned idle_seconds = 30;

// Empties `text`, then reads one line from standard input into `text`. `seconds` is the time
// allowed for each key, not for the whole line. Returns answer_taken after Enter, Ctrl-D or the end
// of input; answer_timed_out after a time-out; answer_rejected when the wait for a key failed. The
// wait also fails when a signal interrupts it. After a time-out or a failure, `text` holds the
// characters typed so far.
int read_line_timed(std::string& text, unsigned seconds);

// Prints `prompt`, a colon and a space, then reads a line into `text`. Allows `idle_seconds` for
// each key. Returns the result of `read_line_timed`.
int prompt_line(const std::string& prompt, std::string& text);

// Prints "Timed out." for answer_timed_out. Prints `rejection` for answer_rejected, unless
// `rejection` is null. Prints nothing for answer_taken.
void report_no_answer(int result, const char* rejection);

// Asks a yes/no question. Sets `flag.value` to true when the answer begins with "y" or "Y", and to
// false for any other answer that is not empty. In both cases sets `flag.changed` and returns
// answer_taken. Returns answer_timed_out after a time-out, and answer_rejected when the answer is
// empty or the wait failed. In these cases `flag` is unchanged.
int prompt_yes_no(const std::string& prompt, EditableFlag& flag);

// Asks a yes/no question. Returns true when the answer begins with "y" or "Y". Returns false for
// any other answer, for an empty answer, and when the wait timed out or failed.
bool confirmed(const std::string& question);
