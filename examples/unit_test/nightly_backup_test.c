/* nightly_backup_test.c - a backup in a night in which things go wrong, on the simulated controller. */
#include "nightly_backup.h"
#include <cimsim.h>
#include <stdlib.h>
#include <string.h>

static int failures;
#define CHECK(condition)                                                                                     \
    ((condition)                                                                                             \
         ? (void)0                                                                                           \
         : (void)(++failures, printf("%s:%d: not so: %s\n%s", __FILE__, __LINE__, #condition, told)))

static char *told;
static void (*at_poll)(unsigned long poll); /* what happens meanwhile; may be NULL */

/* Time stands still but for a second after each poll. */
static int polled(void *context, const XAVO_Poll *poll) {
    (void)context;
    cimsim_advance(1);
    if (at_poll != NULL)
        at_poll(poll->polls);
    return 0;
}

static backup_end backup(void) {
    static XAVO_BAR_INPUT_DATA data = {.shareType = 2,
                                       .ipaddr = "192.0.2.10",
                                       .sharename = "backups",
                                       .uname = "operator",
                                       .passwd = "secret",
                                       .imagename = "image",
                                       .startTime = "NOW",
                                       .JobName = "nightly"};
    const XAVO_WaitOptions how = {
        .deadline_ms = 200, .first_pause_ms = 1, .longest_pause_ms = 1, .borrow_ms = 20, .polled = polled};
    size_t size = 0;
    free(told);
    told = NULL;
    FILE *out = open_memstream(&told, &size);
    const backup_end end = nightly_backup(out, &data, &how);
    fclose(out);
    CHECK(cimsim_owned() == 0);
    return end;
}

static int tells(const char *text) { return strstr(told, text) != NULL; }

static void it_is_done(void) {
    CHECK(backup() == BACKUP_DONE);
    CHECK(tells("JID_1: started") && tells("COMPLETED, NO_ERROR: The job completed successfully."));
}

static void it_is_refused(void) {
    cimsim_set_lockdown(1);
    CHECK(backup() == BACKUP_REFUSED);
    CHECK(tells("SYSTEM_IN_LOCKDOWN_MODE, SERVICE, PXN095: The system is in lockdown mode."));
}

static void its_user_is_refused(void) {
    cimsim_refuse_user("root01ff");
    CHECK(backup() == BACKUP_REFUSED);
    CHECK(tells("PERMISSION_ERROR, BROKER: The broker refuses the user"));
}

static void its_job_fails(void) {
    cimsim_next_job(4, 1, "The share is full.");
    CHECK(backup() == BACKUP_FAILED);
    CHECK(tells("FAILED, NO_ERROR: The share is full."));
}

static void its_job_takes_too_long(void) {
    cimsim_next_job(100000, 0, NULL);
    CHECK(backup() == BACKUP_UNFINISHED);
    CHECK(tells("DEADLINE"));
}

static void restart(unsigned long poll) {
    if (poll % 2 == 1)
        cimsim_restart_broker(CIMSIM_PIPE_CALLS);
}
static void the_broker_is_restarted(void) {
    at_poll = restart;
    CHECK(backup() == BACKUP_DONE);
}

static void lose(unsigned long poll) { cimsim_set_reachable(poll >= 3); }
static void the_broker_is_away(void) {
    at_poll = lose;
    CHECK(backup() == BACKUP_DONE);
    cimsim_set_reachable(0);
    CHECK(backup() == BACKUP_REFUSED);
    CHECK(tells("UNABLE_TO_OPEN_CONNECTION, NOTHING_ASKED"));
}

static void the_program_is_restarted(void) {
    cimsim_next_job(100000, 0, NULL);
    CHECK(backup() == BACKUP_UNFINISHED); /* as good as ended by somebody */
    CHECK(backup() == BACKUP_UNFINISHED);
    CHECK(tells("JID_1: taken up"));
    cimsim_advance(100000);
    CHECK(backup() == BACKUP_DONE); /* it ended meanwhile */
    CHECK(tells("JID_1: taken up") && cimsim_job_count() == 1);
}

static void it_is_tried_again_after_a_failure(void) {
    its_job_fails();
    CHECK(backup() == BACKUP_DONE);
    CHECK(tells("JID_2: started"));
}

/* The start came through, and its answer did not; nor, at first, does the list of the jobs. */
static void the_outcome_is_unknown(void) {
    static const cimsim_fault lost = {CMPI_RC_ERR_FAILED, NULL, 1};
    cimsim_fail("CMCIClient.invokeMethod", 1, &lost);
    cimsim_fail("CMCIClient.enumInstances", 2, &lost);
    CHECK(backup() == BACKUP_DONE);
    CHECK(tells("OUTCOME_UNKNOWN") && tells("JID_1: taken up") && cimsim_job_count() == 1);
}

/* Every call into the client library fails once. */
static void any_call_fails(void) {
    static const cimsim_fault fault = {CMPI_RC_ERR_FAILED, "out of order", 0};
    unsigned long nth = 0;
    do {
        cimsim_reset();
        cimsim_freeze_time(1);
        cimsim_load_demo();
        cimsim_fail(NULL, ++nth, &fault);
        const backup_end end = backup();
        unsigned int jobs = 0;
        cimsim_job job;
        for (unsigned int i = 0; cimsim_job_at(i, &job) == 0; ++i)
            jobs += strcmp(job.Name, "nightly") == 0;
        CHECK(jobs <= 1 && (end != BACKUP_DONE || jobs == 1)); /* never a second one */
    } while (cimsim_fault_hit() != NULL);
    CHECK(nth > 50);
}

int main(void) {
    static const struct {
        const char *name;
        void (*run)(void);
    } tests[] = {
        {"it is done", it_is_done},
        {"it is refused", it_is_refused},
        {"its user is refused", its_user_is_refused},
        {"its job fails", its_job_fails},
        {"its job takes too long", its_job_takes_too_long},
        {"the broker is restarted", the_broker_is_restarted},
        {"the broker is away", the_broker_is_away},
        {"the program is restarted", the_program_is_restarted},
        {"it is tried again after a failure", it_is_tried_again_after_a_failure},
        {"the outcome is unknown", the_outcome_is_unknown},
        {"any call fails", any_call_fails},
    };
    for (size_t i = 0; i < sizeof tests / sizeof *tests; ++i) {
        const int before = failures;
        cimsim_reset();
        cimsim_freeze_time(1);
        cimsim_add_share("192.0.2.10", "backups", 2, "operator", "secret");
        at_poll = NULL;
        tests[i].run();
        printf("%-6s %s\n", failures == before ? "ok" : "FAILED", tests[i].name);
    }
    free(told);
    return failures == 0 ? 0 : 1;
}
