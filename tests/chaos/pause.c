/* pause.c - loaded with LD_PRELOAD: each thread pauses at random before it takes a lock, and before it
 * exchanges anything with a broker or another process. CHAOS_SEED and the thread's number decide which of its
 * calls pause, and for how long. The first thread has the number 0; the others are numbered in the order of
 * their creation. */
#include <dlfcn.h>
#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

enum { LONGEST_NS = 300000, ONE_IN = 4 };

static unsigned int threads; /* created */
static _Thread_local unsigned int number;
static _Thread_local uint64_t state;

static void pause_at_random(void) {
    static const char *seed;
    if (seed == NULL && (seed = getenv("CHAOS_SEED")) == NULL)
        return;
    if (state == 0)
        state = strtoull(seed, NULL, 10) << 32 | (number + 1);
    uint64_t mixed = state += 0x9e3779b97f4a7c15U; /* splitmix64 */
    mixed = (mixed ^ mixed >> 30) * 0xbf58476d1ce4e5b9U;
    mixed = (mixed ^ mixed >> 27) * 0x94d049bb133111ebU;
    mixed ^= mixed >> 31;
    if (mixed % ONE_IN == 0)
        syscall(SYS_nanosleep, &(struct timespec){.tv_nsec = (long)((mixed >> 8) % LONGEST_NS)}, NULL);
}

/* What a new thread does. */
struct task {
    void *(*run)(void *);
    void *argument;
    unsigned int number;
};

static void *run(void *given) {
    const struct task task = *(struct task *)given;
    free(given);
    number = task.number;
    return task.run(task.argument);
}

int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*begin)(void *),
                   void *argument) {
    static int (*next)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
    if (next == NULL)
        *(void **)&next = dlsym(RTLD_NEXT, "pthread_create");
    struct task *task = malloc(sizeof *task);
    if (task == NULL)
        return EAGAIN;
    *task = (struct task){begin, argument, __atomic_add_fetch(&threads, 1, __ATOMIC_RELAXED)};
    const int error = next(thread, attributes, run, task);
    if (error != 0)
        free(task);
    return error;
}

/* Defines a function that pauses, then calls the one of the C library. */
#define PAUSES(type, name, parameters, arguments)                                                            \
    type name parameters {                                                                                   \
        static type(*next) parameters;                                                                       \
        if (next == NULL)                                                                                    \
            *(void **)&next = dlsym(RTLD_NEXT, #name);                                                       \
        pause_at_random();                                                                                   \
        return next arguments;                                                                               \
    }
PAUSES(int, pthread_mutex_lock, (pthread_mutex_t * mutex), (mutex))
PAUSES(int, pthread_mutex_unlock, (pthread_mutex_t * mutex), (mutex))
PAUSES(int, pthread_cond_timedwait,
       (pthread_cond_t * one, pthread_mutex_t *mutex, const struct timespec *until), (one, mutex, until))
PAUSES(int, pthread_sigmask, (int how, const sigset_t *set, sigset_t *old),
       (how, set, old)) /* around an exchange */
PAUSES(int, poll, (struct pollfd * fds, nfds_t count, int timeout), (fds, count, timeout))
PAUSES(int, epoll_wait, (int fd, struct epoll_event *events, int most, int timeout),
       (fd, events, most, timeout))
PAUSES(ssize_t, recv, (int fd, void *to, size_t size, int flags), (fd, to, size, flags))
PAUSES(ssize_t, send, (int fd, const void *from, size_t size, int flags), (fd, from, size, flags))
