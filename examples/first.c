/* first.c - lists the jobs of this controller, and changes nothing. */
#include <XAVO.h>

int main(void) {
    XAVO_ErrorCode ec;
    XAVO_Proxy *sp = XAVO_new();
    if (sp == NULL)
        return 1; /* no broker answers; the reason is in the log */

    XAVO_VELK_LifecycleJob *jobs = XAVO_enumerate_VELK_LifecycleJob(sp, &ec);
    XAVO_fprint_list_VELK_LifecycleJob(stdout, jobs);
    XAVO_free_list_VELK_LifecycleJob(jobs);
    printf("%s\n", XAVO_EC_to_string(ec));

    XAVO_free(sp);
    return ec == XAVO_NO_ERROR ? 0 : 1;
}
