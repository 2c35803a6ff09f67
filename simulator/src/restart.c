/* restart.c - restarts the broker of the state that CIMSIM_STATE names; what is wrong with it the simulator
 * says itself. */
#include <cimsim.h>

#include <stddef.h>

int main(void) {
    cimsim_restart_broker(CIMSIM_PIPE_CALLS);
    return cimsim_state_error() == NULL ? 0 : 1;
}
