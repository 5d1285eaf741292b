// The screen of one Ethernet port.
#pragma once

#include "settings/session.h"

// Shows the port's menu until the technician leaves it. The port's leaves are read on every
// pass; edits stay in the record.
void run_port_menu(InterfaceSettings& port);
