// profile.cpp - part of the worker in builds that measure coverage: another process writes the worker's
// profile.
//
// The library may kill a worker that is about to end by itself. Killed while it writes, the worker would
// leave half a profile, to which no later process could add its own. So a child writes it, in a session of
// its own, and nobody kills the child.
//
// With XAVO_MCDC, the profile of a worker that is killed or crashes is kept, too: a process that shares the
// worker's memory writes it.
#include <dlfcn.h>
#include <sched.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" int __real_main(); // NOLINT: the linker's name for main
extern "C" int __wrap_main(); // NOLINT

namespace {

// Leaves the worker's session, and closes all descriptors from this one on: the program would wait for the
// end of its socket.
void leave_worker(unsigned int first) {
    setsid();
    syscall(SYS_close_range, first, ~0U, 0);
}

#ifdef XAVO_MCDC
extern "C" int __llvm_profile_write_file(); // NOLINT

constexpr size_t STACK = 256 << 10;
constexpr unsigned int LONGEST_S = 20; // the worker may have been killed with a lock that is needed here

pid_t worker;
volatile bool ends_by_itself;

// While the worker lives, this function uses only system calls that cannot fail, because it shares errno with
// the worker. It cannot use pidfd_open, which tests forbid.
int write_after_death(void *) {
    leave_worker(0);
    sigset_t death;
    sigemptyset(&death);
    sigaddset(&death, SIGHUP);
    sigprocmask(SIG_BLOCK, &death, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGHUP);
    if (getppid() == worker) // else it is too late for the signal
        syscall(SYS_rt_sigtimedwait, &death, nullptr, nullptr, NSIG / 8);
    if (ends_by_itself)
        _exit(0);
    alarm(LONGEST_S);
    __llvm_profile_write_file();
    // libxavo writes its own when it is unloaded. It is open twice: for the worker, and here.
    void *const library = dlopen(LIBXAVO, RTLD_NOW | RTLD_NOLOAD);
    if (library == nullptr)
        _exit(0);
    dlclose(library);
    dlclose(library);
    _exit(0);
}

void start_writer() {
    worker = getpid();
    void *const stack = mmap(nullptr, STACK, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (stack != MAP_FAILED)
        clone(write_after_death, static_cast<char *>(stack) + STACK, CLONE_VM, nullptr);
}
#else
bool ends_by_itself;
void start_writer() {}
#endif

} // namespace

int __wrap_main() { // NOLINT
    start_writer();
    const int status = __real_main();
    ends_by_itself = true;
    if (_Fork() > 0) // fork() would begin the profile again
        _exit(status);
    leave_worker(STDERR_FILENO + 1);
    return status;
}
