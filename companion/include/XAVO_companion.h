/* XAVO_companion.h - the services of XAVO.h, each call with a deadline, in processes of their own.
 *
 * The client library has no time-outs, and ends a process in which it meets a dead connection. So this
 * library runs it in worker processes (the program xavo-worker) and asks them over sockets: every call ends
 * by its deadline, and a crash is a result. The program itself needs neither libxavo nor the client library.
 *
 *     XAVO_Pool *pool = XAVO_pool_new(NULL, NULL);
 *     XAVO_Answer answer;
 *     if (XAVO_list_jobs(pool, 0, &answer) == XAVO_NO_ERROR)
 *         for (const XAVO_VELK_LifecycleJob *job = answer.jobs; job != NULL; job = job->next)
 *             puts(job->InstanceID);
 *     XAVO_answer_free(&answer);
 *     XAVO_pool_free(pool);
 *
 * Conventions
 *
 *  1. Memory. What a function is given is copied, and stays the caller's. All that an answer points to
 * belongs to the answer; XAVO_answer_free frees it, and nothing of it is freed by itself.
 *  2. Structures that the caller fills in begin as all zero bytes; zero stands for the usual. They have room
 * in reserve, which stays zero.
 *  3. Threads. Every function may be called from any thread. An object is not used after, or while, another
 * thread frees it. Nothing here is to be called from a signal handler.
 *  4. Processes. After fork the child may free the pool and its calls; this closes the child's copies and
 * does nothing to the parent's workers. Every other function reports NO_WORKER there.
 *  5. The process's signals, environment, children and descriptors are left alone: no wait function of the
 * program sees a worker (but with __WALL or __WCLONE), and no SIGCHLD or SIGPIPE is raised. A program that is
 * the reaper of orphans (a child subreaper, or process 1) reaps its workers with the others.
 *  6. Cancellation. Only the pauses of a wait are cancellation points; nothing is held there.
 *  7. Deadlines are milliseconds on the monotonic clock, for the whole call: waiting for a free worker,
 * starting it, connecting, repetitions and transfer. 0 is 5 s for operations that read and 60 s for methods;
 * the longest is 24 h (XAVO_LONGEST_DEADLINE_MS).
 *  8. Kernels. The oldest is Linux 3.17. Before 5.3 a worker may take 100 ms to notice that its program has
 * ended. */
#ifndef XAVO_COMPANION_H
#define XAVO_COMPANION_H

#include <stddef.h>
#include <stdint.h>
#include <XAVO_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Operations ---------------------------------------------------------------------------------------- */

/* What can be requested: ROW(constant, value, name, members of XAVO_Request that it takes; of those with a
 * question mark NULL stands for the usual, the others must not be NULL). All take `user`, too. The first
 * three read, the others call a method. */
/* clang-format off */
#define XAVO_OPERATIONS(ROW) \
    ROW(XAVO_OP_LIST_JOBS,                       1, "LIST_JOBS",                       "") \
    ROW(XAVO_OP_GET_JOB,                         2, "GET_JOB",                         "id") \
    ROW(XAVO_OP_LIST_INSTANCES,                  3, "LIST_INSTANCES",                  "class_name name_space?") \
    ROW(XAVO_OP_DELETE_JOB,                     16, "DELETE_JOB",                      "id") \
    ROW(XAVO_OP_SETUP_JOB_QUEUE,                17, "SETUP_JOB_QUEUE",                 "start_time until_time? job_ids") \
    ROW(XAVO_OP_INSTALL_FROM_URI,               18, "INSTALL_FROM_URI",                "uri id") \
    ROW(XAVO_OP_INSTALL_FROM_SOFTWARE_IDENTITY, 19, "INSTALL_FROM_SOFTWARE_IDENTITY",  "id") \
    ROW(XAVO_OP_CREATE_REBOOT_JOB,              20, "CREATE_REBOOT_JOB",               "reboot_type") \
    ROW(XAVO_OP_BACKUP_IMAGE,                   21, "BACKUP_IMAGE",                    "image") \
    ROW(XAVO_OP_RESTORE_IMAGE,                  22, "RESTORE_IMAGE",                   "image") \
    ROW(XAVO_OP_TEST_NETWORK_SHARE,             23, "TEST_NETWORK_SHARE",              "share")

