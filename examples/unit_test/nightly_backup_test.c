/* nightly_backup_test.c - tests the nightly backup where it could start a second backup or lose one. */
#include "nightly_backup.h"
#include <cimsim.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

static int failures;
#define CHECK(condition)                                                                                     \
    ((condition)                                                                                             \
         ? (void)0                                                                                           \
         : (void)(++failures, printf("%s:%d: failed: %s\n%s", __FILE__, __LINE__, #condition, printed)))

static char *printed;                       /* the output of the last run */
static unsigned int deadline_ms;            /* of the next run */
static int stops;                           /* 1: the next run waits for one poll only */
static void (*at_poll)(unsigned long poll); /* called after each poll; may be NULL */

static int prints(const char *text) { return printed != NULL && strstr(printed, text) != NULL; }

/* The controller's clock advances by one second after each poll, and only then. */
static int polled(void *context, const XAVO_Poll *poll) {
    (void)context;
    cimsim_advance(1);
    if (at_poll != NULL)
        at_poll(poll->polls);
    return stops;
}

/* A controller with a share. */
static void prepare(void) {
    cimsim_reset();
    cimsim_freeze_time(1);
    cimsim_add_share("192.0.2.10", "backups", 2, "operator", "secret");
    at_poll = NULL;
    stops = 0;
    deadline_ms = 20000;
}

static backup_end backup(void) {
    static const XAVO_BAR_INPUT_DATA data = {.shareType = 2,
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
    struct timespec begun, ended;
    free(printed);
    printed = NULL;
    FILE *out = open_memstream(&printed, &size);
    clock_gettime(CLOCK_MONOTONIC, &begun);
    const backup_end end = nightly_backup(out, pool, &data, &how);
    clock_gettime(CLOCK_MONOTONIC, &ended);
    fclose(out);
    XAVO_pool_free(pool);
    CHECK(ended.tv_sec - begun.tv_sec <= (time_t)(deadline_ms / 1000 + 2)); /* in every test */
    return end;
}

/* A job that the program started, and did not wait for. */
static void leave_a_running_job(void) {
    cimsim_next_job(100000, 0, NULL);
    stops = 1;
    CHECK(backup() == BACKUP_UNFINISHED);
    CHECK(prints("JID_1: started\nJID_1: CANCELLED, NO_ERROR: The job is running."));
}

static void expect_the_identifier(unsigned long poll) { CHECK(poll > 1 || prints("JID_1: started\n")); }
static void prints_the_identifier_before_it_waits(void) {
    at_poll = expect_the_identifier;
    CHECK(backup() == BACKUP_DONE);
    CHECK(prints("COMPLETED, NO_ERROR: The job completed successfully."));
}

static void reports_refusals_once(void) {
    cimsim_set_lockdown(1);
    CHECK(backup() == BACKUP_NOT_STARTED);
    CHECK(strcmp(printed, "not started: SYSTEM_IN_LOCKDOWN_MODE, SERVICE, effect ANSWERED, PXN095: "
                          "The system is in lockdown mode.\n") == 0);
    cimsim_refuse_user("root01ff");
    CHECK(backup() == BACKUP_NOT_STARTED);
    CHECK(prints("not listed: PERMISSION_ERROR, BROKER, effect ANSWERED: The broker refuses the user"));
}

static void starts_another_job_after_a_failure(void) {
    cimsim_next_job(4, 1, "The share is full.");
    CHECK(backup() == BACKUP_FAILED);
    CHECK(prints("FAILED, NO_ERROR: The share is full."));
    CHECK(backup() == BACKUP_DONE);
    CHECK(prints("JID_2: started"));
}

static void finds_the_job_of_an_earlier_run(void) {
    leave_a_running_job();
    CHECK(backup() == BACKUP_UNFINISHED);
    CHECK(prints("JID_1: found"));
    cimsim_set_job_property("JID_1", "JobStatus", cimsim_null(CMPI_string));
    CHECK(backup() == BACKUP_UNFINISHED);
    CHECK(prints("JID_1: found"));
    cimsim_set_job_property("JID_1", "JobStatus", cimsim_string("Completed"));
    CHECK(backup() == BACKUP_DONE);
    CHECK(prints("JID_1: found") && cimsim_job_count() == 1);
}

static void starts_no_job_after_an_incomplete_listing(void) {
    static const cimsim_fault fault = {CMPI_RC_ERR_NOT_SUPPORTED, NULL, 0};
    leave_a_running_job();
    cimsim_fail("CMPIInstance.getProperty", 1, &fault);
    CHECK(backup() == BACKUP_UNFINISHED);
    CHECK(prints("not all jobs can be read") && prints("JID_1: found") && cimsim_job_count() == 1);
}

static void restart(unsigned long poll) {
    if (poll % 2 == 1)
        cimsim_restart_broker(CIMSIM_PIPE_CALLS);
}
static void continues_after_restarts_of_the_broker(void) {
    at_poll = restart;
    CHECK(backup() == BACKUP_DONE);
}

static void continues_after_the_broker_was_absent(void) {
    static const cimsim_fault absent = {CMPI_RC_ERR_FAILED, NULL, 0};
    cimsim_fail("cmciConnect", 1, &absent);
    cimsim_fail("cmciConnect", 2, &absent);
    CHECK(backup() == BACKUP_DONE);
    CHECK(prints("not listed: UNABLE_TO_OPEN_CONNECTION, NO_BROKER, effect NONE"));
}

static void gives_up_at_the_deadline(void) {
    cimsim_set_reachable(0);
    deadline_ms = 500;
    CHECK(backup() == BACKUP_NOT_STARTED);
    cimsim_set_reachable(1);
    cimsim_next_job(100000, 0, NULL);
    deadline_ms = 1000;
    CHECK(backup() == BACKUP_UNFINISHED);
    CHECK(prints("JID_1: DEADLINE"));
}

/* The start is disrupted before or after the controller acted. */
static void starts_one_job_when_the_start_is_disrupted(void) {
    for (int what = CIMSIM_HANG; what <= CIMSIM_RESTART; ++what) {
        for (int after = 0; after <= 1; ++after) {
            prepare();
            cimsim_disrupt("CMCIClient.invokeMethod", 1, what, after);
            deadline_ms = what == CIMSIM_HANG ? 1000 : 20000;
            CHECK(backup() == (what == CIMSIM_HANG ? BACKUP_UNFINISHED : BACKUP_DONE));
            CHECK(cimsim_fault_hit() != NULL && cimsim_job_count() == (what != CIMSIM_HANG || after));
        }
    }
}

/* A start whose outcome is unknown may be why the next one is refused. */
static void looks_again_when_refused_after_a_crash(void) {
    cimsim_disrupt("CMCIClient.invokeMethod", 1, CIMSIM_CRASH, 0);
    cimsim_answer_return(cimsim_number(CMPI_uint32, 2));
    cimsim_answer_output("MessageID", cimsim_string("KTB018"));
    CHECK(backup() == BACKUP_DONE);
    CHECK(prints("not started: BACKUP_ALREADY_RUNNING") && prints("JID_1: started"));
}

/* Some brokers report a missing property as they report a missing job. */
static void waits_for_a_job_that_lacks_a_property(void) {
    static const cimsim_fault missing = {CMPI_RC_ERR_NOT_FOUND, NULL, 0};
    cimsim_fail("CMPIInstance.getProperty", 1, &missing);
    CHECK(backup() == BACKUP_DONE && cimsim_fault_hit() != NULL);
}

/* The service reports success, but started no job. */
static void starts_the_job_when_no_identifier_came(void) {
    cimsim_answer_return(cimsim_number(CMPI_uint32, 0));
    CHECK(backup() == BACKUP_DONE);
    CHECK(prints("not started: ") && prints("JID_1: started"));
}

/* Every call into the client library fails once. */
static void starts_one_job_when_any_call_fails(void) {
    static const cimsim_fault fault = {CMPI_RC_ERR_FAILED, "out of order", 0};
    unsigned long nth = 0;
    do {
        prepare();
        cimsim_next_job(1, 0, NULL); /* a job that needs few polls */
        cimsim_fail(CIMSIM_EVERY_SLOT, ++nth, &fault);
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
        {"prints the identifier before it waits", prints_the_identifier_before_it_waits},
        {"reports refusals once", reports_refusals_once},
        {"starts another job after a failure", starts_another_job_after_a_failure},
        {"finds the job of an earlier run", finds_the_job_of_an_earlier_run},
        {"starts no job after an incomplete listing", starts_no_job_after_an_incomplete_listing},
        {"continues after restarts of the broker", continues_after_restarts_of_the_broker},
        {"continues after the broker was absent", continues_after_the_broker_was_absent},
        {"gives up at the deadline", gives_up_at_the_deadline},
        {"starts one job when the start is disrupted", starts_one_job_when_the_start_is_disrupted},
        {"looks again when refused after a crash", looks_again_when_refused_after_a_crash},
        {"waits for a job that lacks a property", waits_for_a_job_that_lacks_a_property},
        {"starts the job when no identifier came", starts_the_job_when_no_identifier_came},
        {"starts one job when any call fails", starts_one_job_when_any_call_fails},
    };
    for (size_t i = 0; i < sizeof tests / sizeof *tests; ++i) {
        const int before = failures;
        prepare();
        tests[i].run();
        printf("%-6s %s\n", failures == before ? "ok" : "FAILED", tests[i].name);
    }
    free(printed);
    return failures == 0 ? 0 : 1;
}
