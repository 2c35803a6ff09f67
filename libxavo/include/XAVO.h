/* XAVO.h - the management services of this controller, as plain function calls.
 *
 * libxavo talks to the CIM broker that runs on the same controller, through the CIM client library's
 * local mode. The classes it uses live in the namespace "root/velk". Objects and values are those of
 * CMPI (The Open Group, Common Manageability Programming Interface).
 *
 * Conventions
 *
 *  1. Outcome. A function that takes `errorcodep` reports exactly one error code through it. A NULL
 *     errorcodep is logged and nothing else happens, unless the function says otherwise. Where a
 *     function says that an argument must not be NULL and lists no error for it, it does not check.
 *  2. Handle. `sp` is a handle from XAVO_new or XAVO_new_with_uname. Where a function says "sp may be
 *     NULL", it opens a handle of its own for the one call and frees it again: convenient for a single
 *     call, wasteful for many (and what XAVO_new says of the environment holds). A handle is freed with
 *     XAVO_free by who opened it, and then passed to nothing any more, not even to XAVO_is_valid: its
 *     memory is gone. A handle is for a burst of work, not for a life; see 8.
 *  3. Memory. Arguments are read during the call and never kept. What a function hands out belongs to
 *     the caller, and the function says how it is freed.
 *  4. Threads. Every function may be called from any thread. Threads may share a handle: its mutex lets
 *     their exchanges with the broker run one at a time; what asks the broker nothing does not lock. A
 *     handle must not be freed while another thread uses it. What the client library shares between all
 *     handles of a process is told in xavo(7), and in the guide.
 *  5. Common errors. A call made through a handle can always report
 *         XAVO_UNABLE_TO_OPEN_CONNECTION  sp is NULL and no handle could be opened
 *         XAVO_SP_NOT_VALID               sp is not a live handle, or has no connection
 *         XAVO_OUT_OF_MEMORY              the library or the client library has no memory left
 *         XAVO_PERMISSION_ERROR           the broker denies access to this user
 *         XAVO_NOT_FOUND                  the broker does not know the instance
 *         XAVO_NOT_SUPPORTED              the broker does not support the request
 *         XAVO_INVALID_VALUE              the broker refuses namespace, class or parameter, or the
 *                                         answer is not of the type it must be
 *         XAVO_UNKNOWN_ERROR              any other failure; from a call that only reads, a broken
 *                                         connection among them (from a method call: see 8)
 *     and says further down only what is its own ("common errors, and ...").
 *  6. Logging. Failures are written to the platform's log (hulmprintf, module 5): level 2 for errors,
 *     8 for traces.
 *  7. Signals. A SIGPIPE that the exchange with the broker raises does not reach the program; its own
 *     mask and disposition stay as they are. One that somebody else sends to the calling thread, or to a
 *     process of which no other thread takes it, during the exchange may be taken away along with it.
 *  8. A broker that went away. A connection does not outlive its broker. On one whose broker was stopped or
 *     restarted, calls that read report XAVO_UNKNOWN_ERROR, and a method call (XAVO_invoke_...,
 *     XAVO_delete_VELK_LifecycleJob) crashes inside the client library, which nothing here can prevent.
 *     Memory of the client library, too, grows with each call until the thread frees its last handle or
 *     ends. So open a handle for what is to be done now, and free it. Before a method call on a handle
 *     that was idle, fetch a job (XAVO_get_VELK_LifecycleJob): NOT_FOUND will do, UNKNOWN_ERROR says that
 *     every handle of the process must be freed and one opened anew. */
#ifndef XAVO_H
#define XAVO_H

#include <CimClientLib/cmci.h>
#include <CimClientLib/native.h>
#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The version of this header. */
#define XAVO_VERSION_MAJOR 1
#define XAVO_VERSION_MINOR 1
#define XAVO_VERSION_PATCH 0

/* ---- Error codes -------------------------------------------------------------------------------- */

typedef int XAVO_ErrorCode;