/* How a call ended: ROW(constant, value, name, meaning). */
#define XAVO_KINDS(ROW) \
    ROW(XAVO_KIND_NONE,             0, "NONE",             "the call succeeded") \
    ROW(XAVO_KIND_NOTHING_ASKED,    1, "NOTHING_ASKED",    "an argument was refused or memory ran out before any exchange") \
    ROW(XAVO_KIND_SERVICE,          2, "SERVICE",          "the service refuses: see message_id, message, return_value") \
    ROW(XAVO_KIND_BROKER,           3, "BROKER",           "the broker answers with a failing status: see status, message") \
    ROW(XAVO_KIND_NO_BROKER,        4, "NO_BROKER",        "no connection to the broker could be opened") \
    ROW(XAVO_KIND_CONNECTION_LOST,  5, "CONNECTION_LOST",  "the connection was lost in an exchange that changes nothing") \
    ROW(XAVO_KIND_ANSWER_UNUSABLE,  6, "ANSWER_UNUSABLE",  "an answer came that is not what it must be, or could not be kept") \
    ROW(XAVO_KIND_DEADLINE,         7, "DEADLINE",         "the deadline passed") \
    ROW(XAVO_KIND_CANCELLED,        8, "CANCELLED",        "the program cancelled the call") \
    ROW(XAVO_KIND_CRASHED,          9, "CRASHED",          "the worker died") \
    ROW(XAVO_KIND_BUSY,            10, "BUSY",             "all workers are at work") \
    ROW(XAVO_KIND_NO_WORKER,       11, "NO_WORKER",        "no worker could be started: see message, status is the errno or 0")

/* What a call may have changed: ROW(constant, value, name, meaning). */
#define XAVO_EFFECTS(ROW) \
    ROW(XAVO_EFFECT_NONE,     0, "NONE",     "the method was not invoked, and will not be; a read brought nothing") \
    ROW(XAVO_EFFECT_UNKNOWN,  1, "UNKNOWN",  "the method may have been invoked: look before it is requested again") \
    ROW(XAVO_EFFECT_ANSWERED, 2, "ANSWERED", "broker or service answered")
/* clang-format on */

#define XAVO_COMPANION_CONSTANT(constant, value, name, meaning) constant = (value),
enum { XAVO_OPERATIONS(XAVO_COMPANION_CONSTANT) };
enum { XAVO_KINDS(XAVO_COMPANION_CONSTANT) };
enum { XAVO_EFFECTS(XAVO_COMPANION_CONSTANT) };
#undef XAVO_COMPANION_CONSTANT

