// call.h - one call, from its request to its answer.
#ifndef XAVO_COMPANION_CALL_H
#define XAVO_COMPANION_CALL_H

#include "pool.h"
#include "transitions.h"

namespace xavo_companion {

#define STATE(name) name,
enum State : uint8_t { XAVO_CALL_STATES(STATE) };
#undef STATE

} // namespace xavo_companion

struct XAVO_Call {
    explicit XAVO_Call(XAVO_Pool *of) : pool(of), owner(of->owner) {}

    XAVO_Pool *const pool;
    const pid_t owner;
    int epoll = -1, timer = -1; // -1 in a call that blocks
    xavo_companion::Writer request{xavo_companion::FRAME_REQUEST};
    int operation = 0;
    bool secret = false;
    uint64_t deadline = 0;
    XAVO_Call *following = nullptr; // of those that start workers beforehand

    // Under the pool's lock.
    XAVO_Call *next = nullptr; // in the pool's list
    unsigned int pins = 0;     // it is not freed before there are none
    bool cancelled = false;    // by the end of the pool

    // Under this lock, which is taken before the pool's.
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    xavo_companion::State state = xavo_companion::NEW;
    xavo_companion::Worker *worker = nullptr;
    size_t sent = 0;
    unsigned int repeats = 0;
    uint64_t resume_at = 0, pause = 0; // of PAUSED
    uint64_t timer_at = 0;
    XAVO_Answer answer = {}; // of ENDED; before, what the last attempt met
    unsigned int attempts = 0;
    unsigned long lost_lines = 0;
    xavo_companion::Frame *log = nullptr, **log_end = &log;
};

namespace xavo_companion {

// Under the pool's lock: a call that was not returned by this before, or NULL.
XAVO_Call *next_uncancelled(XAVO_Pool *pool);

// Makes *answer one without effect. Its message is "words: subject", or `words` where the subject is empty;
// `words` NULL: those of the errno `status`, or none where that is 0.
void fail_answer(XAVO_Answer *answer, int kind, const char *words = nullptr, const char *subject = "",
                 int status = 0);

} // namespace xavo_companion

#endif
