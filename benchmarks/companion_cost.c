/* companion_cost.c - compares a call by a worker with the same call in this process.
 *
 *   companion_cost calls  a call by a running worker, compared with libxavo and a probe before each
 *                         method call; and a call that has to start a worker
 *
 *   companion_cost hang   with a broker that delays its answers (CIMSIM_SCENE): how long a cancel takes,
 *                         and how long after its deadline a call returns
 *
 *   companion_cost list   a list of all jobs that the controller has
 *
 * Prints one JSON object. The exit status is 3 when a figure is above its limit. */
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <XAVO.h>
#include <XAVO_companion.h>

static XAVO_NET_INPUT_DATA share = {.ipaddr = "192.0.2.10", .sharename = "public"};
static const XAVO_NET_INPUT_DATA secret_share = {
    .uname = "operator", .passwd = "secret", .ipaddr = "192.0.2.10", .sharename = "backups", .shareType = 2};

static void check(const char *what, int holds) {
    if (!holds) {
        fprintf(stderr, "companion_cost: %s\n", what);
        exit(1);
    }
}

static double now_us(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (double)now.tv_sec * 1e6 + (double)now.tv_nsec / 1e3;
}

static int by_size(const void *left, const void *right) {
    const double a = *(const double *)left, b = *(const double *)right;
    return (a > b) - (a < b);
}

enum { MOST = 2001 };

typedef struct times {
    int count;
    double us[MOST];
} times;

static void add(times *all, double since) { all->us[all->count++] = now_us() - since; }

static double quantile(times *all, double below) {
    qsort(all->us, (size_t)all->count, sizeof all->us[0], by_size);
    return all->us[(int)(below * (all->count - 1))];
}
static double median(times *all) { return quantile(all, 0.5); }

static int above;
static double limited(double value, double limit) {
    if (value > limit)
        above = 3;
    return value;
}

/* ---- In this process ---------------------------------------------------------------------------------------- */

static void probe(XAVO_Proxy *sp, const char *class_name) {
    CMPIStatus status = {CMPI_RC_OK, NULL};
    CMPIObjectPath *path = newCMPIObjectPath("root/velk", class_name, NULL);
    CMPIConstClass *found = sp->client->ft->getClass(sp->client, path, 0, NULL, &status);
    check("no class", found != NULL);
    found->ft->release(found);
    path->ft->release(path);
}

static void method_here(XAVO_Proxy *sp) {
    XAVO_ErrorCode code;
    probe(sp, "VELK_QMService");
    XAVO_invoke_TestNetworkShare(sp, &code, &share);
    check("the method fails in this process", code == XAVO_NO_ERROR);
}

static void read_here(XAVO_Proxy *sp) {
    XAVO_ErrorCode code;
    XAVO_free_VELK_LifecycleJob(XAVO_get_VELK_LifecycleJob(sp, &code, "JID_1"));
    check("the read fails in this process", code == XAVO_NO_ERROR);
}

static void list_here(XAVO_Proxy *sp) {
    XAVO_ErrorCode code;
    XAVO_free_list_VELK_LifecycleJob(XAVO_enumerate_VELK_LifecycleJob(sp, &code));
    check("the list fails in this process", code == XAVO_NO_ERROR);
}

/* ---- By a worker -------------------------------------------------------------------------------------------- */

static void succeed(XAVO_Answer *answer) {
    check(answer->message != NULL ? answer->message : XAVO_kind_name(answer->kind),
          answer->code == XAVO_NO_ERROR);
    XAVO_answer_free(answer);
}

static void method_there(XAVO_Pool *pool) {
    XAVO_Answer answer;
    XAVO_test_network_share(pool, &share, 0, &answer);
    succeed(&answer);
}

static void read_there(XAVO_Pool *pool) {
    XAVO_Answer answer;
    XAVO_get_job(pool, "JID_1", 0, &answer);
    succeed(&answer);
}

static void list_there(XAVO_Pool *pool) {
    XAVO_Answer answer;
    XAVO_list_jobs(pool, 60000, &answer);
    succeed(&answer);
}

/* Times `count` calls here and `count` calls there, alternately. The first call of each is not counted. */
static void compare(XAVO_Proxy *sp, XAVO_Pool *pool, void (*here)(XAVO_Proxy *), void (*there)(XAVO_Pool *),
                    int count, times *taken) {
    taken[0].count = taken[1].count = 0;
    for (int i = -1; i < count; ++i) {
        double begun = now_us();
        here(sp);
        if (i >= 0)
            add(&taken[0], begun);
        begun = now_us();
        there(pool);
        if (i >= 0)
            add(&taken[1], begun);
    }
}

