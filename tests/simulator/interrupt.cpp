// interrupt.cpp - stands before the C library's functions for the simulator: where SCRIPT_INTERRUPT is set,
// each first attempt to read or write is interrupted, and a file that others can open before its mode is set
// is reported.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

bool interrupts() {
    static bool second = true;
    if (getenv("SCRIPT_INTERRUPT") == nullptr)
        return false;
    second = !second;
    if (!second)
        errno = EINTR;
    return !second;
}

} // namespace

extern "C" {

ssize_t read(int file, void *to, size_t size) {
    return interrupts() ? -1 : syscall(SYS_read, file, to, size);
}

ssize_t write(int file, const void *from, size_t size) {
    return interrupts() ? -1 : syscall(SYS_write, file, from, size);
}

int fchmod(int file, mode_t mode) {
    struct stat before;
    if (getenv("SCRIPT_INTERRUPT") != nullptr && fstat(file, &before) == 0 && (before.st_mode & 077) != 0)
        std::printf("open to others: %o\n", before.st_mode & 0777U);
    return static_cast<int>(syscall(SYS_fchmod, file, mode));
}
}
