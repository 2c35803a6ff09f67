/* wait_in_worker.c - follows a job, and is not held up by a broker that hangs.
 *
 * The client library has no time-outs: who must not wait for ever asks in a process of its own, and ends it.
 */
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <XAVO_companion.h>

/* In the worker: its exit status is the end of the wait. */
static int wait_for(const char *id, unsigned int seconds) {
    XAVO_WaitOptions how = {.deadline_ms = seconds * 1000};
    XAVO_WaitResult result;
    XAVO_wait_for_job(id, &how, &result);
    XAVO_free_VELK_LifecycleJob(result.job);
    return result.end;
}

static long seconds_now(void) {
    struct timespec now = {0, 0};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (long)now.tv_sec;
}

int main(int argc, char **argv) {
    const long seconds = argc == 3 ? strtol(argv[2], NULL, 10) : 0;
    if (seconds < 1 || seconds > 604800) {
        fprintf(stderr, "usage: %s JOB SECONDS\n", argv[0]);
        return 64;
    }
    signal(SIGCHLD, SIG_DFL);    /* who started this may ignore it: then nobody learns how the worker ended */
    const pid_t worker = fork(); /* before the program has threads, or opens a handle */
    if (worker < 0) {
        perror("fork");
        return XAVO_WAIT_ERROR;
    }
    if (worker == 0)
        _exit(wait_for(argv[1], (unsigned int)seconds));
    const long start = seconds_now();
    int status = 0;
    pid_t ended;
    while ((ended = waitpid(worker, &status, WNOHANG)) == 0 && seconds_now() - start < seconds + 2) {
        const struct timespec moment = {0, 100000000};
        nanosleep(&moment, NULL);
    }
    if (ended == 0) {
        kill(worker, SIGKILL);
        waitpid(worker, &status, 0);
        puts("the broker hangs");
        return XAVO_WAIT_DEADLINE;
    }
    puts(WIFEXITED(status) ? XAVO_wait_to_string(WEXITSTATUS(status)) : "the worker died");
    return WIFEXITED(status) ? WEXITSTATUS(status) : XAVO_WAIT_ERROR;
}
