// wait.cpp - following a job to its end.
#include "guard.h"

#include <cstring>
#include <strings.h>

namespace xavo_companion {

namespace {

constexpr unsigned int FIRST_PAUSE_MS = 500, LONGEST_PAUSE_MS = 10000, BORROW_MS = 5000;
constexpr int GOES_ON = -1; // no end yet

#define ROW(name) &XAVO_VELK_LifecycleJob::name,
char *XAVO_VELK_LifecycleJob::*const FIELDS[] = {XAVO_JOB_PROPERTIES(ROW)};
#undef ROW

bool differ(const XAVO_VELK_LifecycleJob *a, const XAVO_VELK_LifecycleJob *b) {
    if (a == nullptr || b == nullptr)
        return a != b;
    for (const auto field : FIELDS) {
        const char *one = a->*field, *other = b->*field;
        if (one == nullptr || other == nullptr ? one != other : strcmp(one, other) != 0)
            return true;
    }
    return false;
}

int judge(const XAVO_WaitOptions &options, const XAVO_VELK_LifecycleJob *job) {
    int says = XAVO_JOB_GOES_ON;
    if (options.judge != nullptr)
        says = options.judge(options.context, job);
    else if (job->JobStatus != nullptr && strcasecmp(job->JobStatus, "Completed") == 0)
        says = XAVO_JOB_COMPLETED;
    else if (job->JobStatus != nullptr && strcasecmp(job->JobStatus, "Failed") == 0)
        says = XAVO_JOB_FAILED;
    return says == XAVO_JOB_COMPLETED ? XAVO_WAIT_COMPLETED
           : says == XAVO_JOB_FAILED  ? XAVO_WAIT_FAILED
                                      : GOES_ON;
}

// A handle for one poll: the caller's, or a borrowed one. NULL with the code and the reason.
XAVO_Proxy *handle(const XAVO_WaitOptions &options, unsigned int borrow_ms, XAVO_WaitResult *result) {
    if (options.sp == nullptr)
        return XAVO_borrow(&result->code, options.uname, borrow_ms, &result->reason);
    result->code = XAVO_take_reason(options.sp, XAVO_NO_ERROR, &result->reason); // forgets it
    return result->code == XAVO_NO_ERROR ? options.sp : nullptr;
}

// Fetches the job: its record, or NULL. How that ended stands in the result.
XAVO_VELK_LifecycleJob *poll(const char *InstanceID, const XAVO_WaitOptions &options, unsigned int borrow_ms,
                             XAVO_WaitResult *result) {
    XAVO_Proxy *sp = handle(options, borrow_ms, result);
    if (sp == nullptr)
        return nullptr;
    XAVO_VELK_LifecycleJob *fetched = XAVO_get_VELK_LifecycleJob(sp, &result->code, InstanceID);
    XAVO_take_reason(sp, result->code, &result->reason);
    if (options.sp == nullptr)
        XAVO_give_back(sp);
    return fetched;
}

// Whether a poll that brought no record ends the wait. `in_time`: borrowing could take all its time.
int end_without_record(const XAVO_WaitOptions &options, const XAVO_WaitResult &result, bool in_time) {
    const bool lost = result.reason.kind == XAVO_REASON_CONNECTION_LOST;
    if (result.code == XAVO_UNABLE_TO_OPEN_CONNECTION && options.sp == nullptr)
        return lost && in_time ? XAVO_WAIT_LOST : GOES_ON; // others hold it; or no broker is there
    if (lost)
        return options.sp != nullptr ? XAVO_WAIT_LOST : GOES_ON;
    if (result.code == XAVO_NOT_FOUND)
        return result.job != nullptr ? XAVO_WAIT_GONE : XAVO_WAIT_NOT_FOUND;
    return XAVO_WAIT_ERROR;
}

// Puts into the result what a poll has brought, if it has. True when that is something new.
bool take_over(const XAVO_WaitOptions &options, XAVO_VELK_LifecycleJob *fetched, bool in_time,
               XAVO_WaitResult *result) {
    if (fetched == nullptr) {
        result->end = end_without_record(options, *result, in_time);
        return false;
    }
    const bool changed = differ(result->job, fetched);
    XAVO_free_VELK_LifecycleJob(result->job);
    result->job = fetched;
    result->end = judge(options, fetched);
    return changed;
}

} // namespace

} // namespace xavo_companion

using namespace xavo_companion;

int XAVO_wait_for_job(const char *InstanceID, const XAVO_WaitOptions *options, XAVO_WaitResult *result) {
    static constexpr XAVO_WaitOptions USUAL = {};
    const XAVO_WaitOptions &how = options != nullptr ? *options : USUAL;
    *result = {};
    result->end = XAVO_WAIT_ERROR;
    result->reason.kind = XAVO_REASON_NOTHING_ASKED;
    if (InstanceID == nullptr) {
        result->code = XAVO_INVALID_VALUE;
        return result->end;
    }
    const uint64_t start = now_ms();
    const uint64_t deadline = how.deadline_ms == XAVO_WAIT_FOREVER ? UINT64_MAX : start + how.deadline_ms;
    const unsigned int borrow_ms = how.borrow_ms != 0 ? how.borrow_ms : BORROW_MS;
    const uint64_t longest = how.longest_pause_ms != 0 ? how.longest_pause_ms : LONGEST_PAUSE_MS;
    uint64_t pause = how.first_pause_ms != 0 ? how.first_pause_ms : FIRST_PAUSE_MS;
    for (XAVO_Poll told = {};;) {
        uint64_t now = now_ms();
        const uint64_t left = now < deadline ? deadline - now : 0;
        const bool in_time = left >= borrow_ms;
        XAVO_VELK_LifecycleJob *fetched =
            poll(InstanceID, how, in_time ? borrow_ms : static_cast<unsigned int>(left), result);
        told.changed = take_over(how, fetched, in_time, result);
        told.job = result->job;
        told.code = result->code;
        ++told.polls;
        told.elapsed_ms = static_cast<unsigned long>(now_ms() - start);
        const bool cancelled = how.polled != nullptr && how.polled(how.context, &told) != 0;
        if (result->end == GOES_ON && cancelled)
            result->end = XAVO_WAIT_CANCELLED;
        now = now_ms();
        if (result->end == GOES_ON && now >= deadline)
            result->end = XAVO_WAIT_DEADLINE;
        if (result->end != GOES_ON)
            return result->end;
        pause = pause < longest ? pause : longest;
        pause_for(deadline - now < pause ? deadline - now : pause);
        pause += pause / 2 + 1;
    }
}

const char *XAVO_wait_to_string(int end) {
    switch (end) {
#define NAME(name)                                                                                           \
    case XAVO_WAIT_##name:                                                                                   \
        return #name
        NAME(COMPLETED);
        NAME(FAILED);
        NAME(GONE);
        NAME(NOT_FOUND);
        NAME(DEADLINE);
        NAME(CANCELLED);
        NAME(LOST);
        NAME(ERROR);
#undef NAME
    default:
        return "unknown";
    }
}
