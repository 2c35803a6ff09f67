/* nightly_backup.c - a backup that is started, followed to its end and explained when it fails.
 *
 * The job's name distinguishes one night from another, so put the date into it. When a job of that name
 * exists and has not failed, the program follows that job, also if it has completed, instead of starting a
 * second one. */
#include "nightly_backup.h"

#include "record.h"
#include <stdlib.h>
#include <strings.h>
#include <time.h>

/* Milliseconds of a clock that nobody sets. */
static unsigned long long now_ms(void) {
    struct timespec now = {0, 0};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (unsigned long long)now.tv_sec * 1000 + (unsigned long long)now.tv_nsec / 1000000;
}

static void pause_ms(unsigned int ms) {
    const struct timespec time = {(time_t)(ms / 1000), (long)(ms % 1000) * 1000000};
    nanosleep(&time, NULL);
}

/* What is left until `end`, as a deadline: at least 1, since 0 is the usual one. */
static unsigned int left_ms(unsigned long long end) {
    const unsigned long long now = now_ms(), left = now < end ? end - now : 1;
    return left > XAVO_LONGEST_DEADLINE_MS ? XAVO_LONGEST_DEADLINE_MS : (unsigned int)left;
}

static void explain(FILE *out, const char *what, const XAVO_Answer *answer) {
    fprintf(out, "%s: %s, %s, effect %s%s%s%s%s\n", what, XAVO_code_name(answer->code),
            XAVO_kind_name(answer->kind), XAVO_effect_name(answer->effect), answer->message_id ? ", " : "",
            answer->message_id ? answer->message_id : "", answer->message ? ": " : "",
            answer->message ? answer->message : "");
}

/* Whether the same request may succeed later: no broker answered, or no worker was free. */
static int is_worth_another_try(const XAVO_Answer *answer) {
    return answer->effect != XAVO_EFFECT_ANSWERED &&
           (answer->kind == XAVO_KIND_NO_BROKER || answer->kind == XAVO_KIND_CONNECTION_LOST ||
            answer->kind == XAVO_KIND_CRASHED || answer->kind == XAVO_KIND_DEADLINE ||
            answer->kind == XAVO_KIND_BUSY || answer->effect == XAVO_EFFECT_UNKNOWN);
}

/* The identifier of the job of that name that has not failed, or NULL. */
static const char *find(const XAVO_Answer *listing, const char *name) {
    for (const XAVO_VELK_LifecycleJob *job = listing->jobs; job != NULL; job = job->next)
        if (job->InstanceID && job->Name && job->JobStatus && strcmp(job->Name, name) == 0 &&
            strcasecmp(job->JobStatus, "Failed") != 0)
            return job->InstanceID;
    return NULL;
}

/* The started or found job's identifier, or NULL after a line that says why there is none. Nothing is started
 * before a complete listing has shown that there is no such job: the last try, or the program before this
 * one, may have started it. */
static char *start(FILE *out, XAVO_Pool *pool, const XAVO_BAR_INPUT_DATA *backup, unsigned int pause,
                   unsigned long long end) {
    for (;;) {
        XAVO_Answer answer;
        const char *found = NULL, *done = "taken up";
        int again = 0;
        if (XAVO_list_jobs(pool, left_ms(end), &answer) == XAVO_NO_ERROR)
            found = find(&answer, backup->JobName);
        if (answer.code != XAVO_NO_ERROR) {
            explain(out, "not listed", &answer);
            again = is_worth_another_try(&answer);
        } else if (found == NULL && answer.unreadable > 0) {
            fprintf(out, "not started: %zu jobs could not be read\n", answer.unreadable);
            again = 1;
        } else if (found == NULL) {
            XAVO_answer_free(&answer);
            done = "started";
            if (XAVO_backup_image(pool, backup, left_ms(end), &answer) == XAVO_NO_ERROR) {
                found = answer.job_id;
            } else {
                explain(out, "not started", &answer);
                again = is_worth_another_try(&answer);
            }
        }
        char *id = found != NULL ? strdup(found) : NULL;
        XAVO_answer_free(&answer);
        if (id != NULL) {
            fprintf(out, "%s: %s\n", id, done);
            fflush(out); /* the identifier is known even if the program ends now */
        }
        if (id != NULL || !again || now_ms() + pause >= end)
            return id;
        pause_ms(pause);
    }
}

backup_end nightly_backup(FILE *out, XAVO_Pool *pool, const XAVO_BAR_INPUT_DATA *backup,
                          const XAVO_WaitOptions *how) {
    XAVO_WaitResult result;
    XAVO_WaitOptions wait = *how;
    const unsigned long long end = now_ms() + how->deadline_ms;
    char *id = start(out, pool, backup, how->first_pause_ms ? how->first_pause_ms : 5000, end);
    if (id == NULL)
        return BACKUP_REFUSED;
    wait.deadline_ms = left_ms(end);
    const int ended = XAVO_wait_for_job(pool, id, &wait, &result);
    fprintf(out, "%s: %s, %s%s%s\n", id, XAVO_wait_name(ended), XAVO_code_name(result.code),
            result.job && result.job->Message ? ": " : "",
            result.job && result.job->Message ? result.job->Message : "");
    XAVO_wait_free(&result);
    free(id);
    return ended == XAVO_WAIT_COMPLETED  ? BACKUP_DONE
           : ended == XAVO_WAIT_DEADLINE ? BACKUP_UNFINISHED
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
    XAVO_Pool *pool = XAVO_pool_new(NULL, NULL);
    if (pool == NULL)
        return 71;
    const backup_end ended = nightly_backup(stdout, pool, &backup, &how);
    XAVO_pool_free(pool);
    return (int)ended;
}
#endif
