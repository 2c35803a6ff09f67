/* XAVO.h - the management services of this controller, as plain C functions.
 *
 * The library communicates with the CIM broker on the same controller, through the local mode of the CIM
 * client library. It uses the classes of the namespace "root/velk". Objects and values are those of CMPI
 * (The Open Group, Common Manageability Programming Interface). This header includes XAVO_types.h, which
 * declares the error codes and the records.
 *
 * Conventions
 *
 *  1. Outcome. A function that takes `errorcodep` reports its outcome as one error code in *errorcodep. If
 *     errorcodep is NULL, the function logs an error line and does nothing else. The comment of a function
 *     names any exception from this. Where an argument must not be NULL and the function lists no error for
 *     NULL, the function does not check it.
 *  2. Handle. `sp` is a handle from XAVO_new or XAVO_new_with_uname. Where a function says "sp may be
 *     NULL", a call with NULL opens a handle as XAVO_new does, uses it for this call only, and frees it
 *     before it returns. This is convenient for a single call and slow for many. Free each handle that you
 *     open with XAVO_free; after that, do not pass the pointer to any function, not even to XAVO_is_valid.
 *     Open a handle, make a batch of calls, free it. Do not keep it for hours (see 8 and 9).
 *  3. Memory. A function reads its arguments during the call and does not keep them. The caller owns what a
 *     function returns or stores, and the comment of the function says how to free it. Static strings must
 *     not be freed.
 *  4. Threads. Any thread may call any function, and threads may share a handle. These functions hold the
 *     handle's mutex while they use the connection, so that their calls through one handle run one at a
 *     time: XAVO_invoke_..., XAVO_enumerate, XAVO_enumerate_VELK_LifecycleJob, XAVO_get_VELK_LifecycleJob
 *     and XAVO_delete_VELK_LifecycleJob. They check their arguments before they lock the mutex, with three
 *     exceptions: they check the share type, an empty start time and an empty list of jobs while they hold
 *     it. Of the other functions only XAVO_lock locks the mutex. Do not free a handle while another thread
 *     uses it. Do not change or free an object, a value or a record while another thread uses it. If a
 *     value was read from an object of the client library, free it on the thread that read it.
 *  5. Common errors. A call through a handle can report the errors below. The last five stand for a failing
 *     status of the client library, the broker or the service. The comment of a function names these
 *     "common errors" and lists only further ones.
 *         XAVO_UNABLE_TO_OPEN_CONNECTION  sp is NULL, and no handle could be opened
 *         XAVO_SP_NOT_VALID               sp is not a live handle (logged), or has no connection (not logged)
 *         XAVO_OUT_OF_MEMORY              the library or the client library has no memory left
 *         XAVO_PERMISSION_ERROR           access is denied to this user
 *         XAVO_NOT_FOUND                  the instance does not exist
 *         XAVO_NOT_SUPPORTED              the request is not supported
 *         XAVO_INVALID_VALUE              the namespace, the class or a parameter is not valid
 *         XAVO_UNKNOWN_ERROR              any other status. A call that reads reports it for a broken
 *                                         connection, too (for a method call see 8)
 *  6. Logging. The library writes to the platform's log (hulmprintf, module 5): errors at level 2, traces
 *     at level 8. Not every failure has an error line. For example, there is none when the broker refuses a
 *     listing, a fetch, a backup, a restore or a share test, when the service refuses a share test, when
 *     the list of jobs is empty, or when a property is not a string. When the job service or the software
 *     installation service sends a message with a failure, the message is logged. Any other error line is
 *     written only when
 *         - an argument or the handle fails its check, or no handle can be opened;
 *         - a mutex call fails, or an argument list or a user name cannot be allocated;
 *         - a property has no characters, or a value cannot be freed;
 *         - a method of the job service gets a failing status or returns a number other than 0;
 *         - a method of the software installation gets a failing status, names no job, or names a job that
 *           cannot be read;
 *         - the service refuses a backup or a restore with a message, or names a job that cannot be read.
 *  7. Signals. The client library can raise SIGPIPE. A call removes this signal, so that the program does
 *     not receive it. The signal mask of the calling thread and the signal's disposition are the same after
 *     the call. There are two limits. A SIGPIPE from another source that arrives during the call may also
 *     be removed: one for the calling thread, or one for the process if all other threads block it. If the
 *     calling thread blocks SIGPIPE, and a SIGPIPE is pending for the process before the call, the signal
 *     that the call raises is not removed: it stays pending for the thread.
 *  8. A broker that stops or hangs. When the broker stops or restarts, all connections to it are broken.
 *     Through a broken connection, a call that reads reports XAVO_UNKNOWN_ERROR, and a method call
 *     (XAVO_invoke_..., XAVO_delete_VELK_LifecycleJob) crashes inside the client library. This library
 *     cannot prevent the crash. A method call also crashes if the broker does not know the class of the
 *     service. Before a method call through a handle that was idle, call XAVO_get_VELK_LifecycleJob with an
 *     identifier that no job has. NOT_FOUND means that the connection works. After UNKNOWN_ERROR, free
 *     every handle of the process, then open a new one. There is no time-out: if the broker or the service
 *     stops or hangs during a call, the call does not return.
 *  9. Memory of the client library. In each call the client library allocates memory that it keeps for the
 *     calling thread. It frees the memory of a thread when that thread frees the last handle of the
 *     process, or when that thread ends while a handle of the process is open. If another thread frees the
 *     last handle, the memory is leaked. If a thread ends while another thread frees the last handle, the
 *     program can crash. If several threads make calls, free the last handle after the other threads have
 *     ended.
 * 10. New jobs. A function that takes `JID_InstanceID` starts a job and stores the job's identifier in
 *     *JID_InstanceID, as a new string that the caller frees with free or XAVO_free_ntstring. Set
 *     *JID_InstanceID to NULL before the call. The call leaves it unchanged when there is no live handle,
 *     when an argument is NULL, when a string of a record does not end inside its buffer, and when the
 *     method is unknown. After all other calls it is NULL on failure and not NULL on success. Such a
 *     function reports these "errors of a new job":
 *         XAVO_UNKNOWN_ERROR  the service names no job, its output for the job is not a reference, or the
 *                             reference's key "InstanceID" is not a string or has no characters
 *         XAVO_NOT_FOUND      the reference has no key "InstanceID"
 *     The method's return value is ignored, and so is the state of the output for the job. */
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

