/* Starts a backup and waits for its job. Exit status 0: the backup completed. */
#include <stdio.h>
#include <string.h>
#include <XAVO_companion.h>

/* Copies a text; 0 if it is too long: a shortened name would be that of another share. */
static int put(char *buffer, size_t size, const char *text) {
    if (strlen(text) >= size)
        return 0;
    strcpy(buffer, text);
    return 1;
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
    XAVO_Pool *pool = XAVO_pool_new(NULL, NULL);
    XAVO_Answer answer;
    int end = XAVO_WAIT_ERROR;
    if (XAVO_backup_image(pool, &backup, 0, &answer) == XAVO_NO_ERROR) {
        end = XAVO_wait_for_job(pool, answer.job_id, &how, &result);
        printf("%s: %s, %s\n", answer.job_id, XAVO_wait_name(end),
               result.job && result.job->Message ? result.job->Message : XAVO_code_name(result.code));
        XAVO_wait_free(&result);
    } else {
        fprintf(stderr, "%s, %s, effect %s: %s\n", XAVO_code_name(answer.code), XAVO_kind_name(answer.kind),
                XAVO_effect_name(answer.effect), answer.message ? answer.message : "");
    }
    XAVO_answer_free(&answer);
    XAVO_pool_free(pool);
    return end != XAVO_WAIT_COMPLETED;
}
