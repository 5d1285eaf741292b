// All keyboard input: one line reader with an idle time-out, and the questions on top of it.
// The terminal's own echo and line editing are off while the program runs, so the reader
// echoes and erases by itself.
#pragma once

#include "settings/editable.h"

#include <string>

// Outcome of a question. The functions that talk to the technician return one of these.
constexpr int answer_taken = 1;
constexpr int answer_timed_out = 0;
constexpr int answer_rejected = -1; // an invalid answer, or waiting for a key failed

// Seconds without a key after which a question ends.
constexpr unsigned idle_seconds = 30;

// Reads one line from standard input. `text` is emptied first and keeps what was typed even
// when the wait ends early; `seconds` is allowed before each key, not for the whole line.
// Returns answer_taken (Enter, Ctrl-D or end of input), answer_timed_out, or answer_rejected
// when waiting failed; a wait broken by a signal is not retried.
int read_line_timed(std::string& text, unsigned seconds);

// Writes `prompt`, a colon and a space, then reads a line within the usual idle time.
// Returns what `read_line_timed` returns.
int prompt_line(const std::string& prompt, std::string& text);

// Prints why a question has no answer: "Timed out.", or `rejection` for a rejected answer (null:
// nothing then). Prints nothing for an answer that was taken.
void report_no_answer(int result, const char* rejection);

// Asks for yes or no: an answer that begins with "y" or "Y" is yes, any other one is no.
// An answer sets the flag's value and its changed flag. On a time-out, and on answer_rejected
// for an empty answer or a failed wait, the flag is unchanged.
int prompt_yes_no(const std::string& prompt, EditableFlag& flag);

// Asks a question that only a clear yes answers: true for yes; false for no, for an empty
// answer, and when waiting timed out or failed.
bool confirmed(const std::string& question);
