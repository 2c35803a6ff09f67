#include "admission.h"

namespace xavo {

bool has_errorcodep(Caller caller) {
    if (caller.errorcodep == nullptr)
        XAVO_ERROR(caller.operation, "errorcodep is NULL");
    return caller.errorcodep != nullptr;
}

bool is_live(Caller caller, const XAVO_Proxy *sp) {
    return XAVO_REQUIRE(caller, XAVO_is_valid(sp) != 0, XAVO_SP_NOT_VALID, "sp is not valid");
}

Admission::Admission(XAVO_Proxy *sp, XAVO_ErrorCode *code, const char *function)
    : Caller{code, function}, temporary_(sp == nullptr), sp_(nullptr) {
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

Admission::~Admission() {
    if (temporary_ && sp_ != nullptr)
        XAVO_free(sp_);
}

} // namespace xavo
