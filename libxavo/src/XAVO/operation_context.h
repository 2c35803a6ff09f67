// operation_context.h - checks and handle set-up common to all operations.
#ifndef XAVO_OPERATION_CONTEXT_H
#define XAVO_OPERATION_CONTEXT_H

#include "log.h"

namespace xavo {

// Two checks, also for functions that open no handle: errorcodep is not NULL; the handle is live. On failure
// each check logs; is_live also sets the error code.
bool has_errorcodep(ErrorContext context);
bool is_live(ErrorContext context, const XAVO_Proxy *sp);

// Checks errorcodep and sp, the arguments that every operation has, and sets the error code. The operation
// uses the caller's handle or, when the caller gave NULL, a temporary one that is freed with this object.
class OperationContext : public ErrorContext {
public:
    OperationContext(XAVO_Proxy *sp, XAVO_ErrorCode *code, const char *function);
    ~OperationContext();
    OperationContext(const OperationContext &) = delete;
    OperationContext &operator=(const OperationContext &) = delete;

    // False when a check failed; the operation must then return.
    explicit operator bool() const { return sp_ != nullptr; }
    XAVO_Proxy *sp() const { return sp_; }

private:
    bool temporary_;
    XAVO_Proxy *sp_;
};

} // namespace xavo

#endif
