// pool.h - the workers of a pool, and the calls that use them.
#ifndef XAVO_COMPANION_POOL_H
#define XAVO_COMPANION_POOL_H

#include "process.h"

#include <pthread.h>

namespace xavo_companion {

uint64_t now_ms(); // of CLOCK_MONOTONIC

// Keeps a function from being a cancellation point.
class NotCancelled {
public:
    NotCancelled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
    ~NotCancelled() { pthread_setcancelstate(before_, nullptr); }
    NotCancelled(const NotCancelled &) = delete;
    NotCancelled &operator=(const NotCancelled &) = delete;

private:
    int before_ = 0;
};

class Locked {
public:
    explicit Locked(pthread_mutex_t *mutex) : mutex_(mutex) { pthread_mutex_lock(mutex); }
    ~Locked() { pthread_mutex_unlock(mutex_); }
    Locked(const Locked &) = delete;
    Locked &operator=(const Locked &) = delete;

private:
    pthread_mutex_t *mutex_;
};

// A place for a worker. While it is taken, only one call uses it.
struct Worker {
    Process process;
    Receiver receiver;
    uint32_t sequence = 0; // of the last request
    bool taken = false;
};

} // namespace xavo_companion

struct XAVO_Pool {
    // Never changed after the pool was made.
    pid_t owner;
    unsigned int count;
    bool retries_broker;
    int log_level;
    void (*log)(void *context, int level, const char *line);
    void *context;
    char *user;    // or NULL
    char *argv[3]; // the emulator if there is one, and the worker
    char **environment;

    // Under `lock`, which is held for moments only.
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t changed; // a worker is free, or a call unpinned; on the monotonic clock
    xavo_companion::Worker *workers;
    XAVO_Call *calls;      // all that are not freed
    bool ended;            // freed by the program: the last call frees its memory
    unsigned int deaths;   // in a row, without a good answer in between
    uint64_t may_start_at; // no worker is started before
};

namespace xavo_companion {

enum { MOST_CALLS_OF_A_WORKER = 1000 };

// A free worker, now taken, or NULL when there is none: one that runs before one that has to be started.
Worker *take_worker(XAVO_Pool *pool);
// The same, waiting for one until `deadline`.
Worker *wait_for_worker(XAVO_Pool *pool, uint64_t deadline);
unsigned int taken_workers(XAVO_Pool *pool);
void give_worker_back(XAVO_Pool *pool, Worker *worker);

// note_death: a worker has died by itself; the next start is delayed. note_answer: a worker has answered; the
// next start is not delayed.
void note_death(XAVO_Pool *pool);
void note_answer(XAVO_Pool *pool);

// Ends a worker's process, if there is one, and forgets what it sent.
void end_worker(Worker *worker);

// Frees the pool's memory. No call is left.
void destroy_pool(XAVO_Pool *pool);

// Hands a list of log frames to the program, and frees them.
void deliver_log(const XAVO_Pool &pool, Frame *frames);

} // namespace xavo_companion

#endif
