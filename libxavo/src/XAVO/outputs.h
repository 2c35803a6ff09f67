// outputs.h - reading a method's output arguments.
#ifndef XAVO_OUTPUTS_H
#define XAVO_OUTPUTS_H

#include "log.h"

namespace xavo {

// Reads one argument; a failing status is traced. The caller frees the value, unless the status failed.
CMPIrc read_arg(CMPIArgs *args, const char *name, const char *function, CMPIData *data);

// A copy for the caller; NULL with OUT_OF_MEMORY when there is no memory for it.
char *new_string(XAVO_ErrorCode *errorcodep, const char *text);

// The identifier of the job that a method has created: the key "InstanceID" of the reference in its
// output `argname`, as a new string in *jobid, which the caller has set to NULL. Without such an output
// neither the code nor *jobid changes. Any other failure sets the code. The traces name the reader.
void read_job_id(ErrorContext reader, CMPIArgs *outputs, const char *argname, char **jobid);

} // namespace xavo

#endif
