// XAVO_VELK_SoftwareInstallationService.cpp - installations and reboot jobs.
#include <XAVO.h>

#include "admission.h"
#include "invocation.h"
#include "log.h"
#include "object_path.h"
#include "outputs.h"
#include <cerrno>
#include <cstdlib>

using namespace xavo;

namespace {

constexpr Key INSTALLATION_SERVICE[] = {
    {"CreationClassName", "VELK_SoftwareInstallationService"},
    {"SystemCreationClassName", "VELK_ComputerSystem"},
    {"SystemName", "TAVIX:ID"},
    {"Name", "SoftwareUpdate"},
};

CMPIObjectPath *XAVO_build_SoftwareInstallationService_path(XAVO_ErrorCode *errorcodep) {
    return build_path(errorcodep, "VELK_SoftwareInstallationService", INSTALLATION_SERVICE);
}

CMPIObjectPath *XAVO_build_SoftwareIdentity_path(XAVO_ErrorCode *errorcodep, const char *InstanceID) {
    const Key identity[] = {{"InstanceID", InstanceID}};
    return build_path(errorcodep, "VELK_SoftwareIdentity", identity);
}

void XAVO_dig_out_job_id(XAVO_ErrorCode *errorcodep, CMPIArgs *outarglist, const char *argname,
                         char **JID_InstanceID) {
    read_job_id(errorcodep, outarglist, argname, JID_InstanceID, __func__);
}

// Where a method names the job that it has created, and the line for one that cannot be read.
struct JobOutput {
    const char *argname;
    const char *unreadable;
};

constexpr JobOutput INSTALL_JOB = {"Job", XAVO_ERROR_FORMAT("XAVO_dig_out_job_id() returned an error")};
constexpr JobOutput REBOOT_JOB = {"RebootJobID",
                                  XAVO_ERROR_FORMAT("XAVO_dig_out_reboot_job_id() returned an error")};

// The outcome of a method that reports through the job it names: neither its return value nor anything
// else decides.
void read_job(Invocation &call, XAVO_ErrorCode *errorcodep, const JobOutput &output, char **JID_InstanceID,
              const char *operation) {
    call.drop_returned();
    XAVO_dig_out_job_id(errorcodep, call.outputs(), output.argname, JID_InstanceID);
    if (*errorcodep != XAVO_NO_ERROR)
        XAVO_ERROR_BY_FORMAT(operation, output.unreadable);
    else if (*JID_InstanceID == nullptr)
        *errorcodep = XAVO_UNKNOWN_ERROR;
    else
        return;
    XAVO_ERROR_WITH(operation, "errorcode=%d", *errorcodep);
    XAVO_log_MessageID(call.outputs());
}

// Reads decimal text as a signed 32-bit number, however wide a long is; out of its range gives the nearer
// end and ERANGE.
int32_t parse_int32(const char *text, char **end) {
    errno = 0;
    const long number = strtol(text, end, 10);
    const long nearest = number > INT32_MAX ? INT32_MAX : number < INT32_MIN ? INT32_MIN : number;
    if (nearest != number)
        errno = ERANGE;
    return static_cast<int32_t>(nearest);
}

// A reboot type, 0 to 65535, from its text. False: the code is set and the reason logged.
bool parse_RebootJobType(XAVO_ErrorCode *errorcodep, const char *text, CMPIUint16 *type,
                         const char *operation) {
#define REFUSE(reason) (XAVO_REFUSE(errorcodep, XAVO_INVALID_VALUE, operation, reason), false)
    if (*text == '\0')
        return REFUSE("RebootJobType is zero length");
    char *end = nullptr;
    const int32_t number = parse_int32(text, &end);
    if (errno != 0)
        return REFUSE("RebootJobType is invalid");
    if (end == text || *end != '\0')
        return REFUSE("RebootJobType has invalid characters");
    if (static_cast<uint32_t>(number) > UINT16_MAX) // a negative number is a large one here
        return REFUSE("RebootJobType is out of range");
#undef REFUSE
    *type = static_cast<CMPIUint16>(number);
    return true;
}

// The part of both installations that follows their checks; `URI` is NULL where the method takes none.
void install(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *method, const char *URI,
             const char *InstanceID, char **JID_InstanceID, const char *operation) {
    *JID_InstanceID = nullptr;
    Invocation call(sp, errorcodep, operation);
    if (call.on(XAVO_build_SoftwareInstallationService_path(errorcodep)) &&
        call.target(XAVO_build_SoftwareIdentity_path(errorcodep, InstanceID)) && call.make_lists() &&
        (URI == nullptr || call.add("URI", URI)) && call.add_target("Target") && call.invoke(method))
        read_job(call, errorcodep, INSTALL_JOB, JID_InstanceID, operation);
}

} // namespace

