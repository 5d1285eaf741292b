// The menu of one Ethernet port.
#pragma once

#include "settings/session.h"

// Returns "Enabled" when the flag is true, otherwise "Disabled".
const char* enabled_or_disabled(const EditableFlag& flag);

// The text that the menu shows for an empty media type.
inline constexpr char media_type_if_empty[] = "[Auto-negotiate]";

// Shows the menu of a port until the technician leaves it. Reads the leaves of the port before
// every screen. Edits change only `port`, not the store.
void run_port_menu(InterfaceSettings& port);
