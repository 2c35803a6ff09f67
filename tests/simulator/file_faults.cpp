// file_faults.cpp - replaces functions of the C library that the simulator calls for its files. The
// environment variable SCRIPT_FAULT selects a fault:
//  interrupt   each open, lock, read and write fails once with EINTR before it works. Also, a new file that
//              other users can open before its mode is set is reported.
//  full        the disk is full after the first half of a file
//  plant       another process creates a link with the name of the new file
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

bool is_planned(const char *fault) {
    const char *const planned = getenv("SCRIPT_FAULT");
    return planned != nullptr && std::strcmp(planned, fault) == 0;
}

bool interrupts() {
    static bool second = true;
    if (!is_planned("interrupt"))
        return false;
    second = !second;
    if (!second)
        errno = EINTR;
    return !second;
}

int open_file(const char *path, int flags, mode_t mode) {
    if (std::strstr(path, "/state") != nullptr) {
        if (interrupts())
            return -1;
        if (std::strstr(path, "/state.new") != nullptr && is_planned("plant") && symlink("other", path) != 0)
            return -1;
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

} // namespace

extern "C" {

// Defined under both names: a source whose off_t has 64 bits on a 32-bit machine calls open64.
int open_by_name(const char *path, int flags, mode_t mode) __asm__("open");
int open_by_name(const char *path, int flags, mode_t mode) { return open_file(path, flags, mode); }
int open_by_name_64(const char *path, int flags, mode_t mode) __asm__("open64");
int open_by_name_64(const char *path, int flags, mode_t mode) { return open_file(path, flags, mode); }

int flock(int file, int operation) {
    return interrupts() ? -1 : static_cast<int>(syscall(SYS_flock, file, operation));
}

ssize_t read(int file, void *to, size_t size) {
    return interrupts() ? -1 : syscall(SYS_read, file, to, size);
}

ssize_t write(int file, const void *from, size_t size) {
    static bool full = false;
    if (is_planned("full")) {
        if (full)
            return errno = ENOSPC, -1;
        full = true;
        size /= 2;
    }
    return interrupts() ? -1 : syscall(SYS_write, file, from, size);
}

int fchmod(int file, mode_t mode) {
    struct stat before;
    if (is_planned("interrupt") && fstat(file, &before) == 0 && (before.st_mode & 077) != 0)
        std::printf("open to others: %o\n", before.st_mode & 0777U);
    return static_cast<int>(syscall(SYS_fchmod, file, mode));
}
}
