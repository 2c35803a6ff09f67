/* XAVO_companion.h - the services of XAVO.h in worker processes, with a deadline for each call.
 *
 * The client library has no time-outs, and it ends the process when it uses a dead connection. Therefore this
 * library runs it in worker processes (the program xavo-worker) and communicates with them over sockets:
 * every call ends by its deadline, and the crash of a worker is reported as a result. The program itself
 * needs neither libxavo nor the client library.
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
 *  1. Memory. A function copies its arguments, which the caller still owns. Everything that an answer points
 * to belongs to the answer: free the answer with XAVO_answer_free, and no part of it separately.
 *  2. Structures. Set all bytes of a structure to zero before you fill it in. A member that is zero has its
 * default value. The reserved members must stay zero.
 *  3. Threads. Any thread may call any function. Do not use an object that another thread frees or has freed.
 * Do not call any function from a signal handler.
 *  4. Processes. After fork, the child may free the pool and its calls. This closes the child's copies of the
 * descriptors and does not affect the parent's workers. In the child, all other functions that make or
 * collect a call report NO_WORKER.
 *  5. The program's process. The library does not affect the signals, the environment, the children and the
 * descriptors of the program. The program's wait functions do not return a worker, except with __WALL or
 * __WCLONE, and no SIGCHLD or SIGPIPE is raised. A program that reaps orphans (a child subreaper, or process
 * 1) also reaps its workers.
 *  6. Cancellation. The only cancellation points are the pauses of a wait. During a pause the library holds
 *  no
 * lock.
 *  7. Deadlines. A deadline is in milliseconds on the monotonic clock. It limits the whole call: the wait for
 * a free worker, the start of the worker, the connection, repetitions, and the transfer of request and
 * answer. The deadline 0 stands for the default: 5 s for operations that read, 60 s for methods. The longest
 * is 24 h (XAVO_LONGEST_DEADLINE_MS).
 *  8. Kernels. The oldest supported kernel is Linux 3.17. Before Linux 5.3 a worker may need 100 ms to detect
 * that its program has ended. */
#ifndef XAVO_COMPANION_H
#define XAVO_COMPANION_H

#include <stddef.h>
#include <stdint.h>
#include <XAVO_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Operations ---------------------------------------------------------------------------------------- */

/* The operations: ROW(constant, value, name, members). `members` lists the members of XAVO_Request that an
 * operation takes. A member with a question mark may be NULL, which stands for its default; the others must
 * not be NULL. All operations take `user`, too. The first three read, the others call a method. */
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

