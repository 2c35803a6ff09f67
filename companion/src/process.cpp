// process.cpp - starts a worker so that the program does not notice it: no child that a wait function
// returns, no signal, no copy of the program's memory.
#include "process.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
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

// The headers may be older than the kernel. The numbers are the same on every processor.
#ifndef SYS_pidfd_send_signal
#define SYS_pidfd_send_signal 424
#endif
#ifndef SYS_pidfd_open
#define SYS_pidfd_open 434
#endif
#ifndef SYS_close_range
#define SYS_close_range 436
#endif
#ifndef MFD_NOEXEC_SEAL
#define MFD_NOEXEC_SEAL 8U
#endif
#ifndef CLONE_PIDFD
#define CLONE_PIDFD 0x1000
#endif

// For functions that share the memory of a suspended thread of the program, and have their own stack.
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
// The signal of F_SETSIG that marks our descriptors. Without O_ASYNC it has no other effect.
constexpr int MARK = 61;

struct Start {
    Process *process;
    char *const *argv, *const *environment;
    char *second_stack; // its top
    bool shares_memory;
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
    const auto *start = static_cast<Start *>(argument);
    const Process &process = *start->process;
    syscall(SYS_setsid);
    // First moves the descriptors to numbers above those that the worker expects.
    const auto socket = static_cast<int>(syscall(SYS_fcntl, process.workers_socket, F_DUPFD, FIRST_FREE));
    const auto memory = static_cast<int>(syscall(SYS_fcntl, process.memory, F_DUPFD, FIRST_FREE));
    const auto caller = static_cast<int>(syscall(SYS_fcntl, process.caller, F_DUPFD, FIRST_FREE));
    if (socket < 0 || memory < 0 || (caller < 0 && process.caller >= 0)) {
        report(process.workers_socket, EMFILE);
        syscall(SYS_exit_group, 127);
    }
    syscall(SYS_dup3, socket, WORKER_SOCKET, 0);
    syscall(SYS_dup3, memory, WORKER_SHARED, 0);
    if (caller >= 0)
        syscall(SYS_dup3, caller, WORKER_CALLER, 0);
    auto null = static_cast<int>(syscall(SYS_openat, AT_FDCWD, "/dev/null", O_RDWR));
    if (null < 0) // after chroot, say
        null = static_cast<int>(syscall(SYS_epoll_create1, 0));
    for (int standard = 0; standard < 3; ++standard)
        if (standard != null)
            syscall(SYS_dup3, null, standard, 0);
    if (caller < 0) // last: /dev/null may have got this number
        syscall(SYS_close, WORKER_CALLER);
    syscall(SYS_close_range, FIRST_FREE, ~0U, 0);
    syscall(SYS_execve, start->argv[0], start->argv, start->environment);
    report(WORKER_SOCKET, errno);
    syscall(SYS_exit_group, 127);
    return 0;
}

