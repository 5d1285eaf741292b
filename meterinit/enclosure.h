// The enclosure type, entered as a short code.
#pragma once

#include "settings/editable.h"

// Shows the codes and asks until one of them is entered, nothing is entered or no key comes for
// the idle time; a failed wait asks again. A code is stored and sets the changed flag; otherwise
// the text is unchanged. The text cannot be emptied here.
void enter_enclosure(EditableText& enclosure);
