// Every operation, disrupted at every call into the client library: the worker crashes there, hangs, or loses
// the broker, before the call or after it did its work. The calls end in time, and no method is invoked
// twice.
#include <cimsim.h>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <XAVO_companion.h>

namespace {

constexpr unsigned DEADLINE_MS = 250, LATE_MS = 2000, USUAL_MS = 20000;

const XAVO_BAR_INPUT_DATA image = [] {
    XAVO_BAR_INPUT_DATA data = {};
    strcpy(data.uname, "operator");
    strcpy(data.passwd, "secret");
    strcpy(data.ipaddr, "192.0.2.10");
    strcpy(data.sharename, "backups");
    strcpy(data.imagename, "image");
    strcpy(data.startTime, "NOW");
    data.shareType = 2;
    return data;
}();

const XAVO_NET_INPUT_DATA share = [] {
    XAVO_NET_INPUT_DATA data = {};
    strcpy(data.ipaddr, "192.0.2.10");
    strcpy(data.sharename, "public");
    return data;
}();

// A request that succeeds.
XAVO_Request request(int operation) {
    static char first[] = "JID_1", second[] = "JID_2";
    static char *const ids[] = {first, second, nullptr};
    XAVO_Request made = {};
    made.operation = operation;
    made.id = operation < XAVO_OP_INSTALL_FROM_URI ? "JID_1" : "IDENTITY:BIOS";
    made.class_name = "VELK_SoftwareIdentity";
    made.start_time = "NOW";
    made.job_ids = ids;
    made.uri = "http://192.0.2.20/bios.bin";
    made.reboot_type = "1";
    made.image = &image;
    made.share = &share;
    return made;
}

unsigned invocations() {
    unsigned count = 0;
    cimsim_journal_entry entry;
    for (unsigned long i = 0; cimsim_journal_at(i, &entry) == 0; ++i)
        count += strcmp(entry.operation, "invokeMethod") == 0 ? 1U : 0U;
    return count;
}

unsigned open_descriptors() {
    unsigned count = 0;
    for (int number = 0; number < 1024; ++number)
        count += fcntl(number, F_GETFD) >= 0 ? 1U : 0U;
    return count;
}

long long now_ms() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

struct Outcome {
    std::string text, slot; // "CRASHED NONE"; where it was disrupted, empty if nowhere
    int effect;
    long long late;
    unsigned invoked;
};

// One call on a controller of its own, by a worker of its own.
Outcome disrupted(int operation, unsigned long nth, int what, int after) {
    cimsim_reset();
    if (operation < XAVO_OP_DELETE_JOB) { // little to read: each property is some calls
        cimsim_add_job("JID_1", "one", CIMSIM_NEVER, 1, 0);
        cimsim_add_software_identity("IDENTITY:BIOS", "BIOS", "1.0");
    } else {
        cimsim_load_demo();
    }
    XAVO_PoolOptions options = {};
    options.workers = 1;
    options.emulator = *EMULATOR != '\0' ? EMULATOR : nullptr;
    options.log_level = XAVO_LOG_NOTHING;
    XAVO_Pool *pool = XAVO_pool_new(&options, nullptr);
    XAVO_Request made = request(operation);
    made.deadline_ms = what == CIMSIM_HANG ? DEADLINE_MS : USUAL_MS;
    EXPECT_EQ(XAVO_pool_prestart(pool, 1, 0, nullptr), XAVO_NO_ERROR); // which the deadline need not pay for
    cimsim_journal(1);
    cimsim_disrupt(nullptr, nth, what, after);
    XAVO_Answer answer;
    const long long begun = now_ms();
    XAVO_call(pool, &made, &answer);
    const char *slot = cimsim_fault_hit();
    const Outcome outcome = {std::string(XAVO_kind_name(answer.kind)) + " " + XAVO_effect_name(answer.effect),
                             slot != nullptr ? slot : "", answer.effect,
                             now_ms() - begun - static_cast<long long>(made.deadline_ms), invocations()};
    XAVO_answer_free(&answer);
    XAVO_pool_free(pool);
    return outcome;
}

struct Disruption {
    int what;
    const char *name, *kind; // of a method
};

const Disruption DISRUPTIONS[] = {
    {CIMSIM_CRASH, "crash", "CRASHED"}, {CIMSIM_HANG, "hang", "DEADLINE"}, {CIMSIM_RESTART, "restart", ""}};

class Disrupted : public testing::TestWithParam<int> {};

TEST_P(Disrupted, EndsInTimeAndInvokesOnce) {
    const int operation = GetParam();
    const bool reads = operation < XAVO_OP_DELETE_JOB, all = getenv("XAVO_ALL_DISRUPTIONS") != nullptr;
    unsigned points = 0;
    for (const Disruption &disruption : DISRUPTIONS) {
        if (disruption.what != CIMSIM_CRASH && !all)
            continue;
        for (int after = 0; after < 2; ++after) {
            bool invoking = false;
            for (unsigned long nth = 1;; ++nth, ++points) {
                SCOPED_TRACE(std::string(XAVO_operation_name(operation)) + ": " + disruption.name +
                             (after != 0 ? " after call " : " before call ") + std::to_string(nth));
                const unsigned before = open_descriptors();
                const Outcome outcome = disrupted(operation, nth, disruption.what, after);
                SCOPED_TRACE(outcome.slot);
                // A worker that was given a password releases its client when the call is over.
                if (outcome.slot.empty() || outcome.slot == "CMCIClient.release") {
                    EXPECT_EQ(outcome.text, "NONE ANSWERED");
                    EXPECT_EQ(outcome.invoked, reads ? 0U : 1U);
                    break;
                }
                ASSERT_LT(nth, 1000U);
                EXPECT_TRUE(nth == 1 || open_descriptors() == before); // the first call makes the state
                EXPECT_LT(outcome.late, LATE_MS);
                EXPECT_LE(outcome.invoked, reads ? 0U : 1U);
                EXPECT_TRUE(outcome.effect != XAVO_EFFECT_NONE || outcome.invoked == 0);
                EXPECT_TRUE(outcome.effect != XAVO_EFFECT_ANSWERED || reads || outcome.invoked == 1);
                invoking = invoking || outcome.slot == "CMCIClient.invokeMethod";
                std::string expected = outcome.text; // of a restart: consistent with the journal, as above
                if (reads)
                    expected = disruption.what == CIMSIM_HANG ? "DEADLINE NONE" : "NONE ANSWERED";
                else if (disruption.what != CIMSIM_RESTART)
                    expected = std::string(outcome.slot == "cmciConnect" && disruption.what == CIMSIM_CRASH
                                               ? "NO_BROKER"
                                               : disruption.kind) +
                               (invoking ? " UNKNOWN" : " NONE");
                EXPECT_EQ(outcome.text, expected);
            }
        }
    }
    EXPECT_GT(points, 8U);
}

#define OPERATION(constant, value, name, members) constant,
constexpr int OPERATIONS[] = {XAVO_OPERATIONS(OPERATION)};
INSTANTIATE_TEST_SUITE_P(Every, Disrupted, testing::ValuesIn(OPERATIONS),
                         [](const auto &row) { return std::string(XAVO_operation_name(row.param)); });
#undef OPERATION

// Each function for one operation requests that operation, with its arguments.
TEST(TypedCalls, RequestTheirOperation) {
    static char first[] = "JID_1";
    static char *const ids[] = {first, nullptr};
    struct Row {
        XAVO_ErrorCode (*call)(XAVO_Pool *pool, XAVO_Answer *answer);
        const char *recorded; // the request's operation, class, method and first argument or key
    };
    const Row rows[] = {
        {[](auto *p, auto *a) { return XAVO_list_jobs(p, 0, a); }, "enumInstances VELK_LifecycleJob  "},
        {[](auto *p, auto *a) { return XAVO_get_job(p, "JID_1", 0, a); },
         "getInstance VELK_LifecycleJob  JID_1"},
        {[](auto *p, auto *a) { return XAVO_list_instances(p, "VELK_SoftwareIdentity", 0, a); },
         "enumInstances VELK_SoftwareIdentity  "},
        {[](auto *p, auto *a) { return XAVO_delete_job(p, "JID_1", 0, a); },
         "invokeMethod VELK_JobService DeleteJobQueue JID_1"},
        {[](auto *p, auto *a) { return XAVO_setup_job_queue(p, "NOW", nullptr, ids, 0, a); },
         "invokeMethod VELK_JobService SetupJobQueue NOW"},
        {[](auto *p, auto *a) {
             return XAVO_install_from_uri(p, "http://192.0.2.20/x", "IDENTITY:BIOS", 0, a);
         },
         "invokeMethod VELK_SoftwareInstallationService InstallFromURI http://192.0.2.20/x"},
        {[](auto *p, auto *a) { return XAVO_install_from_software_identity(p, "IDENTITY:BIOS", 0, a); },
         "invokeMethod VELK_SoftwareInstallationService InstallFromSoftwareIdentity "},
        {[](auto *p, auto *a) { return XAVO_create_reboot_job(p, "1", 0, a); },
         "invokeMethod VELK_SoftwareInstallationService CreateRebootJob 1"},
        {[](auto *p, auto *a) { return XAVO_backup_image(p, &image, 0, a); },
         "invokeMethod VELK_QMService BackupImage "},
        {[](auto *p, auto *a) { return XAVO_restore_image(p, &image, 0, a); },
         "invokeMethod VELK_QMService RestoreImage "},
        {[](auto *p, auto *a) { return XAVO_test_network_share(p, &share, 0, a); },
         "invokeMethod VELK_QMService TestNetworkShare "},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.recorded);
        cimsim_reset();
        cimsim_load_demo();
        cimsim_journal(1);
        XAVO_PoolOptions options = {};
        options.emulator = *EMULATOR != '\0' ? EMULATOR : nullptr;
        XAVO_Pool *pool = XAVO_pool_new(&options, nullptr);
        XAVO_Answer answer;
        EXPECT_EQ(row.call(pool, &answer), XAVO_NO_ERROR)
            << (answer.message != nullptr ? answer.message : "");
        std::string last;
        cimsim_journal_entry entry;
        for (unsigned long i = 0; cimsim_journal_at(i, &entry) == 0; ++i)
            if (strcmp(entry.operation, "getClass") != 0) // the probe
                last = std::string(entry.operation) + " " + entry.class_name + " " + entry.method + " " +
                       entry.subject;
        EXPECT_EQ(last.substr(0, strlen(row.recorded)), row.recorded);
        XAVO_answer_free(&answer);
        XAVO_pool_free(pool);
    }
}

} // namespace
