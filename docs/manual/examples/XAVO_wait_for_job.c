/* Follows a job for an hour at the most, and tells of every change. */
#include <XAVO_companion.h>

static int tell(void *context, const XAVO_Poll *poll) {
    (void)context;
    if (poll->changed)
        printf("%s %s%%\n", poll->job->JobStatus ? poll->job->JobStatus : "-",
               poll->job->PercentComplete ? poll->job->PercentComplete : "-");
    return 0; /* go on */
}

int main(int argc, char **argv) {
    const XAVO_WaitOptions how = {.deadline_ms = 3600000, .polled = tell};
    XAVO_WaitResult result;
    const int end = XAVO_wait_for_job(argc == 2 ? argv[1] : NULL, &how, &result);
    printf("%s: %s\n", XAVO_wait_to_string(end),
           result.job && result.job->Message ? result.job->Message : XAVO_EC_to_string(result.code));
    XAVO_free_VELK_LifecycleJob(result.job);
    return end;
}
