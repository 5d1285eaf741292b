// The initialisation menu. Its items edit the meter's identity, clear the options, and reset the
// meter to factory defaults.
#pragma once

#include "settings/session.h"

// Shows the menu until the technician leaves it, or until the program cannot connect to the store
// after a factory reset. Reads the leaves of the menu before every screen. Edits change only
// `session`. Clearing the options and the factory reset change the store immediately.
void run_init_menu(SettingsSession& session);
