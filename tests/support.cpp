#include "support.h"
#include "table.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <hulmprintf.h>
#include <sstream>
#include <utility>
#include <utl_va_cat.h>

namespace {

std::string log_lines;

// Spin lock of the log: calls on a mutex are counted and fail in this file.
std::atomic_flag log_busy = ATOMIC_FLAG_INIT;

template <typename Body>
void with_log(Body body) {
    while (log_busy.test_and_set(std::memory_order_acquire)) {
    }
    body();
    log_busy.clear(std::memory_order_release);
}

struct Plan {
    bool armed = false;
    test::OwnCall kind = test::OwnCall::ALLOCATION;
    unsigned long nth = 0;
    bool from_then_on = false;
    unsigned seen[2] = {};
    std::string failed; // the first call
    unsigned long at_lock = 0;
    unsigned long at_unlock = 0;
} plan;

struct Steps {
    bool recording = false;
    const XAVO_ErrorCode *code = nullptr;
    char *const *job = nullptr;
    const XAVO_Proxy *made = nullptr; // the handle whose mutex was initialised last
    size_t traced = 0;                // number of characters of the trace that were added to `text`
    std::string text;
} record;

// A call that is repeated at once is one line: "  CMPIArgs#1.addArg (3 times)".
void note_client_calls() {
    std::istringstream words(std::string(cimsim_traced()).substr(record.traced));
    std::string word, next;
    words >> word;
    for (unsigned times = 1; !word.empty(); ++times) {
        if (next.clear(), words >> next; next == word)
            continue;
        record.text += "  " + word + (times > 1 ? " (" + std::to_string(times) + " times)" : "") + "\n";
        word = next;
        times = 0;
    }
    record.traced = strlen(cimsim_traced());
}

// One step of the library's own; `what` may be a line of the log. While this runs it records nothing: its
// own strings are freed, too.
void note_step(const std::string &what) {
    if (!record.recording)
        return;
    record.recording = false;
    note_client_calls();
    if (record.code != nullptr)
        record.text += std::string(XAVO_EC_to_string(*record.code)) + " ";
    if (record.job != nullptr)
        record.text += *record.job == nullptr ? "NULL " : "set ";
    record.text += what + (what.back() == '\n' ? "" : "\n");
    record.recording = true;
}

// The state of a handle that is being opened or freed: its mutex, and how many of its four magic words are
// set.
std::string state_of(const XAVO_Proxy *sp) {
    if (sp == nullptr)
        return "";
    const int magic = (sp->head_magic[0] != 0) + (sp->head_magic[1] != 0) + (sp->tail_magic[0] != 0) +
                      (sp->tail_magic[1] != 0);
    return " initialised=" + std::to_string(sp->mutex_initialised) + " magic=" + std::to_string(magic);
}

const XAVO_Proxy *handle_of(const pthread_mutex_t *mutex) {
    return reinterpret_cast<const XAVO_Proxy *>(reinterpret_cast<const char *>(mutex) -
                                                offsetof(XAVO_Proxy, mutex));
}

// Returns whether this call of the library's own fails. Writes nothing unless armed, for tests with threads.
bool fails_now(test::OwnCall kind, const char *name, const std::string &detail = "") {
    note_step(name + detail);
    if (!plan.armed)
        return false;
    const unsigned seen = ++plan.seen[static_cast<int>(kind)];
    if (kind != plan.kind || plan.nth == 0 || seen < plan.nth || (seen > plan.nth && !plan.from_then_on))
        return false;
    if (plan.failed.empty())
        plan.failed = name;
    return true;
}

} // namespace

// ---- In place of the platform's log and of the library's own calls ----------------------------------

