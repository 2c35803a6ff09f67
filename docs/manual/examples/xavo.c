/* Starts a backup and follows it to its end. Exit status 0: it is there. */
#include <string.h>
#include <XAVO_companion.h>

/* What does not fit is refused: a share of which only the beginning arrives is another one. */
static int put(char *buffer, size_t size, const char *text) {
    if (strlen(text) >= size)
        return 0;
    strcpy(buffer, text);
    return 1;
}

/* The job's identifier, to be freed, or NULL. */
static char *start(XAVO_BAR_INPUT_DATA *backup) {
    XAVO_ErrorCode ec;
    XAVO_Reason reason;
    char *job = NULL;
    XAVO_Proxy *sp = XAVO_borrow(&ec, NULL, 10000, &reason);
    if (sp != NULL) {
        XAVO_invoke_BackupRestore(sp, &ec, "BackupImage", backup, &job);
        XAVO_take_reason(sp, ec, &reason);
        XAVO_give_back(sp);
    }
    if (job == NULL)
        fprintf(stderr, "%s, %s: %s\n", XAVO_EC_to_string(ec), XAVO_reason_to_string(reason.kind),
                reason.message);
    return job;
}

int main(int argc, char **argv) {
    const XAVO_WaitOptions how = {.deadline_ms = 3600000};
    XAVO_WaitResult result;
    XAVO_BAR_INPUT_DATA backup;
    memset(&backup, 0, sizeof backup);
    backup.shareType = 0;
    strcpy(backup.startTime, "NOW");
    if (argc != 4 || !put(backup.ipaddr, sizeof backup.ipaddr, argv[1]) ||
        !put(backup.sharename, sizeof backup.sharename, argv[2]) ||
        !put(backup.imagename, sizeof backup.imagename, argv[3])) {
        fprintf(stderr, "usage: %s ADDRESS SHARE IMAGE\n", argv[0]);
        return 2;
    }
    char *job = start(&backup);
    if (job == NULL)
        return 1;
    const int end = XAVO_wait_for_job(job, &how, &result);
    printf("%s: %s, %s\n", job, XAVO_wait_to_string(end),
           result.job && result.job->Message ? result.job->Message : XAVO_EC_to_string(result.code));
    XAVO_free_VELK_LifecycleJob(result.job);
    XAVO_free_ntstring(job);
    return end != XAVO_WAIT_COMPLETED;
}
