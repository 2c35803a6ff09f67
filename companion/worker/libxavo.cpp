#include "libxavo.h"

#include <dlfcn.h>
#include <stdlib.h>
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

// Whether CIMSIM_ONLY requires the simulator, and libxavo uses another client library.
bool is_foreign(void *library) {
    const char *only = getenv("CIMSIM_ONLY");
    return only != nullptr && only[0] != '\0' && dlsym(library, "cimsim_reset") == nullptr;
}

} // namespace

const char *load_libxavo() {
    void *const library = dlopen(LIBXAVO, RTLD_NOW | RTLD_LOCAL);
#define FIND(name) &&find(library, #name, &libxavo.name)
    if (library != nullptr XAVO_WORKER_FUNCTIONS(FIND))
        return is_foreign(library) ? "the client library is not the simulator, which CIMSIM_ONLY asks for"
                                   : nullptr;
#undef FIND
    const char *words = dlerror();
    return words != nullptr ? words : LIBXAVO " cannot be loaded";
}

} // namespace xavo_worker
