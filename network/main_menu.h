// The main menu.
#pragma once

#include "settings/session.h"

// Shows the main menu until the technician leaves it. Reads the name servers from the store before
// every screen. Only a choice of the technician can write to the store.
void run_main_menu(SettingsSession& session);
