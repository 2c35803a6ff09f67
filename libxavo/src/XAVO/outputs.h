// outputs.h - reading a method's output arguments.
#ifndef XAVO_OUTPUTS_H
#define XAVO_OUTPUTS_H

#include <XAVO.h>

namespace xavo {

// Reads one argument; a failing status is traced. The caller frees the value, unless the status failed.
CMPIrc read_arg(CMPIArgs *args, const char *name, const char *function, CMPIData *data);

// The identifier of the job that a method has created: the key "InstanceID" of the reference in its
// output `argname`, as a new string in *jobid, which the caller has set to NULL. Without such an output
// neither the code nor *jobid changes. Any other failure sets the code. `function` is the reader that
// the traces name.
void read_job_id(XAVO_ErrorCode *errorcodep, CMPIArgs *outputs, const char *argname, char **jobid,
                 const char *function);

} // namespace xavo

#endif
