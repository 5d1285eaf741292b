// Questions for values that the technician types.
#pragma once

#include "settings/editable.h"

#include <string>

// Returns true when the answer begins with "~", which empties a value.
bool asks_to_clear(const std::string& answer);

// Asks for an IPv4 address. Stores an address in `target` exactly as typed, including anything
// after the fourth number, and sets the changed flag. "~" empties the text and does not set the
// flag. Returns answer_taken for both. Otherwise returns answer_timed_out or answer_rejected,
// leaves `target` unchanged and prints nothing.
int prompt_ipv4(const std::string& prompt, EditableText& target);

// Like `prompt_ipv4`, but prints why it took no answer. Returns true when it took one, even "~".
bool enter_address(const std::string& prompt, EditableText& target);
