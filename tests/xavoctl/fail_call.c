/* fail_call.c - loaded with LD_PRELOAD: makes the allocation with the number FAIL_AT in xavoctl fail; with
 * FAIL_ON all later ones, too. Allocations of the companion do not fail: it has its own test. With
 * FAIL_CLOSE, closing standard output fails. */
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *memory, size_t size);

static long fail_at;

__attribute__((constructor)) static void begin(void) {
    const char *at = getenv("FAIL_AT");
    if (at != NULL && strcmp(program_invocation_short_name, "xavoctl") == 0) /* not in a worker */
        fail_at = atol(at);
}

static int fails(const void *caller) {
    Dl_info place;
    if (fail_at == 0 || dladdr(caller, &place) == 0 || strstr(place.dli_fname, "companion") != NULL ||
        --fail_at > 0)
        return 0;
    fail_at = getenv("FAIL_ON") != NULL;
    close(open("failed", O_WRONLY | O_CREAT, 0600));
    errno = ENOMEM;
    return 1;
}

#define FAILS fails(__builtin_return_address(0))
void *malloc(size_t size) { return FAILS ? NULL : __libc_malloc(size); }
void *calloc(size_t count, size_t size) { return FAILS ? NULL : __libc_calloc(count, size); }
void *realloc(void *memory, size_t size) { return FAILS ? NULL : __libc_realloc(memory, size); }

int close(int fd) {
    const int result = (int)syscall(SYS_close, fd);
    if (fd != STDOUT_FILENO || getenv("FAIL_CLOSE") == NULL)
        return result;
    errno = EIO;
    return -1;
}
