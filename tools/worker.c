/* worker.c - the process that talks to the broker, and the pipe between it and the one that prints. */
#include "xavoctl.h"

#include <dlfcn.h>
#include <errno.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

int64_t now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (int64_t)time.tv_sec * 1000 + time.tv_nsec / 1000000;
}

/* ---- In the worker --------------------------------------------------------------------------------------
 */

static int to_parent = -1;

static void write_all(const void *data, size_t size) {
    for (const char *rest = data; size > 0;) {
        const ssize_t count = write(to_parent, rest, size);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            _exit(1); /* nobody listens any more */
        rest += count;
        size -= (size_t)count;
    }
}

void send_frame(const char *verb, struct json_object *value) {
    struct json_object *frame = json_object_new_object();
    if (frame == NULL || json_object_object_add(frame, verb, value) != 0)
        _exit(1);
    size_t length;
    const char *text = json_object_to_json_string_length(frame, JSON_C_TO_STRING_PLAIN, &length);
    if (text == NULL)
        _exit(1);
    write_all(&length, sizeof length);
    write_all(text, length);
    json_object_put(frame);
}

static _Noreturn void work(struct run *run, void (*ask)(struct request *), pid_t parent) {
    (void)prctl(PR_SET_PDEATHSIG, SIGKILL); /* a hung exchange does not outlive its parent */
    if (getppid() != parent)
        _exit(1);
    /* Should the client library crash: the dump would hold passwords. 1, since a dump that goes to a program
     * heeds no other limit. */
    const struct rlimit no_dump = {1, 1};
    (void)setrlimit(RLIMIT_CORE, &no_dump);
    /* Our own platform layer logs to standard error, and can be told not to. */
    void (*set_level)(int) = NULL;
    void *const symbol = run->request.verbose ? NULL : dlsym(RTLD_DEFAULT, "hulm_set_level");
    memcpy(&set_level, &symbol, sizeof set_level);
    if (set_level != NULL)
        set_level(0);
    ask(&run->request);
    wipe_secrets(&run->request);
    send_frame("done", NULL);
    _exit(0); /* what the parent has opened and registered is not this process's to close */
}

/* ---- In the parent --------------------------------------------------------------------------------------
 */

bool start_worker(struct run *run, void (*ask)(struct request *)) {
    int ends[2];
    if (pipe(ends) != 0)
        return false;
    const pid_t parent = getpid();
    run->worker = fork();
    if (run->worker == 0) {
        close(ends[0]);
        to_parent = ends[1];
        work(run, ask, parent);
    }
    close(ends[1]);
    if (run->worker < 0) {
        close(ends[0]);
        run->worker = 0;
        return false;
    }
    run->pipe = ends[0];
    run->received_size = run->taken = 0;
    run->connected = run->done = false;
    return true;
}

void end_worker(struct run *run) {
    if (run->worker == 0)
        return;
    close(run->pipe);
    kill(run->worker, SIGKILL);
    while (waitpid(run->worker, NULL, 0) < 0 && errno == EINTR)
        ;
    run->worker = 0;
}

enum event wait_for_input(struct run *run, int fd, int64_t tick) {
    for (;;) {
        struct pollfd waiting[] = {{run->signals, POLLIN, 0}, {fd, POLLIN, 0}};
        int64_t pause = tick > 0 ? tick : -1;
        if (run->deadline != 0) {
            const int64_t left = run->deadline - now();
            if (left <= 0)
                return EVENT_DEADLINE;
            pause = pause < 0 || left < pause ? left : pause;
        }
        const int ready = poll(waiting, 2, pause > 3600000 ? 3600000 : (int)pause);
        if (ready < 0 && errno == EINTR)
            continue;
        struct signalfd_siginfo signal;
        if (waiting[0].revents != 0 && read(run->signals, &signal, sizeof signal) == sizeof signal) {
            run->signal = (int)signal.ssi_signo;
            return EVENT_SIGNAL;
        }
        if (waiting[1].revents != 0)
            return EVENT_FRAME;
        if (ready == 0 && tick > 0 && pause == tick)
            return EVENT_TICK;
    }
}

/* The next whole frame of what was received; NULL as long as there is none. */
static struct json_object *take_frame(struct run *run, bool *broken) {
    size_t length;
    const size_t left = run->received_size - run->taken;
    if (left < sizeof length)
        return NULL;
    const char *text = run->received + run->taken + sizeof length;
    memcpy(&length, text - sizeof length, sizeof length);
    if (left - sizeof length < length)
        return NULL;
    run->taken += sizeof length + length;
    struct json_tokener *reader = json_tokener_new_ex(256); /* instances inside instances */
    struct json_object *frame = reader ? json_tokener_parse_ex(reader, text, (int)length) : NULL;
    if (reader != NULL)
        json_tokener_free(reader);
    *broken = frame == NULL;
    return frame;
}

/* Reads what the pipe holds. False at its end, or when memory is exhausted. */
static bool receive(struct run *run) {
    run->received_size -= run->taken;
    if (run->received_size > 0)
        memmove(run->received, run->received + run->taken, run->received_size);
    run->taken = 0;
    if (run->received_room - run->received_size < 65536) {
        const size_t room = run->received_room * 2 + 65536;
        char *larger = realloc(run->received, room);
        if (larger == NULL)
            return false;
        run->received = larger;
        run->received_room = room;
    }
    ssize_t count;
    do
        count = read(run->pipe, run->received + run->received_size, run->received_room - run->received_size);
    while (count < 0 && errno == EINTR);
    if (count > 0)
        run->received_size += (size_t)count;
    return count > 0;
}

enum event next_event(struct run *run, int64_t tick, struct json_object **frame) {
    for (;;) {
        bool broken = false;
        *frame = take_frame(run, &broken);
        if (*frame != NULL || broken)
            return broken ? EVENT_END : EVENT_FRAME;
        const enum event event = wait_for_input(run, run->pipe, tick);
        if (event != EVENT_FRAME)
            return event;
        if (!receive(run))
            return EVENT_END;
    }
}
