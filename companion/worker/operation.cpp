#include "operation.h"

#include "channel.h"
#include "libxavo.h"
#include "memory.h"
#include "value.h"

#include <stdlib.h>

namespace xavo_worker {

using namespace xavo_companion;

namespace {

constexpr char NAME_SPACE[] = "root/velk", LIFECYCLE_JOB[] = "VELK_LifecycleJob";
constexpr size_t MOST_MEMORY = 64U << 20;
constexpr unsigned int MOST_FAILED_ELEMENTS = 16; // successive; a failed enumeration may not advance

struct Outcome {
    XAVO_ErrorCode code = XAVO_NO_ERROR;
    int kind = XAVO_KIND_NONE;
    uint32_t unreadable = 0;
    char *job_id = nullptr; // of malloc
};

// Returns the kind for a failure that libxavo reports.
int kind_of(const Met &met, int operation) {
    const bool failed = met.status != CMPI_RC_OK;
    // For these operations a return value other than 0 is a refusal. For the others it is one only if there
    // are no outputs: it can come with a job that was started.
    const bool decides = operation == XAVO_OP_DELETE_JOB || operation == XAVO_OP_SETUP_JOB_QUEUE;
    switch (met.exchange) {
    case Met::NOTHING:
        return XAVO_KIND_NOTHING_ASKED;
    case Met::READ:
        if (met.status == CMPI_RC_ERR_FAILED)
            return XAVO_KIND_CONNECTION_LOST;
        break;
    case Met::METHOD:
        if (!failed &&
            (met.message_id != nullptr || (met.return_value != 0 && (decides || !met.has_outputs))))
            return XAVO_KIND_SERVICE;
    }
    return failed ? XAVO_KIND_BROKER : XAVO_KIND_ANSWER_UNUSABLE;
}

// ---- Reading

// Writes a job. False: it cannot be read.
bool write_job(Writer *writer, XAVO_Proxy *handle, CMPIInstance *instance) {
#define ROW(name) {&XAVO_VELK_LifecycleJob::name, #name},
    static constexpr struct {
        char *XAVO_VELK_LifecycleJob::*text;
        char name[27];
    } PROPERTIES[] = {XAVO_JOB_PROPERTIES(ROW)};
#undef ROW
    XAVO_VELK_LifecycleJob *job = libxavo.XAVO_new_VELK_LifecycleJob();
    XAVO_ErrorCode code = job != nullptr ? XAVO_NO_ERROR : XAVO_OUT_OF_MEMORY;
    for (const auto &property : PROPERTIES)
        if (code == XAVO_NO_ERROR)
            job->*property.text = libxavo.XAVO_property_to_ntstring(handle, &code, instance, property.name);
    if (code == XAVO_NO_ERROR)
        writer->job(*job);
    libxavo.XAVO_free_VELK_LifecycleJob(job);
    return code == XAVO_NO_ERROR;
}

// Writes each instance of a class that can be read, as a job or as an instance.
void list(Writer *writer, XAVO_Proxy *handle, const char *name_space, const char *class_name, bool as_jobs,
          Outcome *outcome) {
    CMPIEnumeration *found = libxavo.XAVO_enumerate(handle, &outcome->code, name_space, class_name);
    if (found == nullptr && outcome->code == XAVO_NO_ERROR)
        outcome->code = XAVO_UNKNOWN_ERROR; // success without an enumeration is not an empty list
    if (found == nullptr)
        return;
    unsigned int failed = 0;
    while (writer->ok() && failed < MOST_FAILED_ELEMENTS && found->ft->hasNext(found, nullptr) != 0) {
        CMPIStatus status = {CMPI_RC_OK, nullptr};
        const CMPIData element = found->ft->getNext(found, &status); // belongs to the enumeration
        release(status.msg);
        failed = status.rc == CMPI_RC_OK ? 0 : failed + 1;
        const size_t begun = writer->size();
        const bool is_instance = status.rc == CMPI_RC_OK && element.state == CMPI_goodValue &&
                                 element.type == CMPI_instance && element.value.inst != nullptr;
        if (is_instance && (as_jobs ? write_job(writer, handle, element.value.inst)
                                    : write_instance(writer, element.value.inst)))
            continue;
        ++outcome->unreadable;
        if (writer->ok())
            writer->truncate(begun);
    }
    release(found);
}

void get_job(Writer *writer, XAVO_Proxy *handle, const char *id, Outcome *outcome, const Met &met) {
    XAVO_VELK_LifecycleJob *job = libxavo.XAVO_get_VELK_LifecycleJob(handle, &outcome->code, id);
    if (job != nullptr)
        writer->job(*job);
    else if (outcome->code == XAVO_NO_ERROR)
        outcome->code = XAVO_NOT_FOUND;
    else if (met.exchange == Met::READ && met.status == CMPI_RC_OK)
        outcome->unreadable = 1;
    libxavo.XAVO_free_VELK_LifecycleJob(job);
}

// ---- Methods

void call_method(XAVO_Proxy *handle, ReceivedRequest *received, Outcome *outcome) {
    const XAVO_Request &request = received->request;
    XAVO_BAR_INPUT_DATA *image = request.image != nullptr ? &received->image : nullptr;
    XAVO_ErrorCode *code = &outcome->code;
    char **job_id = &outcome->job_id;
    switch (request.operation) {
    case XAVO_OP_DELETE_JOB:
        return libxavo.XAVO_invoke_DeleteJobQueue(handle, code, request.id);
    case XAVO_OP_SETUP_JOB_QUEUE:
        return libxavo.XAVO_invoke_SetupJobQueue(handle, code, request.start_time, request.until_time,
                                                 request.job_ids);
    case XAVO_OP_INSTALL_FROM_URI:
        return libxavo.XAVO_invoke_InstallFromURI(handle, code, request.uri, request.id, job_id);
    case XAVO_OP_INSTALL_FROM_SOFTWARE_IDENTITY:
        return libxavo.XAVO_invoke_InstallFromSoftwareIdentity(handle, code, request.id, job_id);
    case XAVO_OP_CREATE_REBOOT_JOB:
        return libxavo.XAVO_invoke_CreateRebootJob(handle, code, request.reboot_type, job_id);
    case XAVO_OP_BACKUP_IMAGE:
        return libxavo.XAVO_invoke_BackupRestore(handle, code, "BackupImage", image, job_id);
    case XAVO_OP_RESTORE_IMAGE:
        return libxavo.XAVO_invoke_BackupRestore(handle, code, "RestoreImage", image, job_id);
    default:
        return libxavo.XAVO_invoke_TestNetworkShare(handle, code, request.share);
    }
}

bool is_known(int operation) {
#define KNOWN(constant, value, name, members) case constant:
    switch (operation) {
        XAVO_OPERATIONS(KNOWN)
        return true;
    default:
        return false;
    }
#undef KNOWN
}

void carry_out(Writer *answer, XAVO_Proxy *handle, ReceivedRequest *received, const Met &met,
               Outcome *outcome) {
    const XAVO_Request &request = received->request;
    if (request.operation == XAVO_OP_LIST_JOBS)
        list(answer, handle, NAME_SPACE, LIFECYCLE_JOB, true, outcome);
    else if (request.operation == XAVO_OP_GET_JOB)
        get_job(answer, handle, request.id, outcome, met);
    else if (request.operation == XAVO_OP_LIST_INSTANCES)
        list(answer, handle, request.name_space != nullptr ? request.name_space : NAME_SPACE,
             request.class_name, false, outcome);
    else
        call_method(handle, received, outcome);
    if (outcome->code != XAVO_NO_ERROR)
        outcome->kind = kind_of(met, request.operation);
}

// ---- The answer

void write_outcome(Writer *answer, const Outcome &outcome) {
    answer->number(TAG_CODE, static_cast<uint32_t>(outcome.code));
    answer->number(TAG_KIND, static_cast<uint32_t>(outcome.kind));
}

void write_met(Writer *answer, const Outcome &outcome, const Met &met) {
    answer->number(TAG_STATUS, static_cast<uint32_t>(met.status));
    if (met.has_return_value)
        answer->number(TAG_RETURN_VALUE, met.return_value);
    answer->number(TAG_UNREADABLE, outcome.unreadable);
    answer->text(TAG_MESSAGE_ID, met.message_id);
    answer->text(TAG_MESSAGE, met.message);
    answer->text(TAG_JOB_ID, outcome.job_id);
}

void write_worker_state(Writer *answer, bool stale) {
    answer->number(TAG_LOST_LINES, take_lost_lines());
    // The frame may have reserved 1.5 times its size.
    const bool large = memory_in_use() > MOST_MEMORY + 2 * answer->size();
    answer->number(TAG_FLAGS, (large ? FLAG_REPLACE : 0U) | (stale ? FLAG_STALE : 0U));
}

} // namespace

bool answer_request(Broker *broker, ReceivedRequest *received, Shared *shared, Writer *answer) {
    const CallContext context = {shared, received->sequence, received->deadline};
    const int operation = received->request.operation;
    answer->number(TAG_SEQUENCE, received->sequence);
    const size_t begun = answer->size();
    Outcome outcome;
    bool stale = false, withheld = false;
    if (operation != OP_NOTHING && !is_known(operation)) {
        outcome = {XAVO_NOT_SUPPORTED, XAVO_KIND_NOTHING_ASKED, 0, nullptr};
    } else if (operation != OP_NOTHING && now_ms() >= context.deadline) {
        return false;
    } else if (operation != OP_NOTHING) {
        XAVO_Proxy *handle = broker->begin(context, received->request.user);
        if (handle != nullptr)
            carry_out(answer, handle, received, broker->met(), &outcome);
        else
            outcome = {XAVO_UNABLE_TO_OPEN_CONNECTION, XAVO_KIND_NO_BROKER, 0, nullptr};
        withheld = broker->met().withheld;
        stale = outcome.kind == XAVO_KIND_CONNECTION_LOST && broker->is_used();
    }
    write_outcome(answer, outcome);
    if (operation != OP_NOTHING && is_known(operation)) {
        write_met(answer, outcome, broker->met());
        broker->end();
    }
    free(outcome.job_id);
    write_worker_state(answer, stale);
    if (!answer->ok()) { // the frame has room for this since it was created
        outcome.code = answer->is_too_long() ? XAVO_UNKNOWN_ERROR : XAVO_OUT_OF_MEMORY;
        outcome.kind = XAVO_KIND_ANSWER_UNUSABLE;
        answer->truncate(begun);
        write_outcome(answer, outcome);
        write_worker_state(answer, false);
    }
    return !withheld;
}

} // namespace xavo_worker
