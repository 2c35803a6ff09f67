// process.h - the simulator of this process, and the controller that it found or was attached to.
#ifndef CIMSIM_PROCESS_H
#define CIMSIM_PROCESS_H

#include "client/simulator.h"
#include "control/state.h"

#include <string>
#include <sys/types.h>

namespace cimsim {

struct Process {
    State state;
    bool from_environment = false; // the controller is the one that the environment names
    Simulator simulator;

    int pools = 0;              // that there are
    std::string private_folder; // of the state that pools_changed made
    pid_t maker = 0;            // the process that made it: a fork's child leaves it alone

    Process() : state(&simulator), simulator(state) {}

    // Gives the process a controller of its own if it still has the one that the environment names: that of a
    // process whose environment names none. Clients that are open stay as they are. Under the lock.
    void leave_environment();

    // Attaches this process to a state (NULL or empty: to none), and by the environment the workers that
    // pools made from now on will start. A pool that was made before would use another controller: it ends
    // the program.
    void attach(const char *path);

    // A pool of workers is about to be made (1), or was freed (-1). Workers can meet this process's
    // controller in a state only: without one, the first pool gets a new file.
    void pools_changed(int change);

    // Removes the file that pools_changed made.
    void remove_private_state();

    // After the process got another controller: clients that are open are dead if they were, and no answer is
    // held back any longer.
    void controller_replaced(bool dead);
};

// Outlives everything, as `sim` does, which is its simulator.
extern Process &process;

} // namespace cimsim

#endif
