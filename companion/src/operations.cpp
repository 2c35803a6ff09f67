// operations.cpp - a function for each operation, and names.
#include "call.h"

#include <cstddef>
#include <cstring>
#include <iterator>

using namespace xavo_companion;

namespace {

XAVO_Request request_for(int operation, unsigned int deadline_ms) {
    XAVO_Request request = {};
    request.operation = operation;
    request.deadline_ms = deadline_ms;
    return request;
}

// Makes a call with one argument: the pointer at `offset` of the request. The common parameters are first and
// in the order of the operations' own, so that each operation compiles to a few instructions.
XAVO_ErrorCode call_with(XAVO_Pool *pool, const void *value, unsigned int deadline_ms, XAVO_Answer *answer,
                         int operation, size_t offset) {
    XAVO_Request request = request_for(operation, deadline_ms);
    memcpy(reinterpret_cast<char *>(&request) + offset, &value, sizeof value);
    return XAVO_call(pool, &request, answer);
}

} // namespace

XAVO_ErrorCode XAVO_list_jobs(XAVO_Pool *pool, unsigned int deadline_ms, XAVO_Answer *answer) {
    return call_with(pool, nullptr, deadline_ms, answer, XAVO_OP_LIST_JOBS, offsetof(XAVO_Request, id));
}

XAVO_ErrorCode XAVO_get_job(XAVO_Pool *pool, const char *job_id, unsigned int deadline_ms,
                            XAVO_Answer *answer) {
    return call_with(pool, job_id, deadline_ms, answer, XAVO_OP_GET_JOB, offsetof(XAVO_Request, id));
}

XAVO_ErrorCode XAVO_list_instances(XAVO_Pool *pool, const char *class_name, unsigned int deadline_ms,
                                   XAVO_Answer *answer) {
    return call_with(pool, class_name, deadline_ms, answer, XAVO_OP_LIST_INSTANCES,
                     offsetof(XAVO_Request, class_name));
}

XAVO_ErrorCode XAVO_delete_job(XAVO_Pool *pool, const char *job_id, unsigned int deadline_ms,
                               XAVO_Answer *answer) {
    return call_with(pool, job_id, deadline_ms, answer, XAVO_OP_DELETE_JOB, offsetof(XAVO_Request, id));
}

XAVO_ErrorCode XAVO_setup_job_queue(XAVO_Pool *pool, const char *start_time, const char *until_time,
                                    char *const *job_ids, unsigned int deadline_ms, XAVO_Answer *answer) {
    XAVO_Request request = request_for(XAVO_OP_SETUP_JOB_QUEUE, deadline_ms);
    request.start_time = start_time;
    request.until_time = until_time;
    request.job_ids = job_ids;
    return XAVO_call(pool, &request, answer);
}

XAVO_ErrorCode XAVO_install_from_uri(XAVO_Pool *pool, const char *uri, const char *identity,
                                     unsigned int deadline_ms, XAVO_Answer *answer) {
    XAVO_Request request = request_for(XAVO_OP_INSTALL_FROM_URI, deadline_ms);
    request.uri = uri;
    request.id = identity;
    return XAVO_call(pool, &request, answer);
}

XAVO_ErrorCode XAVO_install_from_software_identity(XAVO_Pool *pool, const char *identity,
                                                   unsigned int deadline_ms, XAVO_Answer *answer) {
    return call_with(pool, identity, deadline_ms, answer, XAVO_OP_INSTALL_FROM_SOFTWARE_IDENTITY,
                     offsetof(XAVO_Request, id));
}

XAVO_ErrorCode XAVO_create_reboot_job(XAVO_Pool *pool, const char *reboot_type, unsigned int deadline_ms,
                                      XAVO_Answer *answer) {
    return call_with(pool, reboot_type, deadline_ms, answer, XAVO_OP_CREATE_REBOOT_JOB,
                     offsetof(XAVO_Request, reboot_type));
}

XAVO_ErrorCode XAVO_backup_image(XAVO_Pool *pool, const XAVO_BAR_INPUT_DATA *image, unsigned int deadline_ms,
                                 XAVO_Answer *answer) {
    return call_with(pool, image, deadline_ms, answer, XAVO_OP_BACKUP_IMAGE, offsetof(XAVO_Request, image));
}

XAVO_ErrorCode XAVO_restore_image(XAVO_Pool *pool, const XAVO_BAR_INPUT_DATA *image, unsigned int deadline_ms,
                                  XAVO_Answer *answer) {
    return call_with(pool, image, deadline_ms, answer, XAVO_OP_RESTORE_IMAGE, offsetof(XAVO_Request, image));
}

XAVO_ErrorCode XAVO_test_network_share(XAVO_Pool *pool, const XAVO_NET_INPUT_DATA *share,
                                       unsigned int deadline_ms, XAVO_Answer *answer) {
    return call_with(pool, share, deadline_ms, answer, XAVO_OP_TEST_NETWORK_SHARE,
                     offsetof(XAVO_Request, share));
}

// ---- Names --------------------------------------------------------------------------------------

namespace {

// `names` is one block: the names of the values in their order, each ended by a NUL. An array of pointers
// would need relocations.
const char *name_of(int value, const uint16_t *values, size_t count, const char *names) {
    for (; count > 0; --count, ++values, names += strlen(names) + 1)
        if (*values == value)
            return names;
    return "unknown";
}

} // namespace

#define VALUE(constant, value, name, meaning) value,
#define NAME(constant, value, name, meaning) name "\0"
#define NAMES(function, type, number, rows)                                                                  \
    const char *function(type number) {                                                                      \
        static constexpr uint16_t VALUES[] = {rows(VALUE)};                                                  \
        return name_of(static_cast<int>(number), VALUES, std::size(VALUES), rows(NAME));                     \
    }

NAMES(XAVO_code_name, XAVO_ErrorCode, code, XAVO_ERROR_CODES)
NAMES(XAVO_kind_name, int, kind, XAVO_KINDS)
NAMES(XAVO_effect_name, int, effect, XAVO_EFFECTS)
NAMES(XAVO_operation_name, int, operation, XAVO_OPERATIONS)
NAMES(XAVO_wait_name, int, end, XAVO_WAIT_ENDS)
