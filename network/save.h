// Save and apply: the only writer of the session's settings.
#pragma once

#include "settings/session.h"

// Asks for confirmation, then writes every changed setting to the store, triggers the meter's
// update services and runs the commands that apply the settings; prints the outcome.
// A save that succeeds clears the changed flags. One that fails leaves them all set, so that it can
// be repeated; what it had already written stays in the store.
void save_and_apply(SettingsSession& session);
