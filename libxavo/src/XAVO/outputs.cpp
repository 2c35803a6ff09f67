#include "outputs.h"

#include "cmpi.h"
#include "log.h"
#include <cstring>

namespace xavo {

namespace {

CMPIrc traced_code(Status &status, const char *function) {
    const CMPIrc rc = status.code();
    if (rc != CMPI_RC_OK)
        XAVO_TRACE_WITH(function, "st.rc=%d", static_cast<int>(rc));
    return rc;
}

} // namespace

CMPIrc read_arg(CMPIArgs *args, const char *name, const char *function, CMPIData *data) {
    Status status;
    *data = args->ft->getArg(args, name, status.out());
    return traced_code(status, function);
}

char *new_string(XAVO_ErrorCode *errorcodep, const char *text) {
    char *copy = strdup(text);
    if (copy == nullptr)
        *errorcodep = XAVO_OUT_OF_MEMORY;
    return copy;
}

void read_job_id(ErrorContext context, CMPIArgs *outputs, const char *argname, char **jobid) {
    XAVO_ErrorCode *const errorcodep = context.errorcodep;
    CMPIData job;
    CMPIrc rc = read_arg(outputs, argname, context.operation, &job);
    if (rc == CMPI_RC_ERR_NOT_FOUND)
        return XAVO_TRACE(context.operation, "Job not found");
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
    XAVO_free_CMPIData_value(&job); // the key was read as a copy and stays valid
    rc = traced_code(status, context.operation);
    if (rc != CMPI_RC_OK) {
        *errorcodep = XAVO_translate_error_code(rc);
        return;
    }
    if (const char *id = characters(key)) {
        *jobid = new_string(errorcodep, id);
    } else {
        *errorcodep = XAVO_UNKNOWN_ERROR;
    }
    XAVO_free_CMPIData_value(&key);
}

} // namespace xavo
