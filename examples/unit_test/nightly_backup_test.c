/* nightly_backup_test.c - tests nightly_backup on the simulated controller, failures included. */
#include "nightly_backup.h"
#include <cimsim.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static int failures;
#define CHECK(condition)                                                                                     \
    ((condition)                                                                                             \
         ? (void)0                                                                                           \
         : (void)(++failures, printf("%s:%d: failed: %s\n%s", __FILE__, __LINE__, #condition, printed)))

static char *printed;                       /* the output of the last run */
static void (*at_poll)(unsigned long poll); /* called after each poll; may be NULL */

static unsigned int deadline_ms;

/* The clock advances by one second after each poll, and only then. */
static int polled(void *context, const XAVO_Poll *poll) {
    (void)context;
    cimsim_advance(1);
    if (at_poll != NULL)
        at_poll(poll->polls);
    return 0;
}

/* A controller with a share. */
static void prepare(void) {
    cimsim_reset();
    cimsim_freeze_time(1);
    cimsim_add_share("192.0.2.10", "backups", 2, "operator", "secret");
    at_poll = NULL;
    deadline_ms = 10000;
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
        .deadline_ms = deadline_ms, .first_pause_ms = 1, .longest_pause_ms = 1, .polled = polled};
    XAVO_Pool *pool = XAVO_pool_new(NULL, NULL);
    size_t size = 0;
    free(printed);
    printed = NULL;
    FILE *out = open_memstream(&printed, &size);
    const backup_end end = nightly_backup(out, pool, &data, &how);
    fclose(out);
    XAVO_pool_free(pool);
    return end;
}

static int prints(const char *text) { return strstr(printed, text) != NULL; }

static void backs_up(void) {
    CHECK(backup() == BACKUP_DONE);
    CHECK(prints("JID_1: started") && prints("COMPLETED, NO_ERROR: The job completed successfully."));
}

static void reports_a_refusal_of_the_service(void) {
    cimsim_set_lockdown(1);
    CHECK(backup() == BACKUP_REFUSED);
    CHECK(
        prints("SYSTEM_IN_LOCKDOWN_MODE, SERVICE, effect ANSWERED, PXN095: The system is in lockdown mode."));
}

static void reports_a_refused_user(void) {
    cimsim_refuse_user("root01ff");
    CHECK(backup() == BACKUP_REFUSED);
    CHECK(prints("PERMISSION_ERROR, BROKER, effect ANSWERED: The broker refuses the user"));
}

static void reports_a_failed_job(void) {
    cimsim_next_job(4, 1, "The share is full.");
    CHECK(backup() == BACKUP_FAILED);
    CHECK(prints("FAILED, NO_ERROR: The share is full."));
}

static void gives_up_at_the_deadline(void) {
    cimsim_next_job(100000, 0, NULL);
    deadline_ms = 500;
    CHECK(backup() == BACKUP_UNFINISHED);
    CHECK(prints("DEADLINE"));
}

static void restart(unsigned long poll) {
    if (poll % 2 == 1)
        cimsim_restart_broker(CIMSIM_PIPE_CALLS);
}
static void continues_after_restarts_of_the_broker(void) {
    at_poll = restart;
    CHECK(backup() == BACKUP_DONE);
}

static void be_unreachable_at_first(unsigned long poll) { cimsim_set_reachable(poll >= 3); }
static void continues_after_the_broker_was_unreachable(void) {
    at_poll = be_unreachable_at_first;
    CHECK(backup() == BACKUP_DONE);
    cimsim_set_reachable(0);
    deadline_ms = 500;
    CHECK(backup() == BACKUP_REFUSED);
    CHECK(prints("UNABLE_TO_OPEN_CONNECTION, NO_BROKER, effect NONE"));
}

static void takes_up_the_job_of_an_earlier_run(void) {
    cimsim_next_job(100000, 0, NULL);
    deadline_ms = 500;
    CHECK(backup() == BACKUP_UNFINISHED); /* for the controller, as if the program had been killed */
    CHECK(backup() == BACKUP_UNFINISHED);
    CHECK(prints("JID_1: taken up"));
    cimsim_advance(100000);
    deadline_ms = 10000;
    CHECK(backup() == BACKUP_DONE); /* the job has ended in the meantime */
    CHECK(prints("JID_1: taken up") && cimsim_job_count() == 1);
}

static void starts_another_job_after_a_failure(void) {
    reports_a_failed_job();
    CHECK(backup() == BACKUP_DONE);
    CHECK(prints("JID_2: started"));
}

/* The request reaches the service, but its answer is lost; the next listing of the jobs fails, too. */
static void takes_up_the_job_when_the_outcome_is_unknown(void) {
    static const cimsim_fault lost = {CMPI_RC_ERR_FAILED, NULL, 1};
    cimsim_fail("CMCIClient.invokeMethod", 1, &lost);
    cimsim_fail("CMCIClient.enumInstances", 2, &lost);
    CHECK(backup() == BACKUP_DONE);
    CHECK(prints("effect UNKNOWN") && prints("JID_1: taken up") && cimsim_job_count() == 1);
}

/* Every call into the client library fails once. */
static void starts_one_job_when_any_call_fails(void) {
    static const cimsim_fault fault = {CMPI_RC_ERR_FAILED, "out of order", 0};
    unsigned long nth = 0;
    do {
        prepare();
        cimsim_next_job(1, 0, NULL); /* one that needs few polls */
        cimsim_fail(NULL, ++nth, &fault);
        const backup_end end = backup();
        CHECK(cimsim_job_count() <= 1 && (end != BACKUP_DONE || cimsim_job_count() == 1));
    } while (cimsim_fault_hit() != NULL);
    CHECK(nth > 50);
}

int main(void) {
    static const struct {
        const char *name;
        void (*run)(void);
    } tests[] = {
        {"backs up", backs_up},
        {"reports a refusal of the service", reports_a_refusal_of_the_service},
        {"reports a refused user", reports_a_refused_user},
        {"reports a failed job", reports_a_failed_job},
        {"gives up at the deadline", gives_up_at_the_deadline},
        {"continues after restarts of the broker", continues_after_restarts_of_the_broker},
        {"continues after the broker was unreachable", continues_after_the_broker_was_unreachable},
        {"takes up the job of an earlier run", takes_up_the_job_of_an_earlier_run},
        {"starts another job after a failure", starts_another_job_after_a_failure},
        {"takes up the job when the outcome is unknown", takes_up_the_job_when_the_outcome_is_unknown},
        {"starts one job when any call fails", starts_one_job_when_any_call_fails},
    };
    /* The program's workers are other processes: they use the same controller if its state is in a file. */
    char folder[] = "/tmp/nightly_backup_XXXXXX", state[sizeof folder + 8], lock[sizeof folder + 16];
    if (mkdtemp(folder) == NULL)
        return 1;
    snprintf(state, sizeof state, "%s/state", folder);
    snprintf(lock, sizeof lock, "%s.lock", state);
    setenv("CIMSIM_STATE", state, 1);
    if (cimsim_use_state(state) != 0)
        return 1;
    for (size_t i = 0; i < sizeof tests / sizeof *tests; ++i) {
        const int before = failures;
        prepare();
        tests[i].run();
        printf("%-6s %s\n", failures == before ? "ok" : "FAILED", tests[i].name);
    }
    free(printed);
    unlink(state);
    unlink(lock);
    rmdir(folder);
    return failures == 0 ? 0 : 1;
}