/* How operations end. "-" stands for a code of the service or the broker, as XAVO.h lists them for the
 * operation.
 *
 * where it ended                          code                      kind             effect: read  method
 * ------------------------------------------------------------------------------------------------------
 * an argument refused, or no memory       INVALID_VALUE,            NOTHING_ASKED            NONE  NONE
 *   before the exchange                     OUT_OF_MEMORY, -
 * no worker is free (XAVO_call_start)     UNABLE_TO_OPEN_CONNECTION BUSY                     NONE  NONE
 * no worker can be started                UNABLE_TO_OPEN_CONNECTION NO_WORKER                NONE  NONE
 * connecting failed, or the worker died   UNABLE_TO_OPEN_CONNECTION NO_BROKER                NONE  NONE
 *   of it
 * deadline, or cancelled, before the      UNKNOWN_ERROR             DEADLINE,                NONE  NONE
 *   method was invoked                                                CANCELLED
 * the worker died before the method was   UNKNOWN_ERROR             CRASHED                  NONE  NONE
 *   invoked; of a read also after that
 * rc 1 to the probe or to a read          UNKNOWN_ERROR             CONNECTION_LOST          NONE  NONE
 * another failing status to the probe     -                         BROKER                         NONE
 * deadline, cancelled or the worker died  UNKNOWN_ERROR             DEADLINE,                NONE  UNKNOWN
 *   since the method was invoked                                      CANCELLED, CRASHED
 * rc 1 to the method                      UNKNOWN_ERROR             BROKER                         UNKNOWN
 * another failing status                  -                         BROKER               ANSWERED  ANSWERED
 * the service refuses                     -                         SERVICE                        ANSWERED
 * an answer that cannot be used, or for   -, OUT_OF_MEMORY          ANSWER_UNUSABLE      ANSWERED  ANSWERED
 *   which the worker has no memory
 * a worker's frame that is not valid, or  UNKNOWN_ERROR,            ANSWER_UNUSABLE          NONE  NONE
 *   for which this process has no memory    OUT_OF_MEMORY
 *   the same since the method was invoked                                                          UNKNOWN
 * success                                 NO_ERROR                  NONE                 ANSWERED  ANSWERED
 *
 * What a caller may do: with NONE, request it again at will (with NOTHING_ASKED, correct the arguments first;
 * with NO_WORKER, see message). With UNKNOWN, look first: list the jobs for the name, say. With ANSWERED, go
 * by code and kind; with ANSWER_UNUSABLE the method was invoked and may have started a job whose identifier
 * is not known: look, as with UNKNOWN.
 *
 * A method is never invoked twice. A read whose worker died or whose connection was lost is repeated on a
 * fresh worker, at most three times and within the deadline. A request that met a connection which had
 * outlived its broker is repeated in the same way, a method, too, which was not invoked then. */

/* The bare name of an error code, as XAVO_EC_to_string of XAVO.h gives it; of a kind, an effect, an
 * operation, or the end of a wait. "unknown" for any other number. Static strings. Any thread. */
const char *XAVO_code_name(XAVO_ErrorCode code);
const char *XAVO_kind_name(int kind);
const char *XAVO_effect_name(int effect);
const char *XAVO_operation_name(int operation);
const char *XAVO_wait_name(int end);

/* ---- The pool ------------------------------------------------------------------------------------------ */

/* Workers and what they share. A worker is started when a call needs it, serves one call at a time, and is
 * replaced after 1,000 calls, above a limit of memory, when it was given a secret (a password, a passphrase,
 * or a URI with an "@"), and when its call did not end with an answer. It ends when the pool is freed or the
 * process ends, even during a call. */
typedef struct XAVO_Pool XAVO_Pool;

#define XAVO_MOST_WORKERS 1024u
#define XAVO_LONGEST_DEADLINE_MS 86400000u
#define XAVO_LOG_NOTHING (-1) /* as log_level */

typedef struct XAVO_PoolOptions {
    unsigned int workers; /* how many at the most, up to XAVO_MOST_WORKERS; 0: 4 */
    int retry_broker; /* not 0: while nothing was invoked and time is left, repeat a call that meets a broker
                         which is starting (NO_BROKER, CONNECTION_LOST), with growing pauses */
    const char *user; /* for requests that name none; NULL: "root" */
    const char *worker_path; /* the program; NULL: xavo/1/xavo-worker beside this library, or in a statically
                                linked program where the library was configured to be installed */
    const char *emulator;    /* a program that runs the worker, given the worker's path; NULL: none */
    int log_level; /* lines of libxavo above this level are not sent; 0: 2, XAVO_LOG_NOTHING: none */
    /* Called with each line of a worker's log, without its line feed, by XAVO_call_collect and by the
     * functions that block, on their thread, with nothing held; after XAVO_pool_free has returned, only by an
     * XAVO_call_collect that another thread began before. NULL: lines go to the function hulmprintf if the
     * program has it. */
    void (*log)(void *context, int level, const char *line);
    void *context; /* handed to log */
    void *reserved[8];
} XAVO_PoolOptions;

