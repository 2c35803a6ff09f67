#include "libxavo.h"

#include <dlfcn.h>
#include <string.h>

namespace xavo_worker {

Libxavo libxavo;

namespace {

template <typename Function>
bool find(void *library, const char *name, Function *function) {
    void *const symbol = dlsym(library, name);
    memcpy(function, &symbol, sizeof *function);
    return symbol != nullptr;
}

} // namespace

const char *load_libxavo() {
    void *const library = dlopen(LIBXAVO, RTLD_NOW | RTLD_LOCAL);
#define FIND(name) &&find(library, #name, &libxavo.name)
    if (library != nullptr XAVO_WORKER_FUNCTIONS(FIND))
        return nullptr;
#undef FIND
    const char *words = dlerror();
    return words != nullptr ? words : LIBXAVO " cannot be loaded";
}

} // namespace xavo_worker
