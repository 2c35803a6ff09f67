/* cmci.h - the CIM client: connecting to a broker and naming its objects. */
#ifndef CIMCLIENTLIB_CMCI_H
#define CIMCLIENTLIB_CMCI_H

#include <CimClientLib/cmcidt.h>
#include <CimClientLib/cmcift.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Connects to the broker on `host`. The environment variable SFCC_CLIENT chooses the transport; it is
 * read only while no client is open. Returns a client that the caller releases, or NULL. */
CMCIClient *cmciConnect(const char *host, const char *scheme, const char *port, const char *user,
                        const char *password, CMPIStatus *rc);

/* Makes an object path without keys. A client must be open. The caller releases it. */
CMPIObjectPath *newCMPIObjectPath(const char *name_space, const char *class_name, CMPIStatus *rc);

#ifdef __cplusplus
}
#endif

#endif
