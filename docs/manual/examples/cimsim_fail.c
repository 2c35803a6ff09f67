/* A test: the second fetch of a job fails, and the third succeeds again. */
#include <cimsim.h>
#include <XAVO.h>

int main(void) {
    static const cimsim_fault lost = {CMPI_RC_ERR_FAILED, "the connection is lost", 0};
    cimsim_reset();
    cimsim_add_job("JID_1", "a job", CIMSIM_NEVER, 10, 0);
    cimsim_fail("CMCIClient.getInstance", 2, &lost);
    for (int i = 1; i <= 3; ++i) {
        XAVO_ErrorCode ec;
        XAVO_free_VELK_LifecycleJob(XAVO_get_VELK_LifecycleJob(NULL, &ec, "JID_1"));
        if ((ec == XAVO_NO_ERROR) != (i != 2))
            return 1;
    }
    return cimsim_owned() != 0; /* no object may be left */
}
