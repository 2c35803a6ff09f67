// operation_context.h - checks and handle set-up common to all operations.
#ifndef XAVO_OPERATION_CONTEXT_H
#define XAVO_OPERATION_CONTEXT_H

#include "log.h"

namespace xavo {

// Return whether errorcodep is not NULL, and whether sp is a live handle. If not, both log an error line, and
// is_live also sets the error code. Functions that open no temporary handle call them directly.
bool has_errorcodep(ErrorContext context);
bool is_live(ErrorContext context, const XAVO_Proxy *sp);

// Checks errorcodep and sp, which are arguments of every operation, and sets the error code. The operation
// uses the caller's handle. If the caller passed NULL, it uses a temporary handle, which the destructor
// frees.
class OperationContext : public ErrorContext {
public:
    OperationContext(XAVO_Proxy *sp, XAVO_ErrorCode *code, const char *function);
    ~OperationContext();
    OperationContext(const OperationContext &) = delete;
    OperationContext &operator=(const OperationContext &) = delete;

    // Returns whether the checks succeeded; if not, the operation must return.
    explicit operator bool() const { return sp_ != nullptr; }
    XAVO_Proxy *sp() const { return sp_; }

private:
    bool temporary_;
    XAVO_Proxy *sp_;
};

} // namespace xavo

#endif
