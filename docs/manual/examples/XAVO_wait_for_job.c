/* Waits for a job for at most an hour, and prints every change. */
#include <stdio.h>
#include <XAVO_companion.h>

static int print_change(void *context, const XAVO_Poll *poll) {
    (void)context;
    if (poll->changed)
        printf("%s %s%%\n", poll->job->JobStatus ? poll->job->JobStatus : "-",
               poll->job->PercentComplete ? poll->job->PercentComplete : "-");
    return 0; /* continue to wait */
}

int main(int argc, char **argv) {
    const XAVO_WaitOptions how = {.deadline_ms = 3600000, .polled = print_change};
    XAVO_WaitResult result;
    XAVO_Pool *pool = XAVO_pool_new(NULL, NULL);
    const int end = XAVO_wait_for_job(pool, argc == 2 ? argv[1] : NULL, &how, &result);
    printf("%s: %s\n", XAVO_wait_name(end),
           result.job && result.job->Message ? result.job->Message : XAVO_code_name(result.code));
    XAVO_wait_free(&result);
    XAVO_pool_free(pool);
    return end;
}
