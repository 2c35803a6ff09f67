// outputs.h - reads a method's output arguments.
#ifndef XAVO_OUTPUTS_H
#define XAVO_OUTPUTS_H

#include "log.h"

namespace xavo {

// Stores the value of one argument in *data and returns the status. Logs a failing status as a trace with the
// name in `function`. On success the caller frees the value.
CMPIrc read_arg(CMPIArgs *args, const char *name, const char *function, CMPIData *data);

// Returns a copy of the text, which the caller frees. If it cannot be allocated, sets the error code
// OUT_OF_MEMORY and returns NULL.
char *new_string(XAVO_ErrorCode *errorcodep, const char *text);

// Stores the identifier of a new job in *jobid, as a new string that the caller frees. It is the key
// "InstanceID" of the reference in the output `argname`. The caller has set *jobid to NULL before. If there
// is no such output, the error code and *jobid are not changed; any other failure sets the error code. Traces
// are logged with the name in `context`.
void read_job_id(ErrorContext context, CMPIArgs *outputs, const char *argname, char **jobid);

} // namespace xavo

#endif
