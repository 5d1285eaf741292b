// The function that saves and applies the settings. No other code writes the session's settings to
// the store.
#pragma once

#include "settings/session.h"

// Asks for confirmation, then writes every changed setting to the store, triggers the meter's
// update services and runs the commands that apply the settings. Prints the outcome. A successful
// save clears the changed flags. A failed save leaves them set, so that the technician can save
// again. Leaves that were written before the failure stay written.
void save_and_apply(SettingsSession& session);
