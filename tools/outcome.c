/* outcome.c - the table of kinds, and outcomes. */
#include "outcome.h"

#include <stdlib.h>
#include <string.h>

/* ---- Tables ------------------------------------------------------------------------------------------ */

/* clang-format off */
static const struct kind kinds[] = {
    {XAVO_KIND_NONE, "none", STATUS_DONE, XAVO_NO_ERROR, "done", NULL},
    {XAVO_KIND_NOTHING_ASKED, "nothing asked", STATUS_FAILED, XAVO_INVALID_VALUE,
        "refused before anything was sent", NULL},
    {XAVO_KIND_SERVICE, "service", STATUS_FAILED, XAVO_UNKNOWN_ERROR, "the service refuses", NULL},
    {XAVO_KIND_BROKER, "broker", STATUS_FAILED, XAVO_UNKNOWN_ERROR, "the broker refuses", NULL},
    {XAVO_KIND_NO_BROKER, "no broker", STATUS_CONNECTION, XAVO_UNABLE_TO_OPEN_CONNECTION, "no broker answers", NULL},
    {XAVO_KIND_CONNECTION_LOST, "connection lost", STATUS_CONNECTION, XAVO_UNKNOWN_ERROR,
        "the connection was lost", NULL},
    {XAVO_KIND_ANSWER_UNUSABLE, "answer unusable", STATUS_FAILED, XAVO_UNKNOWN_ERROR,
        "the controller's answer could not be read", NULL},
    {XAVO_KIND_DEADLINE, "deadline", STATUS_DEADLINE, XAVO_UNKNOWN_ERROR,
        "no answer in time", "no answer in time: the outcome is unknown"},
    {XAVO_KIND_CANCELLED, "interrupted", STATUS_INTERRUPTED, XAVO_UNKNOWN_ERROR,
        "interrupted", "interrupted: the outcome is unknown"},
    {XAVO_KIND_CRASHED, "crashed", STATUS_CONNECTION, XAVO_UNKNOWN_ERROR, "the client library crashed", NULL},
    {XAVO_KIND_BUSY, "busy", STATUS_FAILED, XAVO_UNABLE_TO_OPEN_CONNECTION, "no worker is free", NULL},
    {XAVO_KIND_NO_WORKER, "no worker", STATUS_CONNECTION, XAVO_UNABLE_TO_OPEN_CONNECTION,
        "the worker could not be started", NULL},
    {KIND_OUTCOME_UNKNOWN, "outcome unknown", STATUS_CONNECTION, XAVO_UNKNOWN_ERROR,
        "the connection was lost during the call: the outcome is unknown", NULL},
    {KIND_WRONG_USE, "wrong use", STATUS_USAGE, XAVO_INVALID_VALUE, "wrong use", NULL},
    {KIND_NOT_THERE, "not there", STATUS_NOT_FOUND, XAVO_NOT_FOUND, "there is none", NULL},
    {KIND_NOT_CONFIRMED, "not confirmed", STATUS_FAILED, XAVO_UNKNOWN_ERROR,
        "not confirmed, and nothing was sent", NULL},
    {KIND_NOT_TRIED, "not tried", STATUS_FAILED, XAVO_UNKNOWN_ERROR, "not tried", NULL},
    {KIND_UNREADABLE, "unreadable", STATUS_FAILED, XAVO_UNKNOWN_ERROR, "the listing is incomplete", NULL},
    {KIND_CHECK_FAILED, "check failed", STATUS_FAILED, XAVO_UNKNOWN_ERROR, "a check failed", NULL},
    {KIND_NO_SECRET, "deadline", STATUS_DEADLINE, XAVO_UNKNOWN_ERROR, "a secret did not come in time", NULL},
    {KIND_JOB_FAILED, "job failed", STATUS_JOB, XAVO_UNKNOWN_ERROR, "the job failed", NULL},
    {KIND_JOB_GONE, "job gone", STATUS_JOB, XAVO_NOT_FOUND, "the job is not there any more", NULL},
    {KIND_JOB_UNCLEAR, "job unclear", STATUS_JOB, XAVO_UNKNOWN_ERROR,
        "the job stands at 100%, and its status is neither Completed nor Failed", NULL},
    {KIND_JOB_GOES_ON, "deadline", STATUS_DEADLINE, XAVO_UNKNOWN_ERROR, "the job has not ended in time", NULL},
    {KIND_JOB_NOT_SEEN, "deadline", STATUS_DEADLINE, XAVO_UNABLE_TO_OPEN_CONNECTION,
        "no broker answers, and the time is over", NULL},
    {KIND_JOB_UNREADABLE, "deadline", STATUS_DEADLINE, XAVO_UNKNOWN_ERROR,
        "the job could not be read in time", NULL},
    /* A kind of a later release of the companion. */
    {-1, "other", STATUS_FAILED, XAVO_UNKNOWN_ERROR, "the call failed", NULL},
};

