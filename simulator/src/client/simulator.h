// simulator.h - everything that the simulator knows, under one lock.
#ifndef CIMSIM_SIMULATOR_H
#define CIMSIM_SIMULATOR_H

#include "client/broker.h"
#include "client/call.h"
#include "client/object.h"
#include "control/state.h"
#include "controller/controller.h"

#include <condition_variable>
#include <mutex>

namespace cimsim {

struct Simulator {
    std::mutex lock;
    bool from_environment = false;        // the controller is the one that the environment names
    std::condition_variable time_changed; // otherwise than by the passing of time
    std::condition_variable thread_ended; // while another waits for it in releasing the last client
    unsigned long resets = 0;
    unsigned long connected = 0; // the broker's generation when the socket that all clients share was opened
    State state;
    Heap heap;
    Watch watch;
    Broker broker;
    Controller controller;
};

// Outlives everything: threads may still call while the process ends.
extern Simulator &sim;

// Gives the process a controller of its own if it still has the one that the environment names: that of a
// process whose environment names none. Clients that are open stay as they are. Under the lock.
void leave_environment();

// After the process got another controller: clients that are open are dead if they were, and no answer is
// held back any longer.
void controller_replaced(bool dead);

} // namespace cimsim

#endif
