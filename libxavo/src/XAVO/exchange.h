// exchange.h - guards around an exchange with the broker: the handle's lock, the block of SIGPIPE, and the
// check that the client has the function to be called.
#ifndef XAVO_EXCHANGE_H
#define XAVO_EXCHANGE_H

#include <csignal>
#include <XAVO.h>

namespace xavo {

// Holds the handle's lock. Declare it before the objects of the exchange, so that it unlocks after their
// release.
class Lock {
public:
    explicit Lock(XAVO_Proxy *sp) : sp_(sp) { XAVO_lock(sp_); }
    ~Lock() { unlock(); }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

    // Unlocks before the scope ends.
    void unlock() {
        if (sp_ != nullptr)
            XAVO_unlock(sp_);
        sp_ = nullptr;
    }

private:
    XAVO_Proxy *sp_;
};

// Keeps the SIGPIPE of one exchange from the program. The client library writes to its socket unprotected:
// after the broker has gone, the signal would end every program that does not ignore it. This class blocks
// SIGPIPE for the calling thread and removes the one that the exchange raised. If SIGPIPE was already
// pending, the thread had blocked it, and this class removes none: it cannot distinguish the earlier signal
// from the one that the exchange raised. If the earlier one is pending for the process, the one that the
// exchange raised stays pending for the thread.
class SigpipeBlock {
public:
    SigpipeBlock();
    ~SigpipeBlock();
    SigpipeBlock(const SigpipeBlock &) = delete;
    SigpipeBlock &operator=(const SigpipeBlock &) = delete;

private:
    sigset_t before_;
    bool active_;
};

// Returns whether the handle has a client that has this function.
template <typename Slot>
bool can_call(const XAVO_Proxy *sp, Slot CMCIClientFT::*slot) {
    return sp->client != nullptr && sp->client->ft != nullptr && sp->client->ft->*slot != nullptr;
}

} // namespace xavo

#endif