/* Returns the bare name of a code, "NO_ERROR" to "SYSTEM_IN_LOCKDOWN_MODE"; "unknown" for any other number.
 * The string is static. */
const char *XAVO_EC_to_string(XAVO_ErrorCode ec);

/* Returns the error code for a CMPI return code:
 *     CMPI_RC_OK                     NO_ERROR
 *     CMPI_RC_ERR_ACCESS_DENIED      PERMISSION_ERROR
 *     CMPI_RC_ERR_INVALID_NAMESPACE  INVALID_VALUE
 *     CMPI_RC_ERR_INVALID_PARAMETER  INVALID_VALUE
 *     CMPI_RC_ERR_INVALID_CLASS      INVALID_VALUE
 *     CMPI_RC_ERR_NOT_FOUND          NOT_FOUND
 *     CMPI_RC_ERR_NOT_SUPPORTED      NOT_SUPPORTED
 *     any other                      UNKNOWN_ERROR */
XAVO_ErrorCode XAVO_translate_error_code(CMPIrc rc);

/* ---- The handle --------------------------------------------------------------------------------- */

/* A handle: one connection to the broker, with a mutex. A program passes the pointer to the functions
 * below. It uses no member except `client`, if it calls the client library itself. */
typedef struct XAVO_Proxy {
    uint32_t head_magic[2]; /* 0x60845501, 0x78771855 while the handle lives */
    CMCIClient *client;     /* owned by the handle */
    pthread_mutex_t mutex;  /* default attributes: not recursive */
    uint8_t mutex_initialised;
    uint32_t tail_magic[2]; /* 0x60845502, 0x78771855 while the handle lives */
} XAVO_Proxy;

/* Opens a handle as the user "root" and returns it. The caller frees it with XAVO_free.
 * Returns NULL when memory is exhausted, a mutex cannot be initialised or no broker answers; the reason is
 * logged. If another handle of the process is open, XAVO_new does not contact the broker: only the first
 * call through the new handle shows whether the broker answers. XAVO_new sets the environment variable
 * SFCC_CLIENT. While it runs, no other thread may read or write the environment. */
XAVO_Proxy *XAVO_new(void);

/* The same as XAVO_new, but as the user `uname`; NULL stands for "root". The broker receives the name
 * followed by "01ff". */
XAVO_Proxy *XAVO_new_with_uname(const char *uname);

/* Closes the connection and frees the handle. If sp is NULL, or there is no live handle at sp, an error
 * line is logged and nothing is changed. */
