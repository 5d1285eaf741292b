// The initialisation menu: the meter's identity, and the actions on its options and defaults.
#pragma once

#include "settings/session.h"

// Shows the menu until the technician leaves it, or until the store cannot be reached again
// after a factory reset. The leaves are read on every pass. Edits stay in the session; clearing
// the options and the factory reset take effect at once.
void run_init_menu(SettingsSession& session);
