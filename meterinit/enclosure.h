// The enclosure type, entered as a short code.
#pragma once

#include "settings/editable.h"

// Shows the codes and asks for one. Asks again after an unknown code and after a failed wait; ends
// after a code, an empty answer or a time-out. Stores a code and sets the changed flag; otherwise
// leaves `enclosure` unchanged. "~" does not empty the text here.
void enter_enclosure(EditableText& enclosure);
