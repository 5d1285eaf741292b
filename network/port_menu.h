// The screen of one Ethernet port.
#pragma once

#include "settings/session.h"

// Returns the text that the menu shows for a flag.
const char* enabled_or_disabled(const EditableFlag& flag);

// The text that the menu shows for an empty media type.
inline constexpr char media_type_if_empty[] = "[Auto-negotiate]";

// Shows the port's menu until the technician leaves it. Reads the port's leaves before every
// screen. Edits change only `port`, not the store.
void run_port_menu(InterfaceSettings& port);
