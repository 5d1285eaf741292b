// The screen of one Ethernet port.
#pragma once

#include "settings/session.h"

#include <string>

// A flag as the menu shows it.
std::string enabled_or_disabled(const EditableFlag& flag);

// The media type as the menu shows it: an empty one is negotiated.
std::string media_type_or_auto(const EditableText& media_type);

// Shows the port's menu until the technician leaves it. The port's leaves are read on every
// pass; edits stay in the record.
void run_port_menu(InterfaceSettings& port);
