// process.h - the simulator of this process, and where its controller comes from: the environment, or the
// state to which it is attached.
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

    int pools = 0;              // number of pools of workers
    std::string private_folder; // of the state that pools_changed created
    pid_t folder_creator = 0;   // the process that created this folder; its children do not remove it

    Process() : state(&simulator), simulator(state) {}

    // If the process still has the controller that the environment names, replaces it by the demonstration
    // controller. Open clients stay connected. Called under the lock.
    void replace_environment_controller();

    // Attaches this process to a state (NULL or empty: to none). Sets the environment so that workers of
    // later pools use the same state. Aborts if there is a pool and the state is another one, because the
    // workers of the pool would use another controller.
    void attach(const char *path);

    // A pool of workers will be created (1), or was freed (-1). Workers can share this process's controller
    // through a state only: if there is none, the first pool creates a private one.
    void pools_changed(int change);

    // Removes the state that pools_changed created.
    void remove_private_state() const;

    // Called after the process got another controller. `dead`: the open connections were dead before and stay
    // dead. Ends the delay of all answers.
    void controller_replaced(bool dead);
};

// The data of this process. It is never destroyed. Its member `simulator` is `sim`.
extern Process &process;

} // namespace cimsim

#endif
