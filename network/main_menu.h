// The top-level screen.
#pragma once

#include "settings/session.h"

// Shows the main menu until the technician leaves it. Reads the name servers from the store before
// every screen. Writes to the store only when a choice does so.
void run_main_menu(SettingsSession& session);
