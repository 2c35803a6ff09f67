/* wait.c - the command wait. */
#include "../output/output.h"
#include "../xavoctl.h"

static const struct option_row options[] = {
    {"any", NULL, "end when one of the jobs has ended", FLAG, false, 0, IN_REQUEST(any)},
    SETTLE_OPTION,
    {0},
};

static void perform(struct run *run) {
    name_jobs(run);
    wait_for_jobs(run, false);
}

static void print(struct run *run) { put_done(run, NULL); }

const struct command wait_command = {
    .name = "wait",
    .arguments = "ID...",
    .summary = "wait for jobs to end",
    .details =
        "All of them at once, with one listing a round; without --timeout for as long as it takes. A broker that "
        "restarts meanwhile is waited for.",
    .examples = "  xavoctl wait JID_1 JID_2 --timeout 3600\n"
                "  xavoctl wait JID_1 JID_2 --any --quiet\n",
    .least = 1,
    .most = -1,
    .options = {options},
    .flags = WAITS | MANY_JOBS,
    .perform = perform,
    .print = print,
};
