// call.cpp - counts and records calls, injects faults, and reports misuse.
#include "client/simulator.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace cimsim {

// Returns the fault that is due in this call. If several are due, the others are due in the next calls of
// their slots.
std::optional<Fault> CallRecorder::take_fault(const char *slot) {
    std::optional<Fault> injected;
    for (auto planned = faults.begin(); planned != faults.end();) {
        const bool due = (planned->slot.empty() || planned->slot == slot) &&
                         (planned->countdown <= 1 || --planned->countdown == 0);
        if (!due || injected) {
            ++planned;
            continue;
        }
        injected = planned->fault;
        last_injected = slot;
        planned->countdown = 1;
        planned = planned->for_ever ? planned + 1 : faults.erase(planned);
    }
    return injected;
}

std::string CallRecorder::trace_name(const Object *object) {
    if (!object)
        return "NULL";
    std::string &name = trace_names[object->name()];
    if (name.empty())
        name = std::string(kind_name(object->kind)) + "#" +
               std::to_string(++trace_count[kind_name(object->kind)]);
    return name;
}

void CallRecorder::record(const std::string &word) { trace += (trace.empty() ? "" : " ") + word; }

void CallRecorder::misuse(const std::string &what) {
    if (!count_misuse) {
        std::fprintf(stderr, "cimsim: misuse: %s\n", what.c_str());
        std::abort();
    }
    ++misuses;
    last_misuse = what;
}

namespace {

const char *const constructors[] = {"cmciConnect", "newCMPIObjectPath", "native_new_CMPIArgs",
                                    "native_new_CMPIArray", "native_new_CMPIString"};
const char *const table_slots[] = {
#define SLOT(object, number, slot) #object "." #slot,
#include "client/slots.def"
#undef SLOT
};

} // namespace

bool is_slot(std::string_view name) {
    for (auto kind = Kind::string; kind < Kind::count; kind = static_cast<Kind>(static_cast<int>(kind) + 1))
        for (const char *slot : {".release", ".clone"})
            if (name == std::string(kind_name(kind)) + slot)
                return true;
    const auto is_name = [&](const char *slot) { return name == slot; };
    return std::any_of(std::begin(constructors), std::end(constructors), is_name) ||
           std::any_of(std::begin(table_slots), std::end(table_slots), is_name);
}

Call::Call(const char *slot, Object *object, CMPIStatus *rc, Role role)
    : self(object), lock_(sim.lock), slot_(slot), role_(role), rc_(rc) {
    CallRecorder &recorder = sim.recorder;
    ++recorder.all_calls;
    ++recorder.calls[slot];
    take_fault();
    this_thread().has_called = true;
    const bool constructs = role == Role::constructor || role == Role::connect;
    if (recorder.tracing && !constructs)
        recorder.record(recorder.trace_name(object) + std::strchr(slot, '.'));

    if (constructs) {
        if (role == Role::constructor && sim.heap.clients == 0)
            misuse("no client is open");
    } else if (!object) {
        misuse("no object");
    } else if (object->life == Life::unloaded) {
        misuse(object->name() + " used after the last client was released");
    } else if (object->life == Life::released) {
        misuse(object->name() + (role == Role::release ? " released twice" : " used after its release"));
    } else if (role == Role::release && object->holder == Holder::pooled &&
               object->reader != &this_thread()) {
        misuse(object->name() + " released on a thread that did not read it");
    }
    if (fault_ && !fault_->with_result)
        cause_effect();
}

Call::~Call() {
    if (fault_ && fault_->with_result)
        cause_effect();
    if (rc_)
        *rc_ = status();
    if (sim.recorder.tracing && (role_ == Role::constructor || role_ == Role::connect))
        sim.recorder.record(std::string(slot_) + "=" + sim.recorder.trace_name(made_));
}

// The planned faults are in the state, because another process may have planned them, and only one process
// may inject each. The session removes the fault from the state before its effect, which may end this
// process.
void Call::take_fault() {
    sim.shared.refresh();
    if (sim.recorder.faults.empty())
        return;
    Session session(sim.shared);
    fault_ = sim.recorder.take_fault(slot_);
    if (!fault_ || fault_->effect != Effect::restart)
        return;
    if (!fault_->with_result) {
        ++sim.broker.generation;
        fault_.reset(); // the call goes on, on a connection that is dead now
    }
}

void Call::cause_effect() {
    switch (fault_->effect) {
    case Effect::hang: {
        const unsigned long resets = sim.resets;
        sim.time_changed.wait(lock_, [&] { return sim.resets != resets; });
        break;
    }
    case Effect::crash:
        std::signal(SIGSEGV, SIG_DFL);
        std::raise(SIGSEGV);
        break;
    case Effect::exit:
        lock_.unlock(); // functions that run at the end of the process may call the library
        std::exit(EXIT_FAILURE);
    case Effect::restart: {
        Session session(sim.shared);
        ++sim.broker.generation;
        break;
    }
    default:
        break;
    }
}

void Call::misuse(const std::string &what, CMPIrc rc) {
    misused_ = true;
    fail(rc);
    sim.recorder.misuse(std::string(slot_) + ": " + what);
}

bool Call::is_alive(const Object *object) {
    if (object->life != Life::alive)
        misuse(object->name() + " used after its release");
    return !misused_;
}

bool Call::accepts(const Object *object, const char *role) {
    if (object)
        return is_alive(object);
    misuse(std::string("no ") + role);
    return !misused_;
}

void Call::fail(CMPIrc rc, std::optional<std::string> message) {
    result_ = rc;
    message_ = std::move(message);
}

void Call::wait(std::int64_t milliseconds) {
    if (milliseconds == 0)
        return unlocked(std::this_thread::yield);
    const Milliseconds due = sim.controller.clock.now() + milliseconds;
    const unsigned long resets = sim.resets;
    while (sim.resets == resets) {
        const Milliseconds left = due - sim.controller.clock.now();
        if (left <= 0)
            return;
        const bool frozen = sim.controller.clock.is_frozen();
        if (frozen && !sim.shared.in_use())
            sim.time_changed.wait(lock_);
        else
            sim.time_changed.wait_for(lock_, std::chrono::milliseconds(frozen ? 10 : left));
        if (frozen)
            Session(sim.shared); // another process may have moved the time
    }
}

void Call::wait_for_threads(unsigned int milliseconds) {
    const unsigned long misuses = sim.recorder.misuses;
    sim.thread_ended.wait_for(lock_, std::chrono::milliseconds(milliseconds),
                              [&] { return sim.recorder.misuses != misuses; });
    for (auto &entry : sim.heap.threads)
        entry.second->unloading = false;
}

CMPIStatus Call::status() {
    const bool injected = fault_ && fault_->effect != Effect::restart && !misused_;
    const std::optional<std::string> &message = injected ? fault_->message : message_;
    CMPIStatus status = {injected ? fault_->rc : result_, nullptr};
    // Without an open client there can be no message object. Programs ignore the status of a release, so they
    // would leak its message.
    if (message && sim.heap.clients > 0 && role_ != Role::release)
        status.msg = cmpi_of<CMPIString>(&make(Value::string(*message), Holder::owned));
    return status;
}

} // namespace cimsim
