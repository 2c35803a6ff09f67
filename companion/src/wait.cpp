// wait.cpp - following jobs to their ends, by calls that poll.
#include "call.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <poll.h>

namespace xavo_companion {

namespace {

constexpr unsigned int FIRST_PAUSE_MS = 500, LONGEST_PAUSE_MS = 10000;
constexpr int GOES_ON = -1; // no end yet

bool differ(const XAVO_VELK_LifecycleJob *a, const XAVO_VELK_LifecycleJob *b) {
    if (a == nullptr || b == nullptr)
        return a != b;
    for (const auto field : JOB_TEXTS) {
        const char *one = text_of(*a, field), *other = text_of(*b, field);
        if (one == nullptr || other == nullptr ? one != other : strcmp(one, other) != 0)
            return true;
    }
    return false;
}

// A record and its texts in one block, or NULL.
XAVO_VELK_LifecycleJob *copy(const XAVO_VELK_LifecycleJob &job) {
    size_t size = sizeof job;
    for (const auto field : JOB_TEXTS)
        size += text_of(job, field) != nullptr ? strlen(text_of(job, field)) + 1 : 0;
    auto *made = static_cast<XAVO_VELK_LifecycleJob *>(malloc(size));
    if (made == nullptr)
        return nullptr;
    *made = {};
    char *text = reinterpret_cast<char *>(made + 1);
    for (const auto field : JOB_TEXTS)
        if (text_of(job, field) != nullptr) {
            const size_t length = strlen(text_of(job, field)) + 1;
            text_of(*made, field) = static_cast<char *>(memcpy(text, text_of(job, field), length));
            text += length;
        }
    return made;
}

// Compares ASCII letters: tolower() depends on the locale (in Turkish, I does not become i).
bool is_word(const char *text, const char *lower) {
    for (; *text != '\0' && *lower != '\0'; ++text, ++lower)
        if ((*text >= 'A' && *text <= 'Z' ? *text - 'A' + 'a' : *text) != *lower)
            return false;
    return *text == *lower;
}

int judge(const XAVO_WaitOptions &options, const XAVO_VELK_LifecycleJob &job) {
    int says = XAVO_JOB_GOES_ON;
    if (options.judge != nullptr)
        says = options.judge(options.context, &job);
    else if (job.JobStatus != nullptr)
        says = is_word(job.JobStatus, "completed") ? XAVO_JOB_COMPLETED
               : is_word(job.JobStatus, "failed")  ? XAVO_JOB_FAILED
                                                   : XAVO_JOB_GOES_ON;
    return says == XAVO_JOB_COMPLETED ? XAVO_WAIT_COMPLETED
           : says == XAVO_JOB_FAILED  ? XAVO_WAIT_FAILED
                                      : GOES_ON;
}

// One wait, for one job or many.
struct Wait {
    XAVO_Pool *pool;
    char *const *ids;
    size_t count;
    const XAVO_WaitOptions &options;
    XAVO_WaitResult *results;
    uint64_t start, deadline; // UINT64_MAX: none
    unsigned long polls;

