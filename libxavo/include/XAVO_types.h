/* XAVO_types.h - the error codes and records of XAVO.h. Needs no header of the client library. */
#ifndef XAVO_TYPES_H
#define XAVO_TYPES_H

#include <stdint.h>

/* The version of the headers. */
#define XAVO_VERSION_MAJOR 1
#define XAVO_VERSION_MINOR 1
#define XAVO_VERSION_PATCH 0

/* ---- Error codes -------------------------------------------------------------------------------- */

typedef int XAVO_ErrorCode;

/* Expands ROW(constant, value, name, meaning) for every code. A program can make its own tables with it. */
/* clang-format off */
#define XAVO_ERROR_CODES(ROW) \
    ROW(XAVO_NO_ERROR,                      0, "NO_ERROR",                   "success") \
    ROW(XAVO_UNKNOWN_ERROR,                 1, "UNKNOWN_ERROR",              "the service refuses, or the call failed") \
    ROW(XAVO_OUT_OF_MEMORY,                 2, "OUT_OF_MEMORY",              "no memory left, here or in the client library") \
    ROW(XAVO_PERMISSION_ERROR,              3, "PERMISSION_ERROR",           "the broker denies access") \
    ROW(XAVO_INVALID_VALUE,                 4, "INVALID_VALUE",              "an argument is not valid, here or in the service") \
    ROW(XAVO_SP_NOT_VALID,                  5, "SP_NOT_VALID",               "not a live handle, or one without a connection") \
    ROW(XAVO_NOT_IMPLEMENTED,               6, "NOT_IMPLEMENTED",            "jobs cannot be modified; a property is not a string") \
    ROW(XAVO_NOT_FOUND,                     7, "NOT_FOUND",                  "the broker does not know it, or the answer lacks it") \
    ROW(XAVO_UNABLE_TO_OPEN_CONNECTION,     8, "UNABLE_TO_OPEN_CONNECTION",  "no handle, or the service cannot reach the share") \
    ROW(XAVO_NOT_SUPPORTED,                 9, "NOT_SUPPORTED",              "the broker does not support it") \
    ROW(XAVO_MISSING_REQUIRED_PARAMETER,   10, "MISSING_REQUIRED_PARAMETER", "the share test lacks a parameter") \
    ROW(XAVO_MULTIPLE_EXPORT_JOBS,         11, "MULTIPLE_EXPORT_JOBS",       "an export job exists already") \
    ROW(XAVO_MULTIPLE_IMPORT_JOBS,         12, "MULTIPLE_IMPORT_JOBS",       "an import job exists already") \
    ROW(XAVO_INVALID_START_TIME,           13, "INVALID_START_TIME",         "the service refuses the start time") \
    ROW(XAVO_INVALID_UNTIL_TIME,           14, "INVALID_UNTIL_TIME",         "the service refuses the until time") \
    ROW(XAVO_MAXIMUM_JOBS,                 15, "MAXIMUM_JOBS",               "the job queue is full") \
    ROW(XAVO_BACKUP_ALREADY_RUNNING,       16, "BACKUP_ALREADY_RUNNING",     "a backup is running already") \
    ROW(XAVO_RESTORE_ALREADY_RUNNING,      17, "RESTORE_ALREADY_RUNNING",    "a restore is running already") \
    ROW(XAVO_SYSTEM_IN_LOCKDOWN_MODE,    8226, "SYSTEM_IN_LOCKDOWN_MODE",    "the controller is in lockdown mode")
/* clang-format on */

#define XAVO_ERROR_CONSTANT(constant, value, name, meaning) constant = (value),
enum { XAVO_ERROR_CODES(XAVO_ERROR_CONSTANT) };
#undef XAVO_ERROR_CONSTANT

