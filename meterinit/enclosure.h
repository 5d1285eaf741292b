// The enclosure type, entered as a short code.
#pragma once

#include "settings/editable.h"

// Shows the codes and asks until one of them is given, nothing is entered or no key comes for
// the idle time; a failed wait asks again. A code is stored and marked changed; otherwise the
// text is unchanged. It cannot be emptied here.
void enter_enclosure(EditableText& enclosure);
