// The screen of one Ethernet port.
#pragma once

#include "settings/session.h"

// A flag as the menu shows it.
const char* enabled_or_disabled(const EditableFlag& flag);

// What the menu shows for an empty media type.
inline constexpr char media_type_if_empty[] = "[Auto-negotiate]";

// Shows the port's menu until the technician leaves it. The port's leaves are read on every
// pass; edits stay in the record.
void run_port_menu(InterfaceSettings& port);
