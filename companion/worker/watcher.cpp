#include "watcher.h"

#include "protocol.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

namespace xavo_worker {

using namespace xavo_companion;

namespace {

constexpr size_t STACK = 262144;   // reserved addresses; only a small part is used
constexpr int LOCK_CHECK_MS = 100; // interval of the checks without a pidfd of the program
constexpr int GRACE_MS = 1000;
constexpr short HANG_UP = POLLRDHUP | POLLHUP | POLLERR | POLLNVAL;

int stop_ends[2]; // a pipe; closing the second end ends the thread
pthread_t thread;
bool by_lock; // there is no pidfd: the end of the program is detected by its lock
bool in_call = true, over = false;

// A program that has no pidfd of itself holds a lock on the memory file.
bool is_lock_free() {
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_len = 1;
    return fcntl(WORKER_SHARED, F_GETLK, &lock) == 0 && lock.l_type == F_UNLCK;
}

[[noreturn]] void end_group() {
    kill(getpgrp() == getpid() ? 0 : getpid(), SIGKILL);
    for (;;)
        pause();
}

// Waits for the end of socket or program. False: the worker ends by itself.
bool wait_for_end() {
    pollfd watched[] = {{WORKER_SOCKET, POLLRDHUP, 0}, {stop_ends[0], POLLIN, 0}, {WORKER_CALLER, POLLIN, 0}};
    for (;;) {
        const int ready = poll(watched, by_lock ? 2 : 3, by_lock ? LOCK_CHECK_MS : -1);
        if (ready < 0 && errno != EINTR)
            return true;
        if (ready > 0 && watched[1].revents != 0)
            return false;
        if (ready > 0 && ((watched[0].revents & HANG_UP) != 0 || watched[2].revents != 0))
            return true;
        if (by_lock && is_lock_free())
            return true;
    }
}

void *watch(void *) {
    if (!wait_for_end())
        return nullptr;
    __atomic_store_n(&over, true, __ATOMIC_SEQ_CST);
    if (__atomic_load_n(&in_call, __ATOMIC_SEQ_CST))
        end_group();
    // Ends the worker's wait for a request. If a forked child holds a copy of the program's socket, the end
    // of the program does not close the connection.
    shutdown(WORKER_SOCKET, SHUT_RDWR);
    pollfd stop = {stop_ends[0], POLLIN, 0};
    while (poll(&stop, 1, GRACE_MS) < 0 && errno == EINTR) {
    }
    if (stop.revents == 0)
        end_group();
    return nullptr;
}

} // namespace

int start_watcher() {
    by_lock = fcntl(WORKER_CALLER, F_GETFD) < 0; // before another descriptor gets the number
    if (pipe2(stop_ends, O_CLOEXEC) != 0)
        return errno;
    pthread_attr_t attributes;
    int error = pthread_attr_init(&attributes);
    if (error != 0)
        return error;
    pthread_attr_setstacksize(&attributes, STACK);
    // The thread blocks all signals, so that it runs no handler.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    error = pthread_create(&thread, &attributes, watch, nullptr);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    return error;
}

bool begin_call() {
    __atomic_store_n(&in_call, true, __ATOMIC_SEQ_CST);
    return !__atomic_load_n(&over, __ATOMIC_SEQ_CST);
}

void end_call() { __atomic_store_n(&in_call, false, __ATOMIC_SEQ_CST); }

void stop_watcher() {
    close(stop_ends[1]);
    pthread_join(thread, nullptr);
    close(stop_ends[0]);
}

} // namespace xavo_worker
