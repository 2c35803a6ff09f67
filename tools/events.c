/* events.c - time, signals, and what a run waits for. */
#include "xavoctl.h"

#include <errno.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <time.h>
#include <unistd.h>

int64_t now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (int64_t)time.tv_sec * 1000 + time.tv_nsec / 1000000;
}

/* Adds a signal, unless the program was started with it ignored. */
static void add_signal(sigset_t *set, int number) {
    struct sigaction action;
    if (sigaction(number, NULL, &action) == 0 && action.sa_handler != SIG_IGN)
        sigaddset(set, number);
}

/* The signals that end the program, but for those that say that it is broken. */
static sigset_t ending_signals(void) {
    static const int ending[] = {SIGINT,    SIGTERM, SIGHUP,  SIGQUIT, SIGALRM, SIGUSR1,  SIGUSR2,
                                 SIGVTALRM, SIGPROF, SIGXCPU, SIGIO,   SIGPWR,  SIGSTKFLT};
    sigset_t set;
    sigemptyset(&set);
    for (size_t i = 0; i < sizeof ending / sizeof *ending; ++i)
        add_signal(&set, ending[i]);
    for (int number = SIGRTMIN; number <= SIGRTMAX; ++number)
        add_signal(&set, number);
    return set;
}

void catch_stops(struct run *run, bool caught) {
    sigset_t stops, set = ending_signals();
    sigemptyset(&stops);
    add_signal(&stops, SIGTSTP);
    add_signal(&stops, SIGCONT);
    if (caught)
        sigorset(&set, &set, &stops);
    (void)signalfd(run->signals, &set, 0);
    sigprocmask(caught ? SIG_BLOCK : SIG_UNBLOCK, &stops, NULL);
}

void stop_program(void) {
    sigset_t stop, go_on;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTSTP);
    sigemptyset(&go_on);
    sigaddset(&go_on, SIGCONT);
    (void)raise(SIGTSTP);
    sigprocmask(SIG_UNBLOCK, &stop, NULL); /* it stops here */
    sigprocmask(SIG_BLOCK, &stop, NULL);
    (void)sigtimedwait(&go_on, NULL, &(struct timespec){0});
}

bool catch_signals(struct run *run) {
    const sigset_t set = ending_signals();
    sigprocmask(SIG_BLOCK, &set, &run->inherited);
    run->signals = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    /* A reader that went away and a file that may not grow are reported by write. */
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
    return run->signals >= 0;
}

enum event wait_for_event(struct run *run, int fd, int64_t ms, int64_t deadline) {
    const int64_t tick = ms < 0 ? INT64_MAX : now() + ms;
    for (;;) {
        const int64_t time = now(), until = deadline != 0 && deadline < tick ? deadline : tick;
        const int64_t left = until > time ? until - time : 0;
        struct pollfd waiting[] = {{run->signals, POLLIN, 0}, {fd, POLLIN, 0}};
        const int ready = poll(waiting, 2, until == INT64_MAX ? -1 : left > 3600000 ? 3600000 : (int)left);
        if (ready < 0 && errno == EINTR)
            continue;
        struct signalfd_siginfo signal;
        if (waiting[0].revents != 0 && read(run->signals, &signal, sizeof signal) == sizeof signal) {
            run->signal = (int)signal.ssi_signo;
            return EVENT_SIGNAL;
        }
        if (waiting[1].revents != 0)
            return EVENT_INPUT;
        if (now() >= until)
            return until == tick ? EVENT_TICK : EVENT_DEADLINE;
    }
}
