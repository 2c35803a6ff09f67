#include "admission.h"

#include "log.h"

namespace xavo {

bool judge_handle(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *operation, XAVO_Proxy **temporary) {
    if (errorcodep == nullptr) {
        XAVO_ERROR(operation, "errorcodep is NULL");
        return false;
    }
    *errorcodep = XAVO_NO_ERROR;
    if (sp == nullptr) {
        *temporary = XAVO_new();
        if (*temporary == nullptr)
            XAVO_REFUSE(errorcodep, XAVO_UNABLE_TO_OPEN_CONNECTION, operation,
                        "unable to open connection to server");
        return false;
    }
    if (XAVO_is_valid(sp) == 0) {
        XAVO_REFUSE(errorcodep, XAVO_SP_NOT_VALID, operation, "sp is not valid");
        return false;
    }
    return true;
}

} // namespace xavo
