/* progress.c - the progress of a wait, on standard error: a bar on a terminal, a line for each change
 * elsewhere. */
#include "output/output.h"
#include "xavoctl.h"

#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

/* The library's log lines would tear a bar. */
static bool has_bar(const struct run *run) {
    const char *terminal = getenv("TERM");
    return !run->request.quiet && !run->request.verbose && isatty(STDERR_FILENO) && terminal != NULL &&
           strcmp(terminal, "dumb") != 0;
}

static const char *status_of_job(const struct outcome *outcome, int kind) {
    if (kind != XAVO_KIND_NONE)
        return kind_of(kind)->sentence;
    return outcome->job != NULL && outcome->job->JobStatus != NULL ? outcome->job->JobStatus : "";
}

/* "PercentComplete" is text, and the controller's. */
static int percent_of_job(const struct outcome *outcome) {
    const char *text = outcome->job != NULL ? outcome->job->PercentComplete : NULL;
    const long percent = text != NULL ? strtol(text, NULL, 10) : 0;
    return percent < 0 ? 0 : percent > 100 ? 100 : (int)percent;
}

void draw_bar(struct run *run, const struct outcome *outcome, int kind) {
    if (!has_bar(run))
        return;
    struct winsize window = {0};
    const size_t columns =
        ioctl(STDERR_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0 ? window.ws_col - 1U : 79;
    char rest[32], bar[41] = "";
    const int percent = percent_of_job(outcome);
    const char *status = status_of_job(outcome, kind);
    const long gone = (long)((now() - run->began) / 1000);
    (void)snprintf(rest, sizeof rest, " %3d%% %ld:%02ld ", percent, gone / 60, gone % 60);

    const size_t id = visible_width(outcome->job_id), word = visible_width(status);
    const size_t others = id + strlen(rest) + (word < 20 ? word : 20) + strlen(" []");
    const size_t room = columns > others ? columns - others : 0;
    const size_t width = room < sizeof bar - 1 ? room : sizeof bar - 1;
    (void)fputc('\r', stderr);
    put_cut(stderr, outcome->job_id, columns);
    if (width >= 5) { /* else the terminal is too narrow, or the words are too long */
        for (size_t i = 0; i < width; ++i)
            bar[i] = i * 100 < width * (size_t)percent ? '#' : ' ';
        bar[width] = '\0';
        (void)fprintf(stderr, " [%s]", bar);
    }
    if (id + strlen(rest) < columns) {
        (void)fputs(rest, stderr);
        put_cut(stderr, status, columns - id - strlen(rest) - (width >= 5 ? width + 3 : 0));
    }
    (void)fputs("\033[K", stderr);
    (void)fflush(stderr);
    run->bar_shown = true;
}

void end_progress(struct run *run) {
    if (run->bar_shown)
        (void)fputc('\n', stderr);
    run->bar_shown = false;
}

void print_progress(struct run *run, const struct outcome *outcome, int kind) {
    if (has_bar(run)) {
        draw_bar(run, outcome, kind);
    } else if (!run->request.quiet) {
        put_visible(stderr, outcome->job_id);
        (void)fprintf(stderr, " %3d%% ", percent_of_job(outcome));
        put_line(stderr, status_of_job(outcome, kind));
    }
}
