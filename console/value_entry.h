// Values that the technician types into the settings record.
#pragma once

#include "settings/editable.h"

#include <string>

// True when an answer asks to empty a value.
bool asks_to_clear(const std::string& answer);

// Asks for an IPv4 address, puts the answer into `target` exactly as typed, including what follows
// the fourth number, and sets the changed flag. "~" empties the target's text and leaves its flag.
// Returns answer_taken, answer_timed_out, or answer_rejected for anything else, with `target`
// unchanged and no message.
int prompt_ipv4(const std::string& prompt, EditableText& target);

// As `prompt_ipv4`, and prints why an answer was not taken. Returns true when one was, "~"
// included.
bool enter_address(const std::string& prompt, EditableText& target);
