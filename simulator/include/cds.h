// libcds: the plain-function layer of the configuration data store's client library.
//
// The stand-in's declaration of exactly what the settings utility uses. The meter's own
// library brings a header of its own.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

struct pcd_connection;

// Status of one leaf of one call; 1 when the leaf was handled.
typedef int api_status_t;

// Flag given with every leaf that is written; its meaning is the store's own.
typedef int pcd_tribool_t;

// Opens the store. Returns the connection, or null when the store cannot be reached.
struct pcd_connection* pcd_init(int options);

// Closes a connection that `pcd_init` returned.
void pcd_close(struct pcd_connection* connection);

#ifdef __cplusplus
}
#endif
