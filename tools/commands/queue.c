/* queue.c - the command queue. */
#include "../output/output.h"
#include "../xavoctl.h"

static const struct option_row options[] = {
    {"start", "TIME", "when the jobs start, sent as StartTimeInterval", TEXT, true, 0, IN_REQUEST(start)},
    {"until", "TIME", "until when the jobs may start, sent as UntilTime", TEXT, false, 0, IN_REQUEST(until)},
    {0},
};

static void perform(struct run *run) {
    const struct request *asked = &run->request;
    const XAVO_Request request = {.operation = XAVO_OP_SETUP_JOB_QUEUE,
                                  .start_time = asked->start,
                                  .until_time = asked->until,
                                  .job_ids = asked->arguments};
    name_jobs(run);
    perform_call(run, request, 0, &run->answer);
    for (size_t i = 0; i < run->outcome_count; ++i)
        (void)take_outcome(&run->outcomes[i], &run->answer);
}

static void print(struct run *run) { put_done(run, "scheduled"); }

const struct command queue_command = {
    .name = "queue",
    .arguments = "ID...",
    .summary = "schedule jobs",
    .details = "All of them or none. " TIMES,
    .examples = "  xavoctl queue JID_1 JID_2 --start NOW\n"
                "  xavoctl queue JID_1 --start 20990101220000 --until 20990102040000\n",
    .least = 1,
    .most = -1,
    .flags = MANY_JOBS | ALL_OR_NONE,
    .options = {options, change_options},
    .perform = perform,
    .print = print,
};
