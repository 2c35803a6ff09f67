// memory.h - how much memory the worker uses.
#ifndef XAVO_WORKER_MEMORY_H
#define XAVO_WORKER_MEMORY_H

#include <stddef.h>

namespace xavo_worker {

// Bytes that are allocated at this moment; where the C library does not count them, those that the process
// has in memory without what it maps of files, by /proc; 0 where there is none.
size_t memory_in_use();

} // namespace xavo_worker

#endif