/* A new pool, freed with XAVO_pool_free; `options` NULL: all zero. Starts no worker. Workers get a copy of
 * the environment as it is now. NULL on failure, with the code in *code unless `code` is NULL: INVALID_VALUE
 * too many workers; OUT_OF_MEMORY. Any thread, while no other changes the environment. */
XAVO_Pool *XAVO_pool_new(const XAVO_PoolOptions *options, XAVO_ErrorCode *code);

/* Ends the pool's workers without waiting for their end, and frees it. Calls that are still out become
 * CANCELLED; they are collected and freed as ever. NULL does nothing. In a forked child: closes its copies.
 * Any thread. */
void XAVO_pool_free(XAVO_Pool *pool);

/* What a call brought: see below. */
typedef struct XAVO_Answer XAVO_Answer;

/* Starts workers until `workers` of them are ready (0: all of the pool), for programs that are about to give
 * up the means to start programs (chroot, another user, a seccomp filter). Does not connect to the broker.
 * `deadline_ms` 0 is 5 s. Returns the code, and fills in *answer, to be freed, unless it is NULL: NO_ERROR;
 * INVALID_VALUE (NOTHING_ASKED) a NULL pool, more workers than the pool's or a deadline out of range;
 * UNABLE_TO_OPEN_CONNECTION (NO_WORKER) as any call; UNKNOWN_ERROR (DEADLINE, CRASHED); OUT_OF_MEMORY.
 * Workers that are at work count as ready. Any thread. */
XAVO_ErrorCode XAVO_pool_prestart(XAVO_Pool *pool, unsigned int workers, unsigned int deadline_ms,
                                  XAVO_Answer *answer);

/* ---- Request and answer -------------------------------------------------------------------------------- */

/* An operation and its arguments. Members that it does not take, as XAVO_OPERATIONS says, are neither looked
 * at nor sent. What the operations take is told with the functions of XAVO.h. */
typedef struct XAVO_Request {
    int operation;            /* XAVO_OP_... */
    unsigned int deadline_ms; /* 0: the usual one */
    const char *user;         /* NULL: the pool's */
    const char *id; /* a job; of the installations, the software identity to install onto or from, without
                       quotation marks */
    const char *class_name;
    const char *name_space; /* of the class; NULL: "root/velk" */
    const char *start_time;
    const char *until_time; /* NULL: none */
    char *const *job_ids;   /* ends with NULL */
    const char *uri;
    const char *reboot_type;          /* a decimal number, as text */
    const XAVO_BAR_INPUT_DATA *image; /* a backup or restore */
    const XAVO_NET_INPUT_DATA *share;
    void *reserved[8];
} XAVO_Request;

/* A property of an instance. Values come as text: numbers in decimal, references as
 * namespace:Class.Key="value", booleans as true and false. */
typedef struct XAVO_Property {
    const char *name;
    const char *type; /* "uint32", "string", "reference", ...; of an array, that of its elements */
    int is_array;
    int is_null;       /* then count is 0 */
    size_t count;      /* 1, or how many elements an array has */
    char *const *text; /* as many; NULL: a null element */
} XAVO_Property;

typedef struct XAVO_Instance {
    const char *class_name; /* its property CreationClassName; may be empty */
    size_t count;
    const XAVO_Property *properties;
} XAVO_Instance;

