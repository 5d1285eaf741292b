// The top-level screen.
#pragma once

#include "settings/session.h"

// Shows the main settings menu until the technician leaves. The name servers are read from the
// store on every pass; the store is written only by the actions that a choice starts.
void run_main_menu(SettingsSession& session);

// Carries out one choice of the main menu; 0 and no_choice do nothing. Takes any number: those
// behind the password reset save, whether or not the screen offers it.
void act_on_main_choice(SettingsSession& session, int choice);
