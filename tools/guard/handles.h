/* handles.h - handles for xavoctl's worker process: calls that survive a broker's restart, failures that
 * explain themselves, handles for a burst of work, and jobs that one can wait for. Internal to xavoctl.
 *
 * Conventions
 *
 *  1. What XAVO.h says of outcome, memory and signals holds here, too. Nothing is logged but what the
 *     functions of XAVO.h log that are called on the way.
 *  2. Threads. Every function may be called from any thread. A handle that is guarded keeps what its last
 *     exchange has met: threads that want their own reasons use a handle each.
 *  3. Growth. Structures that the caller fills in begin as all zero bytes, and zero means the usual. They
 *     have room in reserve, so that later versions can add to them. */
#ifndef XAVOCTL_HANDLES_H
#define XAVOCTL_HANDLES_H

#include <stddef.h>
#include <stdint.h>
#include <XAVO.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Guarded handles ---------------------------------------------------------------------------- */

/* Guards an open handle: from now on every call through it is watched, and before a method is called on a
 * connection that is new, has been quiet for a while (XAVO_set_quiet_time) or has just failed, the class of
 * the method's service is asked for, which is safe where the method call would crash: on a connection whose
 * broker was restarted. When the class cannot be had, for whatever reason, the method is not called, and the
 * call reports what the question met. The question costs one short exchange.
 *
 * The handle's client is replaced by one that forwards every call with the values it was given; what the
 * client lacks, the new one lacks, and its clone slot answers CMPI_RC_ERR_NOT_SUPPORTED. XAVO_free lets go of
 * all of it. A guard adds no lock to a call and allocates nothing for it.
 *
 * To be called before the handle is shared with another thread. A restart since the last good answer, as long
 * as that is not longer ago than the quiet time, or between the question and the method call is not noticed:
 * only a program that holds no connection while the broker is restarted is safe from that, too. A call
 * without a handle (sp NULL) is not guarded; it connects anew.
 *
 * Returns NO_ERROR; SP_NOT_VALID sp is NULL, not a live handle or has no connection; INVALID_VALUE it is
 * guarded already; NOT_SUPPORTED its client cannot ask for a class, or not be released; OUT_OF_MEMORY. On
 * failure the handle is as it was. Any thread. */
XAVO_ErrorCode XAVO_guard(XAVO_Proxy *sp);

/* Says how long, in milliseconds, a connection may have been without a good answer before a method call asks
 * first: 1000 unless set otherwise, 0 asks before each method call. A good answer is every one but a
 * failing status of rc 1 (CMPI_RC_ERR_FAILED): refusals are, and NOT_FOUND.
 * Returns NO_ERROR; SP_NOT_VALID as XAVO_guard; NOT_SUPPORTED the handle is not guarded. Any thread. */
XAVO_ErrorCode XAVO_set_quiet_time(XAVO_Proxy *sp, unsigned int milliseconds);

/* ---- The reason of a failure --------------------------------------------------------------------- */

enum {
    XAVO_REASON_NONE = 0,            /* the call succeeded */
    XAVO_REASON_NOTHING_ASKED = 1,   /* no exchange: an argument was refused, memory, the handle */
    XAVO_REASON_SERVICE = 2,         /* the service refuses: see message_id, message, return_value */
    XAVO_REASON_BROKER = 3,          /* the broker refuses: see rc, and message if it sent one */
    XAVO_REASON_CONNECTION_LOST = 4, /* the connection is lost, and the request was not sent or only reads */
    XAVO_REASON_OUTCOME_UNKNOWN = 5, /* what calls a method or changes an instance ended with rc 1: whether it
                                        came through is not known */
    XAVO_REASON_ANSWER_UNUSABLE = 6  /* an answer came, and is not what it must be or could not be kept */
};

/* What is behind a code. Texts end inside their buffers; one that does not fit is cut between characters
 * of UTF-8. */
typedef struct XAVO_Reason {
    int kind;              /* XAVO_REASON_... */
    CMPIrc rc;             /* the status of the last exchange */
    int has_return_value;  /* 1 when a method returned a uint32 */
    uint32_t return_value; /* that value, else 0 */
    int cut;               /* 1 when message_id or message was cut short */
    char message_id[64];   /* the service's "MessageID"; empty when there is none */
    char message[512];     /* its "Message", or what the broker says with a failing status; or empty */
    uint32_t reserved[8];
} XAVO_Reason;

