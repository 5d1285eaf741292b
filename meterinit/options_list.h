// The options list: which hardware and firmware options are installed, as one typed line.
#pragma once

#include "settings/session.h"

// Shows the help, asks for the list and checks it. An accepted list is stored as typed and sets the
// changed flag. A rejected one prints the reasons and leaves the text as it was; "~" empties the
// text and leaves its flag. Every list that is checked, accepted or not, rebuilds the option-leaf
// batch.
void enter_options_list(SettingsSession& session);
