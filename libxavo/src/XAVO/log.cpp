#include "log.h"

namespace xavo {

void log_error(const char *format, const char *file, int line, const char *function) {
    hulmprintf(LOG_ERROR, LOG_MODULE, format, file, line, function);
}

void fail(ErrorContext context, XAVO_ErrorCode code, const char *format, const char *file, int line) {
    log_error(format, file, line, context.operation);
    *context.errorcodep = code;
}

} // namespace xavo