void XAVO_invoke_InstallFromURI(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *URI,
                                const char *InstanceID, char **JID_InstanceID) {
    if (!admit(sp, errorcodep, __func__, [&](XAVO_Proxy *temporary) {
            XAVO_invoke_InstallFromURI(temporary, errorcodep, URI, InstanceID, JID_InstanceID);
        }))
        return;
    if (URI == nullptr)
        return XAVO_REFUSE(errorcodep, XAVO_INVALID_VALUE, __func__, "URI is NULL");
    if (InstanceID == nullptr)
        return XAVO_REFUSE(errorcodep, XAVO_INVALID_VALUE, __func__, "InstanceID is NULL");
    if (JID_InstanceID == nullptr)
        return XAVO_REFUSE(errorcodep, XAVO_INVALID_VALUE, __func__, "JID_InstanceID is NULL");
    install(sp, errorcodep, "InstallFromURI", URI, InstanceID, JID_InstanceID, __func__);
}

void XAVO_invoke_InstallFromSoftwareIdentity(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep,
                                             const char *InstanceID, char **JID_InstanceID) {
    if (!admit(sp, errorcodep, __func__, [&](XAVO_Proxy *temporary) {
            XAVO_invoke_InstallFromSoftwareIdentity(temporary, errorcodep, InstanceID, JID_InstanceID);
        }))
        return;
    if (InstanceID == nullptr)
        return XAVO_REFUSE(errorcodep, XAVO_INVALID_VALUE, __func__, "InstanceID is NULL");
    if (JID_InstanceID == nullptr)
        return XAVO_REFUSE(errorcodep, XAVO_INVALID_VALUE, __func__, "JID_InstanceID is NULL");
    install(sp, errorcodep, "InstallFromSoftwareIdentity", nullptr, InstanceID, JID_InstanceID, __func__);
}

void XAVO_invoke_CreateRebootJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *RebootJobType,
                                 char **JID_InstanceID) {
    if (!admit(sp, errorcodep, __func__, [&](XAVO_Proxy *temporary) {
            XAVO_invoke_CreateRebootJob(temporary, errorcodep, RebootJobType, JID_InstanceID);
        }))
        return;
    if (RebootJobType == nullptr)
        return XAVO_REFUSE(errorcodep, XAVO_INVALID_VALUE, __func__, "RebootJobType is NULL");
    if (JID_InstanceID == nullptr)
        return XAVO_REFUSE(errorcodep, XAVO_INVALID_VALUE, __func__, "JID_InstanceID is NULL");
    *JID_InstanceID = nullptr;
    CMPIValue type = {};
    if (!parse_RebootJobType(errorcodep, RebootJobType, &type.uint16, __func__))
        return;

    Invocation call(sp, errorcodep, __func__);
    if (call.on(XAVO_build_SoftwareInstallationService_path(errorcodep)) && call.make_lists() &&
        call.add("RebootJobType", &type.uint16) && call.invoke("CreateRebootJob"))
        read_job(call, errorcodep, REBOOT_JOB, JID_InstanceID, __func__);
}
