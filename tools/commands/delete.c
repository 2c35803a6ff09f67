/* delete.c - the command delete. */
#include "../output/output.h"
#include "../xavoctl.h"

static void perform(struct run *run) {
    name_jobs(run);
    for (size_t i = 0; i < run->outcome_count; ++i)
        fail(&run->outcomes[i], KIND_NOT_TRIED, NULL);
    bool goes_on = true;
    for (size_t i = 0; i < run->outcome_count && goes_on; ++i) {
        const XAVO_Request request = {.operation = XAVO_OP_DELETE_JOB, .id = run->outcomes[i].job_id};
        XAVO_Answer answer;
        (void)perform_and_note(run, request, &run->outcomes[i], &answer);
        goes_on = answer.effect == XAVO_EFFECT_ANSWERED || answer.kind == XAVO_KIND_NOTHING_ASKED;
        XAVO_answer_free(&answer);
    }
}

static void print(struct run *run) { put_done(run, "deleted"); }

const struct command delete_command = {
    .name = "delete",
    .arguments = "ID...",
    .summary = "delete jobs",
    .details = "One after the other; one that is refused does not keep the others.",
    .least = 1,
    .most = -1,
    .flags = MANY_JOBS,
    .options = {change_options},
    .perform = perform,
    .print = print,
};