struct XAVO_Answer {
    XAVO_ErrorCode code;    /* as the function of XAVO.h would report it, or as the table above says */
    int kind;               /* XAVO_KIND_... */
    int effect;             /* XAVO_EFFECT_... */
    int status;             /* the broker's CMPI return code; with NO_WORKER an errno; else 0 */
    int has_return_value;   /* 1: the method returned a number */
    uint32_t return_value;  /* that number, else 0 */
    const char *message_id; /* the service's "MessageID", or NULL */
    const char *message;    /* its "Message", or the words of broker, system or loader, control characters and
                               escapes such as \n at their end left out; or NULL */
    const char *job_id;     /* of the job that was started, or NULL */
    XAVO_VELK_LifecycleJob *jobs; /* a list, of LIST_JOBS and GET_JOB, or NULL */
    size_t job_count;
    size_t unreadable; /* jobs, or instances, that could not be read; they are missing from the list */
    const XAVO_Instance *instances; /* of LIST_INSTANCES, or NULL */
    size_t instance_count;
    unsigned int attempts;    /* how often the request was given to a worker */
    unsigned long lost_lines; /* lines of the log that were dropped lest they hold the call up */
    void *storage;            /* of the library */
    void *reserved[8];
};

/* Wipes and frees all that the answer points to, and makes it all zero. An answer that is all zero, or NULL,
 * is left alone. Any thread. */
void XAVO_answer_free(XAVO_Answer *answer);

/* ---- Calls that block ---------------------------------------------------------------------------------- */

/* Makes a call and waits for its end: for a free worker, too, within the deadline. *answer, which need not be
 * initialised, is filled in on success and on failure, and is to be freed. Returns answer->code, as the table
 * above says; with INVALID_VALUE (NOTHING_ASKED) when pool or request is NULL, a required argument is NULL,
 * the operation is unknown, the deadline out of range, or an identifier that becomes part of a reference has
 * a quotation mark. `answer` must not be NULL. Any thread. */
XAVO_ErrorCode XAVO_call(XAVO_Pool *pool, const XAVO_Request *request, XAVO_Answer *answer);

/* The same for one operation each, by the pool's user. Returns and errors of XAVO_call. Any thread. */
XAVO_ErrorCode XAVO_list_jobs(XAVO_Pool *pool, unsigned int deadline_ms, XAVO_Answer *answer);
XAVO_ErrorCode XAVO_get_job(XAVO_Pool *pool, const char *job_id, unsigned int deadline_ms,
                            XAVO_Answer *answer);
XAVO_ErrorCode XAVO_list_instances(XAVO_Pool *pool, const char *class_name, unsigned int deadline_ms,
                                   XAVO_Answer *answer);
XAVO_ErrorCode XAVO_delete_job(XAVO_Pool *pool, const char *job_id, unsigned int deadline_ms,
                               XAVO_Answer *answer);
XAVO_ErrorCode XAVO_setup_job_queue(XAVO_Pool *pool, const char *start_time, const char *until_time,
                                    char *const *job_ids, unsigned int deadline_ms, XAVO_Answer *answer);
XAVO_ErrorCode XAVO_install_from_uri(XAVO_Pool *pool, const char *uri, const char *identity,
                                     unsigned int deadline_ms, XAVO_Answer *answer);
XAVO_ErrorCode XAVO_install_from_software_identity(XAVO_Pool *pool, const char *identity,
                                                   unsigned int deadline_ms, XAVO_Answer *answer);
XAVO_ErrorCode XAVO_create_reboot_job(XAVO_Pool *pool, const char *reboot_type, unsigned int deadline_ms,
                                      XAVO_Answer *answer);
XAVO_ErrorCode XAVO_backup_image(XAVO_Pool *pool, const XAVO_BAR_INPUT_DATA *image, unsigned int deadline_ms,
                                 XAVO_Answer *answer);
XAVO_ErrorCode XAVO_restore_image(XAVO_Pool *pool, const XAVO_BAR_INPUT_DATA *image, unsigned int deadline_ms,
                                  XAVO_Answer *answer);
XAVO_ErrorCode XAVO_test_network_share(XAVO_Pool *pool, const XAVO_NET_INPUT_DATA *share,
                                       unsigned int deadline_ms, XAVO_Answer *answer);

/* ---- Calls that an event loop watches ------------------------------------------------------------------ */

/* A call that was started. It has a worker to itself until it is collected or cancelled. */
typedef struct XAVO_Call XAVO_Call;

