// The initialisation menu: the meter's identity, clearing its options, and the factory reset.
#pragma once

#include "settings/session.h"

// Shows the menu until the technician leaves it, or until the store cannot be opened again after a
// factory reset. Reads the leaves before every screen. Edits change only `session`, but clearing
// the options and the factory reset change the store immediately.
void run_init_menu(SettingsSession& session);
