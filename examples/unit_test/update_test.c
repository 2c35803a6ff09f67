/* update_test.c - what the program does when things go wrong, tried on the simulated controller. */
#include "update.h"
#include <cimsim.h>
#include <hulmprintf.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

static int failures;
#define CHECK(condition)                                                                                     \
    ((condition) ? (void)0                                                                                   \
                 : (void)(++failures, printf("%s:%d: not so: %s\n", __FILE__, __LINE__, #condition)))

/* libxavo logs here, not on standard error: the service's own words can be looked at. */
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

/* A controller with one software identity, at a time that stands still but for the program's pauses. */
static void prepare(void) {
    cimsim_reset();
    cimsim_freeze_time(1);
    cimsim_add_software_identity("IDENTITY:BIOS", NULL, NULL);
    logged[0] = '\0';
}

static char *told; /* what the program said last */
static update_end update(unsigned int limit, void (*pause)(unsigned int)) {
    size_t size = 0;
    free(told);
    told = NULL;
    FILE *out = open_memstream(&told, &size);
    const update_end end = update_software(out, "http://192.0.2.20/bios.bin", "IDENTITY:BIOS", limit, pause);
    fclose(out);
    return end;
}

static void it_installs_and_waits_for_the_job(void) {
    CHECK(update(60, cimsim_advance) == UPDATE_DONE);
    CHECK(strstr(told, "The job completed successfully.") != NULL);
}

static void a_user_is_refused(void) {
    cimsim_refuse_user("root01ff");
    CHECK(update(60, cimsim_advance) == UPDATE_NOT_STARTED);
    CHECK(strstr(told, "PERMISSION_ERROR") != NULL);
}

static void the_service_refuses(void) {
    cimsim_set_lockdown(1);
    CHECK(update(60, cimsim_advance) == UPDATE_NOT_STARTED);
    CHECK(strstr(logged, "The system is in lockdown mode.") != NULL);
}

static void nothing_is_asked_for_an_unknown_target(void) {
    cimsim_reset();
    CHECK(update(60, cimsim_advance) == UPDATE_NOT_STARTED);
    CHECK(strstr(told, "NOT_FOUND") != NULL);
    CHECK(cimsim_calls("CMCIClient.invokeMethod") == 0);
}

static void the_job_fails(void) {
    cimsim_next_job(10, 1, "The image is damaged.");
    CHECK(update(60, cimsim_advance) == UPDATE_FAILED);
    CHECK(strstr(told, "The image is damaged.") != NULL);
}

static void the_job_takes_too_long(void) {
    cimsim_next_job(3600, 0, NULL);
    CHECK(update(60, cimsim_advance) == UPDATE_UNFINISHED);
}

static const cimsim_fault out_of_order = {CMPI_RC_ERR_FAILED, "out of order", 0};
static void the_first_polls_fail(void) {
    cimsim_fail("CMCIClient.getInstance", 1, &out_of_order);
    cimsim_fail("CMCIClient.getInstance", 2, &out_of_order);
    CHECK(update(60, cimsim_advance) == UPDATE_DONE);
}
static void every_poll_fails(void) {
    cimsim_fail_from("CMCIClient.getInstance", 1, &out_of_order);
    CHECK(update(60, cimsim_advance) == UPDATE_UNFINISHED);
}

static void restart_the_broker(unsigned int seconds) {
    cimsim_restart_broker(CIMSIM_PIPE_CALLS);
    cimsim_advance(seconds);
}
static void the_broker_is_restarted(void) { CHECK(update(60, restart_the_broker) == UPDATE_DONE); }

static void lose_the_broker_at_first(unsigned int seconds) {
    static int polls;
    cimsim_set_reachable(polls++ > 0);
    cimsim_advance(seconds);
}
static void the_broker_is_gone_for_a_while(void) {
    CHECK(update(60, lose_the_broker_at_first) == UPDATE_DONE);
    CHECK(strstr(told, "UNABLE_TO_OPEN_CONNECTION") != NULL);
}

/* Every call into the client library fails once, the first one first, until none is left to fail. */
static void any_call_fails(void) {
    unsigned long nth = 0;
    do {
        prepare();
        cimsim_fail(NULL, ++nth, &out_of_order);
        const update_end end = update(60, cimsim_advance);
        cimsim_job job;
        const int completed = cimsim_job_at(0, &job) == 0 && strcmp(job.JobStatus, "Completed") == 0;
        CHECK(end != UPDATE_DONE || completed); /* it never says so when it is not */
        CHECK(cimsim_owned() == 0);             /* and leaves nothing behind */
    } while (cimsim_fault_hit() != NULL);
    CHECK(nth > 50);
}

int main(void) {
    static const struct {
        const char *name;
        void (*run)(void);
    } tests[] = {
        {"it installs and waits for the job", it_installs_and_waits_for_the_job},
        {"a user is refused", a_user_is_refused},
        {"the service refuses", the_service_refuses},
        {"nothing is asked for an unknown target", nothing_is_asked_for_an_unknown_target},
        {"the job fails", the_job_fails},
        {"the job takes too long", the_job_takes_too_long},
        {"the first polls fail", the_first_polls_fail},
        {"every poll fails", every_poll_fails},
        {"the broker is restarted", the_broker_is_restarted},
        {"the broker is gone for a while", the_broker_is_gone_for_a_while},
        {"any call fails", any_call_fails},
    };
    for (size_t i = 0; i < sizeof tests / sizeof *tests; ++i) {
        const int before = failures;
        prepare();
        tests[i].run();
        printf("%-6s %s\n", failures == before ? "ok" : "FAILED", tests[i].name);
    }
    free(told);
    return failures == 0 ? 0 : 1;
}