/* Every code: ROW(constant, value, name, meaning) for each, in a table of a program's own, too. */
/* clang-format off */
#define XAVO_ERROR_CODES(ROW) \
    ROW(XAVO_NO_ERROR,                      0, "NO_ERROR",                   "success") \
    ROW(XAVO_UNKNOWN_ERROR,                 1, "UNKNOWN_ERROR",              "the service refuses, or the exchange failed; see below") \
    ROW(XAVO_OUT_OF_MEMORY,                 2, "OUT_OF_MEMORY",              "no memory left, here or in the client library") \
    ROW(XAVO_PERMISSION_ERROR,              3, "PERMISSION_ERROR",           "the broker denies access") \
    ROW(XAVO_INVALID_VALUE,                 4, "INVALID_VALUE",              "an argument failed its check, here or in the service") \
    ROW(XAVO_SP_NOT_VALID,                  5, "SP_NOT_VALID",               "not a live handle, or one without a connection") \
    ROW(XAVO_NOT_IMPLEMENTED,               6, "NOT_IMPLEMENTED",            "jobs cannot be modified; a property is not a string") \
    ROW(XAVO_NOT_FOUND,                     7, "NOT_FOUND",                  "the broker does not know it; a lookup found nothing") \
    ROW(XAVO_UNABLE_TO_OPEN_CONNECTION,     8, "UNABLE_TO_OPEN_CONNECTION",  "no handle for the call, or no way to the share; see below") \
    ROW(XAVO_NOT_SUPPORTED,                 9, "NOT_SUPPORTED",              "the broker does not support it") \
    ROW(XAVO_MISSING_REQUIRED_PARAMETER,   10, "MISSING_REQUIRED_PARAMETER", "the share test lacks a parameter") \
    ROW(XAVO_MULTIPLE_EXPORT_JOBS,         11, "MULTIPLE_EXPORT_JOBS",       "an export job is there already") \
    ROW(XAVO_MULTIPLE_IMPORT_JOBS,         12, "MULTIPLE_IMPORT_JOBS",       "an import job is there already") \
    ROW(XAVO_INVALID_START_TIME,           13, "INVALID_START_TIME",         "the service refuses the start time") \
    ROW(XAVO_INVALID_UNTIL_TIME,           14, "INVALID_UNTIL_TIME",         "the service refuses the until time") \
    ROW(XAVO_MAXIMUM_JOBS,                 15, "MAXIMUM_JOBS",               "the job queue is full") \
    ROW(XAVO_BACKUP_ALREADY_RUNNING,       16, "BACKUP_ALREADY_RUNNING",     "a backup runs already") \
    ROW(XAVO_RESTORE_ALREADY_RUNNING,      17, "RESTORE_ALREADY_RUNNING",    "a restore runs already") \
    ROW(XAVO_SYSTEM_IN_LOCKDOWN_MODE,    8226, "SYSTEM_IN_LOCKDOWN_MODE",    "the controller is in lockdown mode")
/* clang-format on */

#define XAVO_ERROR_CONSTANT(constant, value, name, meaning) constant = (value),
enum { XAVO_ERROR_CODES(XAVO_ERROR_CONSTANT) };
#undef XAVO_ERROR_CONSTANT

/* Two codes have two meanings each. UNABLE_TO_OPEN_CONNECTION: a call that was given a handle has it from the
 * service, which cannot reach the share; a call without one may have found no broker, and then the log says
 * "unable to open connection to server". UNKNOWN_ERROR: fetch any job through the same handle
 * (XAVO_get_VELK_LifecycleJob). When that reports UNKNOWN_ERROR, too, the connection is broken. Else the
 * service refused, or answered what it must not, and its words, where the function says that they are
 * logged, stand in the log after "MessageID=" and "Message=". */

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

