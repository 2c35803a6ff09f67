// call.h - the guard that stands at the start of every slot and constructor: it takes the lock, counts
// and records the call, notices misuse, and says whether a fault planned by a test strikes.
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

struct Fault {
    CMPIrc rc = CMPI_RC_ERR_FAILED;
    std::optional<std::string> message;
    bool with_result = false;
};

// That a call is to fail.
struct Plan {
    std::string slot;        // empty: every slot
    unsigned long countdown; // calls of it until then, that one included
    bool for_ever;           // and all after it
    Fault fault;
};

// What a test plans and watches.
struct Watch {
    std::unordered_map<std::string_view, unsigned long> calls; // by slot name, a literal
    unsigned long all_calls = 0;

    std::vector<Plan> plans; // in the order in which they were made
    const char *hit = nullptr;

    unsigned int unload_ms = 0; // how long the release of the last client stays open to the ends of threads

    bool tracing = false;
    std::string trace;
    std::map<std::string, unsigned int> trace_count; // by kind
    std::map<std::string, std::string> trace_names;  // by Object::name

    bool count_misuse = false;
    unsigned long misuses = 0;
    std::string last_misuse;

    std::optional<Fault> strike(const char *slot);
    std::string trace_name(const Object *object);
    void record(const std::string &word);
    void misuse(const std::string &what);
};

enum class Role { slot, release, constructor, connect };

bool is_slot(std::string_view name);

class Call {
public:
    template <class Face>
    Call(const char *slot, const Face *of, CMPIStatus *rc, Role role = Role::slot)
        : Call(slot, object_of(of), rc, role) {}
    static Call release(const char *slot, Object *object) { return {slot, object, nullptr, Role::release}; }
    static Call construct(const char *name, CMPIStatus *rc) { return {name, nullptr, rc, Role::constructor}; }
    static Call connect(const char *name, CMPIStatus *rc) { return {name, nullptr, rc, Role::connect}; }
    ~Call();
    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;

    Object *const self;

    // Whether the object is there to be worked on, and whether the call has work to do on it: a call
    // that fails without a result has none.
    bool sound() const { return !misused_; }
    bool works() const { return !misused_ && (!fault_ || fault_->with_result); }

    void misuse(const std::string &what, CMPIrc rc = CMPI_RC_ERR_FAILED);
    // Whether an object is alive, and whether one was given, too; misuse when it is not.
    bool is_alive(const Object *object);
    bool accepts(const Object *object, const char *role);

    // How the call ends unless a fault has the last word.
    CMPIrc result() const { return result_; }
    void fail(CMPIrc rc, std::optional<std::string> message = {});
    CMPIStatus status();

    // Gives the lock away while an answer is under way.
    template <class Work>
    void unlocked(Work work) {
        lock_.unlock();
        work();
        lock_.lock();
    }

    // Gives it away until so much simulated time has passed, or the simulator is reset; at least for a
    // moment, so that another thread can get in between.
    void wait(std::int64_t milliseconds);

    // Gives it away while the back end is unloaded, for so much real time or until a thread ends that has
    // used it.
    void wait_for_threads(unsigned int milliseconds);

    // What a constructor made, for the record.
    template <class Face>
    Face *made(Object &object) {
        made_ = &object;
        return face_of<Face>(&object);
    }

private:
    Call(const char *slot, Object *object, CMPIStatus *rc, Role role);

    std::unique_lock<std::mutex> lock_;
    const char *slot_;
    Role role_;
    CMPIStatus *rc_;
    CMPIrc result_ = CMPI_RC_OK;
    std::optional<std::string> message_;
    std::optional<Fault> fault_; // a copy: the plan may change while the lock is given away
    bool misused_ = false;
    Object *made_ = nullptr;
};

} // namespace cimsim

#endif
