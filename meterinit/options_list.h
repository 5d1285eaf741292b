// The question for the options list, which names the installed hardware and firmware options.
#pragma once

#include "settings/session.h"

// Shows the help, asks for an options list and checks it. Stores an accepted list as typed and sets
// the changed flag. For a rejected list, prints the reason and leaves the text unchanged. An answer
// that begins with "~" empties the text and leaves the changed flag as it is. A time-out or a
// failed wait changes nothing. A list that begins with a dash is rejected without a check. Every
// check rebuilds the option-leaf batch, even when it rejects the list.
void enter_options_list(SettingsSession& session);
