// XAVO_VELK_JobService.cpp - the controller's job queue.
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
    const Admission admitted(sp, errorcodep, __func__);
    if (!admitted || !XAVO_REQUIRE_GIVEN(admitted, JobID))
        return;

    Invocation call(admitted);
    if (call.on(XAVO_build_JobService_path(errorcodep)) && call.make_lists() && call.add("JobID", JobID) &&
        call.invoke("DeleteJobQueue"))
        call.read_return_value();
}

void XAVO_invoke_SetupJobQueue(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *StartTimeInterval,
                               const char *UntilTime, char *const *JobArray) {
    const Admission admitted(sp, errorcodep, __func__);
    if (!admitted || !XAVO_REQUIRE_GIVEN(admitted, StartTimeInterval) ||
        !XAVO_REQUIRE_GIVEN(admitted, JobArray))
        return;

    Invocation call(admitted);
    if (call.on(XAVO_build_JobService_path(errorcodep)) && call.make_lists() &&
        call.add("StartTimeInterval", StartTimeInterval) &&
        (UntilTime == nullptr || call.add("UntilTime", UntilTime)) &&
        call.add_array("JobArray", XAVO_build_string_array(JobArray)) && call.invoke("SetupJobQueue"))
        call.read_return_value();
}
