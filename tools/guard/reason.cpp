// reason.cpp - what is behind a code.
#include "guard.h"

namespace xavo_companion {

namespace {

int kind_of(const Note &note, XAVO_ErrorCode code) {
    if (code == XAVO_NO_ERROR)
        return XAVO_REASON_NONE;
    const bool failed = note.met.rc != CMPI_RC_OK, rc_1 = note.met.rc == CMPI_RC_ERR_FAILED;
    switch (note.exchange) {
    case Note::NOTHING:
        return XAVO_REASON_NOTHING_ASKED;
    case Note::READ:
        if (rc_1)
            return XAVO_REASON_CONNECTION_LOST;
        break;
    case Note::METHOD:
        // A value alone refuses where nothing else came with it: a job that started may come with one, too.
        if (!failed && (note.met.message_id[0] != '\0' || (note.met.return_value != 0 && !note.has_outputs)))
            return XAVO_REASON_SERVICE;
        [[fallthrough]];
    case Note::WRITE:
        if (rc_1)
            return XAVO_REASON_OUTCOME_UNKNOWN;
    }
    return failed ? XAVO_REASON_BROKER : XAVO_REASON_ANSWER_UNUSABLE;
}

} // namespace

void tell(const Note &note, XAVO_ErrorCode code, XAVO_Reason *reason) {
    *reason = note.met;
    reason->kind = kind_of(note, code);
    if (reason->kind == XAVO_REASON_NONE)
        *reason = {};
}

} // namespace xavo_companion

using namespace xavo_companion;

XAVO_ErrorCode XAVO_take_reason(XAVO_Proxy *sp, XAVO_ErrorCode code, XAVO_Reason *reason) {
    if (reason == nullptr)
        return XAVO_INVALID_VALUE;
    *reason = {};
    reason->kind = XAVO_REASON_NOTHING_ASKED;
    XAVO_ErrorCode result;
    if (Guard *guard = guard_of(sp, &result)) {
        XAVO_lock(sp);
        tell(guard->note, code, reason);
        guard->note = {};
        XAVO_unlock(sp);
    }
    return result;
}

XAVO_ErrorCode XAVO_forget_reason(XAVO_Proxy *sp) {
    XAVO_Reason forgotten;
    return XAVO_take_reason(sp, XAVO_NO_ERROR, &forgotten);
}

const char *XAVO_reason_to_string(int kind) {
    switch (kind) {
#define NAME(name)                                                                                           \
    case XAVO_REASON_##name:                                                                                 \
        return #name
        NAME(NONE);
        NAME(NOTHING_ASKED);
        NAME(SERVICE);
        NAME(BROKER);
        NAME(CONNECTION_LOST);
        NAME(OUTCOME_UNKNOWN);
        NAME(ANSWER_UNUSABLE);
#undef NAME
    default:
        return "unknown";
    }
}