/* Starts a call, and does not wait. The caller frees it with XAVO_call_free. NULL on failure, and then
 * *answer, which need not be initialised, says why, and is to be freed: BUSY all workers are at work;
 * otherwise as XAVO_call. On success *answer is all zero. `answer` must not be NULL. Any thread. */
XAVO_Call *XAVO_call_start(XAVO_Pool *pool, const XAVO_Request *request, XAVO_Answer *answer);

/* The call's descriptor, the same until the call is freed: readable (level-triggered) when XAVO_call_collect
 * has something to do. For poll, epoll, sd-event or libuv; it is only watched, never read or closed. -1 when
 * `call` is NULL. Any thread. */
int XAVO_call_descriptor(const XAVO_Call *call);

/* Moves the call on, without waiting. Returns 1 when it has ended: *answer, which need not be initialised, is
 * filled in, and to be freed. 0: not yet, *answer is all zero; wait until the descriptor is readable. A call
 * that was collected before, and NULL, give 1 and NOTHING_ASKED with INVALID_VALUE. `answer` must not be
 * NULL. Any thread, one at a time; another may cancel meanwhile. */
int XAVO_call_collect(XAVO_Call *call, XAVO_Answer *answer);

/* Ends the call at once, unless it has ended: its descriptor becomes readable, and it is collected with kind
 * CANCELLED and the effect that it had. NULL does nothing, nor does a forked child. Any thread, also while
 * another collects. */
void XAVO_call_cancel(XAVO_Call *call);

/* Frees a call, and cancels it before unless it was collected. The program stops watching the descriptor
 * first. NULL does nothing. Any thread, while no other uses the call. */
void XAVO_call_free(XAVO_Call *call);

/* ---- Waiting for jobs ---------------------------------------------------------------------------------- */

/* How a wait ends: ROW(constant, value, name, meaning). */
/* clang-format off */
#define XAVO_WAIT_ENDS(ROW) \
    ROW(XAVO_WAIT_COMPLETED,  0, "COMPLETED",  "JobStatus \"Completed\", in any letter case of ASCII") \
    ROW(XAVO_WAIT_FAILED,     1, "FAILED",     "JobStatus \"Failed\", in any letter case of ASCII") \
    ROW(XAVO_WAIT_GONE,       2, "GONE",       "the job was there, and is not any more") \
    ROW(XAVO_WAIT_NOT_FOUND,  3, "NOT_FOUND",  "there is no such job") \
    ROW(XAVO_WAIT_DEADLINE,   4, "DEADLINE",   "the deadline passed; the job goes on") \
    ROW(XAVO_WAIT_CANCELLED,  5, "CANCELLED",  "the callback ended the wait, or another job's end did; the job goes on") \
    ROW(XAVO_WAIT_UNREADABLE, 6, "UNREADABLE", "the record could not be read too often in a row") \
    ROW(XAVO_WAIT_ERROR,      7, "ERROR",      "an invalid argument, or no memory: see the code") \
    ROW(XAVO_WAIT_NO_WORKER,  8, "NO_WORKER",  "no worker can be started, and another try would not help")
/* clang-format on */

#define XAVO_COMPANION_CONSTANT(constant, value, name, meaning) constant = (value),
enum { XAVO_WAIT_ENDS(XAVO_COMPANION_CONSTANT) };
#undef XAVO_COMPANION_CONSTANT

/* What a job's record says of it, for a judge. Any other number is GOES_ON. */
enum { XAVO_JOB_GOES_ON = 0, XAVO_JOB_COMPLETED = 1, XAVO_JOB_FAILED = 2 };

#define XAVO_WAIT_FOREVER 0xffffffffu

/* What one poll met, for one of the jobs. */
typedef struct XAVO_Poll {
    size_t index;                      /* which of the identifiers */
    const XAVO_VELK_LifecycleJob *job; /* the last record seen, or NULL; valid during the callback */
    int changed;                       /* 1: this poll brought a record that differs from the one before */
    const XAVO_Answer *answer;         /* how the poll's call ended; valid during the callback */
    unsigned long polls;               /* how many there were, this one included */
    unsigned long long elapsed_ms;     /* since the wait began */
} XAVO_Poll;

