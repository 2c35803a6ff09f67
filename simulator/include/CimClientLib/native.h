/* native.h - constructors of client-side objects. A client must be open. The caller releases the object. */
#ifndef CIMCLIENTLIB_NATIVE_H
#define CIMCLIENTLIB_NATIVE_H

#include <CimClientLib/cmcidt.h>
#include <CimClientLib/cmcift.h>

#ifdef __cplusplus
extern "C" {
#endif

CMPIArgs *native_new_CMPIArgs(CMPIStatus *rc);
CMPIArray *native_new_CMPIArray(CMPICount size, CMPIType type, CMPIStatus *rc);
CMPIString *native_new_CMPIString(const char *characters, CMPIStatus *rc);

#ifdef __cplusplus
}
#endif

#endif