extern "C" {

void hulmprintf(int level, int module, const char *format, ...) {
    char text[2048];
    va_list values;
    va_start(values, format);
    const char *file = va_arg(values, const char *);
    const int line = va_arg(values, int);
    const char *function = va_arg(values, const char *);
    const std::string f = format;
    const bool well_formed = module == 5 && f.rfind("%s,%d,%s: ", 0) == 0 && f.back() == '\n' && line > 0 &&
                             strchr(file, '/') == nullptr && strchr(file, '.') != nullptr &&
                             (level == 2) == (f.rfind("%s,%d,%s: ERROR: ", 0) == 0) &&
                             (level == 2 || level == 8);
    vsnprintf(text, sizeof text, format + strlen("%s,%d,%s: "), values);
    va_end(values);
    const std::string entry =
        (well_formed ? "" : "malformed: ") + std::to_string(level) + " " + function + ": " + text;
    with_log([&] { log_lines += entry; });
    note_step(entry);
}

void *__real_calloc(size_t count, size_t size);
char *__real_strdup(const char *text);
void __real_free(void *memory);
int __real_setenv(const char *name, const char *value, int overwrite);
int __real_pthread_sigmask(int how, const sigset_t *signals, sigset_t *before);
int __real_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attributes);
int __real_pthread_mutex_unlock(pthread_mutex_t *mutex);
int __real_pthread_mutex_destroy(pthread_mutex_t *mutex);

void *__wrap_calloc(size_t count, size_t size) {
    if (count != 1)
        with_log([] { log_lines += "malformed: more than one record\n"; });
    return fails_now(test::OwnCall::ALLOCATION, "calloc") ? nullptr : __real_calloc(count, size);
}

char *__wrap_strdup(const char *text) {
    return fails_now(test::OwnCall::ALLOCATION, "strdup") ? nullptr : __real_strdup(text);
}

void __wrap_free(void *memory) {
    if (memory != nullptr && record.recording) { // what note_step itself frees must not get here
        const XAVO_Proxy *const handle = memory == record.made ? record.made : nullptr;
        note_step("free" + state_of(handle));
        if (handle != nullptr)
            record.made = nullptr;
    }
    __real_free(memory);
}

int __wrap_setenv(const char *name, const char *value, int overwrite) {
    if (record.recording) // else the handle may be gone
        note_step(std::string("setenv ") + name + "=" + value + state_of(record.made));
    return __real_setenv(name, value, overwrite);
}

// Joins all strings, as the platform's function does.
char *__wrap_utl_va_cat(const char *first, ...) {
    if (fails_now(test::OwnCall::ALLOCATION, "utl_va_cat"))
        return nullptr;
    va_list rest;
    va_start(rest, first);
    std::string joined = first;
    while (const char *next = va_arg(rest, const char *))
        joined += next;
    va_end(rest);
    return __real_strdup(joined.c_str());
}

// Checks that the library blocks SIGPIPE only.
int __wrap_pthread_sigmask(int how, const sigset_t *signals, sigset_t *before) {
    for (int signal = 1; how == SIG_BLOCK && signal < SIGRTMIN; ++signal)
        if ((sigismember(signals, signal) == 1) != (signal == SIGPIPE))
            with_log([] { log_lines += "malformed: a signal other than SIGPIPE is blocked\n"; });
    return __real_pthread_sigmask(how, signals, before);
}

int __wrap_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attributes) {
    if (record.recording)
        record.made = handle_of(mutex);
    return fails_now(test::OwnCall::MUTEX, "pthread_mutex_init")
               ? ENOMEM
               : __real_pthread_mutex_init(mutex, attributes);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex) {
    if (plan.armed)
        plan.at_lock = cimsim_calls(nullptr);
    // The call is made, and reported as failed: locks and unlocks must stay in balance.
    const bool fails = fails_now(test::OwnCall::MUTEX, "pthread_mutex_lock");
    timespec limit = {};
    clock_gettime(CLOCK_REALTIME, &limit);
    limit.tv_sec += 20;
    const int result = pthread_mutex_timedlock(mutex, &limit);
    if (result == ETIMEDOUT) { // calls under the lock are shorter: a call did not unlock it, or locks twice
        const auto *running = testing::UnitTest::GetInstance()->current_test_info();
        fprintf(stderr, "%s: a handle's mutex was not unlocked within 20 seconds\n",
                running == nullptr ? "no test" : running->name());
        abort();
    }
    return fails ? EINVAL : result;
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t *mutex) {
    if (plan.armed)
        plan.at_unlock = cimsim_calls(nullptr);
    const bool fails = fails_now(test::OwnCall::MUTEX, "pthread_mutex_unlock");
    const int result = __real_pthread_mutex_unlock(mutex);
    return fails ? EPERM : result;
}

int __wrap_pthread_mutex_destroy(pthread_mutex_t *mutex) {
    const bool fails = fails_now(test::OwnCall::MUTEX, "pthread_mutex_destroy", state_of(handle_of(mutex)));
    const int result = __real_pthread_mutex_destroy(mutex);
    return fails ? EBUSY : result;
}

} // extern "C"