/* Tells in *reason, which is the caller's, what is behind `code`, which the last call through a guarded
 * handle reported, and forgets what was noted. With NO_ERROR it is NONE and all else zero, whatever was
 * noted: a backup that started may well return a nonzero value. Where the last call asked the broker nothing,
 * what an earlier one met would be told, unless it was taken or forgotten before. Returns NO_ERROR;
 * INVALID_VALUE reason is NULL; SP_NOT_VALID, NOT_SUPPORTED as XAVO_set_quiet_time. On failure *reason is
 * NOTHING_ASKED, all else zero. Any thread. */
XAVO_ErrorCode XAVO_take_reason(XAVO_Proxy *sp, XAVO_ErrorCode code, XAVO_Reason *reason);

/* Forgets what was noted: before a call that may ask nothing. Returns as XAVO_set_quiet_time. Any thread. */
XAVO_ErrorCode XAVO_forget_reason(XAVO_Proxy *sp);

/* The bare name of a kind, "NONE" to "ANSWER_UNUSABLE"; "unknown" for any other number. A static string. Any
 * thread. */
const char *XAVO_reason_to_string(int kind);

/* ---- Handles for a burst of work ----------------------------------------------------------------- */

/* Lends the calling thread a guarded handle of its own, opened as the user `uname` (NULL: "root"), as
 * XAVO_new_with_uname does it. It is given back, as soon as the work at hand is done, with XAVO_give_back, on
 * the same thread.
 *
 * All connections of a process share one socket, which is opened afresh only when every handle is gone. So
 * when a call through a borrowed handle finds the connection lost (rc 1), all that are out count as stale,
 * and borrowing waits until they are back: at the most `wait_ms` milliseconds, 0 not at all. Then it opens
 * afresh, and asks for a job to make sure that the broker answers. Handles that were not borrowed hold the
 * dead connection, too; borrowing waits for them as well. Where nothing was lost it neither waits nor asks.
 *
 * Opening sets an environment variable, as XAVO_new does; borrowing threads do that one at a time, but a
 * thread that reads the environment meanwhile is not safe from it.
 *
 * NULL on failure, with the code in *errorcodep and, unless `reason` is NULL, what is behind it in *reason.
 * On success that is NO_ERROR and NONE. Errors: UNABLE_TO_OPEN_CONNECTION no handle can be opened, for want
 * of a broker, memory or a mutex (NOTHING_ASKED), or others still held the dead connection when the time was
 * up (CONNECTION_LOST); NOT_SUPPORTED, OUT_OF_MEMORY as XAVO_guard (NOTHING_ASKED). errorcodep must not be
 * NULL. Any thread. */
XAVO_Proxy *XAVO_borrow(XAVO_ErrorCode *errorcodep, const char *uname, unsigned int wait_ms,
                        XAVO_Reason *reason);

/* Takes a borrowed handle back and frees it, its reason included; what was made through it is freed before.
 * XAVO_free does the same.
 * Returns NO_ERROR; SP_NOT_VALID as XAVO_guard; NOT_SUPPORTED the handle was not borrowed (it stays open).
 * The thread that borrowed it. */
XAVO_ErrorCode XAVO_give_back(XAVO_Proxy *sp);

/* ---- Waiting for a job --------------------------------------------------------------------------- */

/* How a wait ends. */
enum {
    XAVO_WAIT_COMPLETED = 0, /* JobStatus "Completed", in any letter case */
    XAVO_WAIT_FAILED = 1,    /* JobStatus "Failed", in any letter case */
    XAVO_WAIT_GONE = 2,      /* the job was there, and is not any more */
    XAVO_WAIT_NOT_FOUND = 3, /* there is no such job */
    XAVO_WAIT_DEADLINE = 4,  /* time is up; the job goes on */
    XAVO_WAIT_CANCELLED = 5, /* the function that is told of polls has ended the wait; the job goes on */
    XAVO_WAIT_LOST = 6,      /* the connection is lost and others keep it from being opened anew */
    XAVO_WAIT_ERROR = 7      /* any other failure: see the code */
};

