/* job_queue.c - lists the jobs; schedules or deletes the jobs in its arguments.
 *
 * Before it changes anything it fetches each of these jobs, and stops when one does not exist. */
#include <string.h>
#include <unistd.h>
#include <XAVO.h>

static int report(const char *call, const char *id, XAVO_ErrorCode outcome) {
    printf("%s%s: %s\n", call, id, XAVO_EC_to_string(outcome));
    return outcome == XAVO_NO_ERROR;
}

static int list(XAVO_Proxy *sp) {
    XAVO_ErrorCode ec;
    XAVO_VELK_LifecycleJob *jobs = XAVO_enumerate_VELK_LifecycleJob(sp, &ec);
    for (const XAVO_VELK_LifecycleJob *job = jobs; job != NULL; job = job->next)
        printf("%-20s %-12s %-16s %3s%%  %s\n", job->InstanceID ? job->InstanceID : "-",
               job->JobStatus ? job->JobStatus : "-", job->JobStartTime ? job->JobStartTime : "-",
               job->PercentComplete ? job->PercentComplete : "-", job->Name ? job->Name : "");
    XAVO_free_list_VELK_LifecycleJob(jobs);
    return report("list the jobs", "", ec);
}

static int show(XAVO_Proxy *sp, char *const *ids) {
    XAVO_ErrorCode ec = XAVO_NO_ERROR;
    for (; *ids != NULL && ec == XAVO_NO_ERROR; ++ids) {
        XAVO_VELK_LifecycleJob *job = XAVO_get_VELK_LifecycleJob(sp, &ec, *ids);
        report("fetch ", *ids, ec);
        if (job != NULL)
            XAVO_fprint_VELK_LifecycleJob(stdout, job);
        XAVO_free_VELK_LifecycleJob(job);
    }
    return ec == XAVO_NO_ERROR;
}

static int schedule(XAVO_Proxy *sp, const char *start, char *const *ids) {
    XAVO_ErrorCode ec;
    if (!show(sp, ids))
        return 0;
    XAVO_invoke_SetupJobQueue(sp, &ec, start, NULL, ids);
    return report("schedule for ", start, ec) && list(sp);
}

static int delete_jobs(XAVO_Proxy *sp, char *const *ids) {
    if (!show(sp, ids))
        return 0;
    for (; *ids != NULL; ++ids) {
        XAVO_ErrorCode ec;
        XAVO_delete_VELK_LifecycleJob(sp, &ec, *ids);
        if (!report("delete ", *ids, ec))
            return 0;
    }
    return list(sp);
}

int main(int argc, char **argv) {
    const int deletes = argc > 2 && strcmp(argv[1], "delete") == 0;
    const int schedules = argc > 3 && strcmp(argv[1], "schedule") == 0;
    if (argc > 1 && !deletes && !schedules) {
        fprintf(stderr, "usage: %s\n       %s schedule START JOB...\n       %s delete JOB...\n", argv[0],
                argv[0], argv[0]);
        return 2;
    }
    alarm(60); /* ends the program if the broker hangs: no call has a time-out */
    XAVO_Proxy *sp = XAVO_new();
    if (sp == NULL) {
        fprintf(stderr, "no broker answers\n");
        return 1;
    }
    const int ok = deletes     ? delete_jobs(sp, argv + 2)
                   : schedules ? schedule(sp, argv[2], argv + 3)
                               : list(sp);
    XAVO_free(sp);
    return ok ? 0 : 1;
}