/* Opens a handle as the user "root". Returns NULL when memory is exhausted, a mutex cannot be made or no
 * broker answers; the reason is logged. While another handle of the process is open the broker is not asked:
 * the first call through the new one tells. The caller frees the handle with XAVO_free. Sets the environment
 * variable SFCC_CLIENT, so no other thread should read or write the environment meanwhile. Any thread. */
XAVO_Proxy *XAVO_new(void);

/* As XAVO_new, as the user `uname`; NULL stands for "root". The broker is given the name followed by
 * "01ff". Any thread, as XAVO_new. */
XAVO_Proxy *XAVO_new_with_uname(const char *uname);

/* Closes the connection and frees the handle, which must not be passed to anything afterwards. NULL and
 * memory that holds no live handle is logged and left alone. Any thread, while no other uses the handle. */
void XAVO_free(XAVO_Proxy *sp);

/* 1 when `sp` is a live handle, else 0 (NULL too). It reads the memory at `sp`, so it cannot be asked about a
 * handle that was freed. Logs nothing. Any thread. */
int XAVO_is_valid(const XAVO_Proxy *sp);

/* Take and give back the handle's mutex, as every exchange with the broker does by itself. Only for a program
 * that uses the handle's client directly; not recursive, so ask the broker nothing through the same handle
 * with this header's functions in between. An invalid handle or a failing mutex is logged, and that is all.
 * Any thread; the one that locks unlocks. */
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
 * CMPI_chars with free, arrays with all their elements (so only those that
 * XAVO_free_CMPIArray_content may be given). Absent values and numbers are left alone; a value that
 * cannot be freed (CMPI_ptr, CMPI_charsptr, CMPI_filter, unknown types) is logged. `data` must not be
 * NULL. Not for an element of an enumeration, which owns it. Any thread that may use the value. */
void XAVO_free_CMPIData_value(CMPIData *data);

/* Frees every element of an array that was read from an answer (an argument, a property) and sets it to null;
 * the array itself stays with the caller. An array that this process made, with XAVO_build_string_array say,
 * is let go of by its own release alone: the client library frees an element of it that is set to null, so
 * this would free it twice. NULL does nothing; an element that cannot be set to null is logged. No error
 * code. Any thread that may use the array. */
void XAVO_free_CMPIArray_content(CMPIArray *array);

/* A copy of the string argument `name`, freed with free; NULL when there is none, when it is not a
 * string (then its value is freed), when it has no characters or when memory is exhausted. Neither argument
 * may be NULL. Any thread that may use `args`. */
char *XAVO_get_string_arg(CMPIArgs *args, const char *name);

/* Logs a method's outputs "MessageID" and "Message" as error lines, each if it is a string. `outargs`
 * must not be NULL. Any thread that may use it. */
void XAVO_log_MessageID(CMPIArgs *outargs);

/* ---- Strings, string lists, properties ---------------------------------------------------------- */

/* Frees a string that this library handed out; the same as free. NULL does nothing. Any thread. */
void XAVO_free_ntstring(char *s);

/* A CMPI_string array of a list of strings that ends with NULL, in its order. The caller releases it
 * (array->ft->release), and does not empty it with XAVO_free_CMPIArray_content before. NULL when the list is
 * NULL or empty or the array cannot be made. A handle must be open somewhere in the process: without one the
 * client library makes no objects. Any thread. */
CMPIArray *XAVO_build_string_array(char *const *strings);

/* A copy of a string property, freed with XAVO_free_ntstring. NULL with NO_ERROR: the value's state is
 * neither CMPI_goodValue nor CMPI_keyValue; most often it is null. `sp` is not used and may be NULL;
 * `errorcodep` and `name` must not be NULL. Errors: INVALID_VALUE instancep is NULL (logged); NOT_IMPLEMENTED
 * the property is not a string; OUT_OF_MEMORY it has no characters (logged) or they could not be copied; what
 * XAVO_translate_error_code makes of the status when it cannot be read. Any thread that may use the
 * instance. */
char *XAVO_property_to_ntstring(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, CMPIInstance *instancep,
                                const char *name);

