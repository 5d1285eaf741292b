// The top-level screen.
#pragma once

#include "settings/session.h"

// Shows the main settings menu until the technician leaves. The name servers are read from the
// store on every pass; the store is written only by the actions that a choice starts.
void run_main_menu(SettingsSession& session);
