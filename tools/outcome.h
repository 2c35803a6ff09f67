/* outcome.h - how a command ended, for all of it or for one of its jobs: the table of kinds, with the word,
 * the exit status and the sentence of each. */
#ifndef XAVOCTL_OUTCOME_H
#define XAVOCTL_OUTCOME_H

#include <stdbool.h>
#include <stdio.h>
#include <XAVO_companion.h>

enum status {
    STATUS_DONE = 0,
    STATUS_FAILED = 1,
    STATUS_USAGE = 2,
    STATUS_CONNECTION = 3,
    STATUS_NOT_FOUND = 4,
    STATUS_JOB = 5,
    STATUS_DEADLINE = 6,
    STATUS_OUTPUT = 7,
    STATUS_INTERRUPTED = 130
};

/* The kinds that the companion does not have; the others are XAVO_KIND_.... */
enum {
    KIND_OUTCOME_UNKNOWN = 100, /* the connection was lost, and the method may have been invoked */
    KIND_WRONG_USE,
    KIND_NOT_THERE,
    KIND_NOT_CONFIRMED,
    KIND_NOT_TRIED,
    KIND_UNREADABLE,
    KIND_CHECK_FAILED,
    KIND_NO_SECRET,
    KIND_JOB_FAILED,
    KIND_JOB_GONE,
    KIND_JOB_UNCLEAR,
    KIND_JOB_GOES_ON,
    KIND_JOB_NOT_SEEN,
    KIND_JOB_UNREADABLE
};

/* The texts and statuses of a kind. `code` is for kinds whose code does not come from an answer. */
struct kind {
    int number;
    const char *word; /* in a document */
    enum status status;
    XAVO_ErrorCode code;
    const char *sentence; /* if neither broker nor service sent a message */
    const char *unknown;  /* if the method may have been invoked; NULL: `sentence` */
};

const struct kind *kind_of(int number);

/* Ends of waits that the companion does not have. */
enum { END_UNCLEAR = XAVO_WAIT_NO_WORKER + 1, END_GOES_ON };

/* The word for the end of a wait, XAVO_WAIT_... or END_..., in documents and for people. */
const char *word_of_end(int end);
/* The word for XAVO_EFFECT_... in a document. */
const char *word_of_effect(int effect);

/* The outcome of a command, or of one of its jobs. All zero: nothing failed, and nobody waited. */
struct outcome {
    int kind;
    XAVO_ErrorCode code;
    int effect;                  /* XAVO_EFFECT_... of the request; kept if something fails later */
    int status;                  /* the broker's, or 0 */
    char *message;               /* in place of the kind's sentence, or NULL; owned */
    char *message_id;            /* owned, or NULL */
    char *job_id;                /* owned, or NULL */
    XAVO_VELK_LifecycleJob *job; /* its last record, or NULL; owned */
    bool waited;                 /* the wait for the job has ended, as `end` says */
    int end;                     /* XAVO_WAIT_... */
};

/* An allocation of this program failed, so that the output is incomplete: see print_run. */
extern bool out_of_memory;
/* Do the same as calloc and strdup; on failure set out_of_memory. copy_text(NULL) returns NULL. */
void *allocate(size_t count, size_t size);
char *copy_text(const char *text);

/* Stores a failure of this kind and a copy of `message`, which may be NULL. */
void fail(struct outcome *outcome, int kind, const char *message);
/* Stores the result of a call. Returns whether it succeeded. */
bool take_outcome(struct outcome *outcome, const XAVO_Answer *answer);
/* Appends to the message that is printed for a failure. */
void add_to_message(struct outcome *outcome, const char *text);
/* Stores the failure that the answer has unreadable jobs or instances. */
void fail_unreadable(struct outcome *outcome, const XAVO_Answer *answer);
/* Stores the failure that the job or class of the command does not exist. */
void fail_absent(struct outcome *outcome, const XAVO_Answer *answer);
/* Keeps a copy of a job's record. */
void keep_job(struct outcome *outcome, const XAVO_VELK_LifecycleJob *job);
/* Changes a failure to a success; keeps the job and the effect. */
void forget_failure(struct outcome *outcome);
void free_outcome(struct outcome *outcome);

/* Returns the text for a failure: its message, or the kind's sentence. */
const char *sentence_of(const struct outcome *outcome);

#endif
