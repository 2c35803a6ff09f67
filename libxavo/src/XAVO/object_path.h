// object_path.h - naming an instance to the broker.
#ifndef XAVO_OBJECT_PATH_H
#define XAVO_OBJECT_PATH_H

#include <XAVO.h>

namespace xavo {

constexpr char NAMESPACE[] = "root/velk";

struct Key {
    const char *name;
    const char *value; // of type CMPI_chars, as all keys here are
};

// A new path with these keys, in this order. NULL on failure, with the code set; on success the code is
// not touched. Logs nothing.
CMPIObjectPath *build_path(XAVO_ErrorCode *errorcodep, const char *name_space, const char *class_name,
                           const Key *keys, size_t count);

// The same in the services' own namespace, with the keys of a table.
template <size_t count>
CMPIObjectPath *build_path(XAVO_ErrorCode *errorcodep, const char *class_name, const Key (&keys)[count]) {
    return build_path(errorcodep, NAMESPACE, class_name, keys, count);
}

} // namespace xavo

#endif
