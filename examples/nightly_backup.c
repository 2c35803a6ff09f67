/* nightly_backup.c - a backup that is started, followed to its end and explained when it fails.
 *
 * The job's name tells one night from another: run again with the same name, the program takes up the job
 * that it finds, also one that has completed, instead of starting a second one. So give it one with the date
 * in it. */
#include "nightly_backup.h"

#include "record.h"
#include <stdlib.h>
#include <strings.h>
#include <time.h>

enum { TRIES = 5, BORROW_MS = 10000 };

static void pause_ms(unsigned int ms) {
    const struct timespec time = {(time_t)(ms / 1000), (long)(ms % 1000) * 1000000};
    nanosleep(&time, NULL);
}

/* One try: the code, the job's identifier if there is one, what was done to have it, and what is behind a
 * failure. Nothing is started before it is known that there is no such job: the last try, or the program
 * before this one, may have started it. One that has failed does not count. */
static XAVO_ErrorCode try_to_start(XAVO_BAR_INPUT_DATA *backup, char **id, const char **done,
                                   XAVO_Reason *reason) {
    XAVO_ErrorCode ec;
    XAVO_Proxy *sp = XAVO_borrow(&ec, NULL, BORROW_MS, reason);
    *id = NULL;
    *done = NULL;
    if (sp == NULL)
        return ec;
    XAVO_VELK_LifecycleJob *jobs = XAVO_enumerate_VELK_LifecycleJob(sp, &ec);
    for (const XAVO_VELK_LifecycleJob *job = jobs; job != NULL && *done == NULL; job = job->next)
        if (job->InstanceID && job->Name && job->JobStatus && strcmp(job->Name, backup->JobName) == 0 &&
            strcasecmp(job->JobStatus, "Failed") != 0) {
            *id = strdup(job->InstanceID);
            *done = "taken up";
            ec = *id != NULL ? XAVO_NO_ERROR : XAVO_OUT_OF_MEMORY;
        }
    XAVO_free_list_VELK_LifecycleJob(jobs);
    XAVO_take_reason(sp, ec, reason);
    if (ec == XAVO_NO_ERROR && *done == NULL) {
        *done = "started";
        XAVO_invoke_BackupRestore(sp, &ec, "BackupImage", backup, id);
        XAVO_take_reason(sp, ec, reason);
    }
    XAVO_give_back(sp);
    return ec;
}

/* The started or found job's identifier, or NULL once it is said why there is none. A broker that is away is
 * tried again. */
static char *start(FILE *out, XAVO_BAR_INPUT_DATA *backup, unsigned int pause) {
    for (int tries = 1;; ++tries) {
        XAVO_Reason reason;
        char *id;
        const char *done;
        const XAVO_ErrorCode ec = try_to_start(backup, &id, &done, &reason);
        if (ec == XAVO_NO_ERROR) {
            fprintf(out, "%s: %s\n", id, done);
            return id;
        }
        fprintf(out, "not started: %s, %s%s%s%s%s\n", XAVO_EC_to_string(ec),
                XAVO_reason_to_string(reason.kind), reason.message_id[0] ? ", " : "", reason.message_id,
                reason.message[0] ? ": " : "", reason.message);
        const int away = reason.kind == XAVO_REASON_CONNECTION_LOST ||
                         reason.kind == XAVO_REASON_OUTCOME_UNKNOWN ||
                         (ec == XAVO_UNABLE_TO_OPEN_CONNECTION && reason.kind == XAVO_REASON_NOTHING_ASKED);
        if (!away || tries == TRIES)
            return NULL;
        pause_ms(pause);
    }
}

backup_end nightly_backup(FILE *out, XAVO_BAR_INPUT_DATA *backup, const XAVO_WaitOptions *how) {
    XAVO_WaitResult result;
    char *id = start(out, backup, how->first_pause_ms ? how->first_pause_ms : 5000);
    if (id == NULL)
        return BACKUP_REFUSED;
    const int end = XAVO_wait_for_job(id, how, &result);
    fprintf(out, "%s: %s, %s%s%s\n", id, XAVO_wait_to_string(end), XAVO_EC_to_string(result.code),
            result.job && result.job->Message ? ": " : "",
            result.job && result.job->Message ? result.job->Message : "");
    XAVO_free_VELK_LifecycleJob(result.job);
    XAVO_free_ntstring(id);
    return end == XAVO_WAIT_COMPLETED                           ? BACKUP_DONE
           : end == XAVO_WAIT_DEADLINE || end == XAVO_WAIT_LOST ? BACKUP_UNFINISHED
                                                                : BACKUP_FAILED;
}

#ifndef WITHOUT_MAIN /* its tests have one of their own */
int main(int argc, char **argv) {
    XAVO_BAR_INPUT_DATA backup;
    XAVO_WaitOptions how;
    memset(&backup, 0, sizeof backup);
    memset(&how, 0, sizeof how);
    if (argc != 9) {
        fprintf(stderr, "usage: %s SHARE_TYPE ADDRESS SHARE USER PASSWORD_FILE IMAGE JOB_NAME SECONDS\n",
                argv[0]);
        return 64;
    }
    char *end, *over;
    const unsigned long type = strtoul(argv[1], &end, 10), seconds = strtoul(argv[8], &over, 10);
    if (*end != '\0' || *over != '\0' || type > 6 || seconds == 0 || seconds > 604800) {
        fprintf(stderr, "SHARE_TYPE is a number up to 6, SECONDS one from 1 to 604800\n");
        return 64;
    }
    backup.shareType = (uint16_t)type;
    how.deadline_ms = (unsigned int)seconds * 1000;
    if (!RECORD_PUT(backup.ipaddr, argv[2]) || !RECORD_PUT(backup.sharename, argv[3]) ||
        !RECORD_PUT(backup.uname, argv[4]) || !RECORD_PUT_FILE(backup.passwd, argv[5]) ||
        !RECORD_PUT(backup.imagename, argv[6]) || !RECORD_PUT(backup.JobName, argv[7]) ||
        !RECORD_PUT(backup.startTime, "NOW"))
        return 64;
    return (int)nightly_backup(stdout, &backup, &how);
}
#endif