namespace test {

std::string logged() {
    std::string copy;
    with_log([&] { copy = log_lines; });
    return copy;
}

void clear_log() {
    with_log([] { log_lines.clear(); });
}

void arm(OwnCall kind, unsigned long nth, bool from_then_on) {
    plan = Plan();
    plan.kind = kind;
    plan.nth = nth;
    plan.from_then_on = from_then_on;
    plan.armed = true;
}

void disarm() { plan.armed = false; }
std::string failed_call() { return plan.failed; }
unsigned own_calls(OwnCall kind) { return plan.seen[static_cast<int>(kind)]; }
unsigned long calls_at_lock() { return plan.at_lock; }
unsigned long calls_at_unlock() { return plan.at_unlock; }

void record_steps(const XAVO_ErrorCode *code, char *const *job) {
    cimsim_trace(1);
    record = Steps();
    record.code = code;
    record.job = job;
    record.recording = true;
}

std::string steps() {
    record.recording = false;
    note_client_calls();
    cimsim_trace(0);
    return record.text;
}

bool updating() {
    const std::vector<std::string> arguments = testing::internal::GetArgvs();
    return std::find(arguments.begin(), arguments.end(), "--update") != arguments.end();
}

testing::AssertionResult same_text(const char *, const char *, const std::string &expected,
                                   const std::string &actual) {
    if (expected == actual)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << difference(expected, actual);
}

void populate() {
    cimsim_reset();
    cimsim_count_misuse(1);
    cimsim_freeze_time(1);
    for (const char *job : {"JID_1", "JID_2", "JID_3"})
        cimsim_add_job(job, "waiting", CIMSIM_NEVER, 10, 0);
    cimsim_add_software_identity("BIOS", nullptr, nullptr);
    for (unsigned type = 0; type <= 6; ++type)
        cimsim_add_share("192.0.2.10", "share", type, type == 0 ? nullptr : "user", "secret");
}

const std::vector<Fault> &faults() {
    static const std::vector<Row> rows = table("faults.txt");
    static std::vector<Fault> all;
    for (size_t i = all.size(); i < rows.size(); ++i)
        all.push_back({{static_cast<CMPIrc>(std::stol(rows[i][1])),
                        rows[i][2].empty() ? nullptr : rows[i][2].c_str(), rows[i][3] == "1"},
                       rows[i][0],
                       rows[i].where});
    return all;
}

bool is_unlocked(XAVO_Proxy *sp) {
    if (pthread_mutex_trylock(&sp->mutex) != 0)
        return false;
    return __real_pthread_mutex_unlock(&sp->mutex) == 0;
}

std::string live_objects() {
    const std::string all = cimsim_live();
    const size_t end = all.find(' ', 200);
    return "live objects: " + (end == std::string::npos ? all : all.substr(0, end) + " and more");
}

void expect_owned(unsigned long expected) {
    static struct Leaks {
        unsigned found = 0;
        ~Leaks() {
            found > 3 ? printf("Leaks: %u further checks found objects that were not released\n", found - 3)
                      : 0;
        }
    } leaks;
    const auto *running = testing::UnitTest::GetInstance()->current_test_info();
    if (cimsim_owned() != expected && ++leaks.found <= 3)
        ADD_FAILURE_AT(running->file(), running->line())
            << cimsim_owned() << " objects are not released, expected " << expected << "; " << live_objects();
}

void expect_nothing_left(unsigned long misuses, unsigned long lost) {
    expect_owned(lost);
    EXPECT_EQ(cimsim_pooled(), 0U) << live_objects();
    EXPECT_EQ(cimsim_misuses(), misuses) << cimsim_last_misuse();
    EXPECT_EQ(logged().find("malformed"), std::string::npos) << logged();
}

WithHandle::WithHandle() : sp((populate(), XAVO_new())) { clear_log(); }

void WithHandle::SetUp() { ASSERT_NE(sp, nullptr) << logged(); }

WithHandle::~WithHandle() {
    disarm();
    if (sp == nullptr)
        return;
    EXPECT_TRUE(is_unlocked(sp));
    XAVO_free(sp);
    expect_nothing_left(0);
}

} // namespace test
