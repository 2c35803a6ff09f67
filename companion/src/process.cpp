// process.cpp - starting a worker without a trace in the program: no child that a wait function sees, no
// signal, no copy of its memory.
#include "process.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

// Of kernels that are newer than the headers may be; the numbers are those of every processor.
#ifndef SYS_pidfd_send_signal
#define SYS_pidfd_send_signal 424
#endif
#ifndef SYS_pidfd_open
#define SYS_pidfd_open 434
#endif
#ifndef SYS_close_range
#define SYS_close_range 436
#endif
#ifndef CLONE_PIDFD
#define CLONE_PIDFD 0x1000
#endif

// Runs in memory that it shares with a suspended thread of the program, on a stack of its own.
#define XAVO_SHARES_MEMORY __attribute__((no_sanitize("address", "thread", "undefined"), noinline))

// ThreadSanitizer's own clone() takes the new process for a copy, and then loses sight of the caller's locks.
#ifdef __SANITIZE_THREAD__
extern "C" int __clone(int (*run)(void *), void *stack, int flags, void *argument, ...);
#define clone __clone
#endif

namespace xavo_companion {

namespace {

constexpr int FIRST_FREE = WORKER_CALLER + 1;
constexpr size_t STACK = 32768;
constexpr unsigned PROCESS_GROUP = 1U << 2; // PIDFD_SIGNAL_PROCESS_GROUP
// Left in a descriptor as the signal of F_SETSIG, which has no effect without O_ASYNC: says that it is ours.
constexpr int MARK = 61;

struct Start {
    int socket, memory, caller; // the worker's
    char *const *argv, *const *environment;
    char *second_stack; // its top
    bool shares_memory;
    int pidfd;
};

XAVO_SHARES_MEMORY void report(int socket, int error) {
    const struct {
        FrameHeader frame;
        FieldHeader field;
        int32_t error;
    } failed = {{PROTOCOL_VERSION, FRAME_FAILED, sizeof(FieldHeader) + sizeof(int32_t)},
                {TAG_STATUS, 0, sizeof(int32_t)},
                error};
    static_assert(sizeof failed == sizeof(FrameHeader) + sizeof(FieldHeader) + sizeof(int32_t), "no padding");
    syscall(SYS_sendto, socket, &failed, sizeof failed, MSG_NOSIGNAL, nullptr, 0);
}

// The process that becomes the worker.
XAVO_SHARES_MEMORY int become_worker(void *argument) {
    auto *start = static_cast<Start *>(argument);
    syscall(SYS_setsid);
    // First out of the way of the numbers that they get.
    const auto socket = static_cast<int>(syscall(SYS_fcntl, start->socket, F_DUPFD, FIRST_FREE));
    const auto memory = static_cast<int>(syscall(SYS_fcntl, start->memory, F_DUPFD, FIRST_FREE));
    const auto caller =
        start->caller < 0 ? -1 : static_cast<int>(syscall(SYS_fcntl, start->caller, F_DUPFD, FIRST_FREE));
    if (socket < 0 || memory < 0 || (caller < 0 && start->caller >= 0)) {
        report(start->socket, EMFILE);
        syscall(SYS_exit_group, 127);
    }
    syscall(SYS_dup3, socket, WORKER_SOCKET, 0);
    syscall(SYS_dup3, memory, WORKER_SHARED, 0);
    if (caller >= 0)
        syscall(SYS_dup3, caller, WORKER_CALLER, 0);
    else
        syscall(SYS_close, WORKER_CALLER);
    auto null = static_cast<int>(syscall(SYS_openat, AT_FDCWD, "/dev/null", O_RDWR));
    if (null < 0) // after chroot, say
        null = static_cast<int>(syscall(SYS_epoll_create1, 0));
    for (int standard = 0; standard < 3; ++standard)
        if (standard != null)
            syscall(SYS_dup3, null, standard, 0);
    syscall(SYS_close_range, FIRST_FREE, ~0U, 0);
    syscall(SYS_execve, start->argv[0], start->argv, start->environment);
    report(WORKER_SOCKET, errno);
    syscall(SYS_exit_group, 127);
    return 0;
}

// The process between the program and the worker: it ends as soon as the worker's program runs.
XAVO_SHARES_MEMORY int stand_between(void *argument) {
    auto *start = static_cast<Start *>(argument);
    const int flags = start->shares_memory ? CLONE_VM | CLONE_VFORK | CLONE_PIDFD : 0;
    int pidfd = -1;
    const int worker = clone(become_worker, start->second_stack, flags | SIGCHLD, start, &pidfd);
    if (worker < 0)
        report(start->socket, errno);
    start->pidfd = pidfd;
    syscall(SYS_exit_group, 0);
    return 0;
}

// Runs both processes. Returns 0 or an errno.
int run_start(Start *start) {
    void *stacks =
        mmap(nullptr, 2 * STACK, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (stacks == MAP_FAILED)
        return errno;
    char *const first_stack = static_cast<char *>(stacks) + STACK;
    start->second_stack = first_stack + STACK;
    // Handlers of the program must not run in a process that shares its memory.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    // The table of descriptors is shared, too, so that the worker's pidfd becomes the program's.
    start->shares_memory = true;
    int options = static_cast<int>(__WCLONE);
    pid_t between = clone(stand_between, first_stack, CLONE_VM | CLONE_VFORK | CLONE_FILES, start);
    if (between < 0 &&
        errno == EINVAL) { // qemu-user knows neither shared memory nor an exit without a signal
        start->shares_memory = false;
        options = 0;
        between = clone(stand_between, first_stack, SIGCHLD, start);
    }
    const int error = between < 0 ? errno : 0;
    if (between > 0)
        while (waitpid(between, nullptr, options) < 0 && errno == EINTR)
            ;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    munmap(stacks, 2 * STACK);
    return error;
}

constexpr size_t SHARED_SIZE = 4096; // a page, or within one

// Memory for the claim, as a descriptor that cannot be made shorter. 0, or an errno.
int share_memory(Process *process, int *memory) {
    *memory = adopt(static_cast<int>(syscall(SYS_memfd_create, "xavo", MFD_CLOEXEC | MFD_ALLOW_SEALING)));
    rlimit limit;
    if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur < SHARED_SIZE)
        return EFBIG; // ftruncate would raise SIGXFSZ
    if (*memory < 0 || ftruncate(*memory, static_cast<off_t>(SHARED_SIZE)) != 0)
        return errno;
    fcntl(*memory, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL);
    void *shared = mmap(nullptr, SHARED_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, *memory, 0);
    if (shared == MAP_FAILED)
        return errno;
    process->shared = static_cast<Shared *>(shared);
    return 0;
}

// 0, or an errno; then what was made so far is in *process and *start.
int prepare(Process *process, Start *start) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return errno;
    process->socket = adopt(ends[0]);
    const int error = errno;
    start->socket = adopt(ends[1]);
    if (process->socket < 0)
        return error;
    struct stat status;
    if (start->socket < 0 || fstat(process->socket, &status) != 0)
        return errno;
    process->device = status.st_dev;
    process->inode = status.st_ino;
    const int refused = share_memory(process, &start->memory);
    if (refused != 0)
        return refused;
    start->caller = static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0));
    if (start->caller >= 0)
        start->caller = adopt(start->caller);
    else if (errno == EMFILE || errno == ENFILE || errno == ENOMEM)
        return errno;
    else { // a lock of this process's, which no child has, and which goes with it
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        lock.l_len = 1;
        fcntl(start->memory, F_SETLK, &lock);
    }
    return 0;
}

} // namespace

