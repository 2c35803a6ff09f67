/* XAVO.h - the management services of this controller, as plain function calls.
 *
 * libxavo talks to the CIM broker on the same controller, through the local mode of the CIM client
 * library. The classes that it uses are in the namespace "root/velk". Objects and values are those of
 * CMPI (The Open Group, Common Manageability Programming Interface). The error codes and the records are
 * declared in XAVO_types.h, which this header includes.
 *
 * Conventions
 *
 *  1. Outcome. A function that takes `errorcodep` reports exactly one error code through it. A NULL
 *     errorcodep is logged and nothing else happens, unless the function says otherwise. An argument
 *     that must not be NULL is not checked if the function lists no error for it.
 *  2. Handle. `sp` is a handle from XAVO_new or XAVO_new_with_uname. Where a function says "sp may be
 *     NULL", it opens a handle for this one call, as XAVO_new does, and frees it before it returns:
 *     convenient for a single call, slow for many. Whoever opened a handle frees it with XAVO_free. The
 *     pointer must not be passed to any function afterwards, not even to XAVO_is_valid. Open a handle,
 *     make a batch of calls, free it; do not keep it for hours (see 8 and 9).
 *  3. Memory. Arguments are read during the call and not kept. What a function returns or stores belongs
 *     to the caller, and the function says how to free it.
 *  4. Threads. Every function may be called from any thread. Threads may share a handle:
 *     XAVO_enumerate, XAVO_enumerate_VELK_LifecycleJob, XAVO_get_VELK_LifecycleJob,
 *     XAVO_delete_VELK_LifecycleJob and XAVO_invoke_... hold its mutex while they use the connection, so
 *     these calls run one at a time. They check their arguments before they lock, with three exceptions:
 *     the share type, an empty start time and an empty list of jobs are checked while the mutex is held.
 *     Of the other functions only XAVO_lock locks. A handle must not be freed while another thread uses
 *     it, and an object, a value or a record must not be changed or freed while another thread uses it.
 *     Free a value that was read from an object of the client library on the thread that read it.
 *  5. Common errors. A call made through a handle can always report
 *         XAVO_UNABLE_TO_OPEN_CONNECTION  sp is NULL and no handle could be opened
 *         XAVO_SP_NOT_VALID               sp is not a live handle, or has no connection
 *         XAVO_OUT_OF_MEMORY              the library or the client library has no memory left
 *     and these, by the status that the client library, the broker or the service gives:
 *         XAVO_PERMISSION_ERROR           access is denied to this user
 *         XAVO_NOT_FOUND                  the instance does not exist
 *         XAVO_NOT_SUPPORTED              the request is not supported
 *         XAVO_INVALID_VALUE              the namespace, the class or a parameter is not valid
 *         XAVO_UNKNOWN_ERROR              any other status; also a broken connection, from a call that
 *                                         reads (from a method call: see 8)
 *     The comment of a function names these "common errors" and lists only further ones.
 *  6. Logging. The library writes to the platform's log (hulmprintf, module 5): errors at level 2, traces
 *     at level 8. Not every failure has an error line. One is written when
 *         - an argument or the handle fails its check, or no handle can be opened;
 *         - a mutex call fails, an argument list or a user name cannot be allocated, a property has no
 *           characters, or a value cannot be freed;
 *         - a method of the job service gets a failing status or returns nonzero, or a method of the
 *           software installation gets a failing status, names no job or names one that cannot be read;
 *           then the service's message is logged, too;
 *         - a backup or a restore is refused with a message (the line does not say which), or names a job
 *           that cannot be read.
 *     None is written when
 *         - the broker refuses a listing or a fetch (for example of a job that does not exist), a backup, a
 *           restore or a share test, or the service refuses a share test with a message;
 *         - the client library refuses a path, an array or an argument, the list of jobs is empty, or the
 *           handle has no connection;
 *         - a return value or a property is of the wrong type, a property or a message cannot be read, a
 *           backup or a restore names no job, or a copy of a property or of a message, or a record, cannot
 *           be allocated.
 *  7. Signals. A SIGPIPE that a call raises does not reach the program, and the calling thread's mask and
 *     the disposition stay as they are. A SIGPIPE from another source that arrives during the call may be
 *     removed, too: one for the calling thread, or one for the process when no other thread accepts it.
 *     If the calling thread blocks SIGPIPE and one is already pending for the process, the one
 *     that the call raises stays pending for the thread.
 *  8. A broker that stops or hangs. A connection does not outlive its broker. After the broker was stopped
 *     or restarted, calls that read report XAVO_UNKNOWN_ERROR, and a method call (XAVO_invoke_...,
 *     XAVO_delete_VELK_LifecycleJob) crashes inside the client library, which this library cannot
 *     prevent. A method call to a broker that does not know the service's class crashes, too. Before a method
 *     call through a handle that was idle, fetch any job (XAVO_get_VELK_LifecycleJob). NOT_FOUND means
 *     that the connection works. After UNKNOWN_ERROR free every handle of the process, then open one
 *     again. There is no time-out: a call during which the broker or the service stops or hangs does not
 *     return.
 *  9. Memory of the client library. Each call allocates memory, which belongs to the thread that makes the
 *     call. The memory of a thread is freed when that thread frees the last handle of the process, or when
 *     it ends while a handle of the process is open. The memory is leaked when another thread frees the
 *     last handle, and a thread that ends while another frees the last handle can crash. If several threads
 *     make calls, free the last handle after the other threads have ended. */
