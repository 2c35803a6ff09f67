/* run_cost.c - run_cost MILLISECONDS EMPTY PROGRAM ARGUMENT...: runs PROGRAM and the program EMPTY
 * alternately, and prints the medians of their run times as JSON. The exit status is 3 when they differ by
 * more than MILLISECONDS. */
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static double run(char **command, posix_spawn_file_actions_t *actions) {
    struct timespec before, after;
    pid_t child;
    int status = -1;
    clock_gettime(CLOCK_MONOTONIC, &before);
    if (posix_spawn(&child, command[0], actions, NULL, command, environ) != 0 ||
        waitpid(child, &status, 0) != child || status != 0) {
        fprintf(stderr, "%s failed, or could not be started\n", command[0]);
        exit(1);
    }
    clock_gettime(CLOCK_MONOTONIC, &after);
    return (double)(after.tv_sec - before.tv_sec) * 1e3 + (double)(after.tv_nsec - before.tv_nsec) / 1e6;
}

static int by_size(const void *left, const void *right) {
    const double a = *(const double *)left, b = *(const double *)right;
    return (a > b) - (a < b);
}

int main(int argc, char **argv) {
    enum { RUNS = 301 };
    static double times[2][RUNS];
    if (argc < 4)
        return 2;
    char *empty[] = {argv[2], NULL};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    for (int i = 0; i < RUNS; ++i) {
        times[0][i] = run(empty, &actions);
        times[1][i] = run(argv + 3, &actions);
    }
    posix_spawn_file_actions_destroy(&actions);
    for (int i = 0; i < 2; ++i)
        qsort(times[i], RUNS, sizeof times[i][0], by_size);
    const double limit = strtod(argv[1], NULL), more = times[1][RUNS / 2] - times[0][RUNS / 2];
    printf("{\"runs\": %d, \"ms\": %.2f, \"empty_ms\": %.2f, \"more_ms\": %.2f, \"limit_ms\": %.1f}\n", RUNS,
           times[1][RUNS / 2], times[0][RUNS / 2], more, limit);
    return more <= limit ? 0 : 3;
}
