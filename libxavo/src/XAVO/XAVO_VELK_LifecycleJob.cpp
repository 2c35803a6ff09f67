// XAVO_VELK_LifecycleJob.cpp - lists, fetches, deletes and prints jobs, as plain records.
#include <XAVO.h>

#include "object_path.h"
#include "operation_context.h"
#include "query_broker.h"
#include <cstdlib>

using namespace xavo;

namespace {

constexpr char LIFECYCLE_JOB[] = "VELK_LifecycleJob";

// The properties of a job, in the order in which they are read and printed.
struct Property {
    char *XAVO_VELK_LifecycleJob::*field;
    char name[27];
};
#define ROW(name) {&XAVO_VELK_LifecycleJob::name, #name},
constexpr Property PROPERTIES[] = {XAVO_JOB_PROPERTIES(ROW)};
#undef ROW

// Returns a new record with the properties of an instance. Returns NULL, with the error code set, if a
// property cannot be read or memory is exhausted.
XAVO_VELK_LifecycleJob *XAVO_instance_to_VELK_LifecycleJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep,
                                                           CMPIInstance *instancep) {
    *errorcodep = XAVO_NO_ERROR;
    XAVO_VELK_LifecycleJob *job = XAVO_new_VELK_LifecycleJob();
    if (job == nullptr) {
        *errorcodep = XAVO_OUT_OF_MEMORY;
        return nullptr;
    }
    for (const Property &property : PROPERTIES) {
        job->*property.field = XAVO_property_to_ntstring(sp, errorcodep, instancep, property.name);
        if (*errorcodep != XAVO_NO_ERROR) {
            XAVO_free_VELK_LifecycleJob(job);
            return nullptr;
        }
    }
    return job;
}

// Returns the instance of a job, which the caller releases. Returns NULL on failure, with the error code set.
// Returns NULL with NO_ERROR if the broker answers with success and no instance. The handle is locked only
// while the instance is read: this function builds the path before the lock, and the caller converts the
// instance after the unlock.
CMPIInstance *fetch_instance(const OperationContext &context, const char *InstanceID) {
    CMPIObjectPath *path = XAVO_build_object_path_key_value(context.sp(), context.errorcodep, NAMESPACE,
                                                            LIFECYCLE_JOB, "InstanceID", InstanceID);
    if (path == nullptr)
        return nullptr;
    const Lock lock(context.sp());
    const Owner<CMPIObjectPath> object(path); // released before the unlock
    return query_broker(context.sp(), context.errorcodep, path, &CMCIClientFT::getInstance);
}

} // namespace

XAVO_VELK_LifecycleJob *XAVO_new_VELK_LifecycleJob(void) {
    return static_cast<XAVO_VELK_LifecycleJob *>(calloc(1, sizeof(XAVO_VELK_LifecycleJob)));
}

void XAVO_free_VELK_LifecycleJob(XAVO_VELK_LifecycleJob *job) {
    if (job == nullptr)
        return;
    for (const Property &property : PROPERTIES)
        XAVO_free_ntstring(job->*property.field);
    free(job);
}

void XAVO_free_list_VELK_LifecycleJob(XAVO_VELK_LifecycleJob *list) {
    while (list != nullptr) {
        XAVO_VELK_LifecycleJob *next = list->next;
        XAVO_free_VELK_LifecycleJob(list);
        list = next;
    }
}

void XAVO_fprint_VELK_LifecycleJob(FILE *stream, const XAVO_VELK_LifecycleJob *job) {
    static constexpr char HEADER[] = "VELK_LifecycleJob:\n";
    if (stream == nullptr)
        return XAVO_ERROR(__func__, "stream is NULL");
    if (job == nullptr)
        return XAVO_ERROR(__func__, "job is NULL");
    fwrite(HEADER, 1, sizeof HEADER - 1, stream);
    for (const Property &property : PROPERTIES) {
        XAVO_indent(stream, 4);
        fprintf(stream, "%s=", property.name);
        XAVO_fprint_ntstring(stream, job->*property.field);
        fputc('\n', stream);
    }
}

void XAVO_fprint_list_VELK_LifecycleJob(FILE *stream, const XAVO_VELK_LifecycleJob *list) {
    if (stream == nullptr)
        return XAVO_ERROR(__func__, "stream is NULL");
    for (; list != nullptr; list = list->next)
        XAVO_fprint_VELK_LifecycleJob(stream, list);
}

XAVO_VELK_LifecycleJob *XAVO_enumerate_VELK_LifecycleJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep) {
    const OperationContext context(sp, errorcodep, __func__);
    if (!context)
        return nullptr;
    const Owner<CMPIEnumeration> jobs(XAVO_enumerate(context.sp(), errorcodep, NAMESPACE, LIFECYCLE_JOB));
    if (!jobs)
        return nullptr;
    XAVO_VELK_LifecycleJob *list = nullptr;
    XAVO_VELK_LifecycleJob **tail = &list;
    while (jobs->ft->hasNext(jobs.get(), nullptr) != 0) {
        const CMPIData element = jobs->ft->getNext(jobs.get(), nullptr);
        if (element.state != CMPI_goodValue || element.type != CMPI_instance || element.value.inst == nullptr)
            continue;
        *tail = XAVO_instance_to_VELK_LifecycleJob(context.sp(), errorcodep, element.value.inst);
        if (*tail != nullptr)
            tail = &(*tail)->next;
    }
    return list;
}

XAVO_VELK_LifecycleJob *XAVO_get_VELK_LifecycleJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep,
                                                   const char *InstanceID) {
    const OperationContext context(sp, errorcodep, __func__);
    if (!context || !XAVO_REQUIRE_GIVEN(context, InstanceID))
        return nullptr;
    const Owner<CMPIInstance> instance(fetch_instance(context, InstanceID));
    return instance ? XAVO_instance_to_VELK_LifecycleJob(context.sp(), errorcodep, instance.get()) : nullptr;
}

void XAVO_delete_VELK_LifecycleJob(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *InstanceID) {
    XAVO_invoke_DeleteJobQueue(sp, errorcodep, InstanceID);
}

XAVO_ErrorCode XAVO_modify_VELK_LifecycleJob(XAVO_Proxy *, XAVO_ErrorCode *errorcodep) {
    if (has_errorcodep({errorcodep, __func__}))
        *errorcodep = XAVO_NOT_IMPLEMENTED;
    return XAVO_NOT_IMPLEMENTED;
}