/* How operations end. "-" stands for a code of the service or the broker, as XAVO.h lists it for the
 * operation. The probe is the request for the class of the service before a method is invoked: it shows
 * whether the connection works.
 *
 * where it ended                          code                      kind             effect: read  method
 * ------------------------------------------------------------------------------------------------------
 * an argument refused, or no memory       INVALID_VALUE,            NOTHING_ASKED            NONE  NONE
 *   before the exchange                     OUT_OF_MEMORY, -
 * no worker is free (XAVO_call_start)     UNABLE_TO_OPEN_CONNECTION BUSY                     NONE  NONE
 * no worker can be started                UNABLE_TO_OPEN_CONNECTION NO_WORKER                NONE  NONE
 * connecting failed, or the worker died   UNABLE_TO_OPEN_CONNECTION NO_BROKER                NONE  NONE
 *   while it connected
 * deadline, or cancelled, before the      UNKNOWN_ERROR             DEADLINE,                NONE  NONE
 *   method was invoked                                                CANCELLED
 * the worker died before the method was   UNKNOWN_ERROR             CRASHED                  NONE  NONE
 *   invoked, or during a read
 * rc 1 to the probe or to a read          UNKNOWN_ERROR             CONNECTION_LOST          NONE  NONE
 * another failing status to the probe     -                         BROKER                         NONE
 * deadline, cancelled or the worker died  UNKNOWN_ERROR             DEADLINE,                NONE  UNKNOWN
 *   after the method was invoked                                      CANCELLED, CRASHED
 * rc 1 to the method                      UNKNOWN_ERROR             BROKER                         UNKNOWN
 * another failing status                  -                         BROKER               ANSWERED  ANSWERED
 * the service refuses                     -                         SERVICE                        ANSWERED
 * an answer that cannot be used, or for   -, OUT_OF_MEMORY          ANSWER_UNUSABLE      ANSWERED  ANSWERED
 *   which the worker has no memory
 * a worker's frame that is not valid, or  UNKNOWN_ERROR,            ANSWER_UNUSABLE          NONE  NONE
 *   for which this process has no memory    OUT_OF_MEMORY
 *   the same after the method was invoked                                                          UNKNOWN
 * success                                 NO_ERROR                  NONE                 ANSWERED  ANSWERED
 *
 * What the caller may do. After NONE, it may request the operation again at any time. After NOTHING_ASKED it
 * corrects the arguments first, and after NO_WORKER the cause that `message` names. After UNKNOWN, it finds
 * out first whether the method was invoked: for example, it looks for the name in the list of jobs. After
 * ANSWERED, code and kind decide. ANSWERED with ANSWER_UNUSABLE means that the method was invoked and may
 * have started a job whose identifier is not known: find this out as after UNKNOWN.
 *
 * A method is never invoked twice. If the worker dies or the connection is lost during a read, the read is
 * repeated by a new worker, at most three times and within the deadline. If the connection was opened for an
 * earlier call and the broker has ended since, any request is repeated in the same way: a method, too,
 * because it was not invoked. */

/* Return the bare name of an error code (as XAVO_EC_to_string of XAVO.h does), a kind, an effect, an
 * operation, and the end of a wait; "unknown" for any other number. The strings are static. Any thread. */
const char *XAVO_code_name(XAVO_ErrorCode code);
const char *XAVO_kind_name(int kind);
const char *XAVO_effect_name(int effect);
const char *XAVO_operation_name(int operation);
const char *XAVO_wait_name(int end);

/* ---- The pool ------------------------------------------------------------------------------------------ */

/* A pool: workers, and their common options. A worker is started when a call needs it, and serves one call at
 * a time. It is replaced after 1,000 calls, when it uses too much memory, after a call with a secret (a
 * password, a passphrase, or a URI with an "@"), and after a call that ended without an answer. It ends when
 * the pool is freed or the process ends, even during a call. */
typedef struct XAVO_Pool XAVO_Pool;

#define XAVO_MOST_WORKERS 1024u
#define XAVO_LONGEST_DEADLINE_MS 86400000u
#define XAVO_LOG_NOTHING (-1) /* as log_level */

typedef struct XAVO_PoolOptions {
    unsigned int workers; /* the largest number of workers, up to XAVO_MOST_WORKERS; 0: 4 */
    int retry_broker; /* not 0: repeats a call that meets a starting broker (NO_BROKER, CONNECTION_LOST), with
                         growing pauses, as long as no method was invoked and time is left */
    const char *user; /* for requests that name none; NULL: "root" */
    const char *worker_path; /* the program xavo-worker. NULL: xavo/1/xavo-worker beside this library; if the
                                program is linked statically with it, the path that the build configured */
    const char *emulator;    /* a program that runs the worker and takes its path as argument; NULL: none */
    int log_level; /* the highest level of libxavo's lines that are sent; 0: 2, XAVO_LOG_NOTHING: none */
    /* Called with each line of a worker's log, without its line feed. XAVO_call_collect and the functions
     * that block call it on their thread, without holding a lock. After XAVO_pool_free has returned, only an
     * XAVO_call_collect that another thread began before can call it. If it is NULL, the lines are passed to
     * the function hulmprintf, if the program has it. */
    void (*log)(void *context, int level, const char *line);
    void *context; /* passed to log */
    void *reserved[8];
} XAVO_PoolOptions;

