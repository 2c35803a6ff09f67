/* jobs.c - the command jobs. */
#include "../output/json.h"
#include "../output/output.h"
#include "../xavoctl.h"

#include <stdlib.h>

/* clang-format off */
static const struct option_row options[] = {
    {"name", "N", "only jobs of this name", TEXT, false, 0, IN_REQUEST(name)},
    {"status", "S", "only jobs with this status, in any letter case; can be repeated", STATUS, false, 0,
        IN_REQUEST(statuses)},
    {0},
};
/* clang-format on */

static bool is_wanted(const struct run *run, const XAVO_VELK_LifecycleJob *job) {
    return (run->request.name == NULL || has_name(job, run->request.name)) && has_wanted_status(run, job);
}

static void perform(struct run *run) {
    const XAVO_Request request = {.operation = XAVO_OP_LIST_JOBS};
    if (perform_and_note(run, request, run->outcomes, &run->answer) && run->answer.unreadable > 0)
        fail_unreadable(run->outcomes, &run->answer);
}

static void print(struct run *run) {
    static const char *const titles[] = {"ID", "STATUS", "%", "START", "UNTIL", "NAME", "MESSAGE"};
    enum { COLUMNS = sizeof titles / sizeof *titles };
    const char **cells = allocate(run->answer.job_count * COLUMNS + 1, sizeof *cells);
    size_t rows = 0;
    for (const XAVO_VELK_LifecycleJob *job = run->answer.jobs; cells != NULL && job != NULL;
         job = job->next) {
        if (!is_wanted(run, job))
            continue;
        const char *const row[] = {job->InstanceID,   job->JobStatus, job->PercentComplete, job->JobStartTime,
                                   job->JobUntilTime, job->Name,      job->Message};
        for (size_t i = 0; i < COLUMNS; ++i)
            cells[rows * COLUMNS + i] = row[i];
        ++rows;
    }
    if (run->request.quiet) {
        for (size_t i = 0; i < rows; ++i)
            put_line(stdout, cells[i * COLUMNS]);
    } else if (cells != NULL && (rows > 0 || run->outcomes->kind == XAVO_KIND_NONE)) {
        put_table(titles, COLUMNS, cells, rows, 1);
    }
    free(cells);
}

static void to_json(struct run *run, struct json_object *document) {
    if (run->answer.effect != XAVO_EFFECT_ANSWERED)
        return;
    struct json_object *list = json_array(document, "jobs");
    for (const XAVO_VELK_LifecycleJob *job = run->answer.jobs; job != NULL; job = job->next)
        if (is_wanted(run, job))
            json_append(list, json_of_job(job));
    if (run->answer.unreadable > 0)
        json_set_number(document, "unreadable", (int64_t)run->answer.unreadable);
}

const struct command jobs_command = {
    .name = "jobs",
    .arguments = "",
    .summary = "list the jobs",
    .details = "With --quiet their identifiers alone. Jobs that cannot be read are left out, and counted.",
    .examples = "  xavoctl jobs\n"
                "  xavoctl jobs --status running --status scheduled\n"
                "  xavoctl jobs --name nightly --quiet\n"
                "  xavoctl jobs --user operator --json\n",
    .options = {options},
    .perform = perform,
    .print = print,
    .to_json = to_json,
};
