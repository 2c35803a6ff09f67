/* progress.c - what a person sees while a job is waited for, on standard error: a bar on a terminal, a line
 * for each change elsewhere. */
#include "progress.h"

#include "output.h"
#include "tell.h"
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

/* The library's log lines would tear a bar. */
static bool has_bar(const struct run *run) {
    const char *terminal = getenv("TERM");
    return !run->request.verbose && isatty(STDERR_FILENO) && terminal != NULL &&
           strcmp(terminal, "dumb") != 0;
}

static const char *or_empty(const char *text) { return text ? text : ""; }

static struct json_object *job_of(const struct run *run) {
    struct json_object *job = NULL;
    json_object_object_get_ex(run->target, "job", &job);
    return job;
}

static const char *status_of_job(const struct run *run) {
    return run->away ? "no broker answers" : job_of(run) ? or_empty(text_of(job_of(run), "JobStatus")) : "";
}

/* "PercentComplete" is text, and the controller's. */
static int percent_of_job(const struct run *run) {
    const char *text = job_of(run) ? or_empty(text_of(job_of(run), "PercentComplete")) : "";
    const long percent = strtol(text, NULL, 10);
    return percent < 0 ? 0 : percent > 100 ? 100 : (int)percent;
}

static const char *id_of_job(const struct run *run) { return or_empty(text_of(run->target, "job_id")); }

void draw_progress(struct run *run) {
    if (run->request.quiet || !has_bar(run) || id_of_job(run)[0] == '\0')
        return;
    struct winsize window = {0};
    const size_t columns =
        ioctl(STDERR_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0 ? window.ws_col - 1U : 79;
    char rest[32], bar[41] = "";
    const int percent = percent_of_job(run);
    const long gone = (long)((now() - run->began) / 1000);
    (void)snprintf(rest, sizeof rest, " %3d%% %ld:%02ld ", percent, gone / 60, gone % 60);

    const size_t id = visible_width(id_of_job(run)), word = visible_width(status_of_job(run));
    const size_t others = id + strlen(rest) + (word < 20 ? word : 20) + strlen(" []");
    const size_t room = columns > others ? columns - others : 0;
    const size_t width = room < sizeof bar - 1 ? room : sizeof bar - 1;
    (void)fputc('\r', stderr);
    put_cut(stderr, id_of_job(run), columns);
    if (width >= 5) { /* else the terminal is too narrow, or the words are too long */
        for (size_t i = 0; i < width; ++i)
            bar[i] = i * 100 < width * (size_t)percent ? '#' : ' ';
        bar[width] = '\0';
        (void)fprintf(stderr, " [%s]", bar);
    }
    if (id + strlen(rest) < columns) {
        (void)fputs(rest, stderr);
        put_cut(stderr, status_of_job(run), columns - id - strlen(rest) - (width >= 5 ? width + 3 : 0));
    }
    (void)fputs("\033[K", stderr);
    run->bar_shown = true;
}

void end_progress(struct run *run) {
    if (run->bar_shown)
        (void)fputc('\n', stderr);
    run->bar_shown = false;
}

void take_progress(struct run *run, struct json_object *progress) {
    struct json_object *job, *changed, *away;
    if (json_object_object_get_ex(progress, "job", &job))
        json_object_object_add(run->target, "job", json_object_get(job));
    json_object_object_get_ex(progress, "changed", &changed);
    json_object_object_get_ex(progress, "away", &away);
    const bool was_away = run->away;
    run->away = json_object_get_boolean(away);
    run->connected |= !run->away;
    if (!run->away)
        run->unanswered = 0;
    const bool news = json_object_get_boolean(changed) || run->away != was_away;
    if (has_bar(run)) {
        draw_progress(run);
    } else if (news && !run->request.quiet) {
        put_visible(stderr, id_of_job(run));
        (void)fprintf(stderr, " %3d%% ", percent_of_job(run));
        put_visible(stderr, status_of_job(run));
        (void)fputc('\n', stderr);
    }
}
