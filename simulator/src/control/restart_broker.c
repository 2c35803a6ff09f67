/* restart_broker.c - restarts the broker of the state that CIMSIM_STATE names. The library reports errors in
 * the state on standard error. */
#include <cimsim.h>

#include <stddef.h>
#include <stdlib.h>

int main(void) {
    if (cimsim_use_state(getenv("CIMSIM_STATE")) != 0)
        return 1;
    cimsim_restart_broker(CIMSIM_PIPE_CALLS);
    return cimsim_state_error() == NULL ? 0 : 1;
}
