#include "invocation.h"

#include "log.h"

namespace xavo {

Invocation::Invocation(const OperationContext &context)
    : ErrorContext(context), sp_(context.sp()), lock_(context.sp()) {}

Invocation::~Invocation() = default;

bool Invocation::set_path(CMPIObjectPath *path) { return path_.reset(path) != nullptr; }

bool Invocation::set_target(CMPIObjectPath *path) { return target_.reset(path) != nullptr; }

bool Invocation::make_argument_lists() {
    return XAVO_REQUIRE(*this, in_.reset(native_new_CMPIArgs(nullptr)) != nullptr, XAVO_OUT_OF_MEMORY,
                        "inarglist is NULL") &&
           XAVO_REQUIRE(*this, out_.reset(native_new_CMPIArgs(nullptr)) != nullptr, XAVO_OUT_OF_MEMORY,
                        "outarglist is NULL");
}

bool Invocation::add(const char *name, CMPIValue *value, CMPIType type) {
    return Status(in_->ft->addArg(in_.get(), name, value, type)).check(errorcodep);
}

bool Invocation::add(const char *name, const char *text) { return add(name, text_value(text), CMPI_chars); }

bool Invocation::add(const char *name, const CMPIUint16 *number) {
    return add(name, value_at(number), CMPI_uint16);
}

bool Invocation::add_array(const char *name, CMPIArray *strings) {
    if (array_.reset(strings) == nullptr) {
        *errorcodep = XAVO_OUT_OF_MEMORY;
        return false;
    }
    return add(name, value_at(array_.address()), CMPI_stringA);
}

bool Invocation::add_target(const char *name) { return add(name, value_at(target_.address()), CMPI_ref); }

bool Invocation::exchange(const char *method) {
    if (!can_call(sp_, &CMCIClientFT::invokeMethod)) {
        *errorcodep = XAVO_SP_NOT_VALID;
        return false;
    }
    Status status;
    {
        const SigpipeBlock block;
        returned_.set(sp_->client->ft->invokeMethod(sp_->client, path_.get(), method, in_.get(), out_.get(),
                                                    status.out()));
    }
    path_.reset();
    in_.reset();
    array_.reset();
    target_.reset();
    rc_ = status.code();
    *errorcodep = XAVO_translate_error_code(rc_);
    return true;
}

bool Invocation::invoke_quietly(const char *method) { return exchange(method) && rc_ == CMPI_RC_OK; }

bool Invocation::invoke(const char *method) {
    if (!exchange(method))
        return false;
    if (rc_ == CMPI_RC_OK)
        return true;
    XAVO_ERROR_WITH(operation, "st.rc=%d errorcode=%d", static_cast<int>(rc_), *errorcodep);
    XAVO_log_MessageID(out_.get());
    return false;
}

void Invocation::read_return_value() {
    const CMPIUint32 code = XAVO_CMPIData_to_uint32(errorcodep, returned_.get());
    returned_.reset();
    if (code == 0)
        return;
    XAVO_ERROR_WITH(operation, "invoke_return_code=%u", static_cast<unsigned int>(code));
    XAVO_log_MessageID(out_.get());
    out_.reset();
    lock_.unlock();
    *errorcodep = XAVO_UNKNOWN_ERROR; // set only after the releases and the unlock
}

} // namespace xavo
