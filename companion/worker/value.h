// value.h - values of the client library as text.
#ifndef XAVO_WORKER_VALUE_H
#define XAVO_WORKER_VALUE_H

#include "protocol.h"

#include <XAVO.h>

namespace xavo_worker {

template <typename Object>
void release(Object *object) {
    if (object != nullptr)
        object->ft->release(object);
}

// Writes an instance as a field: its properties one by one, and its class by the property CreationClassName
// (the client library is not asked for the path of an instance, which nobody has seen it answer). False: a
// property cannot be read, or there is no memory; what was written is not to be used.
bool write_instance(xavo_companion::Writer *writer, CMPIInstance *instance);

} // namespace xavo_worker

#endif
