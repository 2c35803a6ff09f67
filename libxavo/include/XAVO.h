/* XAVO.h - the management services of this controller, as plain function calls.
 *
 * libxavo talks to the CIM broker that runs on the same controller, through the CIM client library's
 * local mode. The classes it uses live in the namespace "root/velk". Objects and values are those of
 * CMPI (The Open Group, Common Manageability Programming Interface).
 *
 * Conventions
 *
 *  1. Outcome. A function that takes `errorcodep` reports exactly one error code through it. It must
 *     not be NULL: that is logged and nothing else happens, unless the function says otherwise.
 *  2. Handle. `sp` is a handle from XAVO_new or XAVO_new_with_uname. Where a function says "sp may be
 *     NULL", it opens a handle of its own for the one call and frees it again: convenient for a single
 *     call, wasteful for many. A handle is freed with XAVO_free by who opened it.
 *  3. Memory. Arguments are read during the call and never kept. What a function hands out belongs to
 *     the caller, and the function says how it is freed.
 *  4. Threads. Every function may be called from any thread. Threads may share a handle: their calls
 *     through it run one at a time. A handle must not be freed while another thread uses it. What the
 *     client library shares between all handles of a process is told in docs/threads.md.
 *  5. Common errors. A call made through a handle can always report
 *         XAVO_UNABLE_TO_OPEN_CONNECTION  sp is NULL and no handle could be opened
 *         XAVO_SP_NOT_VALID               sp is not a live handle, or has no connection
 *         XAVO_OUT_OF_MEMORY              the library or the client library has no memory left
 *         XAVO_PERMISSION_ERROR           the broker denies access to this user
 *         XAVO_NOT_FOUND                  the broker does not know the instance
 *         XAVO_NOT_SUPPORTED              the broker does not support the request
 *         XAVO_INVALID_VALUE              the broker refuses namespace, class or parameter, or the
 *                                         answer is not of the type it must be
 *         XAVO_UNKNOWN_ERROR              any other failure, a broken connection among them
 *     and says further down only what is its own ("common errors, and ...").
 *  6. Logging. Failures are written to the platform's log (hulmprintf, module 5): level 2 for errors,
 *     8 for traces.
 *  7. Signals. A SIGPIPE that the exchange with the broker raises does not reach the program; its own
 *     mask and disposition stay as they are. */
#ifndef XAVO_H
#define XAVO_H

#include <CimClientLib/cmci.h>
#include <CimClientLib/native.h>
#include <pthread.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Error codes -------------------------------------------------------------------------------- */

typedef int XAVO_ErrorCode;

enum {
    XAVO_NO_ERROR = 0,
    XAVO_UNKNOWN_ERROR = 1,               /* no more precise code applies; a method's nonzero return value */
    XAVO_OUT_OF_MEMORY = 2,               /* of this library or of the client library */
    XAVO_PERMISSION_ERROR = 3,            /* the broker denies access */
    XAVO_INVALID_VALUE = 4,               /* an argument failed its check, here or in the service */
    XAVO_SP_NOT_VALID = 5,                /* not a live handle, or one without a connection */
    XAVO_NOT_IMPLEMENTED = 6,             /* job modification; a property that is not a string */
    XAVO_NOT_FOUND = 7,                   /* the broker does not know it; a lookup that finds nothing */
    XAVO_UNABLE_TO_OPEN_CONNECTION = 8,   /* no broker for a temporary handle; an unreachable share */
    XAVO_NOT_SUPPORTED = 9,               /* the broker does not support it */
    XAVO_MISSING_REQUIRED_PARAMETER = 10, /* the share test lacks a parameter */
    XAVO_MULTIPLE_EXPORT_JOBS = 11,       /* an export job is there already */
    XAVO_MULTIPLE_IMPORT_JOBS = 12,       /* an import job is there already */
    XAVO_INVALID_START_TIME = 13,         /* the service refuses the start time */
    XAVO_INVALID_UNTIL_TIME = 14,         /* the service refuses the until time */
    XAVO_MAXIMUM_JOBS = 15,               /* the job queue is full */
    XAVO_BACKUP_ALREADY_RUNNING = 16,
    XAVO_RESTORE_ALREADY_RUNNING = 17,
    XAVO_SYSTEM_IN_LOCKDOWN_MODE = 0x2022 /* 8226, apart from the dense range */
};

/* The bare name of a code, "NO_ERROR" to "SYSTEM_IN_LOCKDOWN_MODE"; "unknown" for any other number. A
 * static string. Any thread. */
const char *XAVO_EC_to_string(XAVO_ErrorCode ec);

/* The error code that a CMPI return code stands for: ACCESS_DENIED gives PERMISSION_ERROR;
 * INVALID_NAMESPACE, INVALID_PARAMETER and INVALID_CLASS give INVALID_VALUE; NOT_FOUND and
 * NOT_SUPPORTED give their namesakes; OK gives NO_ERROR; all else gives UNKNOWN_ERROR. Any thread. */
XAVO_ErrorCode XAVO_translate_error_code(CMPIrc rc);

/* ---- The handle --------------------------------------------------------------------------------- */

/* One connection to the broker. Callers treat it as opaque and pass the pointer on. */
typedef struct XAVO_Proxy {
    uint32_t head_magic[2]; /* 0x60845501, 0x78771855 while the handle lives */
    CMCIClient *client;     /* owned by the handle */
    pthread_mutex_t mutex;  /* default attributes: not recursive */
    uint8_t mutex_initialised;
    uint32_t tail_magic[2]; /* 0x60845502, 0x78771855 while the handle lives */
} XAVO_Proxy;

