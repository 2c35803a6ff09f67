// operation_context.h - what every call through a handle begins with: its error-code pointer, its handle.
#ifndef XAVO_OPERATION_CONTEXT_H
#define XAVO_OPERATION_CONTEXT_H

#include "log.h"

namespace xavo {

// The two checks that need no handle to be opened.
bool has_errorcodep(ErrorContext context);
bool is_live(ErrorContext context, const XAVO_Proxy *sp);

// Judges the two arguments that every call has and sets the error code accordingly. The handle that the
// call goes on with is the caller's own or, where he gave none, a temporary one that lives as long as this.
class OperationContext : public ErrorContext {
public:
    OperationContext(XAVO_Proxy *sp, XAVO_ErrorCode *code, const char *function);
    ~OperationContext();
    OperationContext(const OperationContext &) = delete;
    OperationContext &operator=(const OperationContext &) = delete;

    // True: the operation goes on with its own checks. False: it is over.
    explicit operator bool() const { return sp_ != nullptr; }
    XAVO_Proxy *sp() const { return sp_; }

private:
    bool temporary_;
    XAVO_Proxy *sp_;
};

} // namespace xavo

#endif
