// XAVO_VELK_JobService.cpp - deletes jobs and sets up the job queue.
#include <XAVO.h>

#include "invocation.h"
#include "object_path.h"

using namespace xavo;

namespace {

CMPIObjectPath *XAVO_build_JobService_path(XAVO_ErrorCode *errorcodep) {
    return build_service_path(errorcodep, "VELK_JobService", "Tavix", "JobService");
}

} // namespace

void XAVO_invoke_DeleteJobQueue(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *JobID) {
    const OperationContext context(sp, errorcodep, __func__);
    if (!context || !XAVO_REQUIRE_GIVEN(context, JobID))
        return;

    Invocation call(context);
    if (call.set_path(XAVO_build_JobService_path(errorcodep)) && call.make_argument_lists() &&
        call.add("JobID", JobID) && call.invoke("DeleteJobQueue"))
        call.read_return_value();
}

void XAVO_invoke_SetupJobQueue(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *StartTimeInterval,
                               const char *UntilTime, char *const *JobArray) {
    const OperationContext context(sp, errorcodep, __func__);
    if (!context || !XAVO_REQUIRE_GIVEN(context, StartTimeInterval) || !XAVO_REQUIRE_GIVEN(context, JobArray))
        return;

    Invocation call(context);
    if (call.set_path(XAVO_build_JobService_path(errorcodep)) && call.make_argument_lists() &&
        call.add("StartTimeInterval", StartTimeInterval) &&
        (UntilTime == nullptr || call.add("UntilTime", UntilTime)) &&
        call.add_array("JobArray", XAVO_build_string_array(JobArray)) && call.invoke("SetupJobQueue"))
        call.read_return_value();
}
