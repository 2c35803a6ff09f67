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
    XAVO_Call *following = nullptr; // in the list of XAVO_pool_prestart

    // Under the pool's lock.
    XAVO_Call *next = nullptr; // in the pool's list
    unsigned int pins = 0;     // the call is not freed while this is not 0
    bool cancelled = false;    // by the end of the pool

    // Under this lock, which is taken before the pool's.
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    xavo_companion::State state = xavo_companion::NEW;
    xavo_companion::Worker *worker = nullptr;
    size_t sent = 0;
    unsigned int repeats = 0;
    uint64_t resume_at = 0, pause = 0; // when the pause ends, and its length
    uint64_t timer_at = 0;
    XAVO_Answer answer = {}; // of the call once it has ENDED, until then of the last attempt
    unsigned int attempts = 0;
    unsigned long lost_lines = 0;
    xavo_companion::Frame *log = nullptr, **log_end = &log;
};

namespace xavo_companion {

// Marks a call that is not marked as cancelled, and returns it; NULL if there is none. Under the pool's lock.
XAVO_Call *next_uncancelled(XAVO_Pool *pool);

// Makes *answer an answer of this kind without an effect. Its message is "words: subject", or `words` if the
// subject is empty. If `words` is NULL, it is the text of the errno `status`, or there is no message if that
// is 0.
void fail_answer(XAVO_Answer *answer, int kind, const char *words = nullptr, const char *subject = "",
                 int status = 0);

} // namespace xavo_companion

#endif