#ifndef XAVO_H
#define XAVO_H

#include <CimClientLib/cmci.h>
#include <CimClientLib/native.h>
#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <XAVO_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Error codes -------------------------------------------------------------------------------- */

/* Returns the bare name of a code, "NO_ERROR" to "SYSTEM_IN_LOCKDOWN_MODE", or "unknown" for any other
 * number: a static string. */
const char *XAVO_EC_to_string(XAVO_ErrorCode ec);

/* Translates a CMPI return code into an error code. ACCESS_DENIED gives PERMISSION_ERROR;
 * INVALID_NAMESPACE, INVALID_PARAMETER and INVALID_CLASS give INVALID_VALUE; NOT_FOUND and
 * NOT_SUPPORTED give the codes of the same names; OK gives NO_ERROR; any other gives UNKNOWN_ERROR. */
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

/* Opens a handle as the user "root". Returns NULL when memory is exhausted, a mutex cannot be initialised
 * or no broker answers; the reason is logged. While another handle of the process is open, the broker is
 * not contacted: the first call through the new handle shows whether it answers. The caller frees the
 * handle with XAVO_free. The function sets the environment variable SFCC_CLIENT, so no other thread may
 * read or write the environment at the same time. */
XAVO_Proxy *XAVO_new(void);

/* As XAVO_new, but as the user `uname`; NULL stands for "root". The broker receives the name followed by
 * "01ff". */
XAVO_Proxy *XAVO_new_with_uname(const char *uname);

/* Closes the connection and frees the handle. NULL, or memory that holds no live handle, is logged and
 * not changed. */
void XAVO_free(XAVO_Proxy *sp);

/* Returns 1 when `sp` is a live handle, else 0 (NULL too). It reads the memory at `sp`, so it must not be
 * called for a handle that was freed. Logs nothing. */
int XAVO_is_valid(const XAVO_Proxy *sp);

/* Lock and unlock the handle's mutex. The calls listed under "Threads" do so themselves; these two are
 * for a program that uses the handle's client directly. The mutex is not recursive: while it is locked, make
 * none of those calls through the same handle. Unlock it on the thread that locked it. An invalid handle or a
 * failing mutex call is only logged. */
void XAVO_lock(XAVO_Proxy *sp);
void XAVO_unlock(XAVO_Proxy *sp);

/* Does nothing. */
void XAVO_cleanstack(void);

/* ---- Reading what a method returns --------------------------------------------------------------- */

/* Returns the low 32 bits of a CMPI_uint32 that is present (its state is CMPI_goodValue or CMPI_keyValue),
 * and does not change *errorcodep. For anything else returns 0 and reports INVALID_VALUE; a NULL `datap` is
 * also logged. Errors: INVALID_VALUE. */
CMPIUint32 XAVO_CMPIData_to_uint32(XAVO_ErrorCode *errorcodep, const CMPIData *datap);

/* Frees the object or the characters of a present value and sets its pointer to NULL: a CMPI object by its
 * release function, CMPI_chars with free, an array with all its elements (see XAVO_free_CMPIArray_content for
 * the arrays that this is allowed for). Absent values and numbers are not changed; a value that cannot be
 * freed (CMPI_ptr, CMPI_charsptr, CMPI_filter, unknown types) is logged. `data` must not be NULL. Do not call
 * it for an element of an enumeration: the enumeration owns its elements. */
void XAVO_free_CMPIData_value(CMPIData *data);

/* Frees every element of an array that was read from an answer (an argument, a property) and sets it to
 * null; the caller still owns the array itself. Do not call it for an array that this process made, for
 * example with XAVO_build_string_array: in such an array the client library frees an element when it is set
 * to null, so each element would be freed twice. Free such an array only by its release function. NULL does
 * nothing; an element that cannot be set to null is logged. No error code. */