static const char *const ends[] = {
    [XAVO_WAIT_COMPLETED] = "completed",
    [XAVO_WAIT_FAILED] = "failed",
    [XAVO_WAIT_GONE] = "gone",
    [XAVO_WAIT_NOT_FOUND] = "not found",
    [XAVO_WAIT_DEADLINE] = "deadline",
    [XAVO_WAIT_CANCELLED] = "interrupted",
    [XAVO_WAIT_UNREADABLE] = "unreadable",
    [XAVO_WAIT_ERROR] = "error",
    [XAVO_WAIT_NO_WORKER] = "no worker",
    [END_UNCLEAR] = "unclear",
    [END_GOES_ON] = "goes on",
};

static const char *const effects[] = {
    [XAVO_EFFECT_NONE] = "none",
    [XAVO_EFFECT_UNKNOWN] = "unknown",
    [XAVO_EFFECT_ANSWERED] = "answered",
};
/* clang-format on */

const struct kind *kind_of(int number) {
    const struct kind *kind = kinds;
    while (kind->number != number && kind + 1 < kinds + sizeof kinds / sizeof *kinds)
        ++kind;
    return kind;
}

const char *word_of_end(int end) { return ends[end]; }

const char *word_of_effect(int effect) { return effects[effect]; }

/* ---- Outcomes ---------------------------------------------------------------------------------------- */

bool out_of_memory;

void *allocate(size_t count, size_t size) {
    void *memory = calloc(count, size);
    out_of_memory |= memory == NULL;
    return memory;
}

char *copy_text(const char *text) {
    char *copied = text != NULL ? strdup(text) : NULL;
    out_of_memory |= text != NULL && copied == NULL;
    return copied;
}

static char *copy(const char *text) { return text != NULL && *text != '\0' ? copy_text(text) : NULL; }

void forget_failure(struct outcome *outcome) {
    free(outcome->message);
    free(outcome->message_id);
    outcome->message = outcome->message_id = NULL;
    outcome->kind = XAVO_KIND_NONE;
    outcome->code = XAVO_NO_ERROR;
    outcome->status = 0;
}

void fail(struct outcome *outcome, int kind, const char *message) {
    forget_failure(outcome);
    outcome->kind = kind;
    outcome->code = kind_of(kind)->code;
    outcome->message = copy(message);
}

bool take_outcome(struct outcome *outcome, const XAVO_Answer *answer) {
    forget_failure(outcome);
    outcome->effect = answer->effect;
    if (answer->code == XAVO_NO_ERROR)
        return true;
    const bool in_exchange = answer->kind == XAVO_KIND_BROKER || answer->kind == XAVO_KIND_CRASHED ||
                             answer->kind == XAVO_KIND_ANSWER_UNUSABLE;
    const bool lost = answer->effect == XAVO_EFFECT_UNKNOWN && in_exchange;
    /* libxavo has nothing to say of a broker that does not answer. */
    const bool silent = lost || answer->kind == XAVO_KIND_NO_BROKER;
    fail(outcome, lost ? KIND_OUTCOME_UNKNOWN : answer->kind, silent ? NULL : answer->message);
    outcome->code = answer->code;
    outcome->status = answer->status;
    outcome->message_id = copy(answer->message_id);
    return false;
}

void add_to_message(struct outcome *outcome, const char *text) {
    char *longer = NULL;
    if (asprintf(&longer, "%s; %s", sentence_of(outcome), text) < 0) {
        out_of_memory = true;
        return;
    }
    free(outcome->message);
    outcome->message = longer;
}

void fail_unreadable(struct outcome *outcome, const XAVO_Answer *answer) {
    char message[64];
    (void)snprintf(message, sizeof message, "%zu of %zu could not be read", answer->unreadable,
                   answer->unreadable + answer->job_count + answer->instance_count);
    fail(outcome, KIND_UNREADABLE, message);
}

void fail_absent(struct outcome *outcome, const XAVO_Answer *answer) {
    fail(outcome, KIND_NOT_THERE, answer->message);
    outcome->status = answer->status;
    if (answer->code != XAVO_NO_ERROR)
        outcome->code = answer->code;
}

static void free_job(struct outcome *outcome) {
    if (outcome->job == NULL)
        return;
#define ROW(name) free(outcome->job->name);
    XAVO_JOB_PROPERTIES(ROW)
#undef ROW
    free(outcome->job);
    outcome->job = NULL;
}

void keep_job(struct outcome *outcome, const XAVO_VELK_LifecycleJob *job) {
    XAVO_VELK_LifecycleJob *kept = allocate(1, sizeof *kept);
    if (kept == NULL)
        return;
#define ROW(name) kept->name = copy_text(job->name);
    XAVO_JOB_PROPERTIES(ROW)
#undef ROW
    free_job(outcome);
    outcome->job = kept;
}

void free_outcome(struct outcome *outcome) {
    forget_failure(outcome);
    free(outcome->job_id);
    free_job(outcome);
}

const char *sentence_of(const struct outcome *outcome) {
    const struct kind *kind = kind_of(outcome->kind);
    if (outcome->message != NULL)
        return outcome->message;
    return outcome->effect == XAVO_EFFECT_UNKNOWN && kind->unknown != NULL ? kind->unknown : kind->sentence;
}