/* ---- Instances and their paths ------------------------------------------------------------------- */

/* All instances of a class in a namespace; NULL on failure, and NULL with NO_ERROR when the broker
 * answers with success and no enumeration. The caller walks the enumeration (hasNext, getNext), uses the
 * elements whose state is CMPI_goodValue, whose type is CMPI_instance and whose pointer is not NULL, and
 * releases the enumeration, which owns them (enumeration->ft->release). That must be done before the last
 * handle of the process is freed: the client library takes what is left down with it. sp must not be NULL.
 * Errors: common errors but UNABLE_TO_OPEN_CONNECTION and OUT_OF_MEMORY, and INVALID_VALUE when path
 * or classname is NULL. Any thread. */
CMPIEnumeration *XAVO_enumerate(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *path,
                                const char *classname);

/* The path of the instance of class `objectname` in namespace `path` whose one key `key` has this
 * value; NULL on failure. Does not ask the broker. The caller releases it (path->ft->release), before
 * the last handle of the process is freed. sp must not be NULL.
 * Errors: SP_NOT_VALID; INVALID_VALUE when a string is NULL; what XAVO_translate_error_code makes of the
 * status with which the client library refuses to make the path; UNKNOWN_ERROR when it makes none. Any
 * thread. */
CMPIObjectPath *XAVO_build_object_path_key_value(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *path,
                                                 const char *objectname, const char *key, const char *value);

/* ---- Job service: VELK_JobService --------------------------------------------------------------- */

/* Deletes a job from the queue (method "DeleteJobQueue"). `JobID` must not be NULL; sp may be NULL.
 * Errors: common errors, and INVALID_VALUE when JobID is NULL, UNKNOWN_ERROR when the method returns
 * nonzero: the service refuses (an unknown job, say: not NOT_FOUND), and its message is in the log. Any
 * thread. */
void XAVO_invoke_DeleteJobQueue(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *JobID);

/* Sets the queue up with jobs (method "SetupJobQueue"). `JobArray` is a list of job identifiers that
 * ends with NULL. Times are text that the service judges. `StartTimeInterval` and `JobArray` must not be
 * NULL; `UntilTime` NULL means no until time. sp may be NULL.
 * Errors: common errors, and INVALID_VALUE when a required argument is NULL, OUT_OF_MEMORY also when
 * the list is empty, UNKNOWN_ERROR when the method returns nonzero: the service refuses, and its
 * message is in the log. Any thread. */
void XAVO_invoke_SetupJobQueue(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *StartTimeInterval,
                               const char *UntilTime, char *const *JobArray);

/* ---- Jobs as records: VELK_LifecycleJob --------------------------------------------------------- */

/* One job. Every string is NULL (the property has no good value) or a copy that the record owns; numbers
 * and times come as the text that the controller gives. */
typedef struct XAVO_VELK_LifecycleJob {
    struct XAVO_VELK_LifecycleJob *next; /* the next record of a list; NULL in the last one */
    char *InstanceID;                    /* the job's identifier */
    char *ElapsedTimeSinceCompletion;
    char *PercentComplete;
    char *JobUntilTime;
    char *JobStartTime;
    char *MessageArguments;
    char *Message;
    char *MessageID;
    char *JobStatus;
    char *Name;
} XAVO_VELK_LifecycleJob;

/* All jobs, as a list in the broker's order that the caller frees with
 * XAVO_free_list_VELK_LifecycleJob; NULL when there is none or on failure. A job that cannot be
 * converted is left out of the list, and only the last job's outcome is reported: NO_ERROR does not say that
 * the list has every job. sp may be NULL.
 * Errors: common errors, and what XAVO_property_to_ntstring reports when the last job could not be
 * converted: then the list holds those before it that could. Any thread. */
XAVO_VELK_LifecycleJob *XAVO_enumerate_VELK_LifecycleJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep);

