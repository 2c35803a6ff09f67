/* job.c - the command job. */
#include "../output/json.h"
#include "../output/output.h"
#include "../xavoctl.h"

static void perform(struct run *run) {
    const XAVO_Request request = {.operation = XAVO_OP_GET_JOB, .id = run->request.arguments[0]};
    if (perform_and_note(run, request, run->outcomes, &run->answer))
        return;
    if (is_absent(&run->answer))
        fail_absent(run->outcomes, &run->answer);
    else if (run->answer.unreadable > 0)
        fail_unreadable(run->outcomes, &run->answer);
}

static void print(struct run *run) {
    if (run->answer.jobs != NULL)
        put_job(run->answer.jobs);
}

static void to_json(struct run *run, struct json_object *document) {
    if (run->answer.jobs != NULL)
        json_set(document, "job", json_of_job(run->answer.jobs));
}

const struct command job_command = {
    .name = "job",
    .arguments = "ID",
    .summary = "show a job",
    .examples = "  xavoctl job JID_1\n"
                "  xavoctl job JID_1 --json\n",
    .least = 1,
    .most = 1,
    .perform = perform,
    .print = print,
    .to_json = to_json,
};
