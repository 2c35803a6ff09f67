// outputs.h - reading a method's output arguments.
#ifndef XAVO_OUTPUTS_H
#define XAVO_OUTPUTS_H

#include "log.h"

namespace xavo {

// Reads one argument and traces a failing status. On success the caller frees the value.
CMPIrc read_arg(CMPIArgs *args, const char *name, const char *function, CMPIData *data);

// Returns a copy for the caller; NULL and the code OUT_OF_MEMORY when it cannot be allocated.
char *new_string(XAVO_ErrorCode *errorcodep, const char *text);

// Stores the identifier of the job that a method has created in *jobid, as a new string: the key "InstanceID"
// of the reference in its output `argname`. The caller has set *jobid to NULL. Without such an output neither
// the code nor *jobid changes; any other failure sets the code. The traces are logged under the name in
// `reader`.
void read_job_id(ErrorContext reader, CMPIArgs *outputs, const char *argname, char **jobid);

} // namespace xavo

#endif
