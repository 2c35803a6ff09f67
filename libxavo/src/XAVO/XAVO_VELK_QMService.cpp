// XAVO_VELK_QMService.cpp - backup, restore, share test, and the records that describe them.
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

// A character buffer of a record, and what is logged when it has no end.
struct Buffer {
    size_t offset;
    size_t size;
    const char *unterminated;
};
#define BUFFER(record, member)                                                                               \
    { offsetof(record, member), sizeof(record::member), XAVO_ERROR_FORMAT(#member " is not valid") }

constexpr Buffer HTTP_BUFFERS[] = {
    BUFFER(XAVO_HTTP_SHARE_OPT_DATA, proxyServer),
    BUFFER(XAVO_HTTP_SHARE_OPT_DATA, proxyUname),
    BUFFER(XAVO_HTTP_SHARE_OPT_DATA, proxyPasswd),
    BUFFER(XAVO_HTTP_SHARE_OPT_DATA, proxyPort),
};

constexpr Buffer NET_BUFFERS[] = {
    BUFFER(XAVO_NET_INPUT_DATA, uname),     BUFFER(XAVO_NET_INPUT_DATA, passwd),
    BUFFER(XAVO_NET_INPUT_DATA, workgroup), BUFFER(XAVO_NET_INPUT_DATA, ipaddr),
    BUFFER(XAVO_NET_INPUT_DATA, sharename),
};

constexpr Buffer BAR_BUFFERS[] = {
    BUFFER(XAVO_BAR_INPUT_DATA, uname),      BUFFER(XAVO_BAR_INPUT_DATA, passwd),
    BUFFER(XAVO_BAR_INPUT_DATA, passphrase), BUFFER(XAVO_BAR_INPUT_DATA, ipaddr),
    BUFFER(XAVO_BAR_INPUT_DATA, sharename),  BUFFER(XAVO_BAR_INPUT_DATA, imagename),
    BUFFER(XAVO_BAR_INPUT_DATA, startTime),  BUFFER(XAVO_BAR_INPUT_DATA, untilTime),
    BUFFER(XAVO_BAR_INPUT_DATA, JobName),    BUFFER(XAVO_BAR_INPUT_DATA, tavixuname),
};
#undef BUFFER

template <typename Type>
const Type *member_at(const void *record, size_t offset) {
    return static_cast<const Type *>(static_cast<const void *>(static_cast<const char *>(record) + offset));
}

template <size_t count>
int validate(const Buffer (&buffers)[count], const void *record, const char *function) {
    for (const Buffer &buffer : buffers) {
        if (XAVO_Validate_StringBuffer(member_at<char>(record, buffer.offset), buffer.size) == 0) {
            log_error(buffer.unterminated, XAVO_PREFIX_VALUES(function));
            return 0;
        }
    }
    return 1;
}

int validate_http(const XAVO_HTTP_SHARE_OPT_DATA *http, const char *function) {
    if (XAVO_Validate_XAVO_HTTP_SHARE_OPT_DATA(http) != 0)
        return 1;
    XAVO_ERROR(function, "http data is not valid");
    return 0;
}

} // namespace

int XAVO_Validate_StringBuffer(const char *buffer, size_t size) {
    return size != 0 && buffer != nullptr && strnlen(buffer, size) < size;
}

int XAVO_Validate_XAVO_HTTP_SHARE_OPT_DATA(const XAVO_HTTP_SHARE_OPT_DATA *data) {
    return validate(HTTP_BUFFERS, data, __func__);
}

int XAVO_Validate_XAVO_NET_INPUT_DATA(const XAVO_NET_INPUT_DATA *data) {
    return validate(NET_BUFFERS, data, __func__) != 0 && validate_http(&data->http, __func__) != 0;
}

int XAVO_Validate_XAVO_BAR_INPUT_DATA(const XAVO_BAR_INPUT_DATA *data) {
    return validate(BAR_BUFFERS, data, __func__) != 0 && validate_http(&data->http, __func__) != 0;
}

// ---- What the service's methods share ---------------------------------------------------------------

namespace {

constexpr Key QM_SERVICE[] = {
    {"CreationClassName", "VELK_QMService"},
    {"SystemCreationClassName", "VELK_ComputerSystem"},
    {"SystemName", "VELK:ComputerSystem"},
    {"Name", "VELK:QMService"},
};

CMPIObjectPath *XAVO_build_QMService_path(XAVO_ErrorCode *errorcodep) {
    return build_path(errorcodep, "VELK_QMService", QM_SERVICE);
}

// The identifier of the message with which the service refuses a request. Leaves NO_ERROR when there is
// none; UNKNOWN_ERROR and a new string in *messageid when there is one; OUT_OF_MEMORY when it could not
// be copied; NOT_FOUND when it cannot be read.
void XAVO_dig_out_QM_result(XAVO_ErrorCode *errorcodep, CMPIArgs *outarglist, char **messageid) {
    CMPIData data;
    const CMPIrc rc = read_arg(outarglist, "MessageID", __func__, &data);
    if (rc != CMPI_RC_OK) {
        *errorcodep = rc == CMPI_RC_ERR_NOT_FOUND ? XAVO_NO_ERROR : XAVO_NOT_FOUND;
        return;
    }
    if (const char *text = characters(data)) {
        *messageid = strdup(text);
        *errorcodep = *messageid == nullptr ? XAVO_OUT_OF_MEMORY : XAVO_UNKNOWN_ERROR;
    } else {
        *errorcodep = XAVO_NOT_FOUND;
    }
    XAVO_free_CMPIData_value(&data);
}

void XAVO_dig_out_QMjob_id(XAVO_ErrorCode *errorcodep, CMPIArgs *outarglist, char **jobid) {
    read_job_id({errorcodep, __func__}, outarglist, "Job", jobid);
}

// What a message identifier means. A table ends with NO_ERROR.
struct MessageCode {
    XAVO_ErrorCode code;
    const char *id;
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

// The share test knows fewer messages, and one of its own.
constexpr MessageCode SHARE_TEST_MESSAGES[] = {
    {XAVO_MISSING_REQUIRED_PARAMETER, "QM016"},
    {XAVO_INVALID_VALUE, "QM017"},
    {XAVO_UNABLE_TO_OPEN_CONNECTION, "QM023"},
    {XAVO_NO_ERROR, ""},
};

// The code of an identifier, without regard to letter case; UNKNOWN_ERROR when the table lacks it.
XAVO_ErrorCode look_up(const MessageCode *entry, const char *id) {
    for (; entry->code != XAVO_NO_ERROR; ++entry)
        if (strcasecmp(entry->id, id) == 0)
            return entry->code;
    return XAVO_UNKNOWN_ERROR;
}

// An argument that stands in a record: a string if its type is CMPI_chars, else a 16-bit number.
struct Argument {
    const char *name;
    size_t offset;
    CMPIType type;
    unsigned int share_types; // the share types with which it is sent, as bits
    enum { ALWAYS, IF_SET } when;
};

template <typename... Types>
constexpr unsigned int share_types(Types... types) {
    return ((1U << types) | ...);
}
constexpr unsigned int ANY_SHARE = ~0U;
constexpr unsigned int NETWORK_SHARES = share_types(0, 2, 5, 6);
constexpr unsigned int HTTP_SHARES = share_types(5, 6);

bool allowed(unsigned int share_types, CMPIUint16 type) {
    return type <= 6 && (share_types >> type & 1U) != 0;
}

#define TEXT(name, record, member) name, offsetof(record, member), CMPI_chars
#define NUMBER(name, record, member) name, offsetof(record, member), CMPI_uint16

constexpr Argument HTTP_ARGUMENTS[] = {
    {NUMBER("ProxySupport", XAVO_HTTP_SHARE_OPT_DATA, proxySupport), HTTP_SHARES, Argument::IF_SET},
    {NUMBER("ProxyType", XAVO_HTTP_SHARE_OPT_DATA, proxyType), HTTP_SHARES, Argument::IF_SET},
    {TEXT("ProxyServer", XAVO_HTTP_SHARE_OPT_DATA, proxyServer), HTTP_SHARES, Argument::IF_SET},
    {TEXT("ProxyUname", XAVO_HTTP_SHARE_OPT_DATA, proxyUname), HTTP_SHARES, Argument::IF_SET},
    {TEXT("ProxyPasswd", XAVO_HTTP_SHARE_OPT_DATA, proxyPasswd), HTTP_SHARES, Argument::IF_SET},
    {TEXT("ProxyPort", XAVO_HTTP_SHARE_OPT_DATA, proxyPort), HTTP_SHARES, Argument::IF_SET},
    {NUMBER("IgnoreCertWarning", XAVO_HTTP_SHARE_OPT_DATA, ignoreCertWarning), HTTP_SHARES, Argument::IF_SET},
};

// Adds the arguments of a table that this share type calls for.
template <size_t count>
bool add_arguments(Invocation &call, const Argument (&arguments)[count], const void *record,
                   CMPIUint16 share_type) {
    for (const Argument &argument : arguments) {
        if (!allowed(argument.share_types, share_type))
            continue;
        bool added = true;
        if (argument.type == CMPI_chars) {
            const char *text = member_at<char>(record, argument.offset);
            if (argument.when == Argument::ALWAYS || *text != '\0')
                added = call.add(argument.name, text);
        } else {
            const CMPIUint16 *number = member_at<CMPIUint16>(record, argument.offset);
            if (argument.when == Argument::ALWAYS || *number != 0)
                added = call.add(argument.name, number);
        }
        if (!added)
            return false;
    }
    return true;
}

// The check that follows the argument lists: only some share types are taken.
bool takes_share(const Caller &call, unsigned int share_types, CMPIUint16 type) {
    return XAVO_REQUIRE(call, allowed(share_types, type), XAVO_INVALID_VALUE, "Invalid access type is NULL");
}

} // namespace

// ---- BackupImage, RestoreImage ----------------------------------------------------------------------

namespace {

constexpr unsigned int IMAGE_SHARES = share_types(0, 2, 4, 5, 6);
constexpr unsigned int IMAGE_CREDENTIALS = share_types(2, 5, 6);

constexpr Argument IMAGE_PLACE[] = {
    {TEXT("IPAddress", XAVO_BAR_INPUT_DATA, ipaddr), NETWORK_SHARES, Argument::ALWAYS},
    {TEXT("ShareName", XAVO_BAR_INPUT_DATA, sharename), NETWORK_SHARES, Argument::IF_SET},
    {TEXT("ImageName", XAVO_BAR_INPUT_DATA, imagename), NETWORK_SHARES, Argument::ALWAYS},
    {TEXT("UserName", XAVO_BAR_INPUT_DATA, uname), IMAGE_CREDENTIALS, Argument::IF_SET},
    {TEXT("Password", XAVO_BAR_INPUT_DATA, passwd), IMAGE_CREDENTIALS, Argument::IF_SET},
    {TEXT("Passphrase", XAVO_BAR_INPUT_DATA, passphrase), ANY_SHARE, Argument::IF_SET},
    {TEXT("UntilTime", XAVO_BAR_INPUT_DATA, untilTime), ANY_SHARE, Argument::IF_SET},
};

constexpr Argument IMAGE_REST[] = {
    {NUMBER("ShareType", XAVO_BAR_INPUT_DATA, shareType), ANY_SHARE, Argument::ALWAYS},
    {TEXT("JobName", XAVO_BAR_INPUT_DATA, JobName), ANY_SHARE, Argument::IF_SET},
    {NUMBER("CheckBackupDestinationAvailability", XAVO_BAR_INPUT_DATA, checkBackupDestinationAvailability),
     ANY_SHARE, Argument::IF_SET},
};

bool has_start_time(const Caller &call, const XAVO_BAR_INPUT_DATA *data) {
    return XAVO_REQUIRE(call, data->startTime[0] != '\0', XAVO_INVALID_VALUE, "start time is NULL");
}

// An option that a restore alone carries, whatever its value. Only its lowest bit counts, and the caller's
// record is left with that.
bool add_PreserveVDConfig(Invocation &call, XAVO_BAR_INPUT_DATA *data) {
    data->preserveVDConfig &= 1U;
    return call.add("PreserveVDConfig", &data->preserveVDConfig);
}

// The outcome of a method that reports a refusal by a message and success by the job it names.
void read_message_or_job(Invocation &call, char **JID_InstanceID) {
    call.drop_returned();
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
    const Admission admitted(sp, errorcodep, __func__);
    if (!admitted || !XAVO_REQUIRE(admitted, data != nullptr, XAVO_INVALID_VALUE, "Input Data is missing") ||
        !XAVO_REQUIRE(admitted, XAVO_Validate_XAVO_BAR_INPUT_DATA(data) != 0, XAVO_INVALID_VALUE,
                      "Input Data is not valid"))
        return;
    const bool restore = method != nullptr && strcasecmp(method, "RestoreImage") == 0;
    const bool backup = method != nullptr && strcasecmp(method, "BackupImage") == 0;
    if (!XAVO_REQUIRE(admitted, restore || backup, XAVO_INVALID_VALUE,
                      "Service method is NULL or not allowed") ||
        !XAVO_REQUIRE_GIVEN(admitted, JID_InstanceID))
        return;
    *JID_InstanceID = nullptr;

    Invocation call(admitted);
    if (call.on(XAVO_build_QMService_path(errorcodep)) && call.make_lists() &&
        takes_share(call, IMAGE_SHARES, data->shareType) &&
        add_arguments(call, IMAGE_PLACE, data, data->shareType) && has_start_time(call, data) &&
        call.add("ScheduledStartTime", data->startTime) && (!restore || add_PreserveVDConfig(call, data)) &&
        add_arguments(call, HTTP_ARGUMENTS, &data->http, data->shareType) &&
        add_arguments(call, IMAGE_REST, data, data->shareType) && call.invoke_quietly(method))
        read_message_or_job(call, JID_InstanceID);
}

// ---- TestNetworkShare -------------------------------------------------------------------------------

namespace {

constexpr unsigned int TEST_CREDENTIALS = share_types(2);

constexpr Argument TEST_PLACE[] = {
    {TEXT("IPAddress", XAVO_NET_INPUT_DATA, ipaddr), ANY_SHARE, Argument::ALWAYS},
    {TEXT("ShareName", XAVO_NET_INPUT_DATA, sharename), ANY_SHARE, Argument::IF_SET},
};

constexpr Argument TEST_SECRETS[] = {
    {TEXT("Password", XAVO_NET_INPUT_DATA, passwd), TEST_CREDENTIALS, Argument::ALWAYS},
    {TEXT("Workgroup", XAVO_NET_INPUT_DATA, workgroup), TEST_CREDENTIALS, Argument::ALWAYS},
};

constexpr Argument TEST_REST[] = {
    {NUMBER("ShareType", XAVO_NET_INPUT_DATA, shareType), ANY_SHARE, Argument::ALWAYS},
};

// The user as the share's server knows him: in his workgroup, if he has one.
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
    if (!allowed(TEST_CREDENTIALS, data->shareType))
        return true;
    char *combined = combined_user_name(data, call.operation);
    const bool added =
        XAVO_REQUIRE(call, combined != nullptr, XAVO_OUT_OF_MEMORY, "sCombinedUserName is NULL") &&
        call.add("UserName", combined);
    free(combined);
    return added;
}

// The outcome of a method that reports a refusal by a message and success by none.
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
    const Admission admitted(sp, errorcodep, __func__);
    if (!admitted || !XAVO_REQUIRE(admitted, data != nullptr, XAVO_INVALID_VALUE, "Input Data is missing") ||
        !XAVO_REQUIRE(admitted, XAVO_Validate_XAVO_NET_INPUT_DATA(data) != 0, XAVO_INVALID_VALUE,
                      "Input Data is not valid"))
        return;

    Invocation call(admitted);
    if (call.on(XAVO_build_QMService_path(errorcodep)) && call.make_lists() &&
        takes_share(call, NETWORK_SHARES, data->shareType) &&
        add_arguments(call, TEST_PLACE, data, data->shareType) && add_user_name(call, data) &&
        add_arguments(call, TEST_SECRETS, data, data->shareType) &&
        add_arguments(call, HTTP_ARGUMENTS, &data->http, data->shareType) &&
        add_arguments(call, TEST_REST, data, data->shareType) && call.invoke_quietly("TestNetworkShare"))
        read_message(call);
    call.drop_returned(); // whatever the outcome, the value goes before the outputs
}
