// The global connection to the configuration data store.
#pragma once

#include "store/client_library.h"

#include <string>
#include <vector>

// Opens the connection, or does nothing when it is already open.
// Returns 0, or -1 when the store cannot be reached.
int cds_connect();

// Closes the connection, or does nothing when it is already closed. Also runs when the program
// exits.
void cds_disconnect();

// Reads one leaf per path. Returns 0 for success; the library's result when the call failed; or -1
// when `statuses` or `elements` does not have one entry per path. After a failure do not use the
// contents of either.
int cds_get(const std::vector<std::string>& paths, std::vector<api_status_t>& statuses,
            std::vector<toolkit::CElement>& elements);

// Returns the connection, for writing. Calls on it fail while it is closed.
toolkit::CCds& cds();
