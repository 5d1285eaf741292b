// The question for the enclosure type, which is a short code.
#pragma once

#include "settings/editable.h"

// Shows the enclosure codes and asks for a code. Stores a valid code and sets the changed flag.
// Asks again after an unknown code and after a failed wait. An empty answer or a time-out ends the
// question and leaves `enclosure` unchanged. "~" counts as an unknown code, so it does not empty
// the text.
void enter_enclosure(EditableText& enclosure);