/* One job, as a record that the caller frees with XAVO_free_VELK_LifecycleJob; NULL on failure, and NULL
 * with NO_ERROR when the broker answers with success and no instance. sp may be NULL.
 * Errors: common errors (NOT_FOUND: no such job), INVALID_VALUE when InstanceID is NULL, and what
 * XAVO_property_to_ntstring reports. Any thread. */
XAVO_VELK_LifecycleJob *XAVO_get_VELK_LifecycleJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep,
                                                   const char *InstanceID);

/* Deletes a job: XAVO_invoke_DeleteJobQueue under another name, log lines and errors included. sp may be
 * NULL, InstanceID must not be (INVALID_VALUE). Any thread. */
void XAVO_delete_VELK_LifecycleJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *InstanceID);

/* Jobs cannot be modified: reports and returns NOT_IMPLEMENTED, whatever the handle. A NULL errorcodep
 * is logged, and the result is the same. Any thread. */
XAVO_ErrorCode XAVO_modify_VELK_LifecycleJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep);

/* A record with every field NULL, freed with XAVO_free_VELK_LifecycleJob; NULL when memory is exhausted.
 * Any thread. */
XAVO_VELK_LifecycleJob *XAVO_new_VELK_LifecycleJob(void);

/* Frees one record with its strings, not the records that follow it. NULL does nothing. Any thread. */
void XAVO_free_VELK_LifecycleJob(XAVO_VELK_LifecycleJob *job);

/* Frees a record and all that follow it. NULL does nothing. Any thread. */
void XAVO_free_list_VELK_LifecycleJob(XAVO_VELK_LifecycleJob *list);

/* Writes a record as eleven lines: "VELK_LifecycleJob:", then "    property=value" for each string, NULL
 * as an empty one. A NULL stream or record is logged and nothing is written. Any thread. */
void XAVO_fprint_VELK_LifecycleJob(FILE *stream, const XAVO_VELK_LifecycleJob *job);

/* Writes each record of a list, one after the other; NULL writes nothing. A NULL stream is logged once.
 * Any thread. */
void XAVO_fprint_list_VELK_LifecycleJob(FILE *stream, const XAVO_VELK_LifecycleJob *list);

/* ---- Diagnostic printers ------------------------------------------------------------------------ */

/* These write a value to stdout as an indented tree and flush after every line. `indent` is the number
 * of spaces before the header line, `label` a name for it, which must not be NULL. The printed object
 * stays the caller's; names and values that a printer reads from it are freed again. Two threads that
 * print at once mix their lines. Any thread that may use the value. */

/* Header, characters, and their address as a number; for NULL a line that says so. */
void XAVO_pr_CMPIString(int indent, const char *label, CMPIString *s);
/* One line: code and name. */
void XAVO_pr_CMPIType(int indent, const char *label, CMPIType type);
void XAVO_pr_CMPIValueState(int indent, const char *label, CMPIValueState state);
/* One line: the low 32 bits. */
void XAVO_pr_CMPIUint32(int indent, const char *label, CMPIUint32 value);
/* Header, type, state and, when it is present, the value: references, strings, uint32 and arrays;
 * "unknown type" for all others. */
void XAVO_pr_CMPIData(int indent, const char *label, CMPIData data);
/* Header, count and each element. For NULL, after the header, "arrayp is NULL" at indent + 4. */
void XAVO_pr_CMPIArray(int indent, const char *label, CMPIArray *arrayp);
/* Header, namespace, host name, class name and each key. For NULL, after the header, "op is NULL" at
 * indent + 4. */
void XAVO_pr_CMPIObjectPath(int indent, const char *label, CMPIObjectPath *op);
/* Header, count and each argument. For NULL, after the header, "args is NULL" at indent + 4. */
void XAVO_pr_CMPIArgs(int indent, const char *label, CMPIArgs *args);

/* The name of a CMPI type code or of a single value state, "unknown" for anything else. A static string.
 * Any thread. */
const char *XAVO_CMPIType_to_string(CMPIType type);
const char *XAVO_CMPIValueState_to_string(CMPIValueState state);

