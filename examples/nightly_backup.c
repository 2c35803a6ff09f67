/* nightly_backup.c - starts a backup, waits for its end, and prints the reason when it fails.
 *
 * The program finds its job by the job's name, so put the date into the name. If a job of that name exists
 * and has not failed, the program waits for that job, even if it has completed, and starts no second one. */
#include "nightly_backup.h"

#include "record.h"
#include <poll.h>
#include <stdlib.h>
#include <strings.h>
#include <time.h>

enum {
    LISTING_MS = 5000, /* the deadline of a listing, which is then tried again */
    PAUSE_MS = 5000    /* between two attempts to start */
};

/* Milliseconds of a clock that does not change when the system time is set. */
static unsigned long long now_ms(void) {
    struct timespec now = {0, 0};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (unsigned long long)now.tv_sec * 1000 + (unsigned long long)now.tv_nsec / 1000000;
}

/* The time until `end` as a deadline: at most `most`, and at least 1, because 0 is the default deadline. */
static unsigned int left_ms(unsigned long long end, unsigned int most) {
    const unsigned long long now = now_ms(), left = now < end ? end - now : 1;
    return left < most ? (unsigned int)left : most;
}

static void print_failure(FILE *out, const char *what, const XAVO_Answer *answer) {
    fprintf(out, "%s: %s, %s, effect %s%s%s%s%s\n", what, XAVO_code_name(answer->code),
            XAVO_kind_name(answer->kind), XAVO_effect_name(answer->effect), answer->message_id ? ", " : "",
            answer->message_id ? answer->message_id : "", answer->message ? ": " : "",
            answer->message ? answer->message : "");
}

/* Whether the broker or the service answered with a refusal: the same request would be refused again. */
static int is_refused(const XAVO_Answer *answer) {
    return answer->effect == XAVO_EFFECT_ANSWERED &&
           (answer->kind == XAVO_KIND_BROKER || answer->kind == XAVO_KIND_SERVICE);
}

/* The identifier of the job of that name that has not failed, or NULL. */
static const char *find(const XAVO_Answer *listing, const char *name) {
    for (const XAVO_VELK_LifecycleJob *job = listing->jobs; job != NULL; job = job->next)
        if (job->InstanceID && job->Name && strcmp(job->Name, name) == 0 &&
            (job->JobStatus == NULL || strcasecmp(job->JobStatus, "Failed") != 0))
            return job->InstanceID;
    return NULL;
}

/* Looks for the job, and starts it if there is none. Returns its identifier, or NULL after a line with the
 * reason. Sets *again when another attempt may succeed, and *may_run when a start may have succeeded. Then a
 * refusal is no reason to stop: the job that runs may be why the service refuses.
 *
 * A job is started only after a complete listing without it, because an earlier attempt, or an earlier run of
 * the program, may have started it. The start gets all the time that is left: while a slow broker still works
 * on it, the job is in no listing. */
static char *find_or_start(FILE *out, XAVO_Pool *pool, const XAVO_BAR_INPUT_DATA *backup,
                           unsigned long long end, int *again, int *may_run) {
    XAVO_Answer answer;
    const char *what = "found", *found = NULL;
    char *id = NULL;
    if (XAVO_list_jobs(pool, left_ms(end, LISTING_MS), &answer) == XAVO_NO_ERROR)
        found = find(&answer, backup->JobName);
    if (found == NULL && (answer.code != XAVO_NO_ERROR || answer.unreadable > 0)) {
        print_failure(out, answer.unreadable > 0 ? "not all jobs can be read" : "not listed", &answer);
    } else if (found == NULL) {
        XAVO_answer_free(&answer);
        what = "started";
        XAVO_backup_image(pool, backup, left_ms(end, XAVO_LONGEST_DEADLINE_MS), &answer);
        found = answer.job_id;
        *may_run |= found == NULL && answer.effect != XAVO_EFFECT_NONE && !is_refused(&answer);
        if (found == NULL)
            print_failure(out, "not started", &answer);
    }
    if (found != NULL) {
        id = strdup(found);
        fprintf(out, "%s: %s\n", found, what);
        fflush(out); /* the identifier is known even if the program ends now */
    }
    *again = *may_run || (!is_refused(&answer) && answer.kind != XAVO_KIND_NOTHING_ASKED &&
                          answer.kind != XAVO_KIND_NO_WORKER);
    XAVO_answer_free(&answer);
    return id;
}

backup_end nightly_backup(FILE *out, XAVO_Pool *pool, const XAVO_BAR_INPUT_DATA *backup,
                          const XAVO_WaitOptions *how) {
    const unsigned long long end = now_ms() + how->deadline_ms;
    const unsigned int pause = how->first_pause_ms ? how->first_pause_ms : PAUSE_MS;
    int again = 0, may_run = 0;
    char *id;
    while ((id = find_or_start(out, pool, backup, end, &again, &may_run)) == NULL) {
        if (!again || now_ms() >= end)
            return may_run ? BACKUP_UNFINISHED : BACKUP_NOT_STARTED;
        poll(NULL, 0, (int)left_ms(end, pause));
    }
    XAVO_WaitResult result;
    XAVO_WaitOptions wait = *how;
    wait.deadline_ms = left_ms(end, how->deadline_ms);
    const int ended = XAVO_wait_for_job(pool, id, &wait, &result);
    const char *message = result.job && result.job->Message ? result.job->Message : result.message;
    fprintf(out, "%s: %s, %s%s%s\n", id, XAVO_wait_name(ended), XAVO_code_name(result.code),
            message ? ": " : "", message ? message : "");
    XAVO_wait_free(&result);
    free(id);
    if (ended == XAVO_WAIT_COMPLETED)
        return BACKUP_DONE;
    return ended == XAVO_WAIT_FAILED || ended == XAVO_WAIT_GONE || ended == XAVO_WAIT_NOT_FOUND
               ? BACKUP_FAILED
               : BACKUP_UNFINISHED;
}

#ifndef WITHOUT_MAIN /* the tests have a main of their own */
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
    char *type_end, *seconds_end;
    const unsigned long type = strtoul(argv[1], &type_end, 10), seconds = strtoul(argv[8], &seconds_end, 10);
    if (*type_end != '\0' || *seconds_end != '\0' || type > 6 || seconds == 0 || seconds > 86400) {
        fprintf(stderr, "SHARE_TYPE is a number up to 6, SECONDS one from 1 to 86400\n");
        return 64;
    }
    backup.shareType = (uint16_t)type;
    how.deadline_ms = (unsigned int)seconds * 1000;
    if (!RECORD_PUT(backup.ipaddr, argv[2]) || !RECORD_PUT(backup.sharename, argv[3]) ||
        !RECORD_PUT(backup.uname, argv[4]) || !RECORD_PUT_FILE(backup.passwd, argv[5]) ||
        !RECORD_PUT(backup.imagename, argv[6]) || !RECORD_PUT(backup.JobName, argv[7]) ||
        !RECORD_PUT(backup.startTime, "NOW"))
        return 64;
    XAVO_Pool *pool = XAVO_pool_new(NULL, NULL);
    if (pool == NULL)
        return 71; /* EX_OSERR of sysexits.h, as 64 is EX_USAGE */
    const backup_end ended = nightly_backup(stdout, pool, &backup, &how);
    XAVO_pool_free(pool);
    return (int)ended;
}
#endif