void XAVO_free_CMPIArray_content(CMPIArray *array);

/* Returns a copy of the string argument `name`, to be freed with free; NULL when there is none, when it is
 * not a string (then its value is freed), when it has no characters or when memory is exhausted. Neither
 * argument may be NULL. */
char *XAVO_get_string_arg(CMPIArgs *args, const char *name);

/* Logs a method's outputs "MessageID" and "Message" as error lines, each only if it is a string. `outargs`
 * must not be NULL. */
void XAVO_log_MessageID(CMPIArgs *outargs);

/* ---- Strings, string lists, properties ---------------------------------------------------------- */

/* Frees a string that this library returned; the same as free. NULL does nothing. */
void XAVO_free_ntstring(char *s);

/* Returns a CMPI_string array of a list of strings that ends with NULL, in the order of the list; NULL when
 * the list is NULL or empty or the array cannot be made. The caller frees it with its release function
 * (array->ft->release), without a call of XAVO_free_CMPIArray_content before it. A handle must be open in the
 * process: without one the client library creates no objects. */
CMPIArray *XAVO_build_string_array(char *const *strings);

/* Returns a copy of a string property, to be freed with XAVO_free_ntstring. Returns NULL with NO_ERROR when
 * the value's state is neither CMPI_goodValue nor CMPI_keyValue (usually the value is null). `sp` is not used
 * and may be NULL; `errorcodep` and `name` must not be NULL.
 * Errors: INVALID_VALUE when instancep is NULL (logged); NOT_IMPLEMENTED when the property is not a string;
 * OUT_OF_MEMORY when it has no characters (logged) or they cannot be copied; the code that
 * XAVO_translate_error_code gives for the status when the property cannot be read. */
char *XAVO_property_to_ntstring(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, CMPIInstance *instancep,
                                const char *name);

/* ---- Instances and their paths ------------------------------------------------------------------- */

/* Returns all instances of a class in a namespace; NULL on failure, and NULL with NO_ERROR when the broker
 * answers with success and no enumeration. The caller walks the enumeration (hasNext, getNext), uses only
 * elements whose state is CMPI_goodValue, whose type is CMPI_instance and whose pointer is not NULL, and
 * frees the enumeration with its release function (enumeration->ft->release), which frees the elements. Free
 * it before the last handle of the process: no object of the client library is valid after that.
 * sp must not be NULL.
 * Errors: common errors except UNABLE_TO_OPEN_CONNECTION and OUT_OF_MEMORY; INVALID_VALUE when path or
 * classname is NULL. */
CMPIEnumeration *XAVO_enumerate(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *path,
                                const char *classname);

/* Returns the path of the instance of class `objectname` in namespace `path` whose only key `key` has this
 * value; NULL on failure. Does not contact the broker. The caller frees it with its release function
 * (path->ft->release) before the last handle of the process is freed. sp must not be NULL.
 * Errors: SP_NOT_VALID; INVALID_VALUE when a string is NULL; the code that XAVO_translate_error_code gives
 * for the status when the client library refuses the path or the key; UNKNOWN_ERROR when it makes no path. */
CMPIObjectPath *XAVO_build_object_path_key_value(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *path,
                                                 const char *objectname, const char *key, const char *value);

/* ---- Job service: VELK_JobService --------------------------------------------------------------- */

/* Deletes a job from the queue (method "DeleteJobQueue"). `JobID` must not be NULL; sp may be NULL.
 * Errors: common errors, and INVALID_VALUE when JobID is NULL or the method's return value is not a
 * CMPI_uint32, UNKNOWN_ERROR when that value is not 0: the service refuses, and its message is logged. An
 * unknown job is such a refusal, not NOT_FOUND. */
void XAVO_invoke_DeleteJobQueue(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *JobID);

/* Sets up the queue with jobs (method "SetupJobQueue"). `JobArray` is a list of job identifiers that ends
 * with NULL. Times are text and are sent unchanged; the service judges them. `StartTimeInterval` and
 * `JobArray` must not be NULL; `UntilTime` NULL means no until time. sp may be NULL.
 * Errors: common errors, and INVALID_VALUE when a required argument is NULL or the method's return value is
 * not a CMPI_uint32, OUT_OF_MEMORY also when the list is empty, UNKNOWN_ERROR when the method's return value
 * is not 0: the service refuses, and its message is logged. */
void XAVO_invoke_SetupJobQueue(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *StartTimeInterval,
                               const char *UntilTime, char *const *JobArray);

/* ---- Jobs as records: VELK_LifecycleJob --------------------------------------------------------- */

