// query_broker.h - reads one instance or all instances of a class from the broker.
#ifndef XAVO_QUERY_BROKER_H
#define XAVO_QUERY_BROKER_H

#include "cmpi.h"
#include "exchange.h"

namespace xavo {

// A slot of the client's function table: getInstance or enumInstances.
template <typename Object>
using Reader = Object *(*CMCIClientFT::*)(CMCIClient *, CMPIObjectPath *, CMPIFlags, char **, CMPIStatus *);

// Calls the slot for `path` and returns its result: an instance or an enumeration of instances, which the
// caller releases. Returns NULL on failure, with the error code set. Returns NULL with the error code
// unchanged if the broker answers with success and no object. The caller holds the handle's lock.
template <typename Object>
Object *query_broker(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, CMPIObjectPath *path, Reader<Object> slot) {
    if (!can_call(sp, slot)) {
        *errorcodep = XAVO_SP_NOT_VALID;
        return nullptr;
    }
    Status status;
    Owner<Object> answer;
    {
        const SigpipeBlock block;
        answer.reset(
            (sp->client->ft->*slot)(sp->client, path, CMPI_FLAG_DeepInheritance, nullptr, status.out()));
    }
    return status.check(errorcodep) ? answer.detach() : nullptr;
}

} // namespace xavo

#endif
