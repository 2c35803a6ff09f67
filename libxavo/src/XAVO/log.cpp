#include "log.h"

namespace xavo {

void log_error(const char *format, const char *file, int line, const char *function) {
    hulmprintf(LOG_ERROR, LOG_MODULE, format, file, line, function);
}

void refuse(Caller caller, XAVO_ErrorCode code, const char *format, const char *file, int line) {
    log_error(format, file, line, caller.operation);
    *caller.errorcodep = code;
}

} // namespace xavo
