// Questions that ask the technician to type a value.
#pragma once

#include "settings/editable.h"

#include <string>

// Returns true when `answer` begins with "~", with which a technician empties a value.
bool asks_to_clear(const std::string& answer);

// Asks for an IPv4 address. Stores a valid address in `target` exactly as typed, including anything
// after the fourth number, and sets the changed flag. An answer that begins with "~" empties the
// text and leaves the changed flag as it is. Returns answer_taken in both cases. Returns
// answer_timed_out after a time-out, and answer_rejected for any other answer and after a failed
// wait. In these cases `target` is unchanged. Prints no message for any result.
int prompt_ipv4(const std::string& prompt, EditableText& target);

// Calls `prompt_ipv4` and prints a message unless the result is answer_taken. Returns true for the
// result answer_taken, which includes an answer that begins with "~".
bool enter_address(const std::string& prompt, EditableText& target);
