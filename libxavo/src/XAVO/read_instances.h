// read_instances.h - reads instances from the broker, by the client's function getInstance or enumInstances.
#ifndef XAVO_READ_INSTANCES_H
#define XAVO_READ_INSTANCES_H

#include "cmpi.h"
#include "exchange.h"

namespace xavo {

// A slot of the client's function table: getInstance or enumInstances.
template <typename Object>
using Reader = Object *(*CMCIClientFT::*)(CMCIClient *, CMPIObjectPath *, CMPIFlags, char **, CMPIStatus *);

// Returns the object that the slot returns for `path`, for the caller to release. The caller holds the
// handle's lock. NULL on failure, with the code set; NULL with the code unchanged when the broker answers
// with success and no object.
template <typename Object>
Object *read_instances(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, CMPIObjectPath *path,
                       Reader<Object> slot) {
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
