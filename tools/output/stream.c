/* stream.c - standard output and standard error, whose writes end when a signal comes or the time is over. */
#include "../xavoctl.h"
#include "output.h"

#include <errno.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

enum { GRACE = 2000, BUFFER_SIZE = 16384 };

static struct stream {
    struct run *run;
    int fd;
    bool given_up; /* what follows is not written, either */
    bool left;     /* given up because the reader of the pipe has closed it */
    char buffer[BUFFER_SIZE];
} streams[2];
static timer_t timer;

static void interrupt(int signal) { (void)signal; }

/* When a write that begins now is given up, on the clock of now(); 0: never. What is printed at the end of a
 * run gets some time, even if the end is the deadline. Without --timeout the reader may be a pager. */
static int64_t limit_of_write(const struct run *run) {
    const int64_t grace = now() + GRACE;
    if (run->signal != 0)
        return grace;
    if (!run->request.limited)
        return 0;
    return run->deadline > grace ? run->deadline : grace;
}

static ssize_t write_stream(void *cookie, const char *text, size_t size) {
    static const struct itimerspec often = {{0, 100000000}, {0, 100000000}}, never = {0};
    struct stream *stream = cookie;
    struct run *run = stream->run;
    const int64_t limit = limit_of_write(run);
    const int signal = run->signal; /* who ends a group of processes often sends it to each and to all */
    size_t written = 0;
    (void)timer_settime(timer, 0, &often, NULL); /* a write that blocks fails with EINTR */
    while (written < size && !stream->given_up) {
        const ssize_t count = write(stream->fd, text + written, size - written);
        if (count >= 0)
            written += (size_t)count;
        else if (errno != EINTR && errno != EAGAIN) {
            stream->given_up = true;
            stream->left = errno == EPIPE;
        }
        if (count >= 0)
            continue;
        const enum event event = wait_for_event(run, -1, errno == EAGAIN ? 10 : 0, limit);
        stream->given_up |= event == EVENT_DEADLINE || (event == EVENT_SIGNAL && run->signal != signal);
    }
    (void)timer_settime(timer, 0, &never, NULL);
    return stream->given_up ? 0 : (ssize_t)size;
}

bool has_lost_its_reader(void) { return streams[0].left; }

bool open_streams(struct run *run) {
    FILE **const places[] = {&stdout, &stderr};
    const struct sigaction action = {.sa_handler = interrupt};
    struct sigevent event = {.sigev_notify = SIGEV_SIGNAL, .sigev_signo = SIGURG};
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGURG);
    (void)sigaction(SIGURG, &action, NULL);
    (void)sigprocmask(SIG_UNBLOCK, &set, NULL);
    (void)timer_create(CLOCK_MONOTONIC, &event, &timer); /* without it a write may block */
    for (int i = 0; i < 2; ++i) {
        struct stream *stream = &streams[i];
        stream->run = run;
        stream->fd = STDOUT_FILENO + i;
        FILE *file = fopencookie(stream, "w", (cookie_io_functions_t){.write = write_stream});
        if (file == NULL)
            return false;
        (void)setvbuf(file, stream->buffer, i == 0 ? _IOFBF : _IOLBF, sizeof stream->buffer);
        *places[i] = file;
    }
    return true;
}
