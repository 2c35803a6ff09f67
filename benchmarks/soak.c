/* soak.c - calls at random, while workers hang and crash, the broker restarts and calls are cancelled.
 *
 *   soak CALLS|SECONDSs [SEED]   SEED: a number; it decides calls and faults, not their timing
 *
 * Each round makes calls from 1 or from 16 threads, alternately. Between rounds, a forked process compares
 * the journal of the simulated broker with the answers: a method with the effect ANSWERED was invoked once,
 * with NONE never, with UNKNOWN at most once. After each round there are as many descriptors and processes as
 * before. The first quarter of the rounds is the warm-up; after it the memory does not grow. Prints one JSON
 * object; the exit status is 1, with a message, if a check fails. */
#include <cimsim.h>
#include <dirent.h>
#include <inttypes.h>
#include <malloc.h>
#include <poll.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <XAVO_companion.h>

enum { ROUND = 256, THREADS = 16, WORKERS = 4, FAULTS = 8, SETTLE_MS = 20000, FEWEST_ROUNDS = 6 };
static const size_t HEAP_LIMIT = 64U << 10, RESIDENT_LIMIT = 1U << 20;

static const XAVO_NET_INPUT_DATA share = {
    .uname = "operator", .passwd = "secret", .ipaddr = "192.0.2.10", .sharename = "backups", .shareType = 2};

static XAVO_Pool *pool;
static uint64_t seed;
static unsigned int number; /* of the round */

/* Some successive rounds have neither faults nor secrets, so that workers reach their limit of calls. */
static int is_calm(void) { return number / 16 % 4 == 3; }

static struct { int operation, effect; } outcomes[ROUND];
static unsigned long kinds[16], effects[3];

static int failed(const char *what, const char *subject, unsigned long count) {
    fprintf(stderr, "soak: seed %" PRIu64 ", round %u: %s: %s, %lu\n", seed, number, what, subject, count);
    return 1;
}

static void check(const char *what, int holds) {
    if (!holds)
        exit(failed(what, "", 0));
}

/* A number below `end`. */
static unsigned int draw(uint64_t *state, unsigned int end) {
    uint64_t mixed = *state += 0x9e3779b97f4a7c15U; /* splitmix64 */
    mixed = (mixed ^ mixed >> 30) * 0xbf58476d1ce4e5b9U;
    mixed = (mixed ^ mixed >> 27) * 0x94d049bb133111ebU;
    return (unsigned int)((mixed ^ mixed >> 31) % end);
}

