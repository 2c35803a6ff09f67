// object_path.h - builds the object paths of instances.
#ifndef XAVO_OBJECT_PATH_H
#define XAVO_OBJECT_PATH_H

#include <XAVO.h>

namespace xavo {

constexpr char NAMESPACE[] = "root/velk"; // of all classes that the library uses

struct Key {
    const char *name;
    const char *value; // all keys are of type CMPI_chars
};

// Returns a new path with these keys, in this order. The caller releases it. Returns NULL on failure, with
// the error code set; on success the error code is not changed. Logs nothing.
CMPIObjectPath *build_path(XAVO_ErrorCode *errorcodep, const char *name_space, const char *class_name,
                           const Key *keys, size_t count);

// Returns the path of a service's only instance on the controller, in the same way.
CMPIObjectPath *build_service_path(XAVO_ErrorCode *errorcodep, const char *class_name,
                                   const char *system_name, const char *name);

} // namespace xavo

#endif
