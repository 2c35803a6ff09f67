// session.h - a controller that several processes share: each exchange is a session with it.
#ifndef CIMSIM_SESSION_H
#define CIMSIM_SESSION_H

#include "client/broker.h"

#include <string>

namespace cimsim {

// Implemented by the layer that steers the simulator. All calls under the simulator's lock.
class SharedController {
public:
    // Whether other processes may have the controller, too.
    virtual bool in_use() const = 0;
    // Takes over what others have changed, if they have.
    virtual void refresh() = 0;
    // Locks the others out, and takes over what they have changed. False: the controller cannot be had.
    virtual bool begin() = 0;
    // Hands on what was changed since a begin that was true, and unlocks. False: that is not possible.
    virtual bool end() = 0;
    // Adds to the controller's journal; in a session.
    virtual void record(const JournalEntry &entry) = 0;
    // Why it cannot be had; empty while it can.
    virtual const std::string &error() const = 0;

protected:
    ~SharedController() = default;
};

// A session as long as this lives.
class Session {
public:
    explicit Session(SharedController &shared) : shared_(shared), good_(shared.begin()), open_(good_) {}
    ~Session() { end(); }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
    bool good() const { return good_; }
    bool end() { // before its time: false when the changes could not be handed on
        if (open_)
            good_ = shared_.end();
        open_ = false;
        return good_;
    }

private:
    SharedController &shared_;
    bool good_, open_;
};

} // namespace cimsim

#endif