static long long now_ms(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (long long)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

/* ---- Calls
 * -------------------------------------------------------------------------------------------------- */

/* Starts the call, and cancels it after the time, unless that is NULL. Returns 0 when no worker is free. */
static int start(const XAVO_Request *request, const struct timespec *time, XAVO_Answer *answer) {
    XAVO_Call *call = XAVO_call_start(pool, request, answer);
    if (call == NULL) {
        const int busy = answer->kind == XAVO_KIND_BUSY;
        if (busy)
            XAVO_answer_free(answer);
        return !busy;
    }
    struct pollfd progress = {XAVO_call_descriptor(call), POLLIN, 0};
    while (XAVO_call_collect(call, answer) == 0)
        if (ppoll(&progress, 1, time, NULL) == 0)
            XAVO_call_cancel(call);
    XAVO_call_free(call);
    return 1;
}

static void call(uint64_t *random, unsigned int index) {
    static char identifier[] = "JID_1";
    static char *identifiers[] = {identifier, NULL};
    static const int operations[] = {XAVO_OP_GET_JOB,    XAVO_OP_LIST_JOBS,  XAVO_OP_LIST_INSTANCES,
                                     XAVO_OP_DELETE_JOB, XAVO_OP_DELETE_JOB, XAVO_OP_SETUP_JOB_QUEUE,
                                     XAVO_OP_GET_JOB,    XAVO_OP_DELETE_JOB, XAVO_OP_INSTALL_FROM_URI};
    XAVO_Request request = {.class_name = "VELK_SoftwareIdentity", .job_ids = identifiers, .share = &share};
    char subject[40]; /* the method's first argument, which the journal records */
    snprintf(subject, sizeof subject, "http://R%u.%u", number, index);
    request.operation = operations[draw(random, sizeof operations / sizeof operations[0])];
    if (draw(random, 100) == 0 && !is_calm())
        request.operation = XAVO_OP_TEST_NETWORK_SHARE; /* its worker ends, because it got a secret */
    request.deadline_ms = draw(random, 32) == 0 ? 1 + draw(random, 20) : 200;
    request.uri = request.start_time = subject;
    request.id = request.operation == XAVO_OP_GET_JOB            ? identifier
                 : request.operation == XAVO_OP_INSTALL_FROM_URI ? "IDENTITY:BIOS"
                                                                 : subject;
    XAVO_Answer answer;
    const int blocks = draw(random, 2) == 0, cancels = draw(random, 8) == 0;
    const struct timespec time = {0, (long)draw(random, 500) * 1000}; /* as long as a call takes */
    if (blocks || !start(&request, cancels ? &time : NULL, &answer))
        XAVO_call(pool, &request, &answer);
    outcomes[index].operation = request.operation;
    outcomes[index].effect = answer.effect;
    __atomic_fetch_add(&kinds[answer.kind], 1, __ATOMIC_RELAXED);
    __atomic_fetch_add(&effects[answer.effect], 1, __ATOMIC_RELAXED);
    XAVO_answer_free(&answer);
}

/* The `part`-th of a round's threads. */
static unsigned int threads;
static void *work(void *part) {
    const unsigned int first = *(const unsigned int *)part;
    uint64_t random = seed ^ ((uint64_t)number << 32 | first << 16);
    for (unsigned int index = first; index < ROUND; index += threads)
        call(&random, index);
    return NULL;
}

/* ---- The broker, in a process of its own
 * ---------------------------------------------------------------------- */

static int compare_journal(void) {
    static unsigned int invoked[ROUND], shares;
    cimsim_journal_entry entry;
    for (unsigned long i = 0; cimsim_journal_at(i, &entry) == 0; ++i) {
        char *tag = strstr(entry.subject, "R"), *point = tag;
        const unsigned long round = tag != NULL ? strtoul(tag + 1, &point, 10) : 0;
        const unsigned long index = tag != NULL && *point == '.' ? strtoul(point + 1, NULL, 10) : ROUND;
        if (strcmp(entry.method, "TestNetworkShare") == 0)
            ++shares;
        else if (entry.method[0] != '\0' && round == number && index < ROUND)
            ++invoked[index];
        else if (entry.method[0] != '\0')
            return failed("a method of another round was invoked", entry.subject, i);
    }
    unsigned int least = 0, most = 0; /* of share tests, for which the journal has no name */
    for (unsigned int i = 0; i < ROUND; ++i) {
        const int effect = outcomes[i].effect;
        const unsigned int lowest = effect == XAVO_EFFECT_ANSWERED, highest = effect != XAVO_EFFECT_NONE;
        if (outcomes[i].operation < XAVO_OP_DELETE_JOB) {
            if (effect == XAVO_EFFECT_UNKNOWN)
                return failed("a read has the effect", "UNKNOWN", i);
        } else if (outcomes[i].operation == XAVO_OP_TEST_NETWORK_SHARE) {
            least += lowest;
            most += highest;
        } else if (invoked[i] < lowest || invoked[i] > highest) {
            return failed("invocations with the effect", XAVO_effect_name(effect), invoked[i]);
        }
    }
    return shares < least || shares > most
               ? failed("too many or too few invocations", "TestNetworkShare", shares)
               : 0;
}

static void plan_faults(void) {
    static const char *const slots[] = {"cmciConnect",
                                        "CMCIClient.getClass",
                                        "CMCIClient.invokeMethod",
                                        "CMCIClient.invokeMethod",
                                        "CMPIArgs.addArg",
                                        "CMCIClient.enumInstances",
                                        "CMCIClient.getInstance",
                                        "CMPIArgs.getArg",
                                        "CMPIArgs.getArgCount"};
    uint64_t random = ~seed ^ number;
    cimsim_reset();
    cimsim_load_demo();
    cimsim_journal(1);
    for (int i = is_calm() ? FAULTS : 0; i < FAULTS; ++i) {
        const char *slot = slots[draw(&random, sizeof slots / sizeof slots[0])];
        const unsigned long nth = 1 + draw(&random, strcmp(slot, "cmciConnect") == 0 ? WORKERS : ROUND / 8);
        cimsim_disrupt(slot, nth, 1 + (int)draw(&random, CIMSIM_RESTART), (int)draw(&random, 2));
    }
}

/* The control functions run in a child, so that what they allocate is not the library's. */
static void steer(int (*run)(void)) {
    const pid_t child = fork();
    if (child == 0)
        _exit(run());
    int status = 0;
    check("no process for the broker", child > 0 && waitpid(child, &status, 0) == child);
    if (status != 0)
        exit(1);
}
static int prepare(void) {
    plan_faults();
    return 0;
}

/* ---- What is left
 * -------------------------------------------------------------------------------------------- */

static unsigned long descriptors(void) {
    unsigned long count = 0;
    DIR *open_ones = opendir("/proc/self/fd");
    while (readdir(open_ones) != NULL)
        ++count;
    closedir(open_ones);
    return count;
}

/* Workers that run: this process is the reaper of its orphans. */
static unsigned long processes(void) {
    while (waitpid(-1, NULL, WNOHANG) > 0)
        ;
    char name[64];
    snprintf(name, sizeof name, "/proc/self/task/%ld/children", (long)getpid());
    FILE *file = fopen(name, "re");
    check("the kernel lists no children", file != NULL);
    unsigned long count = 0;
    for (int c; (c = getc(file)) != EOF;)
        count += c == ' '; /* one after each number */
    fclose(file);
    return count;
}

static size_t resident(void) {
    char line[128], *second = line;
    FILE *file = fopen("/proc/self/statm", "re");
    check("no statm", file != NULL && fgets(line, sizeof line, file) != NULL);
    fclose(file);
    strtoul(line, &second, 10);
    return strtoul(second, NULL, 10) * (size_t)sysconf(_SC_PAGESIZE);
}

/* Waits until all that runs are the workers of the pool. */
static void settle(unsigned long workers) {
    const long long until = now_ms() + SETTLE_MS;
    while (processes() != workers) {
        if (now_ms() > until)
            exit(failed("processes left", "workers", processes()));
        poll(NULL, 0, 1);
    }
}

/* ---- Rounds
 * -------------------------------------------------------------------------------------------------- */

static void run_round(void) {
    steer(prepare);
    threads = number % 2 == 0 ? 1 : THREADS;
    pthread_t running[THREADS];
    unsigned int parts[THREADS];
    for (unsigned int i = 0; i < threads; ++i) {
        parts[i] = i;
        check("no thread", pthread_create(&running[i], NULL, work, &parts[i]) == 0);
    }
    for (size_t i = 0; i < threads; ++i)
        pthread_join(running[i], NULL);
    check("no worker", XAVO_pool_prestart(pool, 0, SETTLE_MS, NULL) == XAVO_NO_ERROR);
    settle(WORKERS);
    steer(compare_journal);
}

/* How much a size grows after the warm-up. */
struct growth {
    const char *message;
    size_t before, most, limit;
};

/* Returns whether the growth stays within its limit. */
static int stays(struct growth *growth, int warms_up, size_t now) {
    if (warms_up)
        growth->before = now;
    if (now > growth->before && now - growth->before > growth->most)
        growth->most = now - growth->before;
    return growth->most <= growth->limit || failed(growth->message, "bytes", growth->most) == 0;
}

static void print_counts(const char *name, const char *(*name_of)(int), const unsigned long *counts,
                         int count) {
    printf(", \"%s\": {", name);
    for (int i = 0; i < count; ++i)
        printf("%s\"%s\": %lu", i > 0 ? ", " : "", name_of(i), counts[i]);
    printf("}");
}

int main(int argc, char **argv) {
    if (argc < 2 || argc > 3)
        return 2;
    char *unit;
    const unsigned long limit = strtoul(argv[1], &unit, 10);
    const long long begun = now_ms();
    seed = argc == 3 ? (uint64_t)strtoull(argv[2], NULL, 10) : (uint64_t)now_ms();
    fprintf(stderr, "soak: seed %" PRIu64 "\n", seed);
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    pool = XAVO_pool_new(&(XAVO_PoolOptions){.workers = WORKERS, .log_level = XAVO_LOG_NOTHING}, NULL);
    check("no pool", pool != NULL);
    const unsigned long before = descriptors();
    struct growth heap = {"the heap grows", 0, 0, HEAP_LIMIT};
    struct growth memory = {"the resident memory grows", 0, 0, RESIDENT_LIMIT};
    unsigned long opened = 0;
    double done = 0;
    for (number = 0; number < FEWEST_ROUNDS || done < 1; ++number) {
        run_round();
        const size_t heap_now = mallinfo2().uordblks, memory_now = resident();
        const double spent = *unit == 's' ? (double)(now_ms() - begun) / 1000 : (double)(number + 1) * ROUND;
        done = spent / (double)limit;
        if (number == 0)
            opened = descriptors();
        if (descriptors() != opened)
            return failed("descriptors left", "", descriptors() - opened);
        const int warms_up = number < FEWEST_ROUNDS / 2 || done < 0.25;
        if (!stays(&heap, warms_up, heap_now) || !stays(&memory, warms_up, memory_now))
            return 1;
    }
    XAVO_pool_free(pool);
    settle(0);
    if (descriptors() != before)
        return failed("descriptors left after the pool", "", descriptors());
    printf("{\"seed\": %" PRIu64 ", \"calls\": %u, \"seconds\": %lld", seed, number * ROUND,
           (now_ms() - begun) / 1000);
    printf(", \"heap_growth\": %zu, \"heap_limit\": %zu", heap.most, heap.limit);
    printf(", \"resident_growth\": %zu, \"resident_limit\": %zu", memory.most, memory.limit);
    print_counts("effects", XAVO_effect_name, effects, 3);
    print_counts("kinds", XAVO_kind_name, kinds, XAVO_KIND_NO_WORKER + 1);
    printf("}\n");
    check("nothing was disrupted", kinds[XAVO_KIND_CRASHED] > 0 && kinds[XAVO_KIND_DEADLINE] > 0 &&
                                       kinds[XAVO_KIND_CANCELLED] > 0 && effects[XAVO_EFFECT_UNKNOWN] > 0);
    return 0;
}
