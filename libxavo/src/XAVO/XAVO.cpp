// XAVO.cpp - the handle, the error codes, and functions that read instances.
#include <XAVO.h>

#include "cmpi.h"
#include "exchange.h"
#include "log.h"
#include "names.h"
#include "object_path.h"
#include "operation_context.h"
#include "query_broker.h"
#include <cstdlib>
#include <utl_va_cat.h>

using namespace xavo;

namespace {

// The values of the magic members in a live handle. The head has other values than the tail, so that one
// cannot be mistaken for the other.
constexpr uint32_t HEAD_MAGIC[2] = {0x60845501, 0x78771855};
constexpr uint32_t TAIL_MAGIC[2] = {0x60845502, 0x78771855};

void copy_magic(uint32_t (&to)[2], const uint32_t (&from)[2]) {
    to[0] = from[0];
    to[1] = from[1];
}

bool same_magic(const uint32_t (&a)[2], const uint32_t (&b)[2]) { return a[0] == b[0] && a[1] == b[1]; }

#define ROW(constant, value, name, meaning) {constant, name},
constexpr Name<27> CODES[] = {XAVO_ERROR_CODES(ROW)};
#undef ROW

CMCIClient *connect(const char *user) {
    const SigpipeBlock block;
    return cmciConnect("localhost", nullptr, nullptr, user, nullptr, nullptr);
}

} // namespace

const char *XAVO_EC_to_string(XAVO_ErrorCode ec) { return name_of(CODES, ec); }

XAVO_ErrorCode XAVO_translate_error_code(CMPIrc rc) {
    switch (static_cast<unsigned int>(rc)) {
    case CMPI_RC_OK:
        return XAVO_NO_ERROR;
    case CMPI_RC_ERR_ACCESS_DENIED:
        return XAVO_PERMISSION_ERROR;
    case CMPI_RC_ERR_INVALID_NAMESPACE:
    case CMPI_RC_ERR_INVALID_PARAMETER:
    case CMPI_RC_ERR_INVALID_CLASS:
        return XAVO_INVALID_VALUE;
    case CMPI_RC_ERR_NOT_FOUND:
        return XAVO_NOT_FOUND;
    case CMPI_RC_ERR_NOT_SUPPORTED:
        return XAVO_NOT_SUPPORTED;
    default:
        return XAVO_UNKNOWN_ERROR;
    }
}

XAVO_Proxy *XAVO_new(void) { return XAVO_new_with_uname("root"); }

XAVO_Proxy *XAVO_new_with_uname(const char *uname) {
    auto *sp = static_cast<XAVO_Proxy *>(calloc(1, sizeof(XAVO_Proxy)));
    if (sp == nullptr) {
        XAVO_ERROR(__func__, "out of memory");
        return nullptr;
    }
    // Set the magic first: every failure below calls XAVO_free, which accepts only a live handle.
    copy_magic(sp->head_magic, HEAD_MAGIC);
    copy_magic(sp->tail_magic, TAIL_MAGIC);

    if (pthread_mutex_init(&sp->mutex, nullptr) != 0) {
        XAVO_ERROR(__func__, "pthread_mutex_init() failed");
        XAVO_free(sp);
        return nullptr;
    }
    sp->mutex_initialised = 1;

    setenv("SFCC_CLIENT", "SfcbLocal", 1);
    if (uname != nullptr) {
        XAVO_TRACE_WITH(__func__, "using username=[%s]", uname);
        char *user = utl_va_cat(uname, "01ff", static_cast<const char *>(nullptr));
        if (user == nullptr) {
            XAVO_ERROR(__func__, "out of memory");
            XAVO_free(sp);
            return nullptr;
        }
        sp->client = connect(user);
        free(user);
    } else {
        XAVO_TRACE(__func__, "using root default userid");
        sp->client = connect("root01ff");
    }
    if (sp->client == nullptr) {
        XAVO_ERROR(__func__, "unable to open connection to server");
        XAVO_free(sp);
        return nullptr;
    }
    return sp;
}

void XAVO_free(XAVO_Proxy *sp) {
    if (sp == nullptr) {
        XAVO_ERROR(__func__, "sp is NULL");
        return;
    }
    if (XAVO_is_valid(sp) == 0) {
        XAVO_ERROR(__func__, "sp is not valid");
        return;
    }
    copy_magic(sp->head_magic, {0, 0});
    copy_magic(sp->tail_magic, {0, 0});
    if (sp->mutex_initialised != 0) {
        if (pthread_mutex_destroy(&sp->mutex) != 0)
            XAVO_ERROR(__func__, "pthread_mutex_destroy() failed");
        sp->mutex_initialised = 0;
    }
    if (can_call(sp, &CMCIClientFT::release)) {
        const SigpipeBlock block;
        release(sp->client);
    }
    free(sp);
}

int XAVO_is_valid(const XAVO_Proxy *sp) {
    return sp != nullptr && same_magic(sp->head_magic, HEAD_MAGIC) && same_magic(sp->tail_magic, TAIL_MAGIC);
}

void XAVO_lock(XAVO_Proxy *sp) {
    XAVO_cleanstack();
    if (XAVO_is_valid(sp) == 0)
        XAVO_ERROR(__func__, "sp is not valid");
    else if (pthread_mutex_lock(&sp->mutex) != 0)
        XAVO_ERROR(__func__, "pthread_mutex_lock() failed");
}

void XAVO_unlock(XAVO_Proxy *sp) {
    XAVO_cleanstack();
    if (XAVO_is_valid(sp) == 0)
        XAVO_ERROR(__func__, "sp is not valid");
    else if (pthread_mutex_unlock(&sp->mutex) != 0)
        XAVO_ERROR(__func__, "pthread_mutex_unlock() failed");
}

void XAVO_cleanstack(void) {}

CMPIEnumeration *XAVO_enumerate(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *path,
                                const char *classname) {
    const ErrorContext context = {errorcodep, __func__};
    if (!has_errorcodep(context) || !is_live(context, sp) || !XAVO_REQUIRE_GIVEN(context, path) ||
        !XAVO_REQUIRE_GIVEN(context, classname))
        return nullptr;

    const Lock lock(sp);
    *errorcodep = XAVO_NO_ERROR;
    const Owner<CMPIObjectPath> object(build_path(errorcodep, path, classname, nullptr, 0));
    return object ? query_broker(sp, errorcodep, object.get(), &CMCIClientFT::enumInstances) : nullptr;
}

CMPIObjectPath *XAVO_build_object_path_key_value(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *path,
                                                 const char *objectname, const char *key, const char *value) {
    const ErrorContext context = {errorcodep, __func__};
    if (!has_errorcodep(context))
        return nullptr;
    *errorcodep = XAVO_NO_ERROR;
    if (!is_live(context, sp) || !XAVO_REQUIRE_GIVEN(context, path) ||
        !XAVO_REQUIRE_GIVEN(context, objectname) || !XAVO_REQUIRE_GIVEN(context, key) ||
        !XAVO_REQUIRE_GIVEN(context, value))
        return nullptr;

    const Key only = {key, value};
    return build_path(errorcodep, path, objectname, &only, 1);
}
