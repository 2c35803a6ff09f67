/* Tests of a backup that is waited for. Exit status 0: all is as it must be. */
#include <assert.h>
#include <cimsim.h>
#include <string.h>
#include <XAVO_companion.h>

/* A second goes by after each poll. */
static int polled(void *context, const XAVO_Poll *poll) {
    (void)context;
    (void)poll;
    cimsim_advance(1);
    return 0;
}

/* What is tested: how the wait for a backup ends; -1 when it does not start. */
static int back_up(void) {
    static XAVO_BAR_INPUT_DATA data = {
        .ipaddr = "192.0.2.10", .sharename = "public", .imagename = "image", .startTime = "NOW"};
    const XAVO_WaitOptions how = {
        .deadline_ms = 60000, .first_pause_ms = 1, .longest_pause_ms = 1, .polled = polled};
    XAVO_ErrorCode ec;
    XAVO_WaitResult result;
    char *job = NULL;
    XAVO_invoke_BackupRestore(NULL, &ec, "BackupImage", &data, &job);
    if (job == NULL)
        return -1;
    const int end = XAVO_wait_for_job(job, &how, &result);
    XAVO_free_VELK_LifecycleJob(result.job);
    XAVO_free_ntstring(job);
    return end;
}

static void prepare(void) {
    cimsim_reset();
    cimsim_freeze_time(1);
    cimsim_add_share("192.0.2.10", "public", 0, NULL, NULL);
}

int main(void) {
    static const cimsim_fault lost = {CMPI_RC_ERR_FAILED, "the connection is lost", 0};
    unsigned long nth = 0;

    prepare();
    assert(back_up() == XAVO_WAIT_COMPLETED);

    prepare();
    cimsim_set_lockdown(1);
    assert(back_up() == -1);

    prepare();
    cimsim_next_job(10, 1, "The share is full.");
    assert(back_up() == XAVO_WAIT_FAILED);

    prepare(); /* a poll that fails is no end */
    cimsim_fail("CMCIClient.getInstance", 2, &lost);
    assert(back_up() == XAVO_WAIT_COMPLETED);
    assert(strcmp(cimsim_fault_hit(), "CMCIClient.getInstance") == 0);

    do { /* each call into the client library fails once: nothing may be left behind */
        prepare();
        cimsim_fail(CIMSIM_EVERY_SLOT, ++nth, &lost);
        back_up();
        assert(cimsim_owned() == 0);
    } while (cimsim_fault_hit() != NULL);
    return 0;
}
