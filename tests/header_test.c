/* header_test.c - the public header as plain C, and libxavo.so itself as a caller links it. */
#include <string.h>
#include <XAVO.h>

#define CHECK(condition)                                                                                     \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);                                  \
            return 1;                                                                                        \
        }                                                                                                    \
    } while (0)

int main(void) {
    XAVO_ErrorCode ec = -1;
    char *id = NULL;
    char *const jobs[] = {"JID_1", NULL};

    XAVO_Proxy *sp = XAVO_new_with_uname("operator");
    CHECK(sp != NULL && XAVO_is_valid(sp));
    XAVO_invoke_SetupJobQueue(sp, &ec, "NOW", NULL, jobs);
    CHECK(ec == XAVO_NO_ERROR);
    XAVO_VELK_LifecycleJob *job = XAVO_get_VELK_LifecycleJob(sp, &ec, jobs[0]);
    CHECK(ec == XAVO_NO_ERROR && job != NULL && strcmp(job->InstanceID, jobs[0]) == 0);
    XAVO_free_VELK_LifecycleJob(job);
    XAVO_invoke_CreateRebootJob(NULL, &ec, "1", &id);
    CHECK(ec == XAVO_NO_ERROR && id != NULL);
    XAVO_free_ntstring(id);
    XAVO_invoke_CreateRebootJob(sp, &ec, "-1", &id);
    CHECK(strcmp(XAVO_EC_to_string(ec), "INVALID_VALUE") == 0 && id == NULL);
    XAVO_free(sp);
    return 0;
}