/* Returns a new pool, which the caller frees with XAVO_pool_free. If options is NULL, all options have their
 * defaults. Starts no worker. The workers get a copy of the present environment. Returns NULL on failure. If
 * code is not NULL, *code is set. Any thread, while no other thread changes the environment.
 * Errors:
 *  INVALID_VALUE  too many workers
 *  OUT_OF_MEMORY  memory is exhausted */
XAVO_Pool *XAVO_pool_new(const XAVO_PoolOptions *options, XAVO_ErrorCode *code);

/* Ends the pool's workers, without waiting for their end, and frees the pool. Calls that have not ended get
 * the kind CANCELLED; they must still be collected or freed. NULL does nothing. For a forked child see
 * convention 4. Any thread. */
void XAVO_pool_free(XAVO_Pool *pool);

/* The answer of a call: see below. */
typedef struct XAVO_Answer XAVO_Answer;

/* Starts workers until `workers` of them are ready (0: all workers of the pool). Workers that serve a call
 * count as ready. Does not connect to the broker. This function is for programs that will no longer be able
 * to start programs (after chroot, as another user, with a seccomp filter). The deadline 0 stands for 5 s.
 * Returns the code. If answer is not NULL, fills in *answer, which the caller frees. Any thread.
 * Errors, with their kinds:
 *  INVALID_VALUE              NOTHING_ASKED: pool is NULL, the pool has fewer workers, or the deadline is out
 *                             of range
 *  UNABLE_TO_OPEN_CONNECTION  NO_WORKER: a worker cannot be started
 *  UNKNOWN_ERROR              DEADLINE, CRASHED
 *  OUT_OF_MEMORY              NOTHING_ASKED, ANSWER_UNUSABLE: memory is exhausted */
XAVO_ErrorCode XAVO_pool_prestart(XAVO_Pool *pool, unsigned int workers, unsigned int deadline_ms,
                                  XAVO_Answer *answer);

/* ---- Request and answer -------------------------------------------------------------------------------- */

/* An operation and its arguments. The members that the operation does not take (see XAVO_OPERATIONS) are
 * neither read nor sent. XAVO.h describes the arguments. */