// The intermediate process, a child of the program: starts the worker, and ends when its program runs.
XAVO_SHARES_MEMORY int run_intermediate(void *argument) {
    auto *start = static_cast<Start *>(argument);
    Process *process = start->process;
    int flags = SIGCHLD;
    if (start->shares_memory)
        flags |= CLONE_VM | CLONE_VFORK;
    if (start->shares_memory && process->caller >= 0) // otherwise poll does not accept a pidfd
        flags |= CLONE_PIDFD;
    if (clone(become_worker, start->second_stack, flags, start, &process->pidfd) < 0)
        report(process->workers_socket, errno);
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
    // CLONE_FILES: the worker's pidfd is opened in the program.
    start->shares_memory = true;
    int options = static_cast<int>(__WCLONE);
    pid_t between = clone(run_intermediate, first_stack, CLONE_VM | CLONE_VFORK | CLONE_FILES, start);
    if (between < 0 &&
        errno == EINVAL) { // qemu-user supports neither of these flags, nor an exit without a signal
        start->shares_memory = false;
        options = 0;
        between = clone(run_intermediate, first_stack, SIGCHLD, start);
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
int share_memory(Process *process) {
    // A system may demand that no such file can be executed (the sysctl vm.memfd_noexec); before 6.3 the
    // kernel knows no flag for it.
    constexpr unsigned FLAGS = MFD_CLOEXEC | MFD_ALLOW_SEALING;
    long made = syscall(SYS_memfd_create, "xavo", FLAGS | MFD_NOEXEC_SEAL);
    if (made < 0 && errno == EINVAL)
        made = syscall(SYS_memfd_create, "xavo", FLAGS);
    const int memory = adopt(static_cast<int>(made));
    process->memory = memory;
    struct {
        uint64_t current, most;
    } limit;
    if (syscall(SYS_prlimit64, 0, RLIMIT_FSIZE, nullptr, &limit) == 0 && limit.current < SHARED_SIZE)
        return EFBIG; // ftruncate would raise SIGXFSZ
    if (memory < 0 || ftruncate(memory, static_cast<off_t>(SHARED_SIZE)) != 0)
        return errno;
    fcntl(memory, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL);
    void *shared = mmap(nullptr, SHARED_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0);
    if (shared == MAP_FAILED)
        return errno;
    process->shared = static_cast<Shared *>(shared);
    return 0;
}

// Makes the descriptors and the shared memory. Returns 0 or an errno. Stores each descriptor in *process at
// once, so that a child forked by another thread can close it. On failure the caller releases what was made.
int prepare(Process *process) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return errno;
    process->socket = adopt(ends[0]);
    const int error = errno;
    process->workers_socket = adopt(ends[1]);
    if (process->socket < 0)
        return error;
    struct stat status;
    if (process->workers_socket < 0 || fstat(process->socket, &status) != 0)
        return errno;
    process->device = status.st_dev;
    process->inode = status.st_ino;
    const int refused = share_memory(process);
    if (refused != 0)
        return refused;
    process->caller = adopt(static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0)));
    if (process->caller >= 0)
        return 0;
    if (errno == EMFILE || errno == ENFILE || errno == ENOMEM)
        return errno;
    struct flock lock = {}; // the kernel releases it when this process ends; children do not inherit it
    lock.l_type = F_WRLCK;
    lock.l_len = 1;
    fcntl(process->memory, F_SETLK, &lock);
    return 0;
}

} // namespace

timespec timespec_of(uint64_t ms) {
    return {static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000};
}

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

bool is_adopted(int descriptor) { return fcntl(descriptor, F_GETSIG) == MARK; }

void close_adopted(int *descriptor) {
    const int old = *descriptor;
    *descriptor = -1;
    if (is_adopted(old))
        close(old);
}

bool is_ours(const Process &process) {
    struct stat status;
    return fstat(process.socket, &status) == 0 && status.st_ino == process.inode &&
           status.st_dev == process.device;
}

bool wait_for_process(const Process &process, short events, uint64_t ms) {
    const timespec time = timespec_of(ms);
    pollfd watched[] = {{process.socket, events, 0}, {process.pidfd, POLLIN, 0}};
    return ppoll(watched, 2, &time, nullptr) > 0;
}

bool has_ended(const Process &process) {
    Process end;
    end.pidfd = process.pidfd;
    return wait_for_process(end, 0, 0);
}

void close_process(Process *process) {
    Process old = *process;
    *process = {};
    if (old.inode != 0 && !is_ours(old)) // the program has closed it, and perhaps others
        old.socket = old.pidfd = old.memory = -1;
    if (old.workers_socket >= 0) // during a start: the pidfd is not marked yet
        old.pidfd = adopt(old.pidfd);
    close_adopted(&old.socket);
    close_adopted(&old.pidfd);
    close_adopted(&old.memory);
    close_adopted(&old.workers_socket);
    close_adopted(&old.caller);
    if (old.shared != nullptr)
        munmap(old.shared, SHARED_SIZE);
}

void end_process(Process *process) {
    if (is_ours(*process)) {
        shutdown(process->socket, SHUT_RDWR);
        if (is_adopted(process->pidfd) &&
            syscall(SYS_pidfd_send_signal, process->pidfd, SIGKILL, nullptr, PROCESS_GROUP) != 0)
            syscall(SYS_pidfd_send_signal, process->pidfd, SIGKILL, nullptr, 0);
    }
    close_process(process);
}

int start_process(Process *process, char *const *argv, char *const *environment) {
    Start start = {process, argv, environment, nullptr, false};
    int error = prepare(process);
    if (error == 0)
        error = run_start(&start);
    if (process->pidfd >= 0) {
        process->pidfd = adopt(process->pidfd);
        if (process->pidfd < 0)
            error = errno;
    }
    close_adopted(&process->workers_socket);
    if (process->caller >= 0) // else closing it would give up the lock
        close_adopted(&process->memory);
    close_adopted(&process->caller);
    if (error != 0)
        end_process(process);
    return error;
}

} // namespace xavo_companion
