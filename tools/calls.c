/* calls.c - calls of the companion, which signals and the run's deadline end. */
#include "output/output.h"
#include "xavoctl.h"

#include <string.h>

static void print_log(void *context, int level, const char *line) {
    (void)context, (void)level;
    put_line(stderr, line);
}

bool open_pool(struct run *run) {
    const XAVO_PoolOptions options = {.workers = 1,
                                      .user = run->request.user,
                                      .log_level = run->request.verbose ? 0 : XAVO_LOG_NOTHING,
                                      .log = print_log};
    XAVO_ErrorCode code;
    run->pool = XAVO_pool_new(&options, &code);
    if (run->pool == NULL) {
        fail(run->outcomes, XAVO_KIND_NO_WORKER, XAVO_code_name(code));
        run->outcomes->code = code;
    }
    return run->pool != NULL;
}

/* Returns the deadline of a call; never 0, which is the companion's default. */
static unsigned int time_for_call(const struct run *run, int64_t longest) {
    int64_t left = XAVO_LONGEST_DEADLINE_MS;
    if (longest > 0 && longest < left)
        left = longest;
    if (run->deadline != 0 && run->deadline - now() < left)
        left = run->deadline - now();
    return left > 0 ? (unsigned int)left : 1;
}

XAVO_ErrorCode perform_call(struct run *run, XAVO_Request request, int64_t longest, XAVO_Answer *answer) {
    if (run->signal != 0) {
        *answer = (XAVO_Answer){.code = XAVO_UNKNOWN_ERROR, .kind = XAVO_KIND_CANCELLED};
        return answer->code;
    }
    if (run->request.dry_run && request.operation >= XAVO_OP_DELETE_JOB) {
        plan_call(run, &request);
        *answer = (XAVO_Answer){.code = XAVO_NO_ERROR, .effect = XAVO_EFFECT_ANSWERED};
        return answer->code;
    }
    request.deadline_ms = time_for_call(run, longest);
    XAVO_Call *call = XAVO_call_start(run->pool, &request, answer);
    if (call == NULL)
        return answer->code;
    while (!XAVO_call_collect(call, answer))
        if (wait_for_event(run, XAVO_call_descriptor(call), -1, 0) == EVENT_SIGNAL)
            XAVO_call_cancel(call);
    XAVO_call_free(call);
    return answer->code;
}

bool perform_and_note(struct run *run, XAVO_Request request, struct outcome *outcome, XAVO_Answer *answer) {
    perform_call(run, request, 0, answer);
    return take_outcome(outcome, answer);
}