/* Opens a handle as the user "root". Returns NULL when memory is exhausted or no broker answers; the
 * reason is logged. The caller frees the handle with XAVO_free. Sets the environment variable
 * SFCC_CLIENT, so no other thread should read or write the environment meanwhile. Any thread. */
XAVO_Proxy *XAVO_new(void);

/* As XAVO_new, as the user `uname`; NULL stands for "root". The broker is given the name followed by
 * "01ff". Any thread, as XAVO_new. */
XAVO_Proxy *XAVO_new_with_uname(const char *uname);

/* Closes the connection and frees the handle. NULL and anything that is not a live handle is logged
 * and left alone. Any thread, while no other uses the handle. */
void XAVO_free(XAVO_Proxy *sp);

/* 1 when `sp` is a live handle, else 0 (NULL too). Logs nothing. Any thread. */
int XAVO_is_valid(const XAVO_Proxy *sp);

/* Take and give back the handle's mutex, as every call through it does by itself. Only for a program
 * that uses the handle's client directly; not recursive, so call nothing of this header through the
 * same handle in between. An invalid handle or a failing mutex is logged, and that is all. Any thread;
 * the one that locks unlocks. */
void XAVO_lock(XAVO_Proxy *sp);
void XAVO_unlock(XAVO_Proxy *sp);

/* Does nothing. Any thread. */
void XAVO_cleanstack(void);

/* ---- Reading what a method hands back ----------------------------------------------------------- */

/* The value of a CMPI_uint32 that is present (state CMPI_goodValue or CMPI_keyValue), in the low 32
 * bits of the result. Anything else gives 0 and INVALID_VALUE, as does a NULL `datap`, which is logged.
 * On success *errorcodep is left as it was. Errors: INVALID_VALUE. Any thread. */
CMPIUint32 XAVO_CMPIData_to_uint32(XAVO_ErrorCode *errorcodep, const CMPIData *datap);

/* Frees what a present value owns and sets its pointer to NULL: CMPI objects through their release,
 * CMPI_chars with free, arrays with all their elements. Absent values and numbers are left alone; a
 * value that cannot be freed (CMPI_ptr, CMPI_charsptr, CMPI_filter, unknown types) is logged. `data`
 * must not be NULL. Any thread that may use the value. */
void XAVO_free_CMPIData_value(CMPIData *data);

/* Frees every element of an array and sets it to null; the array itself stays with the caller. NULL
 * does nothing. Any thread that may use the array. */
void XAVO_free_CMPIArray_content(CMPIArray *array);

/* A copy of the string argument `name`, freed with free; NULL when there is none, when it is not a
 * string (then its value is freed) or when memory is exhausted. Neither argument may be NULL. Any
 * thread that may use `args`. */
char *XAVO_get_string_arg(CMPIArgs *args, const char *name);

/* Logs a method's outputs "MessageID" and "Message" as error lines, each if it is a string. `outargs`
 * must not be NULL. Any thread that may use it. */
void XAVO_log_MessageID(CMPIArgs *outargs);

/* ---- Strings, string lists, properties ---------------------------------------------------------- */

/* Frees a string that this library handed out; the same as free. NULL does nothing. Any thread. */
void XAVO_free_ntstring(char *s);

/* A CMPI_string array of a list of strings that ends with NULL, in its order. The caller releases it
 * (array->ft->release). NULL when the list is NULL or empty or the array cannot be made. A handle must
 * be open somewhere in the process: without one the client library makes no objects. Any thread. */
CMPIArray *XAVO_build_string_array(char *const *strings);

/* A copy of a string property, freed with XAVO_free_ntstring. NULL with NO_ERROR: the property's value
 * is null. `sp` is not used and may be NULL; `errorcodep` and `name` must not be NULL.
 * Errors: INVALID_VALUE instancep is NULL (logged); NOT_IMPLEMENTED the property is not a string;
 * OUT_OF_MEMORY it has no characters (logged) or they could not be copied; what
 * XAVO_translate_error_code makes of the status when it cannot be read. Any thread that may use the
 * instance. */
char *XAVO_property_to_ntstring(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, CMPIInstance *instancep,
                                const char *name);

/* ---- Job service: VELK_JobService --------------------------------------------------------------- */

/* Deletes a job from the queue (method "DeleteJobQueue"). `JobID` must not be NULL; sp may be NULL.
 * Errors: common errors, and INVALID_VALUE when JobID is NULL, UNKNOWN_ERROR when the method returns
 * nonzero: the service refuses, and its message is in the log. Any thread. */
void XAVO_invoke_DeleteJobQueue(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *JobID);

/* Sets the queue up with jobs (method "SetupJobQueue"). `JobArray` is a list of job identifiers that
 * ends with NULL. Times are text that the service judges ("TIME_NOW" or yyyymmddhhmmss);
 * `StartTimeInterval` and `JobArray` must not be NULL, `UntilTime` NULL means no until time. sp may be
 * NULL.
 * Errors: common errors, and INVALID_VALUE when a required argument is NULL, OUT_OF_MEMORY also when
 * the list is empty, UNKNOWN_ERROR when the method returns nonzero: the service refuses, and its
 * message is in the log. Any thread. */
void XAVO_invoke_SetupJobQueue(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *StartTimeInterval,
                               const char *UntilTime, char *const *JobArray);

#ifdef __cplusplus
}
#endif

#endif
