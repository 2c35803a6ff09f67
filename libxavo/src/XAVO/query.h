// query.h - asking the broker for instances: one exchange, for the two slots that read them.
#ifndef XAVO_QUERY_H
#define XAVO_QUERY_H

#include "cmpi.h"
#include "exchange.h"

namespace xavo {

// A slot of the client that reads what a path names.
template <typename Object>
using Reader = Object *(*CMCIClientFT::*)(CMCIClient *, CMPIObjectPath *, CMPIFlags, char **, CMPIStatus *);

// What the slot hands out for a path; the caller holds the handle's lock. NULL on failure, with the code
// set, and NULL with the code as it was when there is nothing to hand out.
template <typename Object>
Object *query(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, CMPIObjectPath *path, Reader<Object> slot) {
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
