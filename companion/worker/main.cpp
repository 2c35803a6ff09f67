// main.cpp - xavo-worker: carries out the requests of one program, one at a time. docs/companion-protocol.md
// describes its descriptors and its frames.
#include "channel.h"
#include "libxavo.h"
#include "operation.h"
#include "watcher.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#ifndef SYS_close_range
#define SYS_close_range 436 // on every processor
#endif

using namespace xavo_companion;
using namespace xavo_worker;

namespace {

constexpr int IDLE_MS = 1000;         // after this time without a request the handle is freed
constexpr unsigned int CLEANUP_S = 2; // time limit for the release of the handle at the end

// ---- Start

bool is_started_by_library() {
    int type = 0;
    socklen_t size = sizeof type;
    struct stat memory;
    return getsockopt(WORKER_SOCKET, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_STREAM &&
           fstat(WORKER_SHARED, &memory) == 0 && S_ISREG(memory.st_mode) &&
           memory.st_size >= static_cast<off_t>(sizeof(Shared));
}

// Closes the other descriptors if the kernel has no close_range; the library could not close them either.
void close_others_one_by_one() {
    DIR *open_ones = opendir("/proc/self/fd");
    if (open_ones == nullptr) {
        for (long i = sysconf(_SC_OPEN_MAX) - 1; i > WORKER_CALLER; --i)
            close(static_cast<int>(i));
        return;
    }
    while (const struct dirent *entry = readdir(open_ones)) {
        const auto number = static_cast<int>(strtol(entry->d_name, nullptr, 10));
        if (number > WORKER_CALLER && number != dirfd(open_ones))
            close(number);
    }
    closedir(open_ones);
}

void set_descriptors() {
    for (int standard = 0; standard < 3; ++standard)
        if (fcntl(standard, F_GETFD) < 0)
            (void)open("/dev/null", O_RDWR); // takes the lowest number that is free
    for (int own = WORKER_SOCKET; own <= WORKER_CALLER; ++own)
        fcntl(own, F_SETFD, FD_CLOEXEC);
    if (syscall(SYS_close_range, WORKER_CALLER + 1, ~0U, 0) != 0)
        close_others_one_by_one();
}

void set_signals() {
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action;
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN)
            signal(number, SIG_DFL);
    }
    signal(SIGPIPE, SIG_IGN); // of the client library's socket
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Hides passwords from debuggers of the same user and from core dumps.
void hide_memory() {
    prctl(PR_SET_DUMPABLE, 0);
    struct rlimit limit;
    if (getrlimit(RLIMIT_CORE, &limit) == 0) {
        if (limit.rlim_max > 1) // a core dump that is piped to a program ignores larger limits
            limit.rlim_max = 1;
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_CORE, &limit);
    }
}

Shared *map_shared() {
    void *memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, WORKER_SHARED, 0);
    return memory != MAP_FAILED ? static_cast<Shared *>(memory) : nullptr;
}

// ---- Requests

// Waits for a request. Frees the handle after IDLE_MS. Returns false if no request can come.
bool wait_for_request(Broker *broker) {
    pollfd waiting = {WORKER_SOCKET, POLLIN | POLLRDHUP, 0};
    for (;;) {
        end_call();
        const int ready = poll(&waiting, 1, broker->is_open() ? IDLE_MS : -1);
        if (ready < 0 && errno != EINTR)
            return false;
        if (ready > 0 && (waiting.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0)
            return false; // nobody waits for an answer
        if (!begin_call())
            return false;
        if (ready > 0)
            return true;
        if (ready == 0)
            broker->close();
    }
}

// Receives one request and answers it. False: the worker ends.
bool serve(Receiver *receiver, Broker *broker, Shared *shared) {
    Frame *frame = nullptr;
    if (receiver->receive(WORKER_SOCKET, 0, &frame) != Receiver::FRAME)
        return false;
    bool goes_on = false;
    {
        ReceivedRequest received;
        Writer answer(FRAME_ANSWER);
        if (frame->type == FRAME_REQUEST && answer.ok() && received.decode(frame)) {
            set_log_level(received.log_level);
            const bool given = answer_request(broker, &received, shared, &answer);
            end_call(); // before the answer: with it, the program may end the worker, which is then idle
            // If there is no answer, the program ends the call and this worker.
            goes_on = !given || (send_frame(&answer) && !has_secret(received.request));
        }
    }
    free_frame(frame);
    return goes_on;
}

int run() {
    Shared *shared = map_shared();
    const int error = shared != nullptr ? start_watcher() : errno;
    if (error != 0) {
        send_failed(error, shared != nullptr ? "no thread for the worker" : "no memory for the worker");
        return 1;
    }
    const char *words = load_libxavo();
    if (words != nullptr) {
        send_failed(0, words);
    } else {
        set_stage(shared, STAGE_READY);
        Receiver receiver;
        Broker broker;
        bool goes_on = send_hello();
        while (goes_on && wait_for_request(&broker))
            goes_on = serve(&receiver, &broker, shared);
        alarm(CLEANUP_S); // if the client library hangs in the release
    }
    stop_watcher();
    munmap(shared, sizeof(Shared));
    return words != nullptr ? 1 : 0;
}

} // namespace

int main() {
    if (!is_started_by_library()) {
        static constexpr char WORDS[] = "xavo-worker: is started by libxavo_companion, not by hand\n";
        (void)!write(STDERR_FILENO, WORDS, sizeof WORDS - 1);
        return 2;
    }
    if (getpgrp() != getpid())
        setsid();
    hide_memory();
    set_descriptors();
    set_signals();
    return run();
}
