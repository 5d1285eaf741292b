// libcds: the plain-function layer of the configuration data store's client library.
//
// This header belongs to the simulated client library. It declares only the parts that the settings
// utility uses. The meter's own library has its own header.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

struct pcd_connection;

// The status of one leaf in a call. 1 means success.
typedef int api_status_t;

// A flag that is passed with every written leaf. Only the store interprets the flag.
typedef int pcd_tribool_t;

// Opens the store. Returns the connection, or null when the store cannot be reached.
struct pcd_connection* pcd_init(int options);

// Closes a connection that `pcd_init` returned.
void pcd_close(struct pcd_connection* connection);

#ifdef __cplusplus
}
#endif
