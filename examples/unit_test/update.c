/* update.c - installs software: looks up the target, starts the job, waits for its end. */
#include "update.h"
#include <string.h>
#include <XAVO.h>

/* Looks for the software identity and prints the others that come before it. Returns NOT_FOUND when it does
 * not exist. */
static XAVO_ErrorCode find_identity(XAVO_Proxy *sp, FILE *out, const char *identity) {
    XAVO_ErrorCode ec;
    CMPIEnumeration *all = XAVO_enumerate(sp, &ec, "root/velk", "VELK_SoftwareIdentity");
    int found = 0;
    while (all != NULL && !found && all->ft->hasNext(all, NULL)) {
        const CMPIData element = all->ft->getNext(all, NULL);
        if (element.state != CMPI_goodValue || element.type != CMPI_instance || element.value.inst == NULL)
            continue;
        char *id = XAVO_property_to_ntstring(sp, &ec, element.value.inst, "InstanceID");
        found = id != NULL && strcmp(id, identity) == 0;
        if (id != NULL && !found)
            fprintf(out, "available: %s\n", id);
        XAVO_free_ntstring(id);
    }
    if (all != NULL)
        all->ft->release(all);
    return ec == XAVO_NO_ERROR && !found ? XAVO_NOT_FOUND : ec;
}

/* Polls the job until it ends. Each poll opens its own handle, so that polling continues after the broker was
 * restarted. */
static update_end follow(FILE *out, const char *id, unsigned int limit, void (*pause)(unsigned int)) {
    const unsigned int step = 2;
    for (unsigned int waited = 0;; waited += step) {
        XAVO_ErrorCode ec;
        XAVO_VELK_LifecycleJob *job = XAVO_get_VELK_LifecycleJob(NULL, &ec, id);
        const char *status = job != NULL && job->JobStatus != NULL ? job->JobStatus : "";
        const int done = strcmp(status, "Completed") == 0;
        const int failed = strcmp(status, "Failed") == 0 || ec == XAVO_NOT_FOUND;
        fprintf(out, "%s: %s %s\n", id, XAVO_EC_to_string(ec),
                job != NULL && job->Message != NULL ? job->Message : "");
        XAVO_free_VELK_LifecycleJob(job);
        if (done || failed)
            return done ? UPDATE_DONE : UPDATE_FAILED;
        if (waited >= limit)
            return UPDATE_UNFINISHED;
        pause(step);
    }
}

update_end update_software(FILE *out, const char *uri, const char *identity, unsigned int limit,
                           void (*pause)(unsigned int seconds)) {
    XAVO_ErrorCode ec = XAVO_UNABLE_TO_OPEN_CONNECTION;
    char *id = NULL;
    XAVO_Proxy *sp = XAVO_new();
    if (sp != NULL) {
        ec = find_identity(sp, out, identity); /* changes nothing; fails if the connection is broken */
        if (ec == XAVO_NO_ERROR)
            XAVO_invoke_InstallFromURI(sp, &ec, uri, identity, &id);
        XAVO_free(sp);
    }
    fprintf(out, "install %s onto %s: %s\n", uri, identity, XAVO_EC_to_string(ec));
    const update_end end = id != NULL ? follow(out, id, limit, pause) : UPDATE_NOT_STARTED;
    XAVO_free_ntstring(id);
    return end;
}