/* How to wait. */
typedef struct XAVO_WaitOptions {
    unsigned int deadline_ms;      /* 0: polls once; XAVO_WAIT_FOREVER: none; no upper limit */
    unsigned int poll_ms;          /* each poll's own deadline, cut to the time left; 0: the usual one */
    unsigned int first_pause_ms;   /* between the first two polls; 0: 500. Each pause is half as long again */
    unsigned int longest_pause_ms; /* 0: 10000 */
    unsigned int most_unreadable;  /* polls in a row that found the job unreadable; 0: as many as there are */
    int any;                       /* not 0: the end of one job ends the wait for all */
    const char *user;              /* NULL: the pool's */
    /* Called after every poll for each job that has not ended before, on the waiting thread, with nothing
     * held. Not 0 ends the wait. May be NULL. */
    int (*polled)(void *context, const XAVO_Poll *poll);
    /* Classifies a record where a controller's statuses differ: XAVO_JOB_... May be NULL. */
    int (*judge)(void *context, const XAVO_VELK_LifecycleJob *job);
    void *context; /* handed to both */
    void *reserved[8];
} XAVO_WaitOptions;

/* What came of a wait for one job. */
typedef struct XAVO_WaitResult {
    int end;                     /* XAVO_WAIT_... */
    XAVO_ErrorCode code;         /* of the last poll */
    int kind;                    /* of the last poll, XAVO_KIND_... */
    int reached;                 /* 1: a poll was answered by a broker */
    unsigned int unreadable;     /* the latest polls in a row that found the job unreadable */
    XAVO_VELK_LifecycleJob *job; /* the last record seen, or NULL; freed with the result */
    char *message;               /* the last words of a poll that failed, or NULL; freed with the result */
    void *reserved[4];
} XAVO_WaitResult;

/* Follows a job by its identifier until it ends, as `options` say (NULL: all zero). *result, which need not
 * be initialised, is filled in for every end, and freed with XAVO_wait_free. Returns result->end.
 *
 * Each poll is a call. One that fails, finds no broker or no free worker, or cannot read the job does not end
 * the wait. These do: NOT_FOUND of kind BROKER (GONE, NOT_FOUND); an invalid argument (ERROR with
 * INVALID_VALUE: pool or identifier NULL, poll_ms out of range); no memory here for a request, a record or
 * a message (ERROR with OUT_OF_MEMORY); NO_WORKER where the program is missing, speaks another protocol,
 * cannot be loaded or ends before it is ready, but not where the system lacks means (EAGAIN, ENOMEM, EMFILE,
 * ENFILE). A signal that the program handles does not end a pause. The pauses are cancellation points:
 * *result is valid there, and may be freed by a cleanup handler. `result` must not be NULL. Any thread. */
int XAVO_wait_for_job(XAVO_Pool *pool, const char *job_id, const XAVO_WaitOptions *options,
                      XAVO_WaitResult *result);

/* The same for `count` jobs at once, with one listing a round; results[i] is that of job_ids[i], and each is
 * freed. A job that a listing lacks is gone only when the listing has no unreadable ones. One whose record
 * finds no memory ends with ERROR; the others go on. Returns results[0].end when `count` is 1; otherwise
 * COMPLETED when all have completed, else the first other end, in the order of the identifiers. ERROR when
 * count is 0 or an argument is NULL. Any thread. */
int XAVO_wait_for_jobs(XAVO_Pool *pool, char *const *job_ids, size_t count, const XAVO_WaitOptions *options,
                       XAVO_WaitResult *results);

/* Frees what a result points to, and makes it all zero. NULL does nothing. Any thread. */
void XAVO_wait_free(XAVO_WaitResult *result);

#ifdef __cplusplus
}
#endif

#endif
