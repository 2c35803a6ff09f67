#include "object_path.h"

#include "cmpi.h"

namespace xavo {

CMPIObjectPath *build_path(XAVO_ErrorCode *errorcodep, const char *name_space, const char *class_name,
                           const Key *keys, size_t count) {
    Owner<CMPIObjectPath> path;
    Status status;
    path.reset(newCMPIObjectPath(name_space, class_name, status.out()));
    if (!status.check(errorcodep))
        return nullptr;
    if (!path) {
        *errorcodep = XAVO_UNKNOWN_ERROR;
        return nullptr;
    }
    for (size_t i = 0; i < count; ++i)
        if (!Status(path->ft->addKey(path.get(), keys[i].name, text_value(keys[i].value), CMPI_chars))
                 .check(errorcodep))
            return nullptr;
    return path.detach();
}

CMPIObjectPath *build_service_path(XAVO_ErrorCode *errorcodep, const char *class_name,
                                   const char *system_name, const char *name) {
    const Key keys[] = {
        {"CreationClassName", class_name},
        {"SystemCreationClassName", "VELK_ComputerSystem"},
        {"SystemName", system_name},
        {"Name", name},
    };
    return build_path(errorcodep, NAMESPACE, class_name, keys, sizeof keys / sizeof *keys);
}

} // namespace xavo
