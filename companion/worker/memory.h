// memory.h - how much memory the worker uses.
#ifndef XAVO_WORKER_MEMORY_H
#define XAVO_WORKER_MEMORY_H

#include <stddef.h>

namespace xavo_worker {

// Returns the number of allocated bytes. If the C library does not count them, returns the size of the
// resident memory without mapped files, from /proc, or 0.
size_t memory_in_use();

} // namespace xavo_worker

#endif
