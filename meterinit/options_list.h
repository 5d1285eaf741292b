// The options list: one typed line that names the installed hardware and firmware options.
#pragma once

#include "settings/session.h"

// Shows the help, asks for the list and checks it. Stores an accepted list as typed and sets the
// changed flag. Prints why a list is rejected and leaves the text unchanged. "~" empties the text
// and does not set the flag. Every check rebuilds the option-leaf batch, even when it rejects the
// list.
void enter_options_list(SettingsSession& session);
