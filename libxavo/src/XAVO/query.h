// query.h - asking the broker for instances: one exchange, for the two slots that read them.
#ifndef XAVO_QUERY_H
#define XAVO_QUERY_H

#include "cmpi.h"
#include "exchange.h"
#include <type_traits>

namespace xavo {

// What the client's enumInstances or getInstance hands out for a path; the caller holds the handle's lock.
// NULL on failure, with the code set, and NULL with NO_ERROR when there is nothing to hand out.
template <typename Slot>
auto query(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, CMPIObjectPath *path, Slot CMCIClientFT::*slot) {
    Status status;
    const auto ask = [&] {
        const PipeGuard guard;
        return (sp->client->ft->*slot)(sp->client, path, CMPI_FLAG_DeepInheritance, nullptr, status.out());
    };
    Owner<std::remove_pointer_t<decltype(ask())>> answer;
    if (!can_call(sp, slot)) {
        *errorcodep = XAVO_SP_NOT_VALID;
        return answer.leave();
    }
    answer.take(ask());
    status.drop_message();
    *errorcodep = XAVO_translate_error_code(status.rc());
    if (status.failed())
        answer.drop();
    return answer.leave();
}

} // namespace xavo

#endif
