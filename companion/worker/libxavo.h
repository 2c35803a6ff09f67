// libxavo.h - the functions of libxavo that a worker uses, loaded when it starts.
#ifndef XAVO_WORKER_LIBXAVO_H
#define XAVO_WORKER_LIBXAVO_H

#include <XAVO.h>

namespace xavo_worker {

#define XAVO_WORKER_FUNCTIONS(ROW)                                                                           \
    ROW(XAVO_new_with_uname)                                                                                 \
    ROW(XAVO_free)                                                                                           \
    ROW(XAVO_enumerate)                                                                                      \
    ROW(XAVO_property_to_ntstring)                                                                           \
    ROW(XAVO_new_VELK_LifecycleJob)                                                                          \
    ROW(XAVO_free_VELK_LifecycleJob)                                                                         \
    ROW(XAVO_get_VELK_LifecycleJob)                                                                          \
    ROW(XAVO_free_CMPIData_value)                                                                            \
    ROW(XAVO_CMPIType_to_string)                                                                             \
    ROW(XAVO_invoke_DeleteJobQueue)                                                                          \
    ROW(XAVO_invoke_SetupJobQueue)                                                                           \
    ROW(XAVO_invoke_InstallFromURI)                                                                          \
    ROW(XAVO_invoke_InstallFromSoftwareIdentity)                                                             \
    ROW(XAVO_invoke_CreateRebootJob)                                                                         \
    ROW(XAVO_invoke_BackupRestore)                                                                           \
    ROW(XAVO_invoke_TestNetworkShare)

#define XAVO_WORKER_MEMBER(name) decltype(&::name) name;
extern struct Libxavo { XAVO_WORKER_FUNCTIONS(XAVO_WORKER_MEMBER) } libxavo;
#undef XAVO_WORKER_MEMBER

// Loads the library. Returns NULL, or the loader's message. If the environment variable CIMSIM_ONLY is set, a
// client library other than the simulator is an error, too.
const char *load_libxavo();

} // namespace xavo_worker

#endif
