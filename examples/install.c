/* install.c - starts an installation, follows its job to the end, and creates a reboot job. */
#include <stdio.h>
#include <string.h>
#include <unistd.h>
#include <XAVO.h>

/* Asks once a second until the job has ended. Returns 1 when it completed. */
static int follow(XAVO_Proxy *sp, const char *id) {
    for (;;) {
        XAVO_ErrorCode ec;
        XAVO_VELK_LifecycleJob *job = XAVO_get_VELK_LifecycleJob(sp, &ec, id);
        if (job == NULL) {
            printf("%s: %s\n", id, XAVO_EC_to_string(ec));
            return 0;
        }
        const char *status = job->JobStatus ? job->JobStatus : "";
        const int completed = strcmp(status, "Completed") == 0;
        const int ended = completed || strcmp(status, "Failed") == 0;
        printf("    %s %s, %s%%: %s\n", id, status, job->PercentComplete ? job->PercentComplete : "0",
               job->Message ? job->Message : "");
        XAVO_free_VELK_LifecycleJob(job);
        if (ended)
            return completed;
        sleep(1);
    }
}

int main(void) {
    XAVO_ErrorCode ec;
    char *id = NULL;

    XAVO_Proxy *sp = XAVO_new();
    if (sp == NULL) {
        fprintf(stderr, "no broker answers\n");
        return 1;
    }
    XAVO_invoke_InstallFromURI(sp, &ec, "http://192.0.2.20/bios.bin", "IDENTITY:BIOS", &id);
    printf("install from a URI: %s\n", XAVO_EC_to_string(ec));
    const int installed = id != NULL && follow(sp, id);
    XAVO_free_ntstring(id);
    id = NULL;

    XAVO_invoke_InstallFromURI(sp, &ec, "http://192.0.2.20/bios.bin", "IDENTITY:NONE", &id);
    printf("install onto an unknown identity: %s\n", XAVO_EC_to_string(ec));
    XAVO_free_ntstring(id);
    id = NULL;

    XAVO_invoke_CreateRebootJob(sp, &ec, "1", &id);
    printf("create a reboot job: %s%s%s\n", XAVO_EC_to_string(ec), id ? ", " : "", id ? id : "");
    const int created = id != NULL;
    XAVO_free_ntstring(id);
    id = NULL;

    XAVO_invoke_CreateRebootJob(sp, &ec, "soon", &id);
    printf("create one of type \"soon\": %s\n", XAVO_EC_to_string(ec));

    XAVO_free(sp);
    return installed && created ? 0 : 1;
}
