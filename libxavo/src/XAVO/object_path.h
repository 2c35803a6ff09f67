// object_path.h - naming an instance to the broker.
#ifndef XAVO_OBJECT_PATH_H
#define XAVO_OBJECT_PATH_H

#include <XAVO.h>

namespace xavo {

constexpr char NAMESPACE[] = "root/velk"; // of the services and of all they deal with

struct Key {
    const char *name;
    const char *value; // of type CMPI_chars, as all keys here are
};

// A new path with these keys, in this order. NULL on failure, with the code set; on success the code is
// not touched. Logs nothing.
CMPIObjectPath *build_path(XAVO_ErrorCode *errorcodep, const char *name_space, const char *class_name,
                           const Key *keys, size_t count);

// The path of a service's one instance on the controller.
CMPIObjectPath *build_service_path(XAVO_ErrorCode *errorcodep, const char *class_name,
                                   const char *system_name, const char *name);

} // namespace xavo

#endif
