// exchange.h - for an exchange with the broker: locks the handle, blocks SIGPIPE, and checks that the client
// has the function to call.
#ifndef XAVO_EXCHANGE_H
#define XAVO_EXCHANGE_H

#include <csignal>
#include <XAVO.h>

namespace xavo {

// Holds the handle's lock until the scope ends. Declare it before the objects of the exchange, so that they
// are released before the unlock.
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

// Blocks SIGPIPE for the calling thread during one exchange, and removes the SIGPIPE that the exchange
// raised. The client library raises it when it writes to its socket after the broker has gone. Without the
// block, the signal would end every program that does not ignore it.
//
// If SIGPIPE was blocked and pending before the exchange, nothing is removed: the earlier signal cannot be
// distinguished from that of the exchange. If the earlier signal is pending for the process, the signal of
// the exchange then stays pending for the thread, too.
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

// Returns whether the handle has a client, and the client's function table has this function.
template <typename Slot>
bool can_call(const XAVO_Proxy *sp, Slot CMCIClientFT::*slot) {
    return sp->client != nullptr && sp->client->ft != nullptr && sp->client->ft->*slot != nullptr;
}

} // namespace xavo

#endif
