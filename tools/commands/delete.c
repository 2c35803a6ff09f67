/* delete.c - the command delete. */
#include "../output/output.h"
#include "../xavoctl.h"

/* clang-format off */
static const struct option_row options[] = {
    {"status", "S", "delete the jobs with this status, in any letter case; can be repeated", STATUS, false, 0,
        IN_REQUEST(statuses)},
    {"all", NULL, "delete all jobs", FLAG, false, 0, IN_REQUEST(all)},
    {0},
};
/* clang-format on */

static void check(struct request *request) {
    const int ways = (request->argument_count > 0) + (request->status_count > 0) + request->all;
    if (ways != 1)
        complain(request, "delete needs ID..., --status or --all%s",
                 ways > 0 ? ", and one of them only" : "");
    if (request->all)
        check_confirmation(request);
}

static void perform(struct run *run) {
    if (run->request.argument_count > 0)
        name_jobs(run);
    else if ((run->request.all && !confirm(run, "Delete all jobs?")) || !choose_jobs(run))
        return;
    for (size_t i = 0; i < run->outcome_count; ++i)
        if (run->outcomes[i].job_id != NULL)
            fail(&run->outcomes[i], KIND_NOT_TRIED, NULL);
    bool goes_on = true;
    for (size_t i = 0; i < run->outcome_count && goes_on; ++i) {
        if (run->outcomes[i].job_id == NULL)
            continue;
        const XAVO_Request request = {.operation = XAVO_OP_DELETE_JOB, .id = run->outcomes[i].job_id};
        XAVO_Answer answer;
        (void)perform_and_note(run, request, &run->outcomes[i], &answer);
        goes_on = answer.effect == XAVO_EFFECT_ANSWERED || answer.kind == XAVO_KIND_NOTHING_ASKED;
        XAVO_answer_free(&answer);
    }
}

static void print(struct run *run) {
    const struct outcome *first = run->outcomes;
    if (first->kind == XAVO_KIND_NONE && first->job_id == NULL && !run->request.quiet)
        (void)puts("there is no such job");
    put_done(run, "deleted");
}

const struct command delete_command = {
    .name = "delete",
    .arguments = "[ID...]",
    .summary = "delete jobs",
    .details = "One after the other; one that is refused does not keep the others.",
    .most = -1,
    .flags = MANY_JOBS,
    .examples = "  xavoctl delete JID_1 JID_2\n"
                "  xavoctl delete --status completed --status failed\n"
                "  xavoctl delete --all --dry-run\n",
    .options = {options, change_options, confirm_options},
    .check = check,
    .perform = perform,
    .print = print,
};
