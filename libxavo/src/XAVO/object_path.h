// object_path.h - object paths of instances.
#ifndef XAVO_OBJECT_PATH_H
#define XAVO_OBJECT_PATH_H

#include <XAVO.h>

namespace xavo {

constexpr char NAMESPACE[] = "root/velk"; // of the services and their instances

struct Key {
    const char *name;
    const char *value; // of type CMPI_chars, as all keys here are
};

// Returns a new path with these keys, in this order; NULL on failure, with the code set. On success the code
// is not changed. Logs nothing.
CMPIObjectPath *build_path(XAVO_ErrorCode *errorcodep, const char *name_space, const char *class_name,
                           const Key *keys, size_t count);

// Returns the path of a service's only instance on the controller.
CMPIObjectPath *build_service_path(XAVO_ErrorCode *errorcodep, const char *class_name,
                                   const char *system_name, const char *name);

} // namespace xavo

#endif