void XAVO_free(XAVO_Proxy *sp);

/* Returns 1 if `sp` is a live handle, else 0 (also for NULL). It reads the memory at `sp`, so do not call
 * it for a handle that was freed. Logs nothing. */
int XAVO_is_valid(const XAVO_Proxy *sp);

/* Lock and unlock the handle's mutex, for a program that uses the handle's client directly. The functions
 * that convention 4 of XAVO.h lists lock it themselves. The mutex is not recursive: while a program holds
 * it, the program must not call those functions through the same handle. Unlock the mutex on the thread
 * that locked it. An invalid handle or a failing mutex call is only logged. */
void XAVO_lock(XAVO_Proxy *sp);
void XAVO_unlock(XAVO_Proxy *sp);

/* Does nothing. */
void XAVO_cleanstack(void);

/* ---- Reading what a method returns --------------------------------------------------------------- */

/* Returns the low 32 bits of *datap if it is a CMPI_uint32 that is present: its state is CMPI_goodValue or
 * CMPI_keyValue. *errorcodep is then unchanged. For anything else returns 0.
 * Errors:
 *  INVALID_VALUE  *datap is of another type or not present, or datap is NULL (logged) */
CMPIUint32 XAVO_CMPIData_to_uint32(XAVO_ErrorCode *errorcodep, const CMPIData *datap);

/* Frees what a present value owns, and sets the value's pointer to NULL. A CMPI object is freed by its
 * release function, CMPI_chars with free, and an array together with its elements. Absent values and
 * numbers are not changed. A value that cannot be freed (CMPI_ptr, CMPI_charsptr, CMPI_filter, unknown
 * types) is logged and not changed. `data` must not be NULL; the value's pointer may be. Do not call the
 * function for an element of an enumeration, which owns its elements, nor for an array that this process
 * made (see XAVO_free_CMPIArray_content). */
void XAVO_free_CMPIData_value(CMPIData *data);

/* Frees every element of an array that was read from an answer (an argument, a property), and sets each to
 * null. The caller still owns the array itself. Do not call it for an array that this process made, for
 * example with XAVO_build_string_array: free such an array only by its release function. In such an array
 * the client library frees an element when it is set to null, so each element would be freed twice. NULL
 * does nothing. An element that cannot be set to null is logged. */
void XAVO_free_CMPIArray_content(CMPIArray *array);

/* Returns a copy of the string argument `name`, which the caller frees with free. Returns NULL when there
 * is no such argument or it cannot be read, when it is not a string (then its value is freed), when it has
 * no characters, and when memory is exhausted. Neither argument may be NULL. */
char *XAVO_get_string_arg(CMPIArgs *args, const char *name);

/* Logs a method's outputs "MessageID" and "Message" as error lines, each only if it is a string. `outargs`
 * must not be NULL. */
void XAVO_log_MessageID(CMPIArgs *outargs);

/* ---- Strings, string lists, properties ---------------------------------------------------------- */

/* Frees a string that this library returned; the same as free. NULL does nothing. */
void XAVO_free_ntstring(char *s);

/* Returns a new CMPI_string array with copies of the strings of a list, in their order. The list ends with
 * NULL. Returns NULL when the list is NULL or empty, and when the array cannot be made. The caller frees
 * the array only with its release function (array->ft->release), and does not call
 * XAVO_free_CMPIArray_content for it. A handle must be open in the process: without one the client library
 * cannot create objects. */
CMPIArray *XAVO_build_string_array(char *const *strings);

/* Returns a copy of the string property `name`, which the caller frees with XAVO_free_ntstring. Returns
 * NULL with NO_ERROR when the value's state is neither CMPI_goodValue nor CMPI_keyValue: usually the value
 * is null. Returns NULL on failure. `sp` is not used and may be NULL; `errorcodep` and `name` must not be
 * NULL.
 * Errors: if the property cannot be read, the code of XAVO_translate_error_code for the status; and
 *  INVALID_VALUE    instancep is NULL (logged)
 *  NOT_IMPLEMENTED  the property is not a string
 *  OUT_OF_MEMORY    the property has no characters (logged), or they cannot be copied */
char *XAVO_property_to_ntstring(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, CMPIInstance *instancep,
                                const char *name);

/* ---- Instances and their paths ------------------------------------------------------------------- */

