/* Prints the jobs that have not ended. */
#include <strings.h>
#include <XAVO.h>

int main(void) {
    XAVO_ErrorCode ec;
    XAVO_VELK_LifecycleJob *jobs = XAVO_enumerate_VELK_LifecycleJob(NULL, &ec);
    for (const XAVO_VELK_LifecycleJob *job = jobs; job != NULL; job = job->next)
        if (job->JobStatus != NULL && strcasecmp(job->JobStatus, "Completed") != 0 &&
            strcasecmp(job->JobStatus, "Failed") != 0)
            XAVO_fprint_VELK_LifecycleJob(stdout, job);
    XAVO_free_list_VELK_LifecycleJob(jobs);
    return ec != XAVO_NO_ERROR;
}
