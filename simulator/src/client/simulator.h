// simulator.h - everything that the simulator knows, under one lock.
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
    std::condition_variable time_changed; // otherwise than by the passing of time
    std::condition_variable thread_ended; // while another waits for it in releasing the last client
    unsigned long resets = 0;
    unsigned long connected = 0; // the broker's generation when the socket that all clients share was opened
    SharedController &shared;
    Heap heap;
    CallRecorder recorder;
    Broker broker;
    Controller controller;

    explicit Simulator(SharedController &shared_) : shared(shared_) {}
};

// The one of this process, made by the layer that steers it. Outlives everything: threads may still call
// while the process ends.
extern Simulator &sim;

} // namespace cimsim

#endif