typedef struct XAVO_Request {
    int operation;            /* XAVO_OP_... */
    unsigned int deadline_ms; /* 0: the default */
    const char *user;         /* NULL: the pool's */
    const char *id;           /* a job; for an installation the software identity, without quotation marks */
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

/* A property of an instance. Its values are text: numbers in decimal, booleans as true and false, references
 * as namespace:Class.Key="value". */
typedef struct XAVO_Property {
    const char *name;
    const char *type; /* "uint32", "string", "reference", ...; for an array, the type of its elements */
    int is_array;
    int is_null;       /* then count is 0 */
    size_t count;      /* the number of elements of an array; 1 for any other value */
    char *const *text; /* `count` texts; NULL stands for a null element */
} XAVO_Property;

typedef struct XAVO_Instance {
    const char *class_name; /* its property CreationClassName; may be empty */
    size_t count;
    const XAVO_Property *properties;
} XAVO_Instance;

struct XAVO_Answer {
    XAVO_ErrorCode code;    /* as the function of XAVO.h reports it, or as in the table above */
    int kind;               /* XAVO_KIND_... */
    int effect;             /* XAVO_EFFECT_... */
    int status;             /* the broker's CMPI return code; with NO_WORKER an errno; else 0 */
    int has_return_value;   /* 1: the method returned a number */
    uint32_t return_value;  /* that number, else 0 */
    const char *message_id; /* the service's "MessageID", or NULL */
    const char *message;    /* the service's "Message", or the text of the broker, the system or the loader
                               without control characters and escapes such as \n at its end; or NULL */
    const char *job_id;     /* of the job that was started, or NULL */
    XAVO_VELK_LifecycleJob *jobs; /* a list, for LIST_JOBS and GET_JOB; or NULL */
    size_t job_count;
    size_t unreadable; /* jobs, or instances, that could not be read; they are missing from the list */
    const XAVO_Instance *instances; /* for LIST_INSTANCES; or NULL */
    size_t instance_count;
    unsigned int attempts;    /* how often the request was sent to a worker */
    unsigned long lost_lines; /* lines of the log that were dropped, so that the call is not delayed */
    void *storage;            /* used by the library */
    void *reserved[8];
};

/* Wipes and frees everything that the answer points to, and sets the answer to all zero. NULL, and an answer
 * that is all zero, do nothing. Any thread. */
void XAVO_answer_free(XAVO_Answer *answer);

/* ---- Calls that block ---------------------------------------------------------------------------------- */

/* Makes a call and waits for its end. If no worker is free, waits for one, too, until the deadline. *answer
 * need not be initialised; it is filled in on success and on failure, and the caller frees it. answer must
 * not be NULL. Any thread.
 * Returns answer->code: a code of the table above, or
 *  INVALID_VALUE  NOTHING_ASKED: pool or request is NULL, a required argument is NULL, the operation is
 *                 unknown, the deadline is out of range, or an identifier that becomes part of a reference
 *                 has a quotation mark */
XAVO_ErrorCode XAVO_call(XAVO_Pool *pool, const XAVO_Request *request, XAVO_Answer *answer);

/* Each does the same as XAVO_call for one operation, as the pool's user. Any thread. */
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

/* A call that was started. It occupies one worker until it is collected or cancelled. */
typedef struct XAVO_Call XAVO_Call;

/* Starts a call, without waiting for its end, and returns it. The caller frees it with XAVO_call_free. On
 * success *answer is all zero. Returns NULL on failure: *answer then has the reason, and the caller frees it.
 * *answer need not be initialised; answer must not be NULL. Any thread.
 * Errors: those of XAVO_call, and
 *  UNABLE_TO_OPEN_CONNECTION  BUSY: no worker is free */
XAVO_Call *XAVO_call_start(XAVO_Pool *pool, const XAVO_Request *request, XAVO_Answer *answer);

/* Returns the call's descriptor, for poll, epoll, sd-event or libuv; -1 if call is NULL. It is the same until
 * the call is freed. It is readable (level-triggered) when XAVO_call_collect has something to do. Only watch
 * it: do not read or close it. Any thread. */
int XAVO_call_descriptor(const XAVO_Call *call);

/* Continues the call without waiting. *answer need not be initialised; answer must not be NULL. Any thread,
 * but only one at a time; another thread may cancel the call meanwhile.
 * Returns 1 if the call has ended: *answer is filled in, and the caller frees it. If the call was collected
 * before, or is NULL, this answer has the kind NOTHING_ASKED and the code INVALID_VALUE.
 * Returns 0 if the call has not ended: *answer is all zero. Call the function again when the descriptor is
 * readable. */
int XAVO_call_collect(XAVO_Call *call, XAVO_Answer *answer);

/* Ends the call at once, unless it has ended: its descriptor becomes readable, and its answer has the kind
 * CANCELLED and the effect until then. Does nothing for NULL, nor in a forked child. Any thread, also while
 * another thread collects the call. */
void XAVO_call_cancel(XAVO_Call *call);

/* Frees a call. If the call was not collected, cancels it first. Stop watching the descriptor before. NULL
 * does nothing. Any thread, while no other thread uses the call. */
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

/* The results of `judge` in XAVO_WaitOptions, which classifies the record of a job. Any other number means
 * XAVO_JOB_GOES_ON. */
enum { XAVO_JOB_GOES_ON = 0, XAVO_JOB_COMPLETED = 1, XAVO_JOB_FAILED = 2 };

#define XAVO_WAIT_FOREVER 0xffffffffu

/* The result of one poll for one of the jobs. */
typedef struct XAVO_Poll {
    size_t index;                      /* index of the job's identifier */
    const XAVO_VELK_LifecycleJob *job; /* the last record that was read, or NULL; valid during the callback */
    int changed;                       /* 1: this poll read a record that differs from the one before */
    const XAVO_Answer *answer;         /* the answer of the poll's call; valid during the callback */
    unsigned long polls;               /* number of polls, including this one */
    unsigned long long elapsed_ms;     /* since the wait began */
} XAVO_Poll;

/* The options of a wait. */
typedef struct XAVO_WaitOptions {
    unsigned int deadline_ms;      /* 0: one poll only; XAVO_WAIT_FOREVER: no deadline. There is no maximum */
    unsigned int poll_ms;          /* the deadline of each poll, at most the time left; 0: that of a read */
    unsigned int first_pause_ms;   /* between the first two polls; 0: 500. Each pause is 1.5 times the last */
    unsigned int longest_pause_ms; /* 0: 10000 */
    unsigned int most_unreadable;  /* successive polls with an unreadable job that end its wait; 0: none do */
    int any;                       /* not 0: the end of one job ends the wait for all */
    const char *user;              /* NULL: the pool's */
    /* Called on the waiting thread after every poll, for each job whose wait had not ended before. No lock is
     * held. A return value other than 0 ends the wait. May be NULL. */
    int (*polled)(void *context, const XAVO_Poll *poll);
    /* Classifies a record as XAVO_JOB_..., for non-standard values of JobStatus. May be NULL. */
    int (*judge)(void *context, const XAVO_VELK_LifecycleJob *job);
    void *context; /* passed to both */
    void *reserved[8];
} XAVO_WaitOptions;

/* The result of a wait for one job. */
typedef struct XAVO_WaitResult {
    int end;                     /* XAVO_WAIT_... */
    XAVO_ErrorCode code;         /* of the last poll */
    int kind;                    /* of the last poll, XAVO_KIND_... */
    int reached;                 /* 1: a broker answered a poll */
    unsigned int unreadable;     /* number of successive polls, up to the last, with an unreadable job */
    XAVO_VELK_LifecycleJob *job; /* the last record that was read, or NULL; freed with the result */
    char *message;               /* the last message of a poll that failed, or NULL; freed with the result */
    void *reserved[4];
} XAVO_WaitResult;

/* Polls a job until it ends, as `options` say (NULL: all zero). *result need not be initialised; it is filled
 * in for every end, and the caller frees it with XAVO_wait_free. result must not be NULL. A signal that the
 * program handles does not end a pause. The pauses are cancellation points: *result is valid there, and a
 * cleanup handler may free it. Any thread.
 * Returns result->end.
 *
 * Each poll is a call. Most failures of a poll do not end the wait: no broker, no free worker, a job that
 * cannot be read. These end it:
 *  NOT_FOUND  the broker answers that there is no such job; GONE if an earlier poll has read it
 *  ERROR      with INVALID_VALUE: pool or identifier is NULL, or poll_ms is out of range; with OUT_OF_MEMORY:
 *             this process has no memory for a request, a record or a message
 *  NO_WORKER  the worker's program is missing, speaks another protocol, cannot be loaded or ends before it is
 *             ready. A lack of resources (EAGAIN, ENOMEM, EMFILE, ENFILE) does not end the wait */
int XAVO_wait_for_job(XAVO_Pool *pool, const char *job_id, const XAVO_WaitOptions *options,
                      XAVO_WaitResult *result);

/* The same for `count` jobs at once, with one listing for each round of polls. results[i] is the result for
 * job_ids[i]; free each. A job that is missing from a listing is gone only if the listing has no unreadable
 * jobs. A job whose record finds no memory ends with ERROR, and the others go on. Any thread.
 * Returns ERROR if count is 0 or an argument is NULL, and results[0].end if count is 1. Otherwise returns
 * COMPLETED if all jobs have completed, else the first other end in the order of the identifiers. */
int XAVO_wait_for_jobs(XAVO_Pool *pool, char *const *job_ids, size_t count, const XAVO_WaitOptions *options,
                       XAVO_WaitResult *results);

/* Frees everything that a result points to, and sets it to all zero. NULL does nothing. Any thread. */
void XAVO_wait_free(XAVO_WaitResult *result);

#ifdef __cplusplus
}
#endif

#endif