/* Writes n spaces; none for n of 0 or less. A NULL stream is logged. Does not flush. Any thread. */
void XAVO_indent(FILE *fp, int n);
/* Writes a string as it is; NULL writes nothing. A NULL stream is logged. Does not flush. Any thread. */
void XAVO_fprint_ntstring(FILE *fp, const char *s);

/* ---- Software installation: VELK_SoftwareInstallationService ------------------------------------ */

/* These three start a job and hand its identifier out in *JID_InstanceID, as a new string that the
 * caller frees with free or XAVO_free_ntstring. Set it to NULL beforehand: a call that gets no live handle
 * or a NULL argument leaves it as it was. After those checks it is overwritten with NULL (so before a handle
 * without a connection is found out), and is not NULL at the end exactly when the outcome is NO_ERROR. sp may
 * be NULL; the other arguments must not be. Errors of each: common errors, INVALID_VALUE when an argument is
 * NULL, UNKNOWN_ERROR also when the service names no job or the answer is no job reference, NOT_FOUND also
 * when the reference does not say which job: the service's message, if it sent one, is in the log. Any
 * thread. */

/* Installs what a URI names onto the software identity `InstanceID` (method "InstallFromURI"). */
void XAVO_invoke_InstallFromURI(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *URI,
                                const char *InstanceID, char **JID_InstanceID);

/* Installs a software identity that the controller holds (method "InstallFromSoftwareIdentity"). */
void XAVO_invoke_InstallFromSoftwareIdentity(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep,
                                             const char *InstanceID, char **JID_InstanceID);

/* Creates a reboot job (method "CreateRebootJob"). `RebootJobType` is a decimal number from 0 to 65535,
 * as text in the form that strtol takes with base 10, with nothing after it; the service judges what it
 * means. Errors: also INVALID_VALUE when the text is empty, no such number or out of range; then
 * *JID_InstanceID is NULL already. */
void XAVO_invoke_CreateRebootJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *RebootJobType,
                                 char **JID_InstanceID);

/* ---- Backup, restore, share test: VELK_QMService ------------------------------------------------ */

/* The records are part of the binary interface. Start from one of all zero bytes. Every buffer holds a string
 * that ends inside it. An empty string, or the number 0, means "not given" and is not sent, unless the
 * member's comment says "sent as it is": then the service gets it, empty or 0. Share types: 0, 2, 5 and 6 are
 * shares on a server; 2, 5 and 6 take credentials for a backup or a restore, 2 alone for a test; 5 and 6 take
 * the options of XAVO_HTTP_SHARE_OPT_DATA; 4, for backup and restore only, needs neither server nor share.
 * What a share type does not take is not sent at all. */

/* Proxy and certificate options of a share reached over HTTP. */
typedef struct XAVO_HTTP_SHARE_OPT_DATA {
    uint16_t proxySupport;
    uint16_t proxyType;
    char proxyServer[65];
    char proxyUname[65];
    char proxyPasswd[65];
    char proxyPort[12]; /* as text */
    uint16_t ignoreCertWarning;
} XAVO_HTTP_SHARE_OPT_DATA;

/* A network share to be tested. This library joins workgroup and user name with a backslash for the service:
 * give each by itself. */
typedef struct XAVO_NET_INPUT_DATA {
    char uname[65]; /* this and the next two are sent as they are, with share type 2 */
    char passwd[65];
    char workgroup[65]; /* the user's */
    char ipaddr[65];    /* the server's address: sent as it is */
    char sharename[257];
    uint16_t shareType; /* 0, 2, 5 or 6: sent as it is */
    uint16_t reserved;  /* neither checked nor sent */
    XAVO_HTTP_SHARE_OPT_DATA http;
} XAVO_NET_INPUT_DATA;

