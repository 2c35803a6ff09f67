/* update_test.c - tests the program on the simulated controller, failures included. */
#include "update.h"
#include <cimsim.h>
#include <hulmprintf.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

static int failures;
#define CHECK(condition)                                                                                     \
    ((condition) ? (void)0                                                                                   \
                 : (void)(++failures, printf("%s:%d: failed: %s\n", __FILE__, __LINE__, #condition)))

/* Replaces the log function of the platform, so that tests can read the messages of the service. */
static char logged[4096];
void hulmprintf(int level, int module, const char *format, ...) {
    const size_t used = strlen(logged);
    va_list args;
    (void)module;
    va_start(args, format);
    if (level <= 2)
        vsnprintf(logged + used, sizeof logged - used, format, args);
    va_end(args);
}

/* A controller with one software identity. Its clock advances only when the program pauses. */
static void prepare(void) {
    cimsim_reset();
    cimsim_freeze_time(1);
    cimsim_add_software_identity("IDENTITY:BIOS", NULL, NULL);
    logged[0] = '\0';
}

static char *printed; /* the output of the last run */
static update_end update(unsigned int limit, void (*pause)(unsigned int)) {
    size_t size = 0;
    free(printed);
    printed = NULL;
    FILE *out = open_memstream(&printed, &size);
    const update_end end = update_software(out, "http://192.0.2.20/bios.bin", "IDENTITY:BIOS", limit, pause);
    fclose(out);
    return end;
}

static void installs_and_waits_for_the_job(void) {
    CHECK(update(60, cimsim_advance) == UPDATE_DONE);
    CHECK(strstr(printed, "The job completed successfully.") != NULL);
}

static void reports_a_refused_user(void) {
    cimsim_refuse_user("root01ff");
    CHECK(update(60, cimsim_advance) == UPDATE_NOT_STARTED);
    CHECK(strstr(printed, "PERMISSION_ERROR") != NULL);
}

static void reports_a_refusal_of_the_service(void) {
    cimsim_set_lockdown(1);
    CHECK(update(60, cimsim_advance) == UPDATE_NOT_STARTED);
    CHECK(strstr(logged, "The system is in lockdown mode.") != NULL);
}

static void calls_no_method_for_an_unknown_target(void) {
    cimsim_reset();
    CHECK(update(60, cimsim_advance) == UPDATE_NOT_STARTED);
    CHECK(strstr(printed, "NOT_FOUND") != NULL);
    CHECK(cimsim_calls("CMCIClient.invokeMethod") == 0);
}

static void reports_a_failed_job(void) {
    cimsim_next_job(10, 1, "The image is damaged.");
    CHECK(update(60, cimsim_advance) == UPDATE_FAILED);
    CHECK(strstr(printed, "The image is damaged.") != NULL);
}

static void gives_up_at_the_limit(void) {
    cimsim_next_job(3600, 0, NULL);
    CHECK(update(60, cimsim_advance) == UPDATE_UNFINISHED);
}

static const cimsim_fault out_of_order = {CMPI_RC_ERR_FAILED, "out of order", 0};
static void continues_after_failed_polls(void) {
    cimsim_fail("CMCIClient.getInstance", 1, &out_of_order);
    cimsim_fail("CMCIClient.getInstance", 2, &out_of_order);
    CHECK(update(60, cimsim_advance) == UPDATE_DONE);
}
static void gives_up_when_every_poll_fails(void) {
    cimsim_fail_from("CMCIClient.getInstance", 1, &out_of_order);
    CHECK(update(60, cimsim_advance) == UPDATE_UNFINISHED);
}

static void restart_broker(unsigned int seconds) {
    cimsim_restart_broker(CIMSIM_PIPE_CALLS);
    cimsim_advance(seconds);
}
static void continues_after_a_restart_of_the_broker(void) {
    CHECK(update(60, restart_broker) == UPDATE_DONE);
}

static void be_unreachable_at_first(unsigned int seconds) {
    static int polls;
    cimsim_set_reachable(polls++ > 0);
    cimsim_advance(seconds);
}
static void continues_after_the_broker_was_unreachable(void) {
    CHECK(update(60, be_unreachable_at_first) == UPDATE_DONE);
    CHECK(strstr(printed, "UNABLE_TO_OPEN_CONNECTION") != NULL);
}

/* Fails each call into the client library once: the first, then the second, until none fails any more. */
static void never_reports_success_wrongly(void) {
    unsigned long nth = 0;
    do {
        prepare();
        cimsim_fail(NULL, ++nth, &out_of_order);
        const update_end end = update(60, cimsim_advance);
        cimsim_job job;
        const int completed = cimsim_job_at(0, &job) == 0 && strcmp(job.JobStatus, "Completed") == 0;
        CHECK(end != UPDATE_DONE || completed); /* success is reported only when the job completed */
        CHECK(cimsim_owned() == 0);             /* nothing is leaked */
    } while (cimsim_fault_hit() != NULL);
    CHECK(nth > 50);
}

int main(void) {
    static const struct {
        const char *name;
        void (*run)(void);
    } tests[] = {
        {"installs and waits for the job", installs_and_waits_for_the_job},
        {"reports a refused user", reports_a_refused_user},
        {"reports a refusal of the service", reports_a_refusal_of_the_service},
        {"calls no method for an unknown target", calls_no_method_for_an_unknown_target},
        {"reports a failed job", reports_a_failed_job},
        {"gives up at the limit", gives_up_at_the_limit},
        {"continues after failed polls", continues_after_failed_polls},
        {"gives up when every poll fails", gives_up_when_every_poll_fails},
        {"continues after a restart of the broker", continues_after_a_restart_of_the_broker},
        {"continues after the broker was unreachable", continues_after_the_broker_was_unreachable},
        {"never reports success wrongly", never_reports_success_wrongly},
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
