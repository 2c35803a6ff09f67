// XAVO_VELK_SoftwareInstallationService.cpp - starts installations and creates reboot jobs.
#include <XAVO.h>

#include "invocation.h"
#include "object_path.h"
#include "outputs.h"
#include <cerrno>
#include <cstdlib>

using namespace xavo;

namespace {

CMPIObjectPath *XAVO_build_SoftwareInstallationService_path(XAVO_ErrorCode *errorcodep) {
    return build_service_path(errorcodep, "VELK_SoftwareInstallationService", "TAVIX:ID", "SoftwareUpdate");
}

CMPIObjectPath *XAVO_build_SoftwareIdentity_path(XAVO_ErrorCode *errorcodep, const char *InstanceID) {
    const Key only = {"InstanceID", InstanceID};
    return build_path(errorcodep, NAMESPACE, "VELK_SoftwareIdentity", &only, 1);
}

void XAVO_dig_out_job_id(XAVO_ErrorCode *errorcodep, CMPIArgs *outarglist, const char *argname,
                         char **JID_InstanceID) {
    read_job_id({errorcodep, __func__}, outarglist, argname, JID_InstanceID);
}

// Reads the outcome of a method that names a job if it succeeds. The method's return value is ignored.
// `error_format` is the format of the error line for a job that cannot be read.
void read_job(Invocation &call, const char *argname, const char *error_format, char **JID_InstanceID) {
    call.reset_returned();
    XAVO_dig_out_job_id(call.errorcodep, call.outputs(), argname, JID_InstanceID);
    if (*call.errorcodep != XAVO_NO_ERROR)
        log_error(error_format, XAVO_PREFIX_VALUES(call.operation));
    else if (*JID_InstanceID == nullptr)
        *call.errorcodep = XAVO_UNKNOWN_ERROR;
    else
        return;
    XAVO_ERROR_WITH(call.operation, "errorcode=%d", *call.errorcodep);
    XAVO_log_MessageID(call.outputs());
}

// Converts decimal text to a number of 32 bits, as strtol does on machines where long has 32 bits. If the
// number is out of range, returns the nearest one in range; errno is then ERANGE, and otherwise 0.
int32_t parse_int32(const char *text, char **end) {
    errno = 0;
    const long number = strtol(text, end, 10);
    const long nearest = number > INT32_MAX ? INT32_MAX : number < INT32_MIN ? INT32_MIN : number;
    if (nearest != number)
        errno = ERANGE;
    return static_cast<int32_t>(nearest);
}

// Converts the text of a reboot type, 0 to 65535. On failure logs an error line, sets the error code and
// returns false.
bool parse_RebootJobType(ErrorContext context, const char *text, CMPIUint16 *type) {
    if (!XAVO_REQUIRE(context, *text != '\0', XAVO_INVALID_VALUE, "RebootJobType is zero length"))
        return false;
    char *end = nullptr;
    const int32_t number = parse_int32(text, &end);
    *type = static_cast<CMPIUint16>(number);
    const bool whole = end != text && *end == '\0';
    return XAVO_REQUIRE(context, errno == 0, XAVO_INVALID_VALUE, "RebootJobType is invalid") &&
           XAVO_REQUIRE(context, whole, XAVO_INVALID_VALUE, "RebootJobType has invalid characters") &&
           XAVO_REQUIRE(context, number == *type, XAVO_INVALID_VALUE, "RebootJobType is out of range");
}

// Calls an installation method, after the operation's own checks. `URI` is NULL if the method has no such
// argument.
void install(const OperationContext &context, const char *method, const char *URI, const char *InstanceID,
             char **JID_InstanceID) {
    *JID_InstanceID = nullptr;
    Invocation call(context);
    if (call.set_path(XAVO_build_SoftwareInstallationService_path(call.errorcodep)) &&
        call.set_target(XAVO_build_SoftwareIdentity_path(call.errorcodep, InstanceID)) &&
        call.make_argument_lists() && (URI == nullptr || call.add("URI", URI)) && call.add_target("Target") &&
        call.invoke(method))
        read_job(call, "Job", XAVO_ERROR_FORMAT("XAVO_dig_out_job_id() returned an error"), JID_InstanceID);
}

} // namespace

void XAVO_invoke_InstallFromURI(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *URI,
                                const char *InstanceID, char **JID_InstanceID) {
    const OperationContext context(sp, errorcodep, __func__);
    if (context && XAVO_REQUIRE_GIVEN(context, URI) && XAVO_REQUIRE_GIVEN(context, InstanceID) &&
        XAVO_REQUIRE_GIVEN(context, JID_InstanceID))
        install(context, "InstallFromURI", URI, InstanceID, JID_InstanceID);
}

void XAVO_invoke_InstallFromSoftwareIdentity(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep,
                                             const char *InstanceID, char **JID_InstanceID) {
    const OperationContext context(sp, errorcodep, __func__);
    if (context && XAVO_REQUIRE_GIVEN(context, InstanceID) && XAVO_REQUIRE_GIVEN(context, JID_InstanceID))
        install(context, "InstallFromSoftwareIdentity", nullptr, InstanceID, JID_InstanceID);
}

void XAVO_invoke_CreateRebootJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *RebootJobType,
                                 char **JID_InstanceID) {
    const OperationContext context(sp, errorcodep, __func__);
    if (!context || !XAVO_REQUIRE_GIVEN(context, RebootJobType) ||
        !XAVO_REQUIRE_GIVEN(context, JID_InstanceID))
        return;
    *JID_InstanceID = nullptr;
    CMPIValue type = {};
    if (!parse_RebootJobType(context, RebootJobType, &type.uint16))
        return;

    Invocation call(context);
    if (call.set_path(XAVO_build_SoftwareInstallationService_path(errorcodep)) &&
        call.make_argument_lists() && call.add("RebootJobType", &type.uint16) &&
        call.invoke("CreateRebootJob"))
        read_job(call, "RebootJobID", XAVO_ERROR_FORMAT("XAVO_dig_out_reboot_job_id() returned an error"),
                 JID_InstanceID);
}