/* These codes have more than one meaning:
 *
 *  UNABLE_TO_OPEN_CONNECTION  The service cannot reach the share. If the call was made without a handle,
 *                             the code can also mean that no handle could be opened; then the log says
 *                             "unable to open connection to server".
 *  INVALID_VALUE              An argument fails its check, which is logged; the broker refuses the
 *                             namespace, the class or a parameter; the service's message says so; or the
 *                             method's return value is not a CMPI_uint32 that is present.
 *  OUT_OF_MEMORY              There is no memory left, here or in the client library; the list of jobs is
 *                             empty; or a property has no characters.
 *  NOT_FOUND                  The broker does not know the instance; the reference to a new job has no
 *                             identifier; the message of a share test cannot be read; or, with some
 *                             releases of the broker, the instance lacks a property.
 *  UNKNOWN_ERROR              The service refuses the request, and this library has no code for the reason;
 *                             the broker gives a status that has no code of its own (rc 1, rc 8 and above);
 *                             the answer cannot be read; or the connection is broken. To find out whether
 *                             it is broken, call XAVO_get_VELK_LifecycleJob through the same handle with an
 *                             identifier that no job has: the result is UNKNOWN_ERROR for a broken
 *                             connection, and NOT_FOUND for one that works. If the comment of a function
 *                             says that the service's message is logged, the log has it after "MessageID="
 *                             and "Message=". */

/* ---- Jobs as records: VELK_LifecycleJob --------------------------------------------------------- */

/* One job. Each string is a copy that the record owns, or NULL if the property has no value. Numbers and
 * times are text, as the controller gives them. */
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

/* Expands ROW(name) for every string of a job, in the order of the record. `name` is the name of the member
 * and of the property. */
#define XAVO_JOB_PROPERTIES(ROW)                                                                             \
    ROW(InstanceID)                                                                                          \
    ROW(ElapsedTimeSinceCompletion)                                                                          \
    ROW(PercentComplete)                                                                                     \
    ROW(JobUntilTime)                                                                                        \
    ROW(JobStartTime)                                                                                        \
    ROW(MessageArguments)                                                                                    \
    ROW(Message)                                                                                             \
    ROW(MessageID)                                                                                           \
    ROW(JobStatus)                                                                                           \
    ROW(Name)

/* ---- Backup, restore, share test: VELK_QMService ------------------------------------------------ */

/* The records are part of the binary interface. Set all bytes of a record to zero before you fill it in.
 * The string in a buffer must end inside the buffer. An empty string and the number 0 mean "not given":
 * they are not sent, unless the member's comment says otherwise. These members are sent only with some
 * share types:
 *
 *     share type   server, share, image   user, password             options of XAVO_HTTP_SHARE_OPT_DATA
 *     0            yes                    no                         no
 *     2            yes                    yes                        no
 *     4            no                     no                         no
 *     5, 6         yes                    backup and restore: yes    yes
 *                                         share test: no
 *
 * Share type 4 is valid for backup and restore only. */

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

/* A network share to be tested. With share type 2, the user name, the password and the workgroup are sent
 * even when they are empty. If workgroup and user name are both given, this library joins them with a
 * backslash for the service: store each in its own member. */
typedef struct XAVO_NET_INPUT_DATA {
    char uname[65];     /* sent joined with the workgroup */
    char passwd[65];    /* sent unchanged */
    char workgroup[65]; /* of the user; also sent by itself */
    char ipaddr[65];    /* the server's address; sent even when it is empty */
    char sharename[257];
    uint16_t shareType; /* 0, 2, 5 or 6; always sent */
    uint16_t reserved;  /* neither checked nor sent */
    XAVO_HTTP_SHARE_OPT_DATA http;
} XAVO_NET_INPUT_DATA;

/* A backup or a restore. */
typedef struct XAVO_BAR_INPUT_DATA {
    char uname[65];
    char passwd[65];
    char passphrase[33];
    char ipaddr[65]; /* the server's address; sent with share types 0, 2, 5 and 6 even when it is empty */
    char sharename[257];
    char imagename[65]; /* sent with share types 0, 2, 5 and 6 even when it is empty */
    char startTime[33]; /* required; text whose form the service defines, like untilTime */
    char untilTime[33];
    uint16_t shareType;        /* 0, 2, 4, 5 or 6; always sent */
    uint16_t preserveVDConfig; /* sent by a restore only, as its lowest bit: 0 or 1 */
    XAVO_HTTP_SHARE_OPT_DATA http;
    char JobName[33];
    uint16_t checkBackupDestinationAvailability;
    char tavixuname[65]; /* checked, not sent */
} XAVO_BAR_INPUT_DATA;

#endif
