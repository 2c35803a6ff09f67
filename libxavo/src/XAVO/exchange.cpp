#include "exchange.h"

#include <cerrno>
#include <ctime>

namespace xavo {

namespace {

sigset_t sigpipe() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    return signals;
}

bool pending() {
    sigset_t signals;
    return sigpending(&signals) == 0 && sigismember(&signals, SIGPIPE) == 1;
}

} // namespace

SigpipeBlock::SigpipeBlock() {
    const sigset_t pipe = sigpipe();
    const bool blocked = pthread_sigmask(SIG_BLOCK, &pipe, &before_) == 0;
    active_ = blocked && (sigismember(&before_, SIGPIPE) != 1 || !pending());
}

SigpipeBlock::~SigpipeBlock() {
    if (!active_)
        return;
    const sigset_t pipe = sigpipe();
    const timespec at_once = {0, 0};
    while (pending() && sigtimedwait(&pipe, nullptr, &at_once) == -1 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

} // namespace xavo
