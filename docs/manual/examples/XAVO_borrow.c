/* Counts the jobs once a minute, for months: nothing is held between, so that nothing grows. */
#include <unistd.h>
#include <XAVO_companion.h>

int main(void) {
    for (;; sleep(60)) {
        XAVO_ErrorCode ec;
        unsigned int count = 0;
        XAVO_Proxy *sp = XAVO_borrow(&ec, NULL, 10000, NULL);
        if (sp == NULL)
            continue; /* the broker is away, or others hold a dead connection: try again */
        XAVO_VELK_LifecycleJob *jobs = XAVO_enumerate_VELK_LifecycleJob(sp, &ec);
        XAVO_give_back(sp);
        for (const XAVO_VELK_LifecycleJob *job = jobs; job != NULL; job = job->next)
            ++count;
        XAVO_free_list_VELK_LifecycleJob(jobs);
        printf("%u jobs, %s\n", count, XAVO_EC_to_string(ec));
    }
}
