// pool.cpp - pools: their options, workers and end.
#include "pool.h"
#include "call.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <new>
#include <unistd.h>

// The controller's log; NULL if the program does not have the function.
extern "C" void hulmprintf(int level, int module, const char *format, ...)
    __attribute__((weak, format(printf, 3, 4)));

// Defined by a simulator of the client library in the program. It is called with 1 before a pool copies the
// environment, so that the simulator can add variables by which workers find it, and with -1 after a pool was
// freed.
extern "C" void XAVO_pools_changed(int change) __attribute__((weak));

namespace xavo_companion {

namespace {

constexpr unsigned int USUAL_WORKERS = 4;
constexpr int USUAL_LEVEL = 2, LOG_MODULE = 5;
constexpr uint64_t FIRST_PAUSE_MS = 10, LONGEST_PAUSE_MS = 500;
constexpr char LIBRARY[] = "/libxavo_companion.so", BESIDE_LIBRARY[] = "/xavo/" XAVO_SOVERSION "/xavo-worker";

// Returns the path of the worker's program beside this library. If the program contains the library, returns
// the path that the build configured.
char *usual_path() {
    Dl_info library;
    const bool known = dladdr(reinterpret_cast<void *>(&usual_path), &library) != 0;
    const char *name = known ? strrchr(library.dli_fname, '/') : nullptr;
    if (name == nullptr || strstr(name, LIBRARY) == nullptr)
        return strdup(XAVO_CONFIGURED_WORKER);
    char *resolved = realpath(library.dli_fname, nullptr); // the program may change its working directory
    if (resolved == nullptr) // after chroot; starting a worker reports the missing file
        resolved = strdup(library.dli_fname);
    if (resolved == nullptr)
        return nullptr;
    *strrchr(resolved, '/') = '\0';
    const size_t length = strlen(resolved);
    auto *path = static_cast<char *>(malloc(length + sizeof BESIDE_LIBRARY));
    if (path != nullptr) {
        memcpy(path, resolved, length);
        memcpy(path + length, BESIDE_LIBRARY, sizeof BESIDE_LIBRARY);
    }
    free(resolved);
    return path;
}

// A copy in one block, or NULL.
char **copy_environment() {
    size_t count = 0, size = sizeof(char *);
    for (; __environ != nullptr && __environ[count] != nullptr; ++count)
        size += sizeof(char *) + strlen(__environ[count]) + 1;
    auto **copy = static_cast<char **>(malloc(size));
    if (copy == nullptr)
        return nullptr;
    char *text = reinterpret_cast<char *>(copy + count + 1);
    for (size_t i = 0; i < count; ++i) {
        const size_t length = strlen(__environ[i]) + 1;
        copy[i] = static_cast<char *>(memcpy(text, __environ[i], length));
        text += length;
    }
    copy[count] = nullptr;
    return copy;
}

bool copy_options(XAVO_Pool *pool, const XAVO_PoolOptions &options) {
    pool->retries_broker = options.retry_broker != 0;
    pool->log_level = options.log_level == 0 ? USUAL_LEVEL : options.log_level < 0 ? 0 : options.log_level;
    pool->log = options.log;
    pool->context = options.context;
    pool->user = options.user != nullptr ? strdup(options.user) : nullptr;
    char **program = pool->argv;
    if (options.emulator != nullptr) {
        *program = strdup(options.emulator);
        if (*program++ == nullptr)
            return false;
    }
    *program = options.worker_path != nullptr ? strdup(options.worker_path) : usual_path();
    pool->environment = copy_environment();
    pool->workers = static_cast<Worker *>(malloc(pool->count * sizeof(Worker)));
    if (pool->workers == nullptr)
        return false;
    for (unsigned int i = 0; i < pool->count; ++i)
        new (pool->workers + i) Worker;
    return *program != nullptr && pool->environment != nullptr &&
           (options.user == nullptr || pool->user != nullptr);
}

void free_memory(XAVO_Pool *pool) {
    free(pool->user);
    free(pool->argv[0]);
    free(pool->argv[1]);
    free(pool->environment);
    free(pool->workers);
    free(pool);
}

void count_pool(int change) {
    if (XAVO_pools_changed != nullptr)
        XAVO_pools_changed(change);
}

} // namespace

uint64_t now_ms() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

Worker *take_worker(XAVO_Pool *pool) {
    Worker *found = nullptr;
    for (unsigned int i = 0; i < pool->count; ++i) {
        Worker &worker = pool->workers[i];
        if (!worker.taken && (found == nullptr || found->process.socket < 0))
            found = &worker;
    }
    if (found != nullptr)
        found->taken = true;
    return found;
}

Worker *wait_for_worker(XAVO_Pool *pool, uint64_t deadline) {
    const timespec until = timespec_of(deadline);
    for (;;) {
        Worker *worker = take_worker(pool);
        if (worker != nullptr || pthread_cond_timedwait(&pool->changed, &pool->lock, &until) != 0)
            return worker;
    }
}

unsigned int taken_workers(XAVO_Pool *pool) {
    const Locked locked(&pool->lock);
    unsigned int taken = 0;
    for (unsigned int i = 0; i < pool->count; ++i)
        taken += pool->workers[i].taken ? 1 : 0;
    return taken;
}

void give_worker_back(XAVO_Pool *pool, Worker *worker) {
    const Locked locked(&pool->lock);
    worker->taken = false;
    pthread_cond_broadcast(&pool->changed);
}

void note_death(XAVO_Pool *pool) {
    const Locked locked(&pool->lock);
    const unsigned int before = pool->deaths < 8 ? pool->deaths++ : pool->deaths;
    uint64_t pause = before == 0 ? 0 : FIRST_PAUSE_MS << (before - 1);
    if (pause > LONGEST_PAUSE_MS)
        pause = LONGEST_PAUSE_MS;
    pool->may_start_at = now_ms() + pause;
}

void note_answer(XAVO_Pool *pool) {
    const Locked locked(&pool->lock);
    pool->deaths = 0;
    pool->may_start_at = 0;
}

void end_worker(Worker *worker) {
    end_process(&worker->process);
    worker->receiver.reset();
    worker->sequence = 0;
}

void destroy_pool(XAVO_Pool *pool) {
    pthread_cond_destroy(&pool->changed);
    pthread_mutex_destroy(&pool->lock);
    free_memory(pool);
}

void deliver_log(const XAVO_Pool &pool, Frame *frames) {
    while (frames != nullptr) {
        Frame *frame = frames;
        frames = frame->next;
        XAVO_Answer line = {};
        AnswerExtra extra;
        if (decode_answer(frame, &line, &extra) == DECODED && line.message != nullptr) {
            if (pool.log != nullptr)
                pool.log(pool.context, line.status, line.message);
            else if (hulmprintf != nullptr)
                hulmprintf(line.status, LOG_MODULE, "%s\n", line.message);
        }
        free_frame(frame);
    }
}

} // namespace xavo_companion