/* What a job's record says of it, for a judge. Any other number is GOES_ON. */
enum { XAVO_JOB_GOES_ON = 0, XAVO_JOB_COMPLETED = 1, XAVO_JOB_FAILED = 2 };

#define XAVO_WAIT_FOREVER 0xffffffffu

/* What one poll has found. */
typedef struct XAVO_Poll {
    const XAVO_VELK_LifecycleJob
        *job;                 /* the last record seen, NULL when there is none yet; not the caller's */
    int changed;              /* 1 when this poll brought a record that differs from the one before */
    XAVO_ErrorCode code;      /* what the poll reported: not NO_ERROR while a broker is away */
    unsigned long polls;      /* how many there were, this one included */
    unsigned long elapsed_ms; /* since the wait began */
} XAVO_Poll;

/* How to wait. All zero bytes but the deadline is a good choice. */
typedef struct XAVO_WaitOptions {
    const char *uname;             /* polls on handles borrowed for this user; NULL: "root" */
    XAVO_Proxy *sp;                /* not NULL: polls through this guarded handle instead */
    unsigned int deadline_ms;      /* on the monotonic clock; 0: polls once. XAVO_WAIT_FOREVER: none */
    unsigned int first_pause_ms;   /* between the first two polls; 0: 500. Each pause is half as long again */
    unsigned int longest_pause_ms; /* no pause is longer; 0: 10000 */
    unsigned int borrow_ms;        /* how long others may hold a dead connection; 0: 5000 */
    /* Called after every poll, on the waiting thread, with no handle borrowed and nothing locked. Not 0 ends
     * the wait. May be NULL. */
    int (*polled)(void *context, const XAVO_Poll *poll);
    /* Judges a record where a controller's statuses differ: XAVO_JOB_... May be NULL. */
    int (*judge)(void *context, const XAVO_VELK_LifecycleJob *job);
    void *context; /* handed to both */
    void *reserved[4];
} XAVO_WaitOptions;

/* What came of a wait. */
typedef struct XAVO_WaitResult {
    int end;                     /* XAVO_WAIT_... */
    XAVO_ErrorCode code;         /* of the last poll, or INVALID_VALUE before the first */
    XAVO_VELK_LifecycleJob *job; /* the last record seen, or NULL; freed with XAVO_free_VELK_LifecycleJob */
    XAVO_Reason reason;          /* what is behind the code */
} XAVO_WaitResult;

/* Follows a job by its identifier until it ends, as `options` say (NULL: all zero); returns result->end.
 * Both, and what they point to, stay the caller's; `result` is filled in whatever the end.
 *
 * Each poll borrows a handle and gives it back, so that nothing is held, and nothing grows, between polls. No
 * broker (or no memory for a handle), and a lost connection that can be opened anew, are no ends but pauses,
 * at the first poll, too. With options->sp nothing is borrowed: a lost connection, which that handle itself
 * keeps, ends the wait with LOST, and an environment that other threads read is left alone.
 *
 * The deadline is looked at between polls, and cuts pauses and borrowing short: a broker that hangs in the
 * middle of an answer holds the wait up for as long as it hangs, since the client library has no time-outs. A
 * program that must not be held up waits in a process of its own and ends that: examples/wait_in_worker.c. A
 * signal that the program handles ends a pause early, and the next poll comes at once.
 *
 * Codes: NO_ERROR with COMPLETED and FAILED; NOT_FOUND with GONE and NOT_FOUND; with LOST
 * UNABLE_TO_OPEN_CONNECTION or, with options->sp, UNKNOWN_ERROR; with DEADLINE and CANCELLED the last poll's.
 * With ERROR: INVALID_VALUE InstanceID is NULL; SP_NOT_VALID, NOT_SUPPORTED options->sp is not a live handle,
 * or not guarded; NO_ERROR the broker answers with success and no job; and what XAVO_get_VELK_LifecycleJob
 * and XAVO_borrow report otherwise. `result` must not be NULL. Any thread. */
int XAVO_wait_for_job(const char *InstanceID, const XAVO_WaitOptions *options, XAVO_WaitResult *result);

/* The bare name of an end, "COMPLETED" to "ERROR"; "unknown" for any other number. A static string. Any
 * thread. */
const char *XAVO_wait_to_string(int end);

#ifdef __cplusplus
}
#endif

#endif
