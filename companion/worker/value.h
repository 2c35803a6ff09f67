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

// Writes an instance as a field: its properties one by one, and its class from the property
// CreationClassName, because it is not known whether the client library can return the path of an instance.
// Returns false if a property cannot be read or there is no memory; the written part must then be discarded.
bool write_instance(xavo_companion::Writer *writer, CMPIInstance *instance);

} // namespace xavo_worker

#endif
