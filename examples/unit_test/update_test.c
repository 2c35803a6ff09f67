/* update_test.c - tests the program on the simulated controller, failures included.
 *
 * The program's workers are other processes, but they use this controller, too. So the program needs no code
 * for its tests. */
#include "update.h"
#include <cimsim.h>
#include <stdlib.h>
#include <string.h>

static char *printed; /* the output of the last run */

static int failures;
#define CHECK(condition)                                                                                     \
    ((condition)                                                                                             \
         ? (void)0                                                                                           \
         : (void)(++failures, printf("%s:%d: failed: %s\n%s", __FILE__, __LINE__, #condition, printed)))

/* A controller with one software identity, on which a job ends as soon as it is started. */
static void prepare(void) {
    cimsim_reset();
    cimsim_add_software_identity("IDENTITY:BIOS", NULL, NULL);
    cimsim_next_job(0, 0, NULL);
    cimsim_journal(1);
}

/* Runs the program: each step ends within `deadline_ms`, each poll of the job within half of it. */
static update_end update(unsigned int deadline_ms) {
    const XAVO_WaitOptions how = {
        .deadline_ms = deadline_ms, .poll_ms = deadline_ms / 2, .first_pause_ms = 1, .longest_pause_ms = 1};
    XAVO_Pool *pool = XAVO_pool_new(NULL, NULL);
    size_t size = 0;
    free(printed);
    FILE *out = open_memstream(&printed, &size);
    const update_end end = update_software(out, pool, "http://192.0.2.20/bios.bin", "IDENTITY:BIOS", &how);
    fclose(out);
    XAVO_pool_free(pool);
    return end;
}

static int prints(const char *text) { return strstr(printed, text) != NULL; }

/* How many methods reached the broker. */
static int methods_invoked(void) {
    int count = 0;
    cimsim_journal_entry entry;
    for (unsigned long i = 0; cimsim_journal_at(i, &entry) == 0; ++i)
        count += strcmp(entry.operation, "invokeMethod") == 0;
    return count;
}

/* Deadlines in milliseconds. A test reaches AMPLE only if the program hangs, and SHORT on purpose. */
enum { AMPLE = 20000, SHORT = 1000 };

static void installs_and_waits_for_the_job(void) {
    CHECK(update(AMPLE) == UPDATE_DONE);
    CHECK(prints("JID_1: COMPLETED, The job completed successfully."));
}

static void reports_a_refused_user(void) {
    cimsim_refuse_user("root01ff");
    CHECK(update(AMPLE) == UPDATE_NOT_STARTED);
    CHECK(prints("PERMISSION_ERROR, BROKER, effect ANSWERED: The broker refuses the user"));
}

static void reports_a_refusal_of_the_service(void) {
    cimsim_set_lockdown(1);
    CHECK(update(AMPLE) == UPDATE_NOT_STARTED);
    CHECK(prints("install: UNKNOWN_ERROR, SERVICE, effect ANSWERED: The system is in lockdown mode."));
}

static void invokes_no_method_for_an_unknown_target(void) {
    cimsim_reset();
    cimsim_add_software_identity("IDENTITY:NIC", NULL, NULL);
    cimsim_journal(1);
    CHECK(update(AMPLE) == UPDATE_NOT_STARTED);
    CHECK(prints("available: IDENTITY:NIC") && methods_invoked() == 0);
}

static void reports_a_failed_job(void) {
    cimsim_reset();
    cimsim_add_software_identity("IDENTITY:BIOS", NULL, NULL);
    cimsim_next_job(0, 1, "The image is damaged.");
    CHECK(update(AMPLE) == UPDATE_FAILED);
    CHECK(prints("JID_1: FAILED, The image is damaged."));
}

static void reports_a_job_that_continues(void) {
    cimsim_reset();
    cimsim_add_software_identity("IDENTITY:BIOS", NULL, NULL);
    cimsim_next_job(3600, 0, NULL);
    CHECK(update(SHORT) == UPDATE_UNKNOWN);
    CHECK(prints("JID_1: DEADLINE, The job is running."));
}

static void reports_an_absent_broker(void) {
    cimsim_set_reachable(0);
    CHECK(update(AMPLE) == UPDATE_NOT_STARTED);
    CHECK(prints("UNABLE_TO_OPEN_CONNECTION, NO_BROKER, effect NONE"));
}

/* The first call of a slot hangs, crashes the worker, or finds the broker restarted. */
static void survives_disruptions(void) {
    static const struct {
        const char *slot;
        int what;
        update_end end;
        int methods;
    } rows[] = {
        {"CMCIClient.enumInstances", CIMSIM_HANG, UPDATE_NOT_STARTED, 0},
        {"CMCIClient.enumInstances", CIMSIM_CRASH, UPDATE_DONE, 1}, /* reads are repeated */
        {"CMCIClient.enumInstances", CIMSIM_RESTART, UPDATE_DONE, 1},
        {"CMCIClient.invokeMethod", CIMSIM_HANG, UPDATE_UNKNOWN, 0}, /* methods are never repeated */
        {"CMCIClient.invokeMethod", CIMSIM_CRASH, UPDATE_UNKNOWN, 0},
        {"CMCIClient.invokeMethod", CIMSIM_RESTART, UPDATE_UNKNOWN, 0},
        {"CMCIClient.getInstance", CIMSIM_HANG, UPDATE_DONE, 1}, /* the next poll is answered */
        {"CMCIClient.getInstance", CIMSIM_CRASH, UPDATE_DONE, 1},
        {"CMCIClient.getInstance", CIMSIM_RESTART, UPDATE_DONE, 1},
    };
    for (size_t i = 0; i < sizeof rows / sizeof *rows; ++i) {
        const int before = failures;
        prepare();
        cimsim_disrupt(rows[i].slot, 1, rows[i].what, 0);
        CHECK(update(rows[i].what == CIMSIM_HANG ? SHORT : AMPLE) == rows[i].end);
        CHECK(methods_invoked() == rows[i].methods);
        if (failures != before)
            printf("in row %zu: %s\n", i, rows[i].slot);
    }
}

/* Every call into the client library fails or crashes once: the first, then the second, until none does. */
static void never_reports_success_wrongly(void) {
    static const cimsim_fault out_of_order = {CMPI_RC_ERR_FAILED, "out of order", 0};
    for (int crashes = 0; crashes <= 1; ++crashes) {
        unsigned long nth = 0;
        do {
            prepare();
            ++nth;
            if (crashes)
                cimsim_disrupt(CIMSIM_EVERY_SLOT, nth, CIMSIM_CRASH, 0);
            else
                cimsim_fail(CIMSIM_EVERY_SLOT, nth, &out_of_order);
            const update_end end = update(AMPLE);
            cimsim_job job;
            const int completed = cimsim_job_at(0, &job) == 0 && strcmp(job.JobStatus, "Completed") == 0;
            CHECK(end != UPDATE_DONE || completed);
            CHECK(end != UPDATE_NOT_STARTED || cimsim_job_count() == 0);
            CHECK(methods_invoked() <= 1);
        } while (cimsim_fault_hit() != NULL);
        CHECK(nth > 50);
    }
}

int main(void) {
    static const struct {
        const char *name;
        void (*run)(void);
    } tests[] = {
        {"installs and waits for the job", installs_and_waits_for_the_job},
        {"reports a refused user", reports_a_refused_user},
        {"reports a refusal of the service", reports_a_refusal_of_the_service},
        {"invokes no method for an unknown target", invokes_no_method_for_an_unknown_target},
        {"reports a failed job", reports_a_failed_job},
        {"reports a job that continues", reports_a_job_that_continues},
        {"reports an absent broker", reports_an_absent_broker},
        {"survives disruptions", survives_disruptions},
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
