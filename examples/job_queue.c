/* job_queue.c - lists the jobs, sets two of them up, deletes one, and is refused once.
 *
 * Everything goes through one handle. A call's outcome is a number with a name. */
#include <stdio.h>
#include <XAVO.h>

static int report(const char *call, XAVO_ErrorCode outcome) {
    printf("%-56s %s\n", call, XAVO_EC_to_string(outcome));
    return outcome == XAVO_NO_ERROR;
}

static void list_jobs(XAVO_Proxy *sp) {
    XAVO_ErrorCode ec;
    XAVO_VELK_LifecycleJob *jobs = XAVO_enumerate_VELK_LifecycleJob(sp, &ec);
    report("list the jobs", ec);
    for (const XAVO_VELK_LifecycleJob *job = jobs; job != NULL; job = job->next)
        printf("    %-20s %-12s %-16s %s%%\n", job->InstanceID ? job->InstanceID : "-",
               job->JobStatus ? job->JobStatus : "-", job->JobStartTime ? job->JobStartTime : "-",
               job->PercentComplete ? job->PercentComplete : "-");
    XAVO_free_list_VELK_LifecycleJob(jobs);
}

static void show_job(XAVO_Proxy *sp, const char *id) {
    XAVO_ErrorCode ec;
    XAVO_VELK_LifecycleJob *job = XAVO_get_VELK_LifecycleJob(sp, &ec, id);
    printf("fetch %-50s %s\n", id, XAVO_EC_to_string(ec));
    if (job != NULL)
        XAVO_fprint_VELK_LifecycleJob(stdout, job);
    XAVO_free_VELK_LifecycleJob(job);
}

int main(void) {
    char *const queue[] = {"JID_1", "JID_2", NULL};
    XAVO_ErrorCode ec;

    XAVO_Proxy *sp = XAVO_new();
    if (sp == NULL) {
        fprintf(stderr, "no broker answers\n");
        return 1;
    }
    list_jobs(sp);

    XAVO_invoke_SetupJobQueue(sp, &ec, "20990101000000", NULL, queue);
    int ok = report("set up JID_1, JID_2 for 2099", ec);

    show_job(sp, "JID_2");
    XAVO_delete_VELK_LifecycleJob(sp, &ec, "JID_2");
    ok &= report("delete JID_2", ec);
    show_job(sp, "JID_2");

    XAVO_invoke_DeleteJobQueue(sp, &ec, "JID_2");
    report("delete it again: the service refuses", ec);
    list_jobs(sp);

    XAVO_free(sp);
    return ok ? 0 : 1;
}