using namespace xavo_companion;

XAVO_Pool *XAVO_pool_new(const XAVO_PoolOptions *options, XAVO_ErrorCode *code) {
    const XAVO_PoolOptions usual = {};
    const XAVO_PoolOptions &given = options != nullptr ? *options : usual;
    const NotCancelled not_cancelled;
    XAVO_ErrorCode ignored;
    if (code == nullptr)
        code = &ignored;
    *code = XAVO_INVALID_VALUE;
    if (given.workers > XAVO_MOST_WORKERS)
        return nullptr;
    *code = XAVO_OUT_OF_MEMORY;
    void *memory = malloc(sizeof(XAVO_Pool));
    if (memory == nullptr)
        return nullptr;
    auto *pool = new (memory) XAVO_Pool();
    pthread_condattr_t monotonic;
    pthread_condattr_init(&monotonic);
    pthread_condattr_setclock(&monotonic, CLOCK_MONOTONIC);
    pthread_cond_init(&pool->changed, &monotonic);
    pool->owner = getpid();
    pool->count = given.workers != 0 ? given.workers : USUAL_WORKERS;
    count_pool(1);
    if (!copy_options(pool, given)) {
        destroy_pool(pool);
        count_pool(-1);
        return nullptr;
    }
    *code = XAVO_NO_ERROR;
    return pool;
}

void XAVO_pool_free(XAVO_Pool *pool) {
    if (pool == nullptr)
        return;
    const NotCancelled not_cancelled;
    if (pool->owner != getpid()) {
        for (unsigned int i = 0; i < pool->count; ++i)
            close_process(&pool->workers[i].process);
        free_memory(pool); // not the locks, which threads of the parent may have held
        return;
    }
    pthread_mutex_lock(&pool->lock);
    while (XAVO_Call *call = next_uncancelled(pool)) {
        ++call->pins;
        pthread_mutex_unlock(&pool->lock);
        XAVO_call_cancel(call);
        pthread_mutex_lock(&pool->lock);
        --call->pins;
        pthread_cond_broadcast(&pool->changed);
    }
    for (unsigned int i = 0; i < pool->count; ++i)
        if (!pool->workers[i].taken)
            end_worker(&pool->workers[i]);
    pool->ended = true;
    const bool last = pool->calls == nullptr;
    pthread_mutex_unlock(&pool->lock);
    if (last)
        destroy_pool(pool);
    count_pool(-1);
}
