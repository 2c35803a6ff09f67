#include "operation_context.h"

namespace xavo {

bool has_errorcodep(ErrorContext context) {
    if (context.errorcodep == nullptr)
        XAVO_ERROR(context.operation, "errorcodep is NULL");
    return context.errorcodep != nullptr;
}

bool is_live(ErrorContext context, const XAVO_Proxy *sp) {
    return XAVO_REQUIRE(context, XAVO_is_valid(sp) != 0, XAVO_SP_NOT_VALID, "sp is not valid");
}

OperationContext::OperationContext(XAVO_Proxy *sp, XAVO_ErrorCode *code, const char *function)
    : ErrorContext{code, function}, temporary_(sp == nullptr), sp_(nullptr) {
    if (!has_errorcodep(*this))
        return;
    *errorcodep = XAVO_NO_ERROR;
    if (temporary_) {
        sp_ = XAVO_new();
        XAVO_REQUIRE(*this, sp_ != nullptr, XAVO_UNABLE_TO_OPEN_CONNECTION,
                     "unable to open connection to server");
    } else if (is_live(*this, sp)) {
        sp_ = sp;
    }
}

OperationContext::~OperationContext() {
    if (temporary_ && sp_ != nullptr)
        XAVO_free(sp_);
}

} // namespace xavo