/* Returns all jobs, as a list in the broker's order that the caller frees with
 * XAVO_free_list_VELK_LifecycleJob; NULL when there is none or on failure. A job that cannot be converted is
 * left out of the list, and only the outcome of the last job is reported: NO_ERROR does not mean that the
 * list is complete. sp may be NULL.
 * Errors: common errors, and those of XAVO_property_to_ntstring when the last job cannot be converted: then
 * the list contains the jobs before it that could be converted. */
XAVO_VELK_LifecycleJob *XAVO_enumerate_VELK_LifecycleJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep);

/* Returns one job, as a record that the caller frees with XAVO_free_VELK_LifecycleJob; NULL on failure, and
 * NULL with NO_ERROR when the broker answers with success and no instance. sp may be NULL.
 * Errors: common errors (NOT_FOUND: no such job), INVALID_VALUE when InstanceID is NULL, and those of
 * XAVO_property_to_ntstring. */
XAVO_VELK_LifecycleJob *XAVO_get_VELK_LifecycleJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep,
                                                   const char *InstanceID);

/* Deletes a job: XAVO_invoke_DeleteJobQueue under another name, with its log lines and errors. sp may be
 * NULL, InstanceID must not be (INVALID_VALUE). */
void XAVO_delete_VELK_LifecycleJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *InstanceID);

/* Jobs cannot be modified: reports and returns NOT_IMPLEMENTED for any handle. A NULL errorcodep is logged,
 * and the result is the same. */
XAVO_ErrorCode XAVO_modify_VELK_LifecycleJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep);

/* Returns a record with every field NULL, to be freed with XAVO_free_VELK_LifecycleJob; NULL when memory is
 * exhausted. */
XAVO_VELK_LifecycleJob *XAVO_new_VELK_LifecycleJob(void);

/* Frees one record with its strings, but not the records that follow it. NULL does nothing. */
void XAVO_free_VELK_LifecycleJob(XAVO_VELK_LifecycleJob *job);

/* Frees a record and all that follow it. NULL does nothing. */
void XAVO_free_list_VELK_LifecycleJob(XAVO_VELK_LifecycleJob *list);

/* Writes a record as eleven lines: "VELK_LifecycleJob:", then "    property=value" for each string, NULL
 * as an empty one. A NULL stream or record is logged and nothing is written. */
void XAVO_fprint_VELK_LifecycleJob(FILE *stream, const XAVO_VELK_LifecycleJob *job);

/* Writes each record of a list; NULL writes nothing. A NULL stream is logged once. */
void XAVO_fprint_list_VELK_LifecycleJob(FILE *stream, const XAVO_VELK_LifecycleJob *list);

/* ---- Diagnostic printers ------------------------------------------------------------------------ */

/* These write a value to stdout as an indented tree and flush after every line. `indent` is the number
 * of spaces before the header line; `label` is a name for the value and must not be NULL. The caller
 * still owns the printed object. A printer frees the names, keys and arguments that it reads from a path or
 * an argument list, but not the object of a null value, and not the elements of an array, which belong to
 * the array. When two threads print at the same time, their lines mix. */

/* Header, characters, and their address as a number; only the header when the string has no characters. For
 * NULL, after the header, the prefix of a log line and "s is NULL". */
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

/* Return the name of a CMPI type code and of a single value state, "unknown" for anything else: a static
 * string. */
const char *XAVO_CMPIType_to_string(CMPIType type);
const char *XAVO_CMPIValueState_to_string(CMPIValueState state);

/* Writes n spaces; none if n is 0 or negative. A NULL stream is logged. Does not flush. */
void XAVO_indent(FILE *fp, int n);
/* Writes a string as it is; NULL writes nothing. A NULL stream is logged. Does not flush. */
void XAVO_fprint_ntstring(FILE *fp, const char *s);

/* ---- Software installation: VELK_SoftwareInstallationService ------------------------------------ */

/* These three start a job and store its identifier in *JID_InstanceID, as a new string that the caller
 * frees with free or XAVO_free_ntstring. Set *JID_InstanceID to NULL before the call: a call that has no live
 * handle, or an argument that is NULL, leaves it as it is. After these checks the call sets it to NULL
 * (before it finds out that a handle has no connection); at the end it is not NULL exactly when the outcome
 * is NO_ERROR. sp may be NULL; no other argument may. Errors of each: common errors, INVALID_VALUE when an
 * argument is NULL, UNKNOWN_ERROR also when the service names no job, when its output for the job is not a
 * reference, or when the reference's key "InstanceID" is not a string, NOT_FOUND also when the reference
 * has no such key. The service's message, if it sent one, is logged. */

