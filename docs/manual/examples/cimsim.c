/* Tests of a backup and of the wait for its job. Exit status 0: all tests passed. */
#include <assert.h>
#include <cimsim.h>
#include <XAVO_companion.h>

/* Called after each poll: one second of simulated time passes. */
static int polled(void *context, const XAVO_Poll *poll) {
    (void)context;
    (void)poll;
    cimsim_advance(1);
    return 0;
}

/* The code under test. Returns how the wait for a backup ended; -1 if the backup did not start. */
static int back_up(void) {
    static const XAVO_BAR_INPUT_DATA data = {
        .ipaddr = "192.0.2.10", .sharename = "public", .imagename = "image", .startTime = "NOW"};
    const XAVO_WaitOptions how = {
        .deadline_ms = 60000, .first_pause_ms = 1, .longest_pause_ms = 1, .polled = polled};
    XAVO_Pool *pool = XAVO_pool_new(NULL, NULL);
    XAVO_Answer answer;
    XAVO_WaitResult result;
    int end = -1;
    if (XAVO_backup_image(pool, &data, 0, &answer) == XAVO_NO_ERROR) {
        end = XAVO_wait_for_job(pool, answer.job_id, &how, &result);
        XAVO_wait_free(&result);
    }
    XAVO_answer_free(&answer);
    XAVO_pool_free(pool);
    return end;
}

static void prepare(void) {
    cimsim_reset();
    cimsim_freeze_time(1);
    cimsim_add_share("192.0.2.10", "public", 0, NULL, NULL);
}

int main(void) {
    prepare();
    assert(back_up() == XAVO_WAIT_COMPLETED);

    prepare();
    cimsim_set_lockdown(1);
    assert(back_up() == -1);

    prepare();
    cimsim_next_job(10, 1, "The share is full.");
    assert(back_up() == XAVO_WAIT_FAILED);

    prepare(); /* the broker was restarted before the call */
    cimsim_restart_broker(CIMSIM_PIPE_CALLS);
    assert(back_up() == XAVO_WAIT_COMPLETED);
    return 0;
}
