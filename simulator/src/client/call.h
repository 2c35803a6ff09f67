// call.h - one call into the client library: every slot and constructor begins with a Call, which takes the
// lock, counts and records the call, detects misuse, and injects a fault that a test has planned.
#ifndef CIMSIM_CALL_H
#define CIMSIM_CALL_H

#include "client/object.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace cimsim {

// What a fault does to the process or the broker, besides making the call fail; cimsim.h has the same values.
enum class Effect { none, hang, crash, exit, restart };

struct Fault {
    CMPIrc rc = CMPI_RC_ERR_FAILED;
    std::optional<std::string> message;
    bool with_result = false;
    Effect effect = Effect::none;
};

// A fault to inject into a later call.
struct PlannedFault {
    std::string slot;        // empty: every slot
    unsigned long countdown; // which call of the slot from now on fails: 1 is the next call
    bool for_ever;           // all calls after that one fail, too
    Fault fault;
};

// Records calls and misuse, and holds the faults that a test has planned.
struct CallRecorder {
    std::unordered_map<std::string_view, unsigned long> calls; // by slot name, a literal
    unsigned long all_calls = 0;

    std::vector<PlannedFault> faults; // oldest first
    std::string last_injected;        // the slot of the fault that was injected last

    unsigned int unload_ms = 0; // how long the release of the last client waits for threads that end

    bool tracing = false;
    std::string trace;
    std::map<std::string, unsigned int> trace_count; // by kind
    std::map<std::string, std::string> trace_names;  // by Object::name

    bool count_misuse = false;
    unsigned long misuses = 0;
    std::string last_misuse;

    std::optional<Fault> take_fault(const char *slot);
    std::string trace_name(const Object *object);
    void record(const std::string &word);
    void misuse(const std::string &what);
};

// What the called function is. `connect`: the constructor of a client, which needs no open client.
enum class Role { slot, release, constructor, connect };

// Whether the client library has a slot or a constructor of this name, such as "CMPIArgs.addArg".
bool is_slot(std::string_view name);

class Call {
public:
    template <class Cmpi>
    Call(const char *slot, const Cmpi *of, CMPIStatus *rc, Role role = Role::slot)
        : Call(slot, object_of(of), rc, role) {}
    static Call release(const char *slot, Object *object) { return {slot, object, nullptr, Role::release}; }
    static Call construct(const char *name, CMPIStatus *rc) { return {name, nullptr, rc, Role::constructor}; }
    static Call connect(const char *name, CMPIStatus *rc) { return {name, nullptr, rc, Role::connect}; }
    ~Call();
    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;

    Object *const self; // the object whose slot was called; NULL for a constructor

    // Whether misuse was detected: the call must not touch its object.
    bool is_misuse() const { return misused_; }
    // Whether the call does its work: not after misuse, nor when a fault without a result is injected.
    bool works() const { return !misused_ && (!fault_ || fault_->with_result); }

    void misuse(const std::string &what, CMPIrc rc = CMPI_RC_ERR_FAILED);
    // Both report misuse and return false if the object was released; `accepts` also if it is NULL.
    bool is_alive(const Object *object);
    bool accepts(const Object *object, const char *role);

    // The call's own result. status() returns it with its message, or those of an injected fault instead.
    CMPIrc result() const { return result_; }
    void fail(CMPIrc rc, std::optional<std::string> message = {});
    CMPIStatus status();

    // Releases the lock while `work` runs.
    template <class Work>
    void unlocked(Work work) {
        lock_.unlock();
        work();
        lock_.lock();
    }

    // Releases the lock until this much simulated time has passed or the simulator is reset. For 0, releases
    // it for a moment, so that another thread can make a call.
    void wait(std::int64_t milliseconds);

    // Releases the lock for this much real time, or until a thread that has used the back end ends.
    void wait_for_threads(unsigned int milliseconds);

    // Records the object that a constructor made, and returns the program's pointer to it.
    template <class Cmpi>
    Cmpi *made(Object &object) {
        made_ = &object;
        return cmpi_of<Cmpi>(&object);
    }

private:
    Call(const char *slot, Object *object, CMPIStatus *rc, Role role);

    void take_fault();   // stores the fault that is due in this call, if any, in fault_
    void cause_effect(); // may end the process or restart the broker

    std::unique_lock<std::mutex> lock_;
    const char *slot_;
    Role role_;
    CMPIStatus *rc_;
    CMPIrc result_ = CMPI_RC_OK;
    std::optional<std::string> message_;
    std::optional<Fault> fault_; // a copy: planned faults may change while the lock is released
    bool misused_ = false;
    Object *made_ = nullptr;
};

} // namespace cimsim

#endif
