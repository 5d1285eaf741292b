// All keyboard input: a line reader with an idle time-out, and the questions that use it.
// The program switches the terminal's echo and line editing off, so the reader itself echoes keys
// and erases characters.
#pragma once

#include "settings/editable.h"

#include <string>

// The outcome of a question.
constexpr int answer_taken = 1;
constexpr int answer_timed_out = 0;
constexpr int answer_rejected = -1; // an invalid answer, or the wait for a key failed

// A question ends after this many seconds without a key.
constexpr unsigned idle_seconds = 30;

// Reads one line from standard input into `text`, which it empties first. After a time-out or a
// failure `text` holds the characters typed so far. `seconds` is the time allowed before each key,
// not for the whole line. Returns answer_taken after Enter, Ctrl-D or the end of input;
// answer_timed_out; or answer_rejected when the wait failed. It does not repeat a wait that a
// signal interrupted.
int read_line_timed(std::string& text, unsigned seconds);

// Prints `prompt`, a colon and a space, then reads a line with `read_line_timed`, allowing
// `idle_seconds` before each key. Returns what `read_line_timed` returns.
int prompt_line(const std::string& prompt, std::string& text);

// Prints "Timed out." for answer_timed_out, and `rejection` for answer_rejected unless it is null.
// Prints nothing for answer_taken.
void report_no_answer(int result, const char* rejection);

// Asks for yes or no. An answer that begins with "y" or "Y" means yes; any other answer means no.
// Both set the value of `flag` and its changed flag, and the function returns answer_taken.
// Returns answer_timed_out, or answer_rejected for an empty answer or a failed wait; `flag` is then
// unchanged.
int prompt_yes_no(const std::string& prompt, EditableFlag& flag);

// Asks for yes or no. Returns true only for yes; false for no, for an empty answer, and when the
// wait timed out or failed.
bool confirmed(const std::string& question);
