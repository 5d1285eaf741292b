// The global connection to the configuration data store.
#pragma once

#include "store/client_library.h"

#include <string>
#include <vector>

// Opens the connection; does nothing when it is open.
// Returns 0, or -1 when the store cannot be reached.
int cds_connect();

// Closes the connection; does nothing when it is closed. Runs once more at program exit.
void cds_disconnect();

// Reads one leaf per path. Returns the library's result, 0 for success, or -1 when the library
// filled `statuses` or `elements` with another number of entries than there are paths. After a
// failure the contents of both are undefined.
int cds_get(const std::vector<std::string>& paths, std::vector<api_status_t>& statuses,
            std::vector<toolkit::CElement>& elements);

// The connection itself, for writing. Calls on it fail while it is closed.
toolkit::CCds& cds();
