// The global connection to the configuration data store.
#pragma once

#include "store/client_library.h"

#include <string>
#include <vector>

// Opens the connection. Does nothing when the connection is already open. Returns 0 when the
// connection is open, and -1 when the store cannot be reached.
int cds_connect();

// Closes the connection. Does nothing when the connection is already closed. The exit of the
// program also closes the connection.
void cds_disconnect();

// Reads the leaves of `paths`. Fills `statuses` and `elements` in the order of the paths. Returns 0
// for success, the library's result when the call failed, and -1 when `statuses` or `elements` does
// not have one entry per path. After a failure, do not use the contents of `statuses` and
// `elements`.
int cds_get(const std::vector<std::string>& paths, std::vector<api_status_t>& statuses,
            std::vector<toolkit::CElement>& elements);

// Returns the connection, through which callers write leaves. Every call fails while the connection
// is closed.
toolkit::CCds& cds();
