/* nightly_backup_test.c - a backup in a night in which things go wrong, on the simulated controller. */
#include "nightly_backup.h"
#include <cimsim.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static int failures;
#define CHECK(condition)                                                                                     \
    ((condition)                                                                                             \
         ? (void)0                                                                                           \
         : (void)(++failures, printf("%s:%d: not so: %s\n%s", __FILE__, __LINE__, #condition, told)))

static char *told;
static void (*at_poll)(unsigned long poll); /* what happens meanwhile; may be NULL */

static unsigned int deadline_ms;

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
        .deadline_ms = deadline_ms, .first_pause_ms = 1, .longest_pause_ms = 1, .polled = polled};
    XAVO_Pool *pool = XAVO_pool_new(NULL, NULL);
    size_t size = 0;
    free(told);
    told = NULL;
    FILE *out = open_memstream(&told, &size);
    const backup_end end = nightly_backup(out, pool, &data, &how);
    fclose(out);
    XAVO_pool_free(pool);
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
    CHECK(
        tells("SYSTEM_IN_LOCKDOWN_MODE, SERVICE, effect ANSWERED, PXN095: The system is in lockdown mode."));
}

static void its_user_is_refused(void) {
    cimsim_refuse_user("root01ff");
    CHECK(backup() == BACKUP_REFUSED);
    CHECK(tells("PERMISSION_ERROR, BROKER, effect ANSWERED: The broker refuses the user"));
}

static void its_job_fails(void) {
    cimsim_next_job(4, 1, "The share is full.");
    CHECK(backup() == BACKUP_FAILED);
    CHECK(tells("FAILED, NO_ERROR: The share is full."));
}

static void its_job_takes_too_long(void) {
    cimsim_next_job(100000, 0, NULL);
    deadline_ms = 500;
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
    deadline_ms = 500;
    CHECK(backup() == BACKUP_REFUSED);
    CHECK(tells("UNABLE_TO_OPEN_CONNECTION, NO_BROKER, effect NONE"));
}

static void the_program_is_restarted(void) {
    cimsim_next_job(100000, 0, NULL);
    deadline_ms = 500;
    CHECK(backup() == BACKUP_UNFINISHED); /* as good as ended by somebody */
    CHECK(backup() == BACKUP_UNFINISHED);
    CHECK(tells("JID_1: taken up"));
    cimsim_advance(100000);
    deadline_ms = 10000;
    CHECK(backup() == BACKUP_DONE); /* it ended meanwhile */
    CHECK(tells("JID_1: taken up") && cimsim_job_count() == 1);
}

static void it_is_tried_again_after_a_failure(void) {
    its_job_fails();
    CHECK(backup() == BACKUP_DONE);
    CHECK(tells("JID_2: started"));
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
    };
    /* The program's workers are other processes: they meet the same controller where it lives in a file. */
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
        cimsim_reset();
        cimsim_freeze_time(1);
        cimsim_add_share("192.0.2.10", "backups", 2, "operator", "secret");
        at_poll = NULL;
        deadline_ms = 10000;
        tests[i].run();
        printf("%-6s %s\n", failures == before ? "ok" : "FAILED", tests[i].name);
    }
    free(told);
    unlink(state);
    unlink(lock);
    rmdir(folder);
    return failures == 0 ? 0 : 1;
}
