// XAVO_VELK_JobService.cpp - the controller's job queue.
#include <XAVO.h>

#include "admission.h"
#include "invocation.h"
#include "log.h"
#include "object_path.h"

using namespace xavo;

namespace {

constexpr Key JOB_SERVICE[] = {
    {"CreationClassName", "VELK_JobService"},
    {"SystemCreationClassName", "VELK_ComputerSystem"},
    {"SystemName", "Tavix"},
    {"Name", "JobService"},
};

CMPIObjectPath *XAVO_build_JobService_path(XAVO_ErrorCode *errorcodep) {
    return build_path(errorcodep, "VELK_JobService", JOB_SERVICE);
}

} // namespace

void XAVO_invoke_DeleteJobQueue(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *JobID) {
    if (!admit(sp, errorcodep, __func__,
               [&](XAVO_Proxy *temporary) { XAVO_invoke_DeleteJobQueue(temporary, errorcodep, JobID); }))
        return;
    if (JobID == nullptr)
        return XAVO_REFUSE(errorcodep, XAVO_INVALID_VALUE, __func__, "JobID is NULL");

    Invocation call(sp, errorcodep, __func__);
    if (call.on(XAVO_build_JobService_path(errorcodep)) && call.make_lists() && call.add("JobID", JobID) &&
        call.invoke("DeleteJobQueue"))
        call.read_return_value();
}

void XAVO_invoke_SetupJobQueue(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *StartTimeInterval,
                               const char *UntilTime, char *const *JobArray) {
    if (!admit(sp, errorcodep, __func__, [&](XAVO_Proxy *temporary) {
            XAVO_invoke_SetupJobQueue(temporary, errorcodep, StartTimeInterval, UntilTime, JobArray);
        }))
        return;
    if (StartTimeInterval == nullptr)
        return XAVO_REFUSE(errorcodep, XAVO_INVALID_VALUE, __func__, "StartTimeInterval is NULL");
    if (JobArray == nullptr)
        return XAVO_REFUSE(errorcodep, XAVO_INVALID_VALUE, __func__, "JobArray is NULL");

    Invocation call(sp, errorcodep, __func__);
    if (call.on(XAVO_build_JobService_path(errorcodep)) && call.make_lists() &&
        call.add("StartTimeInterval", StartTimeInterval) &&
        (UntilTime == nullptr || call.add("UntilTime", UntilTime)) &&
        call.add_array("JobArray", XAVO_build_string_array(JobArray)) && call.invoke("SetupJobQueue"))
        call.read_return_value();
}
