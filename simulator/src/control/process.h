// process.h - the simulator of this process, and the controller that it found or was attached to.
#ifndef CIMSIM_PROCESS_H
#define CIMSIM_PROCESS_H

#include "client/simulator.h"
#include "control/state.h"

namespace cimsim {

struct Process {
    State state;
    bool from_environment = false; // the controller is the one that the environment names
    Simulator simulator;

    Process() : state(&simulator), simulator(state) {}

    // Gives the process a controller of its own if it still has the one that the environment names: that of a
    // process whose environment names none. Clients that are open stay as they are. Under the lock.
    void leave_environment();

    // After the process got another controller: clients that are open are dead if they were, and no answer is
    // held back any longer.
    void controller_replaced(bool dead);
};

// Outlives everything, as `sim` does, which is its simulator.
extern Process &process;

} // namespace cimsim

#endif