/* Returns an enumeration of all instances of the class `classname` in the namespace `path`; NULL on
 * failure, and NULL with NO_ERROR when the broker answers with success and no enumeration. The caller reads
 * the elements with hasNext and getNext, and uses only those whose state is CMPI_goodValue, whose type is
 * CMPI_instance and whose pointer is not NULL. The caller frees the enumeration with its release function
 * (enumeration->ft->release), which also frees the elements, before the last handle of the process is
 * freed: after that no object of the client library is valid. sp must not be NULL.
 * Errors: the common errors except UNABLE_TO_OPEN_CONNECTION and OUT_OF_MEMORY, and
 *  INVALID_VALUE  path or classname is NULL */
CMPIEnumeration *XAVO_enumerate(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *path,
                                const char *classname);

/* Returns the path of an instance of the class `objectname` in the namespace `path`; NULL on failure. The
 * path has one key, `key`, with the value `value`. The broker is not contacted. The caller frees the path
 * with its release function (path->ft->release) before the last handle of the process is freed. sp must not
 * be NULL.
 * Errors: if the client library refuses the path or the key, the code of XAVO_translate_error_code for the
 * status; and
 *  SP_NOT_VALID   sp is not a live handle
 *  INVALID_VALUE  a string is NULL
 *  UNKNOWN_ERROR  the client library reports success and makes no path */
CMPIObjectPath *XAVO_build_object_path_key_value(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *path,
                                                 const char *objectname, const char *key, const char *value);

/* ---- Job service: VELK_JobService --------------------------------------------------------------- */

/* Deletes a job from the queue (method "DeleteJobQueue"). sp may be NULL; `JobID` must not be NULL.
 * Errors: the common errors, and
 *  INVALID_VALUE  JobID is NULL, or the method's return value is not a CMPI_uint32 that is present
 *  UNKNOWN_ERROR  the method's return value is not 0: the service refuses, for example because it does not
 *                 know the job; its message is logged */
void XAVO_invoke_DeleteJobQueue(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *JobID);

/* Sets up the queue with jobs (method "SetupJobQueue"). `JobArray` is a list of job identifiers that ends
 * with NULL. `StartTimeInterval` and `UntilTime` are text that is sent unchanged; the service defines its
 * form. If `UntilTime` is NULL, the queue has no until time. sp may be NULL; `StartTimeInterval` and
 * `JobArray` must not be NULL.
 * Errors: the common errors, and
 *  INVALID_VALUE  StartTimeInterval or JobArray is NULL, or the method's return value is not a CMPI_uint32
 *                 that is present
 *  OUT_OF_MEMORY  the list is empty, or memory is exhausted
 *  UNKNOWN_ERROR  the method's return value is not 0: the service refuses; its message is logged */
void XAVO_invoke_SetupJobQueue(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *StartTimeInterval,
                               const char *UntilTime, char *const *JobArray);

/* ---- Jobs as records: VELK_LifecycleJob --------------------------------------------------------- */

/* Returns a list of all jobs, in the broker's order; NULL when there is no job, and on failure. The caller
 * frees the list with XAVO_free_list_VELK_LifecycleJob. A job that cannot be converted into a record is
 * missing from the list, and the error code is that of the last job: NO_ERROR does not mean that the list
 * is complete. sp may be NULL.
 * Errors: the common errors, and those of XAVO_property_to_ntstring when the last job cannot be converted.
 * In the latter case the list contains the earlier jobs that could be converted. */
XAVO_VELK_LifecycleJob *XAVO_enumerate_VELK_LifecycleJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep);

/* Returns the job with the identifier `InstanceID`, as a record that the caller frees with
 * XAVO_free_VELK_LifecycleJob. Returns NULL on failure, and NULL with NO_ERROR when the broker answers with
 * success and no instance. sp may be NULL.
 * Errors: the common errors (NOT_FOUND means that no job has this identifier), those of
 * XAVO_property_to_ntstring, and
 *  INVALID_VALUE  InstanceID is NULL */
XAVO_VELK_LifecycleJob *XAVO_get_VELK_LifecycleJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep,
                                                   const char *InstanceID);

/* Deletes a job: the same as XAVO_invoke_DeleteJobQueue, with its errors and its log lines. `InstanceID` is
 * sent as "JobID". */
void XAVO_delete_VELK_LifecycleJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *InstanceID);

/* Reports and returns NOT_IMPLEMENTED: jobs cannot be modified. sp is not used. If errorcodep is NULL, this
 * is logged, and NOT_IMPLEMENTED is returned. */
