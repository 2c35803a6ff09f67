#include "memory.h"

#include <stdlib.h> // defines __GLIBC__

#if defined(__GLIBC__) && (__GLIBC__ > 2 || __GLIBC_MINOR__ >= 33)
#include <malloc.h>

size_t xavo_worker::memory_in_use() {
    const struct mallinfo2 counts = mallinfo2();
    return counts.uordblks + counts.hblkhd;
}

#else
#include <stdio.h>
#include <unistd.h>

size_t xavo_worker::memory_in_use() {
    unsigned long resident, shared;
    FILE *file = fopen("/proc/self/statm", "re");
    if (file == nullptr)
        return 0;
    const bool read = fscanf(file, "%*u %lu %lu", &resident, &shared) == 2 && resident > shared;
    fclose(file);
    return read ? (resident - shared) * static_cast<size_t>(sysconf(_SC_PAGESIZE)) : 0;
}

#endif
