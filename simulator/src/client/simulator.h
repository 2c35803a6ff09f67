// simulator.h - the data of the simulator in this process, protected by one lock.
#ifndef CIMSIM_SIMULATOR_H
#define CIMSIM_SIMULATOR_H

#include "client/broker.h"
#include "client/call.h"
#include "client/object.h"
#include "client/session.h"
#include "controller/controller.h"

#include <condition_variable>
#include <mutex>

namespace cimsim {

struct Simulator {
    std::mutex lock;
    std::condition_variable
        time_changed; // notified when a control function or a state changes it, and at a reset
    std::condition_variable thread_ended; // during the release of the last client
    unsigned long resets = 0;
    unsigned long socket_generation = 0; // the broker's generation when the clients' socket was opened
    SharedController &shared;
    Heap heap;
    CallRecorder recorder;
    Broker broker;
    Controller controller;

    explicit Simulator(SharedController &shared_) : shared(shared_) {}
};

// The simulator of this process, defined in control/. It is never destroyed, because threads may call the
// library while the process ends.
extern Simulator &sim;

} // namespace cimsim

#endif
