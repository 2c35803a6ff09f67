// XAVO_VELK_QMService.cpp - backup, restore and share test, and the checks of their records.
#include <XAVO.h>

#include "invocation.h"
#include "object_path.h"
#include "outputs.h"
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <utl_va_cat.h>

using namespace xavo;

// ---- Records and their validation -------------------------------------------------------------------

namespace {

// The tables of this file say how the members of a record are checked and sent. The record's type is a
// template parameter of each row, so that no row can be used for a record of another type. The type and the
// width of a member are taken from its declaration. A row holds the characters of its name: a pointer to them
// would be relocated in every process that loads the library.

// A member of a record. `in` returns its address in a given record.
template <typename Record>
struct Member {
    uint16_t offset;
    const void *in(const Record *record) const {
        return static_cast<const char *>(static_cast<const void *>(record)) + offset;
    }
};

// The CMPI type of a member and, for a buffer, its width. No member has another type.
template <typename T>
struct MemberType;
template <size_t size>
struct MemberType<char[size]> {
    static constexpr CMPIType type = CMPI_chars;
    static constexpr uint16_t width = size;
};
template <>
struct MemberType<uint16_t> {
    static constexpr CMPIType type = CMPI_uint16;
};

// A character buffer, and the format of the error line for a string that does not end inside it.
template <typename Record>
struct Buffer {
    Member<Record> member;
    uint16_t width;
    char error_format[43];
};
#define BUFFER(record, member)                                                                               \
    {                                                                                                        \
        Member<record>{offsetof(record, member)}, MemberType<decltype(record::member)>::width,               \
            XAVO_ERROR_FORMAT(#member " is not valid")                                                       \
    }

constexpr Buffer<XAVO_HTTP_SHARE_OPT_DATA> HTTP_BUFFERS[] = {
    BUFFER(XAVO_HTTP_SHARE_OPT_DATA, proxyServer),
    BUFFER(XAVO_HTTP_SHARE_OPT_DATA, proxyUname),
    BUFFER(XAVO_HTTP_SHARE_OPT_DATA, proxyPasswd),
    BUFFER(XAVO_HTTP_SHARE_OPT_DATA, proxyPort),
};

constexpr Buffer<XAVO_NET_INPUT_DATA> NET_BUFFERS[] = {
    BUFFER(XAVO_NET_INPUT_DATA, uname),     BUFFER(XAVO_NET_INPUT_DATA, passwd),
    BUFFER(XAVO_NET_INPUT_DATA, workgroup), BUFFER(XAVO_NET_INPUT_DATA, ipaddr),
    BUFFER(XAVO_NET_INPUT_DATA, sharename),
};

constexpr Buffer<XAVO_BAR_INPUT_DATA> BAR_BUFFERS[] = {
    BUFFER(XAVO_BAR_INPUT_DATA, uname),      BUFFER(XAVO_BAR_INPUT_DATA, passwd),
    BUFFER(XAVO_BAR_INPUT_DATA, passphrase), BUFFER(XAVO_BAR_INPUT_DATA, ipaddr),
    BUFFER(XAVO_BAR_INPUT_DATA, sharename),  BUFFER(XAVO_BAR_INPUT_DATA, imagename),
    BUFFER(XAVO_BAR_INPUT_DATA, startTime),  BUFFER(XAVO_BAR_INPUT_DATA, untilTime),
    BUFFER(XAVO_BAR_INPUT_DATA, JobName),    BUFFER(XAVO_BAR_INPUT_DATA, tavixuname),
};
#undef BUFFER

// Return whether the strings end inside their buffers. If not, log an error line with the name in `function`.
bool is_terminated(const void *buffer, size_t width, const char *error_format, const char *function) {
    if (XAVO_Validate_StringBuffer(static_cast<const char *>(buffer), width) != 0)
        return true;
    log_error(error_format, XAVO_PREFIX_VALUES(function));
    return false;
}

template <typename Record, size_t count>
bool all_terminated(const Buffer<Record> (&buffers)[count], const Record *record, const char *function) {
    for (const Buffer<Record> &buffer : buffers)
        if (!is_terminated(buffer.member.in(record), buffer.width, buffer.error_format, function))
            return false;
    return true;
}

bool options_terminated(const XAVO_HTTP_SHARE_OPT_DATA *http, const char *function) {
    if (XAVO_Validate_XAVO_HTTP_SHARE_OPT_DATA(http) != 0)
        return true;
    XAVO_ERROR(function, "http data is not valid");
    return false;
}

} // namespace

int XAVO_Validate_StringBuffer(const char *buffer, size_t size) {
    return size != 0 && buffer != nullptr && strnlen(buffer, size) < size;
}

int XAVO_Validate_XAVO_HTTP_SHARE_OPT_DATA(const XAVO_HTTP_SHARE_OPT_DATA *data) {
    return all_terminated(HTTP_BUFFERS, data, __func__);
}

int XAVO_Validate_XAVO_NET_INPUT_DATA(const XAVO_NET_INPUT_DATA *data) {
    return all_terminated(NET_BUFFERS, data, __func__) && options_terminated(&data->http, __func__);
}

int XAVO_Validate_XAVO_BAR_INPUT_DATA(const XAVO_BAR_INPUT_DATA *data) {
    return all_terminated(BAR_BUFFERS, data, __func__) && options_terminated(&data->http, __func__);
}

// ---- Common to the service's methods ----------------------------------------------------------------

namespace {

CMPIObjectPath *XAVO_build_QMService_path(XAVO_ErrorCode *errorcodep) {
    return build_service_path(errorcodep, "VELK_QMService", "VELK:ComputerSystem", "VELK:QMService");
}

// Reads the identifier of the message that the service sends when it refuses a request. Sets the error code:
//
//     NO_ERROR       there is no message
//     UNKNOWN_ERROR  there is a message; *messageid is its identifier, a new string that the caller frees
//     OUT_OF_MEMORY  the identifier cannot be copied
//     NOT_FOUND      the identifier cannot be read
void XAVO_dig_out_QM_result(XAVO_ErrorCode *errorcodep, CMPIArgs *outarglist, char **messageid) {
    CMPIData data;
    const CMPIrc rc = read_arg(outarglist, "MessageID", __func__, &data);
    if (rc != CMPI_RC_OK) {
        *errorcodep = rc == CMPI_RC_ERR_NOT_FOUND ? XAVO_NO_ERROR : XAVO_NOT_FOUND;
        return;
    }
    if (const char *text = characters(data)) {
        *errorcodep = XAVO_UNKNOWN_ERROR;
        *messageid = new_string(errorcodep, text);
    } else {
        *errorcodep = XAVO_NOT_FOUND;
    }
    XAVO_free_CMPIData_value(&data);
}

void XAVO_dig_out_QMjob_id(XAVO_ErrorCode *errorcodep, CMPIArgs *outarglist, char **jobid) {
    read_job_id({errorcodep, __func__}, outarglist, "Job", jobid);
}

// A row of a table of message identifiers: the identifier and its error code. The last row has the code
// NO_ERROR.
struct MessageCode {
    uint16_t code;
    char id[7];
};

constexpr MessageCode XAVO_message_id_map[] = {
    {XAVO_INVALID_VALUE, "QM017"},
    {XAVO_UNABLE_TO_OPEN_CONNECTION, "QM023"},
    {XAVO_MULTIPLE_EXPORT_JOBS, "QM051"},
    {XAVO_MULTIPLE_IMPORT_JOBS, "QM052"},
    {XAVO_INVALID_START_TIME, "WUD017"},
    {XAVO_INVALID_UNTIL_TIME, "WUD018"},
    {XAVO_MAXIMUM_JOBS, "KTB017"},
    {XAVO_BACKUP_ALREADY_RUNNING, "KTB018"},
    {XAVO_RESTORE_ALREADY_RUNNING, "KTB019"},
    {XAVO_SYSTEM_IN_LOCKDOWN_MODE, "PXN095"},
    {XAVO_NO_ERROR, ""},
};

// The share test has fewer messages. Backup and restore do not have the first one.
constexpr MessageCode SHARE_TEST_MESSAGES[] = {
    {XAVO_MISSING_REQUIRED_PARAMETER, "QM016"},
    {XAVO_INVALID_VALUE, "QM017"},
    {XAVO_UNABLE_TO_OPEN_CONNECTION, "QM023"},
    {XAVO_NO_ERROR, ""},
};

// Returns the error code of an identifier, which may be in any letter case; UNKNOWN_ERROR if the table does
// not have it.
XAVO_ErrorCode look_up(const MessageCode *entry, const char *id) {
    for (; entry->code != XAVO_NO_ERROR; ++entry)
        if (strcasecmp(entry->id, id) == 0)
            return entry->code;
    return XAVO_UNKNOWN_ERROR;
}

// Returns a set of share types: bit n stands for the share type n.
template <typename... Types>
constexpr uint8_t share_types(Types... types) {
    return static_cast<uint8_t>(((1U << types) | ...));
}
constexpr uint8_t ANY_SHARE = share_types(0, 1, 2, 3, 4, 5, 6);
constexpr uint8_t NETWORK_SHARES = share_types(0, 2, 5, 6);
constexpr uint8_t HTTP_SHARES = share_types(5, 6);

// Returns whether the share type is in the set.
bool allowed(uint8_t share_types, CMPIUint16 type) { return type <= 6 && (1U << type & share_types) != 0; }

// The CMPI type of an argument, the share types with which it is sent, and whether it is also sent when it is
// empty or 0 (ALWAYS) or not (IF_SET).
struct SendRule {
    CMPIType type;
    uint8_t share_types;
    enum : uint8_t { ALWAYS, IF_SET } when;
};

// An argument of a method, whose value is a member of a record.
template <typename Record, size_t longest_name = sizeof "IgnoreCertWarning">
struct Argument {
    Member<Record> member;
    SendRule rule;
    char name[longest_name];
};
#define ARGUMENT(name, record, member, share_types, when)                                                    \
    {                                                                                                        \
        Member<record>{offsetof(record, member)},                                                            \
            {MemberType<decltype(record::member)>::type, share_types, SendRule::when}, name                  \
    }

constexpr Argument<XAVO_HTTP_SHARE_OPT_DATA> HTTP_ARGUMENTS[] = {
    ARGUMENT("ProxySupport", XAVO_HTTP_SHARE_OPT_DATA, proxySupport, HTTP_SHARES, IF_SET),
    ARGUMENT("ProxyType", XAVO_HTTP_SHARE_OPT_DATA, proxyType, HTTP_SHARES, IF_SET),
    ARGUMENT("ProxyServer", XAVO_HTTP_SHARE_OPT_DATA, proxyServer, HTTP_SHARES, IF_SET),
    ARGUMENT("ProxyUname", XAVO_HTTP_SHARE_OPT_DATA, proxyUname, HTTP_SHARES, IF_SET),
    ARGUMENT("ProxyPasswd", XAVO_HTTP_SHARE_OPT_DATA, proxyPasswd, HTTP_SHARES, IF_SET),
    ARGUMENT("ProxyPort", XAVO_HTTP_SHARE_OPT_DATA, proxyPort, HTTP_SHARES, IF_SET),
    ARGUMENT("IgnoreCertWarning", XAVO_HTTP_SHARE_OPT_DATA, ignoreCertWarning, HTTP_SHARES, IF_SET),
};

// Adds an argument, unless its rule excludes it. Returns false on failure.
bool add_argument(Invocation &call, const char *name, const void *member, SendRule rule,
                  CMPIUint16 share_type) {
    if (!allowed(rule.share_types, share_type))
        return true;
    if (rule.type == CMPI_chars) {
        const auto *text = static_cast<const char *>(member);
        return (rule.when == SendRule::IF_SET && *text == '\0') || call.add(name, text);
    }
    const auto *number = static_cast<const CMPIUint16 *>(member);
    return (rule.when == SendRule::IF_SET && *number == 0) || call.add(name, number);
}

// Adds the arguments of a table that are sent with this share type. Returns false on failure.
template <typename Record, size_t longest_name, size_t count>
bool add_arguments(Invocation &call, const Argument<Record, longest_name> (&arguments)[count],
                   const Record *record, CMPIUint16 share_type) {
    for (const Argument<Record, longest_name> &row : arguments)
        if (!add_argument(call, row.name, row.member.in(record), row.rule, share_type))
            return false;
    return true;
}

// Checks the share type. It is called after make_argument_lists, whose failure is reported first.
bool accepts_share_type(ErrorContext call, uint8_t share_types, CMPIUint16 type) {
    return XAVO_REQUIRE(call, allowed(share_types, type), XAVO_INVALID_VALUE, "Invalid access type is NULL");
}

} // namespace

// ---- BackupImage, RestoreImage ----------------------------------------------------------------------

namespace {

constexpr uint8_t IMAGE_SHARES = share_types(0, 2, 4, 5, 6);
constexpr uint8_t IMAGE_CREDENTIALS = share_types(2, 5, 6);

constexpr Argument<XAVO_BAR_INPUT_DATA> IMAGE_ARGUMENTS_FIRST[] = {
    ARGUMENT("IPAddress", XAVO_BAR_INPUT_DATA, ipaddr, NETWORK_SHARES, ALWAYS),
    ARGUMENT("ShareName", XAVO_BAR_INPUT_DATA, sharename, NETWORK_SHARES, IF_SET),
    ARGUMENT("ImageName", XAVO_BAR_INPUT_DATA, imagename, NETWORK_SHARES, ALWAYS),
    ARGUMENT("UserName", XAVO_BAR_INPUT_DATA, uname, IMAGE_CREDENTIALS, IF_SET),
    ARGUMENT("Password", XAVO_BAR_INPUT_DATA, passwd, IMAGE_CREDENTIALS, IF_SET),
    ARGUMENT("Passphrase", XAVO_BAR_INPUT_DATA, passphrase, ANY_SHARE, IF_SET),
    ARGUMENT("UntilTime", XAVO_BAR_INPUT_DATA, untilTime, ANY_SHARE, IF_SET),
};

constexpr Argument<XAVO_BAR_INPUT_DATA, sizeof "CheckBackupDestinationAvailability"> IMAGE_ARGUMENTS_LAST[] =
    {
        ARGUMENT("ShareType", XAVO_BAR_INPUT_DATA, shareType, ANY_SHARE, ALWAYS),
        ARGUMENT("JobName", XAVO_BAR_INPUT_DATA, JobName, ANY_SHARE, IF_SET),
        ARGUMENT("CheckBackupDestinationAvailability", XAVO_BAR_INPUT_DATA,
                 checkBackupDestinationAvailability, ANY_SHARE, IF_SET),
};

bool has_start_time(ErrorContext call, const XAVO_BAR_INPUT_DATA *data) {
    return XAVO_REQUIRE(call, data->startTime[0] != '\0', XAVO_INVALID_VALUE, "start time is NULL");
}

// Adds the option that only a restore has; 0 is sent, too. First clears all bits of the option but the
// lowest, in the caller's record.
bool add_PreserveVDConfig(Invocation &call, XAVO_BAR_INPUT_DATA *data) {
    data->preserveVDConfig &= 1U;
    return call.add("PreserveVDConfig", &data->preserveVDConfig);
}

// Reads the outcome of a method that sends a message if it refuses, and names a job if it succeeds.
void read_message_or_job(Invocation &call, char **JID_InstanceID) {
    call.reset_returned();
    char *message = nullptr;
    XAVO_dig_out_QM_result(call.errorcodep, call.outputs(), &message);
    if (message != nullptr) {
        XAVO_ERROR(call.operation, "XAVO_dig_out_QM_RESULT () returned a message");
        *call.errorcodep = look_up(XAVO_message_id_map, message);
        free(message);
        return;
    }
    if (*call.errorcodep != XAVO_NO_ERROR) {
        *call.errorcodep = XAVO_UNKNOWN_ERROR;
        return;
    }
    XAVO_dig_out_QMjob_id(call.errorcodep, call.outputs(), JID_InstanceID);
    if (*call.errorcodep != XAVO_NO_ERROR)
        XAVO_ERROR(call.operation, "XAVO_dig_out_job_id() returned an error");
    else if (*JID_InstanceID == nullptr)
        *call.errorcodep = XAVO_UNKNOWN_ERROR;
}

} // namespace

void XAVO_invoke_BackupRestore(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *method,
                               XAVO_BAR_INPUT_DATA *data, char **JID_InstanceID) {
    const OperationContext context(sp, errorcodep, __func__);
    if (!context || !XAVO_REQUIRE(context, data != nullptr, XAVO_INVALID_VALUE, "Input Data is missing") ||
        !XAVO_REQUIRE(context, XAVO_Validate_XAVO_BAR_INPUT_DATA(data) != 0, XAVO_INVALID_VALUE,
                      "Input Data is not valid"))
        return;
    const bool restore = method != nullptr && strcasecmp(method, "RestoreImage") == 0;
    const bool backup = method != nullptr && strcasecmp(method, "BackupImage") == 0;
    const bool known = restore || backup;
    if (!XAVO_REQUIRE(context, known, XAVO_INVALID_VALUE, "Service method is NULL or not allowed") ||
        !XAVO_REQUIRE_GIVEN(context, JID_InstanceID))
        return;
    *JID_InstanceID = nullptr;

    Invocation call(context);
    if (call.set_path(XAVO_build_QMService_path(errorcodep)) && call.make_argument_lists() &&
        accepts_share_type(call, IMAGE_SHARES, data->shareType) &&
        add_arguments(call, IMAGE_ARGUMENTS_FIRST, data, data->shareType) && has_start_time(call, data) &&
        call.add("ScheduledStartTime", data->startTime) && (!restore || add_PreserveVDConfig(call, data)) &&
        add_arguments(call, HTTP_ARGUMENTS, &data->http, data->shareType) &&
        add_arguments(call, IMAGE_ARGUMENTS_LAST, data, data->shareType) && call.invoke_quietly(method))
        read_message_or_job(call, JID_InstanceID);
}

// ---- TestNetworkShare -------------------------------------------------------------------------------

namespace {

constexpr uint8_t SHARE_TEST_CREDENTIALS = share_types(2);

constexpr Argument<XAVO_NET_INPUT_DATA> SHARE_TEST_ARGUMENTS_FIRST[] = {
    ARGUMENT("IPAddress", XAVO_NET_INPUT_DATA, ipaddr, ANY_SHARE, ALWAYS),
    ARGUMENT("ShareName", XAVO_NET_INPUT_DATA, sharename, ANY_SHARE, IF_SET),
};

constexpr Argument<XAVO_NET_INPUT_DATA> SHARE_TEST_ARGUMENTS_AFTER_USER[] = {
    ARGUMENT("Password", XAVO_NET_INPUT_DATA, passwd, SHARE_TEST_CREDENTIALS, ALWAYS),
    ARGUMENT("Workgroup", XAVO_NET_INPUT_DATA, workgroup, SHARE_TEST_CREDENTIALS, ALWAYS),
};

constexpr Argument<XAVO_NET_INPUT_DATA> SHARE_TEST_ARGUMENTS_LAST[] = {
    ARGUMENT("ShareType", XAVO_NET_INPUT_DATA, shareType, ANY_SHARE, ALWAYS),
};

// Returns WORKGROUP\USER if both are given, else the user name, as a new string. Returns NULL if memory is
// exhausted.
char *combined_user_name(const XAVO_NET_INPUT_DATA *data, const char *operation) {
    char *combined = nullptr;
    if (data->workgroup[0] != '\0' && data->uname[0] != '\0') {
        XAVO_TRACE_WITH(operation, "workgroup=[%s] uname=[%s]", data->workgroup, data->uname);
        combined = utl_va_cat(data->workgroup, "\\", data->uname, static_cast<const char *>(nullptr));
    } else {
        XAVO_TRACE_WITH(operation, "uname=[%s]", data->uname);
        combined = strdup(data->uname);
    }
    if (combined != nullptr)
        XAVO_TRACE_WITH(operation, "sCombinedUserName=[%s]", combined);
    return combined;
}

bool add_user_name(Invocation &call, const XAVO_NET_INPUT_DATA *data) {
    if (!allowed(SHARE_TEST_CREDENTIALS, data->shareType))
        return true;
    char *combined = combined_user_name(data, call.operation);
    const bool added =
        XAVO_REQUIRE(call, combined != nullptr, XAVO_OUT_OF_MEMORY, "sCombinedUserName is NULL") &&
        call.add("UserName", combined);
    free(combined);
    return added;
}

// Reads the outcome of a method that sends a message if it refuses, and none if it succeeds.
void read_message(Invocation &call) {
    char *message = nullptr;
    XAVO_dig_out_QM_result(call.errorcodep, call.outputs(), &message);
    if (message != nullptr)
        *call.errorcodep = look_up(SHARE_TEST_MESSAGES, message);
    free(message);
}

} // namespace

void XAVO_invoke_TestNetworkShare(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep,
                                  const XAVO_NET_INPUT_DATA *data) {
    const OperationContext context(sp, errorcodep, __func__);
    if (!context || !XAVO_REQUIRE(context, data != nullptr, XAVO_INVALID_VALUE, "Input Data is missing") ||
        !XAVO_REQUIRE(context, XAVO_Validate_XAVO_NET_INPUT_DATA(data) != 0, XAVO_INVALID_VALUE,
                      "Input Data is not valid"))
        return;

    Invocation call(context);
    if (call.set_path(XAVO_build_QMService_path(errorcodep)) && call.make_argument_lists() &&
        accepts_share_type(call, NETWORK_SHARES, data->shareType) &&
        add_arguments(call, SHARE_TEST_ARGUMENTS_FIRST, data, data->shareType) && add_user_name(call, data) &&
        add_arguments(call, SHARE_TEST_ARGUMENTS_AFTER_USER, data, data->shareType) &&
        add_arguments(call, HTTP_ARGUMENTS, &data->http, data->shareType) &&
        add_arguments(call, SHARE_TEST_ARGUMENTS_LAST, data, data->shareType) &&
        call.invoke_quietly("TestNetworkShare"))
        read_message(call);
    call.reset_returned(); // released before the outputs, on success and on failure
}
