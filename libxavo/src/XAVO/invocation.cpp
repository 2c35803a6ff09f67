#include "invocation.h"

#include "log.h"

namespace xavo {

bool Invocation::make_lists() {
    if (in_.take(native_new_CMPIArgs(nullptr)) == nullptr) {
        XAVO_REFUSE(errorcodep_, XAVO_OUT_OF_MEMORY, operation_, "inarglist is NULL");
        return false;
    }
    if (out_.take(native_new_CMPIArgs(nullptr)) == nullptr) {
        XAVO_REFUSE(errorcodep_, XAVO_OUT_OF_MEMORY, operation_, "outarglist is NULL");
        return false;
    }
    return true;
}

bool Invocation::add(const char *name, CMPIValue *value, CMPIType type) {
    const Status status(in_->ft->addArg(in_.get(), name, value, type));
    if (status.failed())
        *errorcodep_ = XAVO_translate_error_code(status.rc());
    return !status.failed();
}

bool Invocation::add(const char *name, const char *text) { return add(name, text_value(text), CMPI_chars); }

bool Invocation::add(const char *name, const CMPIUint16 *number) {
    return add(name, value_at(number), CMPI_uint16);
}

bool Invocation::add_array(const char *name, CMPIArray *strings) {
    if (array_.take(strings) == nullptr) {
        *errorcodep_ = XAVO_OUT_OF_MEMORY;
        return false;
    }
    return add(name, value_at(array_.address()), CMPI_stringA);
}

bool Invocation::add_target(const char *name) { return add(name, value_at(target_.address()), CMPI_ref); }

bool Invocation::exchange(const char *method) {
    if (!can_call(sp_, &CMCIClientFT::invokeMethod)) {
        *errorcodep_ = XAVO_SP_NOT_VALID;
        return false;
    }
    Status status;
    {
        const PipeGuard guard;
        returned_.take(sp_->client->ft->invokeMethod(sp_->client, path_.get(), method, in_.get(), out_.get(),
                                                     status.out()));
    }
    path_.drop();
    in_.drop();
    array_.drop();
    target_.drop();
    status.drop_message();
    rc_ = status.rc();
    *errorcodep_ = XAVO_translate_error_code(rc_);
    return true;
}

bool Invocation::invoke_quietly(const char *method) { return exchange(method) && rc_ == CMPI_RC_OK; }

bool Invocation::invoke(const char *method) {
    if (!exchange(method))
        return false;
    if (rc_ == CMPI_RC_OK)
        return true;
    XAVO_ERROR_WITH(operation_, "st.rc=%d errorcode=%d", static_cast<int>(rc_), *errorcodep_);
    XAVO_log_MessageID(out_.get());
    return false;
}

void Invocation::read_return_value() {
    const CMPIUint32 code = XAVO_CMPIData_to_uint32(errorcodep_, returned_.get());
    returned_.drop();
    if (code == 0)
        return;
    XAVO_ERROR_WITH(operation_, "invoke_return_code=%u", static_cast<unsigned int>(code));
    XAVO_log_MessageID(out_.get());
    *errorcodep_ = XAVO_UNKNOWN_ERROR;
}

} // namespace xavo