XAVO_ErrorCode XAVO_modify_VELK_LifecycleJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep);

/* Returns a new record with every member NULL, which the caller frees with XAVO_free_VELK_LifecycleJob;
 * NULL when memory is exhausted. */
XAVO_VELK_LifecycleJob *XAVO_new_VELK_LifecycleJob(void);

/* Frees one record with its strings, but not the records that follow it. NULL does nothing. */
void XAVO_free_VELK_LifecycleJob(XAVO_VELK_LifecycleJob *job);

/* Frees a record and all that follow it, with their strings. NULL does nothing. */
void XAVO_free_list_VELK_LifecycleJob(XAVO_VELK_LifecycleJob *list);

/* Writes a record: the line "VELK_LifecycleJob:", then a line "    property=value" for each string. Nothing
 * follows the "=" of a NULL string. If stream or job is NULL, this is logged and nothing is written. Does
 * not flush. */
void XAVO_fprint_VELK_LifecycleJob(FILE *stream, const XAVO_VELK_LifecycleJob *job);

/* Writes each record of a list in that form; NULL writes nothing. A NULL stream is logged once. */
void XAVO_fprint_list_VELK_LifecycleJob(FILE *stream, const XAVO_VELK_LifecycleJob *list);

/* ---- Diagnostic printers ------------------------------------------------------------------------ */

/* These functions write a value to stdout as an indented tree, and flush after every line. The first line
 * is the header; `indent` is the number of spaces before it. `label` is a name for the value; it must not
 * be NULL. The caller still owns the printed object. A printer frees the names, keys and arguments that it
 * reads from a path or an argument list; a key or an argument is freed by XAVO_free_CMPIData_value, which
 * does not change an absent value. XAVO_pr_CMPIArray frees no element, because the elements belong to the
 * array. When two threads print at the same time, their lines mix. */

/* Prints the header, the characters and their address as a number; only the header if the string has no
 * characters. If s is NULL, prints the header, then the prefix of a log line and "s is NULL". */
void XAVO_pr_CMPIString(int indent, const char *label, CMPIString *s);
/* Print one line: the code and its name. */
void XAVO_pr_CMPIType(int indent, const char *label, CMPIType type);
void XAVO_pr_CMPIValueState(int indent, const char *label, CMPIValueState state);
/* Prints one line: the low 32 bits. */
void XAVO_pr_CMPIUint32(int indent, const char *label, CMPIUint32 value);
/* Prints the header, the type and the state. If the value is present, prints the value of a reference, a
 * string, a uint32 or an array, and "unknown type" for any other type. */
void XAVO_pr_CMPIData(int indent, const char *label, CMPIData data);
/* Prints the header, the count and each element. If arrayp is NULL, prints the header, then "arrayp is
 * NULL" at indent + 4. */
void XAVO_pr_CMPIArray(int indent, const char *label, CMPIArray *arrayp);
/* Prints the header, namespace, host name, class name and each key. In place of a part that cannot be read,
 * prints "namespace is NULL", "hostanme is NULL" (spelled so) or "classname is NULL" at indent + 4. If op is
 * NULL, prints the header, then "op is NULL" at indent + 4. */
void XAVO_pr_CMPIObjectPath(int indent, const char *label, CMPIObjectPath *op);
/* Prints the header, the count and each argument. If args is NULL, prints the header, then "args is NULL"
 * at indent + 4. */
void XAVO_pr_CMPIArgs(int indent, const char *label, CMPIArgs *args);

/* Return the name of a CMPI type, and the name of a value state; "unknown" for any other number, also for a
 * combination of states. The strings are static. */
const char *XAVO_CMPIType_to_string(CMPIType type);
const char *XAVO_CMPIValueState_to_string(CMPIValueState state);

/* Writes n spaces; none if n is 0 or negative. A NULL stream is logged. Does not flush. */
void XAVO_indent(FILE *fp, int n);
/* Writes a string unchanged; NULL writes nothing. A NULL stream is logged. Does not flush. */
void XAVO_fprint_ntstring(FILE *fp, const char *s);

/* ---- Software installation: VELK_SoftwareInstallationService ------------------------------------ */

/* These three functions start a job (see convention 10 of XAVO.h). sp may be NULL; no other argument may.
 * On failure the service's message is logged, if it sent one.
 * Errors: the common errors, those of a new job, and
 *  INVALID_VALUE  an argument is NULL */