int adopt(int descriptor) {
    if (descriptor >= 0 && descriptor < 3) {
        const int higher = fcntl(descriptor, F_DUPFD_CLOEXEC, 3), error = errno;
        close(descriptor);
        errno = error;
        descriptor = higher;
    }
    if (descriptor >= 0)
        fcntl(descriptor, F_SETSIG, MARK);
    return descriptor;
}

void close_adopted(int *descriptor) {
    const int old = *descriptor;
    *descriptor = -1;
    if (old >= 0 && fcntl(old, F_GETSIG) == MARK)
        close(old);
}

bool is_ours(const Process &process) {
    struct stat status;
    return process.socket >= 0 && fstat(process.socket, &status) == 0 && status.st_ino == process.inode &&
           status.st_dev == process.device;
}

void close_process(Process *process) {
    Process old = *process;
    *process = {};
    if (old.socket >= 0 && old.inode != 0 &&
        !is_ours(old)) // closed behind our back, and others perhaps with it
        old.socket = old.pidfd = old.memory = -1;
    close_adopted(&old.socket);
    close_adopted(&old.pidfd);
    close_adopted(&old.memory);
    if (old.shared != nullptr)
        munmap(old.shared, SHARED_SIZE);
}

void end_process(Process *process) {
    if (is_ours(*process)) {
        shutdown(process->socket, SHUT_RDWR);
        const int pidfd = process->pidfd;
        if (pidfd >= 0 && fcntl(pidfd, F_GETSIG) == MARK &&
            syscall(SYS_pidfd_send_signal, pidfd, SIGKILL, nullptr, PROCESS_GROUP) != 0)
            syscall(SYS_pidfd_send_signal, pidfd, SIGKILL, nullptr, 0);
    }
    close_process(process);
}

int start_process(Process *process, char *const *argv, char *const *environment) {
    Start start = {-1, -1, -1, argv, environment, nullptr, false, -1};
    int error = prepare(process, &start);
    if (error == 0)
        error = run_start(&start);
    close_adopted(&start.socket);
    if (start.pidfd >= 0)
        process->pidfd = adopt(start.pidfd);
    if (start.caller < 0) // closing it would give up the lock
        process->memory = start.memory;
    else
        close_adopted(&start.memory);
    close_adopted(&start.caller);
    if (error != 0)
        end_process(process);
    return error;
}

} // namespace xavo_companion
