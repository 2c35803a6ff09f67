#include "outputs.h"

#include "cmpi.h"
#include "log.h"
#include <cstring>

namespace xavo {

CMPIrc read_arg(CMPIArgs *args, const char *name, const char *function, CMPIData *data) {
    Status status;
    *data = args->ft->getArg(args, name, status.out());
    status.drop_message();
    if (status.failed())
        XAVO_TRACE_WITH(function, "st.rc=%d", static_cast<int>(status.rc()));
    return status.rc();
}

void read_job_id(XAVO_ErrorCode *errorcodep, CMPIArgs *outputs, const char *argname, char **jobid,
                 const char *function) {
    CMPIData job;
    const CMPIrc rc = read_arg(outputs, argname, function, &job);
    if (rc == CMPI_RC_ERR_NOT_FOUND) {
        XAVO_TRACE(function, "Job not found");
        return;
    }
    if (rc != CMPI_RC_OK) {
        *errorcodep = XAVO_translate_error_code(rc);
        return;
    }
    if (job.type != CMPI_ref || job.value.ref == nullptr) {
        *errorcodep = XAVO_UNKNOWN_ERROR;
        XAVO_free_CMPIData_value(&job);
        return;
    }
    Status status;
    CMPIData key = job.value.ref->ft->getKey(job.value.ref, "InstanceID", status.out());
    XAVO_free_CMPIData_value(&job); // the key is an object of its own
    status.drop_message();
    if (status.failed()) {
        XAVO_TRACE_WITH(function, "st.rc=%d", static_cast<int>(status.rc()));
        *errorcodep = XAVO_translate_error_code(status.rc());
        return;
    }
    if (const char *id = characters(key)) {
        *jobid = strdup(id);
        if (*jobid == nullptr)
            *errorcodep = XAVO_OUT_OF_MEMORY;
    } else {
        *errorcodep = XAVO_UNKNOWN_ERROR;
    }
    XAVO_free_CMPIData_value(&key);
}

} // namespace xavo