static times taken[2];

static void calls(XAVO_Proxy *sp, XAVO_Pool *pool) {
    compare(sp, pool, method_here, method_there, MOST, taken);
    double here = median(&taken[0]), there = median(&taken[1]);
    printf("{\"method\": {\"here_us\": %.1f, \"worker_us\": %.1f, \"more_us\": %.1f, \"limit_us\": 50}, ",
           here, there, limited(there - here, 50));
    compare(sp, pool, read_here, read_there, MOST, taken);
    here = median(&taken[0]);
    there = median(&taken[1]);
    printf("\"read\": {\"here_us\": %.1f, \"worker_us\": %.1f, \"more_us\": %.1f, \"limit_us\": 50}, ", here,
           there, limited(there - here, 50));
    /* A worker that was given a password ends with that call: each of these starts one. */
    taken[0].count = 0;
    for (int i = 0; i < 101; ++i) {
        XAVO_Answer answer;
        const double begun = now_us();
        XAVO_test_network_share(pool, &secret_share, 0, &answer);
        add(&taken[0], begun);
        succeed(&answer);
    }
    const double started = median(&taken[0]) / 1000;
    printf("\"replaced\": {\"ms\": %.2f, \"limit_ms\": 10}}\n", limited(started, 10));
}

static void hang(XAVO_Pool *pool) {
    XAVO_Request request = {.operation = XAVO_OP_TEST_NETWORK_SHARE, .deadline_ms = 60000, .share = &share};
    XAVO_Answer answer;
    check("the worker does not start", XAVO_pool_prestart(pool, 1, 0, NULL) == XAVO_NO_ERROR);
    for (int i = 0; i < 51; ++i) {
        XAVO_Call *call = XAVO_call_start(pool, &request, &answer);
        check("no call", call != NULL);
        struct pollfd progress = {XAVO_call_descriptor(call), POLLIN, 0};
        for (const double until = now_us() + 20000; now_us() < until;)
            check("the broker answers", poll(&progress, 1, 1) == 0 || XAVO_call_collect(call, &answer) == 0);
        const double begun = now_us();
        XAVO_call_cancel(call);
        check("not ended", XAVO_call_collect(call, &answer) == 1 && answer.kind == XAVO_KIND_CANCELLED);
        add(&taken[0], begun);
        XAVO_answer_free(&answer);
        XAVO_call_free(call);
    }
    printf("{\"cancel\": {\"ms\": %.2f, \"most_ms\": %.2f, \"limit_ms\": 5}, ",
           limited(median(&taken[0]) / 1000, 5), quantile(&taken[0], 1) / 1000);
    request.deadline_ms = 30;
    for (int i = 0; i < 51; ++i) {
        const double begun = now_us() + request.deadline_ms * 1000;
        XAVO_call(pool, &request, &answer);
        check("not by the deadline", answer.kind == XAVO_KIND_DEADLINE);
        add(&taken[1], begun);
        XAVO_answer_free(&answer);
    }
    printf("\"deadline\": {\"late_ms\": %.2f, \"latest_ms\": %.2f, \"limit_ms\": 50}}\n",
           median(&taken[1]) / 1000, limited(quantile(&taken[1], 1) / 1000, 50));
}

static void list(XAVO_Proxy *sp, XAVO_Pool *pool) {
    XAVO_Answer answer;
    XAVO_list_jobs(pool, 60000, &answer);
    const size_t jobs = answer.job_count;
    succeed(&answer);
    compare(sp, pool, list_here, list_there, 15, taken);
    printf("{\"jobs\": %zu, \"here_ms\": %.2f, \"worker_ms\": %.2f}\n", jobs, median(&taken[0]) / 1000,
           median(&taken[1]) / 1000);
}

int main(int argc, char **argv) {
    if (argc != 2)
        return 2;
    XAVO_Pool *pool = XAVO_pool_new(&(XAVO_PoolOptions){.workers = 1, .log_level = XAVO_LOG_NOTHING}, NULL);
    XAVO_Proxy *sp = strcmp(argv[1], "hang") == 0 ? NULL : XAVO_new();
    check("no pool", pool != NULL);
    if (strcmp(argv[1], "calls") == 0)
        calls(sp, pool);
    else if (strcmp(argv[1], "hang") == 0)
        hang(pool);
    else
        list(sp, pool);
    if (sp != NULL)
        XAVO_free(sp);
    XAVO_pool_free(pool);
    return above;
}
