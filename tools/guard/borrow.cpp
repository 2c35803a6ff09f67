// borrow.cpp - handles for a burst of work, and a lost connection that all of them share.
#include "guard.h"

namespace xavo_companion {

namespace {

// All that is lent in this process, under one lock that no exchange is made under.
struct Lending {
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t returned = PTHREAD_COND_INITIALIZER;
    unsigned long connection = 0; // the number of the one in use; the next begins when it is found lost
    unsigned long out = 0;        // handles lent
    unsigned long stale = 0;      // of these, such as are of an earlier connection
    bool in_doubt = false;        // the connection was lost, and the new one has not answered yet
} lending;

class Locked {
public:
    Locked() { pthread_mutex_lock(&lending.lock); }
    ~Locked() { pthread_mutex_unlock(&lending.lock); }
    Locked(const Locked &) = delete;
    Locked &operator=(const Locked &) = delete;
};

constexpr uint64_t RETRY_MS = 20; // those who hold a handle that was not borrowed give no notice

// Opens a handle of the present connection, once the stale ones of the last are back. NULL with a code, or
// with NO_ERROR when the time is up. `asks`: it has to show that the broker answers.
XAVO_Proxy *lend(XAVO_ErrorCode *code, const char *uname, uint64_t until, bool *asks) {
    const Locked locked;
    *code = XAVO_NO_ERROR;
    const timespec deadline = at(until);
    while (lending.stale > 0)
        if (pthread_cond_clockwait(&lending.returned, &lending.lock, CLOCK_MONOTONIC, &deadline) != 0)
            return nullptr;
    // Under the lock: opening sets the environment.
    XAVO_Proxy *sp = XAVO_new_with_uname(uname != nullptr ? uname : "root");
    if (sp == nullptr) {
        *code = XAVO_UNABLE_TO_OPEN_CONNECTION;
        return nullptr;
    }
    *code = XAVO_guard(sp);
    if (*code != XAVO_NO_ERROR) {
        XAVO_free(sp);
        return nullptr;
    }
    XAVO_ErrorCode ignored;
    guard_of(sp, &ignored)->loan = {true, lending.connection};
    ++lending.out;
    *asks = lending.in_doubt;
    return sp;
}

// Whether the broker answers at all: that there is no such job is an answer.
bool is_there(XAVO_Proxy *sp) {
    XAVO_ErrorCode code;
    XAVO_Reason reason;
    XAVO_free_VELK_LifecycleJob(XAVO_get_VELK_LifecycleJob(sp, &code, ""));
    XAVO_take_reason(sp, code, &reason);
    return reason.kind != XAVO_REASON_CONNECTION_LOST;
}

} // namespace

void loan_ended(const Loan &loan) {
    const Locked locked;
    --lending.out;
    if (loan.connection != lending.connection && --lending.stale == 0)
        pthread_cond_broadcast(&lending.returned);
}

void loan_lost(const Loan &loan) {
    const Locked locked;
    if (loan.connection != lending.connection)
        return; // known already
    ++lending.connection;
    lending.stale = lending.out;
    lending.in_doubt = true;
}

namespace {

void loan_answered(XAVO_Proxy *sp) {
    XAVO_ErrorCode ignored;
    const Guard *guard = guard_of(sp, &ignored);
    const Locked locked;
    if (guard->loan.connection == lending.connection)
        lending.in_doubt = false;
}

} // namespace

} // namespace xavo_companion

using namespace xavo_companion;

XAVO_Proxy *XAVO_borrow(XAVO_ErrorCode *errorcodep, const char *uname, unsigned int wait_ms,
                        XAVO_Reason *reason) {
    XAVO_Reason unused;
    if (reason == nullptr)
        reason = &unused;
    *reason = {};
    const uint64_t until = now_ms() + wait_ms;
    for (;;) {
        bool asks = false;
        XAVO_Proxy *sp = lend(errorcodep, uname, until, &asks);
        if (sp == nullptr) {
            if (*errorcodep == XAVO_NO_ERROR)
                break;
            reason->kind = XAVO_REASON_NOTHING_ASKED;
            return nullptr;
        }
        if (!asks || is_there(sp)) {
            if (asks)
                loan_answered(sp);
            return sp;
        }
        XAVO_free(sp);
        const uint64_t now = now_ms();
        if (now >= until)
            break;
        pause_for(until - now < RETRY_MS ? until - now : RETRY_MS);
    }
    reason->kind = XAVO_REASON_CONNECTION_LOST;
    reason->rc = CMPI_RC_ERR_FAILED;
    *errorcodep = XAVO_UNABLE_TO_OPEN_CONNECTION;
    return nullptr;
}

XAVO_ErrorCode XAVO_give_back(XAVO_Proxy *sp) {
    XAVO_ErrorCode code;
    const Guard *guard = guard_of(sp, &code);
    if (guard == nullptr)
        return code;
    if (!guard->loan.lent)
        return XAVO_NOT_SUPPORTED;
    XAVO_free(sp);
    return XAVO_NO_ERROR;
}