/* Installs the software at a URI onto the software identity `InstanceID` (method "InstallFromURI").
 * `InstanceID` is sent unchanged. If it contains a quotation mark, the client library's local mode sends no
 * target: the service receives NULL, and may report success. */
void XAVO_invoke_InstallFromURI(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *URI,
                                const char *InstanceID, char **JID_InstanceID);

/* Installs a software identity that the controller holds (method "InstallFromSoftwareIdentity"). For a
 * quotation mark in `InstanceID` see XAVO_invoke_InstallFromURI. */
void XAVO_invoke_InstallFromSoftwareIdentity(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep,
                                             const char *InstanceID, char **JID_InstanceID);

/* Creates a reboot job (method "CreateRebootJob"). `RebootJobType` is a number from 0 to 65535 as decimal
 * text, in the form that strtol accepts with base 10, and nothing follows the number. The service defines
 * its meaning.
 * Errors: also
 *  INVALID_VALUE  the text is empty, is not such a number, or the number is out of range */
void XAVO_invoke_CreateRebootJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *RebootJobType,
                                 char **JID_InstanceID);

/* ---- Backup, restore, share test: VELK_QMService ------------------------------------------------ */

/* Returns 1 if one of the first `size` bytes is NUL; else 0, also when size is 0 or buffer is NULL. Logs
 * nothing. */
int XAVO_Validate_StringBuffer(const char *buffer, size_t size);

/* Return 1 if every string of the record ends inside its buffer; else 0, and the first string that does not
 * is logged. `data` must not be NULL. */
int XAVO_Validate_XAVO_HTTP_SHARE_OPT_DATA(const XAVO_HTTP_SHARE_OPT_DATA *data);
int XAVO_Validate_XAVO_NET_INPUT_DATA(const XAVO_NET_INPUT_DATA *data);
int XAVO_Validate_XAVO_BAR_INPUT_DATA(const XAVO_BAR_INPUT_DATA *data);

/* Starts a job that backs an image up to a share or restores one from it (see convention 10 of XAVO.h).
 * `method` is "BackupImage" or "RestoreImage", in any letter case. sp may be NULL; no other argument may.
 * The service's message is not logged.
 * A restore clears all bits of data->preserveVDConfig except the lowest, in the caller's record, right
 * after it has added the start time to the method's arguments. No other thread may use the record during
 * the call.
 * Errors: the common errors, those of a new job, and
 *  INVALID_VALUE  an argument is NULL, the method is unknown, a string of the record does not end inside
 *                 its buffer, the share type is not 0, 2, 4, 5 or 6, or startTime is empty
 * Errors when the service sends a message, because it refuses the request:
 *  INVALID_VALUE              an argument is not valid
 *  UNABLE_TO_OPEN_CONNECTION  the service cannot reach the share
 *  MULTIPLE_EXPORT_JOBS       an export job exists already
 *  MULTIPLE_IMPORT_JOBS       an import job exists already
 *  INVALID_START_TIME         the service refuses the start time
 *  INVALID_UNTIL_TIME         the service refuses the until time
 *  MAXIMUM_JOBS               the job queue is full
 *  BACKUP_ALREADY_RUNNING     a backup is running already
 *  RESTORE_ALREADY_RUNNING    a restore is running already
 *  SYSTEM_IN_LOCKDOWN_MODE    the controller is in lockdown mode
 *  UNKNOWN_ERROR              any other message, or a message that cannot be read or copied */
void XAVO_invoke_BackupRestore(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *method,
                               XAVO_BAR_INPUT_DATA *data, char **JID_InstanceID);

/* Tests whether a share can be reached (method "TestNetworkShare"): NO_ERROR means that it can. sp may be
 * NULL; no other argument may. The method's return value is ignored. The service's message is not logged.
 * Errors: the common errors, and
 *  INVALID_VALUE  data is NULL, a string of the record does not end inside its buffer, or the share type is
 *                 not 0, 2, 5 or 6
 * Errors when the service sends a message, because it refuses the request:
 *  INVALID_VALUE               an argument is not valid
 *  MISSING_REQUIRED_PARAMETER  a parameter is missing
 *  UNABLE_TO_OPEN_CONNECTION   the service cannot reach the share
 *  UNKNOWN_ERROR               any other message
 *  NOT_FOUND                   a message that cannot be read */
void XAVO_invoke_TestNetworkShare(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep,
                                  const XAVO_NET_INPUT_DATA *data);

#ifdef __cplusplus
}
#endif

#endif
