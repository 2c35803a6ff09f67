#include "outputs.h"

#include "cmpi.h"
#include "log.h"

namespace xavo {

CMPIrc read_arg(CMPIArgs *args, const char *name, const char *function, CMPIData *data) {
    Status status;
    *data = args->ft->getArg(args, name, status.out());
    status.drop_message();
    if (status.failed())
        XAVO_TRACE_WITH(function, "st.rc=%d", static_cast<int>(status.rc()));
    return status.rc();
}

} // namespace xavo