    bool poll(XAVO_Answer *answer);
    bool take(const XAVO_Answer &answer, size_t index);
    int end_without_record(const XAVO_Answer &answer, size_t index) const;
    bool goes_on() const;
    void end_all(int end) const;
};

bool Wait::poll(XAVO_Answer *answer) {
    XAVO_Request request = {};
    request.operation = count == 1 ? XAVO_OP_GET_JOB : XAVO_OP_LIST_JOBS;
    request.id = ids[0];
    request.user = options.user;
    request.deadline_ms = options.poll_ms != 0 ? options.poll_ms : 5000;
    const uint64_t now = now_ms(), left = now < deadline ? deadline - now : 0;
    if (options.deadline_ms != 0 && left < request.deadline_ms)
        request.deadline_ms = left > 0 ? static_cast<unsigned int>(left) : 1;
    XAVO_call(pool, &request, answer);
    ++polls;
    return answer->effect == XAVO_EFFECT_ANSWERED;
}

// Returns the end of the wait for a job after a poll without its record; GOES_ON if it has not ended.
int Wait::end_without_record(const XAVO_Answer &answer, size_t index) const {
    const bool listed = answer.kind == XAVO_KIND_NONE && answer.code == XAVO_NO_ERROR;
    const bool unread = answer.kind == XAVO_KIND_ANSWER_UNUSABLE || answer.unreadable > 0;
    const bool answered = answer.effect == XAVO_EFFECT_ANSWERED && !unread;
    // The broker answers NOT_FOUND, or a complete list does not have the job. Some brokers also answer
    // NOT_FOUND for a property: then the job exists, and is unreadable.
    if (answered && (count == 1 ? answer.code == XAVO_NOT_FOUND : listed))
        return results[index].job != nullptr ? XAVO_WAIT_GONE : XAVO_WAIT_NOT_FOUND;
    // The arguments are not valid, or this process has no memory. A worker without memory is tried again.
    if (answer.kind == XAVO_KIND_NOTHING_ASKED && (answer.attempts == 0 || answer.code == XAVO_INVALID_VALUE))
        return XAVO_WAIT_ERROR;
    if (answer.kind == XAVO_KIND_NO_WORKER && answer.status != EAGAIN && answer.status != ENOMEM &&
        answer.status != EMFILE && answer.status != ENFILE)
        return XAVO_WAIT_NO_WORKER;
    if (unread && ++results[index].unreadable == options.most_unreadable)
        return XAVO_WAIT_UNREADABLE;
    return GOES_ON;
}

// Stores the result of a poll in a job's result. Without memory for it, the wait for the job ends with an
// error. Returns whether the callback ends the whole wait.
bool Wait::take(const XAVO_Answer &answer, size_t index) {
    XAVO_WaitResult &result = results[index];
    const XAVO_VELK_LifecycleJob *job = answer.jobs;
    while (job != nullptr && (job->InstanceID == nullptr || strcmp(job->InstanceID, ids[index]) != 0) &&
           count > 1)
        job = job->next;
    const bool changed = job != nullptr && differ(result.job, job);
    result.end = XAVO_WAIT_ERROR;
    result.code = XAVO_OUT_OF_MEMORY;
    result.kind = answer.kind;
    result.reached |= answer.effect == XAVO_EFFECT_ANSWERED ? 1 : 0;
    if (changed) {
        XAVO_VELK_LifecycleJob *copied = copy(*job);
        if (copied == nullptr)
            return false;
        free(result.job);
        result.job = copied;
    }
    if (answer.code != XAVO_NO_ERROR && answer.message != nullptr) {
        free(result.message);
        result.message = strdup(answer.message);
        if (result.message == nullptr)
            return false;
    }
    result.code = answer.code;
    if (job != nullptr)
        result.unreadable = 0;
    result.end = job != nullptr ? judge(options, *job) : end_without_record(answer, index);
    XAVO_Poll met = {};
    met.index = index;
    met.job = result.job;
    met.changed = changed ? 1 : 0;
    met.answer = &answer;
    met.polls = polls;
    met.elapsed_ms = now_ms() - start;
    return options.polled != nullptr && options.polled(options.context, &met) != 0;
}

bool Wait::goes_on() const {
    size_t going = 0;
    for (size_t i = 0; i < count; ++i)
        going += results[i].end == GOES_ON ? 1 : 0;
    return going > 0 && (options.any == 0 || going == count);
}

void Wait::end_all(int end) const {
    for (size_t i = 0; i < count; ++i)
        if (results[i].end == GOES_ON)
            results[i].end = end;
}

// The only cancellation point: no lock is held.
void pause_until(uint64_t end) {
    for (uint64_t now; (now = now_ms()) < end;) {
        const timespec left = timespec_of(end - now);
        ppoll(nullptr, 0, &left, nullptr);
    }
}

void run(Wait *wait) {
    const XAVO_WaitOptions &options = wait->options;
    const uint64_t longest = options.longest_pause_ms != 0 ? options.longest_pause_ms : LONGEST_PAUSE_MS;
    uint64_t pause = options.first_pause_ms != 0 ? options.first_pause_ms : FIRST_PAUSE_MS;
    for (;;) {
        bool cancelled = false;
        {
            const NotCancelled not_cancelled;
            XAVO_Answer answer;
            wait->poll(&answer);
            for (size_t i = 0; i < wait->count; ++i)
                if (wait->results[i].end == GOES_ON)
                    cancelled |= wait->take(answer, i);
            XAVO_answer_free(&answer);
        }
        if (cancelled || !wait->goes_on())
            wait->end_all(XAVO_WAIT_CANCELLED);
        const uint64_t now = now_ms();
        if (now >= wait->deadline)
            wait->end_all(XAVO_WAIT_DEADLINE);
        if (!wait->goes_on())
            return;
        pause = pause < longest ? pause : longest;
        pause_until(wait->deadline - now < pause ? wait->deadline : now + pause);
        pause += pause / 2 + 1;
    }
}

} // namespace

} // namespace xavo_companion

using namespace xavo_companion;

int XAVO_wait_for_jobs(XAVO_Pool *pool, char *const *job_ids, size_t count, const XAVO_WaitOptions *options,
                       XAVO_WaitResult *results) {
    const XAVO_WaitOptions usual = {};
    const XAVO_WaitOptions &how = options != nullptr ? *options : usual;
    bool valid = pool != nullptr && job_ids != nullptr && results != nullptr && count > 0 &&
                 how.poll_ms <= XAVO_LONGEST_DEADLINE_MS;
    for (size_t i = 0; results != nullptr && i < count; ++i) {
        results[i] = {};
        results[i].end = GOES_ON;
        valid = valid && job_ids[i] != nullptr;
    }
    if (!valid) {
        for (size_t i = 0; results != nullptr && i < count; ++i) {
            results[i].end = XAVO_WAIT_ERROR;
            results[i].code = XAVO_INVALID_VALUE;
            results[i].kind = XAVO_KIND_NOTHING_ASKED;
        }
        return XAVO_WAIT_ERROR;
    }
    const uint64_t now = now_ms();
    Wait wait = {pool, job_ids, count, how, results, now, now + how.deadline_ms, 0};
    if (how.deadline_ms == XAVO_WAIT_FOREVER)
        wait.deadline = UINT64_MAX;
    run(&wait);
    int end = XAVO_WAIT_COMPLETED;
    for (size_t i = 0; i < count && end == XAVO_WAIT_COMPLETED; ++i)
        end = results[i].end;
    return end;
}

int XAVO_wait_for_job(XAVO_Pool *pool, const char *job_id, const XAVO_WaitOptions *options,
                      XAVO_WaitResult *result) {
    char *const ids[] = {const_cast<char *>(job_id)};
    return XAVO_wait_for_jobs(pool, ids, 1, options, result);
}

void XAVO_wait_free(XAVO_WaitResult *result) {
    if (result == nullptr)
        return;
    free(result->job);
    free(result->message);
    *result = {};
}
