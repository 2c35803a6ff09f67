// session.h - access to a controller that several processes share. A session is one access: it locks the
// shared controller, reads what other processes changed, and at its end writes the changes and unlocks.
#ifndef CIMSIM_SESSION_H
#define CIMSIM_SESSION_H

#include "client/broker.h"

#include <string>

namespace cimsim {

// Implemented in control/. All functions are called under the simulator's lock.
class SharedController {
public:
    // Whether the controller is one that other processes can share.
    virtual bool in_use() const = 0;
    // Reads what other processes have changed, if anything.
    virtual void refresh() = 0;
    // Locks the controller and reads what other processes have changed. False: it cannot be locked or read.
    virtual bool begin() = 0;
    // Writes what was changed since begin returned true, and unlocks. False: it cannot be written.
    virtual bool end() = 0;
    // Adds an entry to the controller's journal. Called in a session.
    virtual void record(const JournalEntry &entry) = 0;
    // Why the controller cannot be read or written; empty if it can.
    virtual const std::string &error() const = 0;

protected:
    ~SharedController() = default;
};

// A session that the constructor begins and the destructor ends.
class Session {
public:
    explicit Session(SharedController &shared) : shared_(shared), good_(shared.begin()), open_(good_) {}
    ~Session() { end(); }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
    bool good() const { return good_; }
    bool end() { // ends it now; false if the changes could not be written
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