/* Installs the software at a URI onto the software identity `InstanceID` (method "InstallFromURI").
 * `InstanceID` is sent as it is. When it contains a quotation mark, the client library's local mode sends no
 * target: the service receives NULL, and may report success. */
void XAVO_invoke_InstallFromURI(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *URI,
                                const char *InstanceID, char **JID_InstanceID);

/* Installs a software identity that the controller holds (method "InstallFromSoftwareIdentity"). For a
 * quotation mark in `InstanceID` see XAVO_invoke_InstallFromURI. */
void XAVO_invoke_InstallFromSoftwareIdentity(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep,
                                             const char *InstanceID, char **JID_InstanceID);

/* Creates a reboot job (method "CreateRebootJob"). `RebootJobType` is a decimal number from 0 to 65535, as
 * text in the form that strtol accepts with base 10, with nothing after it; the service judges what it means.
 * Errors: also INVALID_VALUE when the text is empty, is not such a number or is out of range; then
 * *JID_InstanceID has been set to NULL. */
void XAVO_invoke_CreateRebootJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *RebootJobType,
                                 char **JID_InstanceID);

/* ---- Backup, restore, share test: VELK_QMService ------------------------------------------------ */

/* Returns 1 when one of the first `size` bytes is NUL; 0 when none is, when size is 0 or buffer is NULL.
 * Logs nothing. */
int XAVO_Validate_StringBuffer(const char *buffer, size_t size);

/* Return 1 when every string of the record ends inside its buffer; else 0, and the first one that does not is
 * logged. `data` must not be NULL. */
int XAVO_Validate_XAVO_HTTP_SHARE_OPT_DATA(const XAVO_HTTP_SHARE_OPT_DATA *data);
int XAVO_Validate_XAVO_NET_INPUT_DATA(const XAVO_NET_INPUT_DATA *data);
int XAVO_Validate_XAVO_BAR_INPUT_DATA(const XAVO_BAR_INPUT_DATA *data);

/* Starts a backup of an image to a share, or a restore from one: `method` is "BackupImage" or
 * "RestoreImage" in any letter case. The new job's identifier is stored in *JID_InstanceID, as a new string
 * that the caller frees with free or XAVO_free_ntstring. Set *JID_InstanceID to NULL before the call: a call
 * that has no live handle, an argument that is NULL, a record whose strings do not end or an unknown method
 * leaves it as it is. After these checks the call sets it to NULL (before it finds out that a handle has no
 * connection); at the end it is not NULL exactly when the outcome is NO_ERROR. The service's message is not
 * logged. A restore reduces data->preserveVDConfig in the caller's record to its lowest bit, right after it
 * has added the start time to its arguments; no other thread may use the record during the call. sp may be
 * NULL.
 * Errors: common errors; INVALID_VALUE when data or JID_InstanceID is NULL, the record or the method is not
 * valid, the share type is not 0, 2, 4, 5 or 6, or startTime is empty; by the service's message
 * INVALID_VALUE, UNABLE_TO_OPEN_CONNECTION (the share cannot be reached), MULTIPLE_EXPORT_JOBS,
 * MULTIPLE_IMPORT_JOBS, INVALID_START_TIME, INVALID_UNTIL_TIME, MAXIMUM_JOBS, BACKUP_ALREADY_RUNNING,
 * RESTORE_ALREADY_RUNNING, SYSTEM_IN_LOCKDOWN_MODE, and UNKNOWN_ERROR for any other message; UNKNOWN_ERROR
 * also when the message cannot be read or copied, when the service names no job, when its output for the job
 * is not a reference, or when the reference's key "InstanceID" is not a string, NOT_FOUND also when the
 * reference has no such key. */
void XAVO_invoke_BackupRestore(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *method,
                               XAVO_BAR_INPUT_DATA *data, char **JID_InstanceID);

/* Tests whether a share can be reached (method "TestNetworkShare"): NO_ERROR means that it can. sp may be
 * NULL. The service's message is not logged.
 * Errors: common errors; INVALID_VALUE when data is NULL, the record is not valid or the share type is not
 * 0, 2, 5 or 6; by the service's message MISSING_REQUIRED_PARAMETER, INVALID_VALUE,
 * UNABLE_TO_OPEN_CONNECTION (the share cannot be reached), and UNKNOWN_ERROR for any other message;
 * NOT_FOUND also when the message cannot be read. */
void XAVO_invoke_TestNetworkShare(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep,
                                  const XAVO_NET_INPUT_DATA *data);

#ifdef __cplusplus
}
#endif

#endif