/* A backup or a restore. */
typedef struct XAVO_BAR_INPUT_DATA {
    char uname[65];
    char passwd[65];
    char passphrase[33];
    char ipaddr[65]; /* the server's address: sent as it is, to a share on a server */
    char sharename[257];
    char imagename[65]; /* sent as it is, to a share on a server */
    char startTime[33]; /* required; text that the service judges, as untilTime is */
    char untilTime[33];
    uint16_t shareType;        /* 0, 2, 4, 5 or 6: sent as it is */
    uint16_t preserveVDConfig; /* RestoreImage: its lowest bit is sent, 0 or 1 */
    XAVO_HTTP_SHARE_OPT_DATA http;
    char JobName[33];
    uint16_t checkBackupDestinationAvailability;
    char tavixuname[65]; /* checked, not sent */
} XAVO_BAR_INPUT_DATA;

/* 1 when a NUL byte stands among the first `size` bytes; 0 when not, when size is 0 or buffer is NULL.
 * Logs nothing. Any thread. */
int XAVO_Validate_StringBuffer(const char *buffer, size_t size);

/* 1 when every buffer of the record ends inside itself; else 0, and the first that does not is logged.
 * `data` must not be NULL. Any thread. */
int XAVO_Validate_XAVO_HTTP_SHARE_OPT_DATA(const XAVO_HTTP_SHARE_OPT_DATA *data);
int XAVO_Validate_XAVO_NET_INPUT_DATA(const XAVO_NET_INPUT_DATA *data);
int XAVO_Validate_XAVO_BAR_INPUT_DATA(const XAVO_BAR_INPUT_DATA *data);

/* Starts a backup of an image to a share, or a restore from one: `method` is "BackupImage" or
 * "RestoreImage" in any letter case. The new job's identifier comes in *JID_InstanceID, a new string
 * that the caller frees with free or XAVO_free_ntstring. Set it to NULL beforehand: a call that gets no live
 * handle, a NULL argument, a record whose strings do not end or an unknown method leaves it as it was. After
 * those checks it is overwritten with NULL (so before a handle without a connection is found out), and is not
 * NULL at the end exactly when the outcome is NO_ERROR. The service's message itself is not logged. A restore
 * whose share type and start time have passed their checks reduces data->preserveVDConfig to its lowest bit,
 * in the caller's record, which no other thread may use meanwhile. sp may be NULL.
 * Errors: common errors; INVALID_VALUE when data or JID_InstanceID is NULL, the record or the method is not
 * valid, the share type is none of 0, 2, 4, 5, 6, or startTime is empty; by the service's message
 * INVALID_VALUE, UNABLE_TO_OPEN_CONNECTION (the share cannot be reached), MULTIPLE_EXPORT_JOBS,
 * MULTIPLE_IMPORT_JOBS, INVALID_START_TIME, INVALID_UNTIL_TIME, MAXIMUM_JOBS, BACKUP_ALREADY_RUNNING,
 * RESTORE_ALREADY_RUNNING, SYSTEM_IN_LOCKDOWN_MODE, and UNKNOWN_ERROR for any other; UNKNOWN_ERROR also when
 * the message cannot be read or the answer names no job, NOT_FOUND also when its reference does not say
 * which. Any thread. */
void XAVO_invoke_BackupRestore(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *method,
                               XAVO_BAR_INPUT_DATA *data, char **JID_InstanceID);

/* Tests whether a share can be reached (method "TestNetworkShare"): NO_ERROR says so. sp may be NULL.
 * Errors: common errors; INVALID_VALUE when data is NULL, the record is not valid or the share type is
 * none of 0, 2, 5, 6; by the service's message MISSING_REQUIRED_PARAMETER, INVALID_VALUE,
 * UNABLE_TO_OPEN_CONNECTION (the share cannot be reached), and UNKNOWN_ERROR for any other; NOT_FOUND
 * also when its message cannot be read. The message itself is not logged. Any thread. */
void XAVO_invoke_TestNetworkShare(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep,
                                  const XAVO_NET_INPUT_DATA *data);

#ifdef __cplusplus
}
#endif

#endif
