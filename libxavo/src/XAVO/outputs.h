// outputs.h - reading a method's output arguments.
#ifndef XAVO_OUTPUTS_H
#define XAVO_OUTPUTS_H

#include <XAVO.h>

namespace xavo {

// Reads one argument; a failing status is traced. The caller frees the value, unless the status failed.
CMPIrc read_arg(CMPIArgs *args, const char *name, const char *function, CMPIData *data);

} // namespace xavo

#endif
