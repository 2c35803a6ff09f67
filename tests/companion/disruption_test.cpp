// Every operation, disrupted at every call into the client library: the worker crashes there, hangs, or loses
// the broker, before the call or after it did its work. The calls end in time, and no method is invoked
// twice.
#include "support.h"

#include <cimsim.h>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

using test::now_ms;
using test::open_descriptors;

namespace {

constexpr unsigned DEADLINE_MS = 250, USUAL_MS = 20000;
constexpr int64_t LATE_MS = 2000;

unsigned invocations() {
    unsigned count = 0;
    cimsim_journal_entry entry;
    for (unsigned long i = 0; cimsim_journal_at(i, &entry) == 0; ++i)
        count += strcmp(entry.operation, "invokeMethod") == 0 ? 1U : 0U;
    return count;
}

struct Outcome {
    std::string kind_and_effect, slot; // "CRASHED NONE"; where it was disrupted, empty if nowhere
};

// Makes one call on a new controller with a new worker. Checks that it ends in time, and that its effect
// agrees with the journal.
Outcome disrupted(int operation, unsigned long nth, int what, int after) {
    cimsim_reset();
    if (operation < XAVO_OP_DELETE_JOB) { // a small controller: reading a property takes several calls
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
    XAVO_Request made =
        test::request(operation, operation < XAVO_OP_INSTALL_FROM_URI ? "JID_1" : "IDENTITY:BIOS");
    made.deadline_ms = what == CIMSIM_HANG ? DEADLINE_MS : USUAL_MS;
    EXPECT_EQ(XAVO_pool_prestart(pool, 1, 0, nullptr), XAVO_NO_ERROR); // before the call, because it is slow
    cimsim_journal(1);
    cimsim_disrupt(nullptr, nth, what, after);
    XAVO_Answer answer;
    const int64_t begun = now_ms();
    XAVO_call(pool, &made, &answer);
    EXPECT_LT(now_ms() - begun - static_cast<int64_t>(made.deadline_ms), LATE_MS);
    const unsigned invoked = invocations();
    EXPECT_LE(invoked, operation < XAVO_OP_DELETE_JOB || answer.effect == XAVO_EFFECT_NONE ? 0U : 1U);
    EXPECT_TRUE(answer.effect != XAVO_EFFECT_ANSWERED || operation < XAVO_OP_DELETE_JOB || invoked == 1);
    const char *slot = cimsim_fault_hit();
    const Outcome outcome = {std::string(XAVO_kind_name(answer.kind)) + " " + XAVO_effect_name(answer.effect),
                             slot != nullptr ? slot : ""};
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
                const int before = open_descriptors();
                const Outcome outcome = disrupted(operation, nth, disruption.what, after);
                SCOPED_TRACE(outcome.slot);
                // A worker that was given a password releases its client when the call is over.
                if (outcome.slot.empty() || outcome.slot == "CMCIClient.release") {
                    EXPECT_EQ(outcome.kind_and_effect, "NONE ANSWERED");
                    break;
                }
                ASSERT_LT(nth, 1000U);
                EXPECT_TRUE(nth == 1 || open_descriptors() == before); // the first call opens the state
                invoking = invoking || outcome.slot == "CMCIClient.invokeMethod";
                // After a restart any kind is valid; the journal is checked above.
                std::string expected = outcome.kind_and_effect;
                if (reads)
                    expected = disruption.what == CIMSIM_HANG ? "DEADLINE NONE" : "NONE ANSWERED";
                else if (disruption.what != CIMSIM_RESTART)
                    expected = std::string(outcome.slot == "cmciConnect" && disruption.what == CIMSIM_CRASH
                                               ? "NO_BROKER"
                                               : disruption.kind) +
                               (invoking ? " UNKNOWN" : " NONE");
                EXPECT_EQ(outcome.kind_and_effect, expected);
            }
        }
    }
    EXPECT_GT(points, 8U);
}

INSTANTIATE_TEST_SUITE_P(Every, Disrupted, testing::ValuesIn(test::OPERATIONS),
                         [](const auto &row) { return std::string(XAVO_operation_name(row.param)); });

} // namespace
