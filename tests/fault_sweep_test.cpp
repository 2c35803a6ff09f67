// fault_sweep_test.cpp - runs every operation once for each call that it makes, into the client library, for
// memory and on a mutex, and makes that call fail. data/fault_outcomes.txt has the outcomes.
#include "operations.h"
#include "support.h"
#include "table.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <utility>

using namespace test;

namespace {

using std::to_string;

#define ONE(name) +1
constexpr unsigned PROPERTIES = XAVO_JOB_PROPERTIES(ONE); // of a job
#undef ONE

// An operation of the table, called with a handle or, if it opens one itself, with NULL.
struct Case {
    const Operation *op;
    bool null_handle;
    bool opens() const { return null_handle || op->reads == Reads::HANDLE; }
    // The counts of the table; with NULL, also a client and its release, the handle and its user's name, and
    // the handle's mutex.
    Counts counts() const {
        const Counts &given = op->counts;
        return !null_handle ? given : Counts{given.before_lock + 1, given.locked,          given.unlocked + 1,
                                             given.allocations + 2, given.mutex_calls + 2, 0};
    }
};

std::string name_of(const Case &c) {
    std::string name = c.op->name + (c.null_handle ? " without a handle" : "");
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
}

void PrintTo(const Case &c, std::ostream *os) { *os << name_of(c); }

std::vector<Case> cases() {
    std::vector<Case> all;
    for (const Operation &op : operations())
        for (const bool null_handle : {false, true})
            if (!null_handle || op.takes_null)
                all.push_back({&op, null_handle});
    return all;
}

// One run of an operation while something fails.
struct Attempt {
    XAVO_ErrorCode code = -1;
    std::string log;
    std::string failed;      // the slot or function that was made to fail, "" when it was not called
    unsigned occurrence = 0; // among the operation's own calls of this slot
    Counts counts;
    int error = 0; // errno, which was EINTR
};

// Number of calls of a slot among the first `limit` calls of the trace.
unsigned occurrence(const std::string &slot, unsigned limit) {
    std::istringstream words(std::regex_replace(cimsim_traced(), std::regex("#[0-9]+|=[^ ]+"), ""));
    unsigned calls = 0;
    for (std::string word; limit-- > 0 && words >> word;)
        calls += word == slot;
    return calls;
}

// What is to fail: a call into the client library, or one of the library's own; 0 is none.
struct Injected {
    unsigned client_call = 0;
    const Fault *fault = &faults()[0];
    OwnCall kind = OwnCall::ALLOCATION;
    unsigned own_call = 0;
    bool and_all_later = false;
};

// Number of operations whose failures stop the sweep: further failures would show the same fault.
constexpr unsigned ENOUGH = 3;

class Sweep : public testing::TestWithParam<Case> {
protected:
    const Case &c = GetParam();
    const Operation &op = *c.op;
    const Counts expected = c.counts();

    // Returns whether the sweep continues.
    static bool goes_on() { return failing.size() < ENOUGH; }
    void TearDown() override {
        if (HasFailure())
            failing.insert(op.name);
    }

    // Runs the operation once.
    Attempt attempt(const Injected &injected = {}) {
        populate();
        for (const char *job : {"JID_1", "JID_2", "JID_3"}) // so that no null property stays in the pool
            cimsim_set_job_property(job, "MessageArguments", cimsim_string("none"));
        Attempt result;
        ++runs;
        XAVO_Proxy *sp = XAVO_new();
        if (sp == nullptr) {
            ADD_FAILURE() << logged();
            return result;
        }
        {
            Results results;
            create_inputs(op, sp, results);
            if (c.null_handle)
                XAVO_free(std::exchange(sp, nullptr));
            clear_log();
            cimsim_trace(1);
            const unsigned long start = cimsim_calls(nullptr);
            cimsim_fail(nullptr, injected.client_call, injected.fault);
            arm(injected.kind, injected.own_call, injected.and_all_later);
            testing::internal::CaptureStdout();
            errno = EINTR; // as the program's own last call may have left it
            op.call(sp, &result.code, results);
            result.error = errno;
            testing::internal::GetCapturedStdout();
            disarm();
            const unsigned long end = cimsim_calls(nullptr);
            const unsigned long locked = calls_at_lock() == 0 ? end : calls_at_lock();
            const unsigned long unlocked = calls_at_lock() == 0 ? end : calls_at_unlock();
            result.counts = {locked - start,
                             unlocked - locked,
                             end - unlocked,
                             own_calls(OwnCall::ALLOCATION),
                             own_calls(OwnCall::MUTEX),
                             0};
            const char *hit = cimsim_fault_hit();
            result.failed = hit != nullptr ? hit : failed_call();
            cimsim_fail(nullptr, 0, nullptr);
            cimsim_trace(0);
            result.log = logged();
            result.occurrence = occurrence(result.failed, injected.client_call);
            if (sp != nullptr) {
                EXPECT_TRUE(is_unlocked(sp)) << "the handle is still locked: " << result.failed << " failed";
                result.counts.pooled = cimsim_pooled();
            }
            if (!op.job.output.empty()) {
                EXPECT_EQ(results.job != nullptr, result.code == XAVO_NO_ERROR) << "a job without success";
            } else if (op.instances == 1) { // a list holds what could be read
                EXPECT_FALSE(result.code != XAVO_NO_ERROR && results.handed_out())
                    << "a result with an error";
            }
        }
        // Two failures that libxavo cannot prevent: an element that could not be set to null after its value
        // was freed is freed again with the array; an element that cannot be read to be freed (the first two
        // reads are for printing) is leaked.
        const bool unfreed = op.reads == Reads::NOTHING && injected.fault->with_result == 0;
        const bool twice = unfreed && result.failed == "CMPIArray.setElementAt";
        const bool lost = unfreed && result.failed == "CMPIArray.getElementAt" && result.occurrence > 2;
        expect_owned((sp == nullptr ? 0 : 1) + lost);
        if (sp != nullptr)
            XAVO_free(sp);
        if (!HasFailure())
            expect_nothing_left(twice, lost);
        return result;
    }

    // Runs the operation once for each of `all` calls, and makes this call fail: `nth` of `injected` is its
    // number.
    template <class Check>
    void sweep(const std::string &what, unsigned long all, Injected injected, unsigned Injected::*nth,
               Check check) {
        for (unsigned n = 1; n <= all && goes_on() && !HasFailure(); ++n) {
            SCOPED_TRACE(op.where + ", " + op.name + ": " + what + " " + to_string(n) + " fails");
            injected.*nth = n;
            const Attempt run = attempt(injected);
            SCOPED_TRACE("the call is " + run.failed);
            ++injected_faults;
            check(run, n);
        }
    }

    static void SetUpTestSuite() { runs = injected_faults = 0; }
    static void TearDownTestSuite() {
        RecordProperty("operations", std::to_string(operations().size())); // for scripts/figures
        RecordProperty("faults", std::to_string(injected_faults));
        RecordProperty("runs", std::to_string(runs));
        if (!goes_on())
            printf("Sweep: stopped after failures in %u operations; the rest was not run\n", ENOUGH);
        std::vector<std::string> counts;
        for (const Operation &op : operations())
            counts.push_back(counted[op.name]);
        if (updating() && counted.size() == counts.size())
            update("operations.txt", "counts", counts);
    }

    static inline unsigned long runs, injected_faults;
    static inline std::set<std::string> failing;              // operations
    static inline std::map<std::string, std::string> counted; // by operation, when nothing fails
};

INSTANTIATE_TEST_SUITE_P(All, Sweep, testing::ValuesIn(cases()),
                         [](const auto &row) { return name_of(row.param); });

TEST_P(Sweep, SucceedsWhenNothingFails) {
    SCOPED_TRACE(op.where + ", " + op.name);
    if (!goes_on() || (updating() && c.null_handle))
        return;
    const Attempt clean = attempt();
    EXPECT_EQ(numbered(op.number), &op) << "another operation has the number of its stored inputs";
    EXPECT_STREQ(XAVO_EC_to_string(clean.code), "NO_ERROR");
    EXPECT_TRUE(clean.error == EINTR || clean.error == 0) << clean.error; // cleared where a number is read
    EXPECT_TEXT((c.null_handle ? "8 XAVO_new_with_uname: using username=[root]\n" : "") + op.success,
                clean.log);
    const std::string request = op.given == Given::INSTANCE ? "" : without_blanks(last_request());
    EXPECT_TEXT(op.request, op.request.empty() ? request : request.substr(0, op.request.size()));
    if (!c.null_handle)
        counted[op.name] = to_text(clean.counts);
    if (!updating()) {
        EXPECT_TEXT(to_text(expected), to_text(clean.counts)) << "to change the counts see the table's head";
    }
}

// The words that select a row of fault_outcomes.txt, whose head describes them.
using Words = std::set<std::string>;

// Checks the code and the log of a run by the first row of fault_outcomes.txt whose words are all in `words`.
// Returns false if the row allows any.
bool expect_outcome(const Operation &op, const Attempt &run, CMPIrc rc, Words words) {
    words.insert({name_of(op.reads), run.failed, run.failed.substr(run.failed.find('.') + 1)});
    static const std::vector<Row> rows = table("fault_outcomes.txt");
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const Row &each) {
        const Row needed = words_in(each[0]);
        return std::all_of(needed.begin(), needed.end(),
                           [&](const std::string &word) { return words.count(word) != 0; });
    });
    const XAVO_ErrorCode same = XAVO_translate_error_code(rc);
    std::string code = (*row)[1], log = row->size() == 3 ? with_names(op, (*row)[2]) : op.success;
    replace(log, "=RC", "=" + to_string(static_cast<int>(rc)));
    replace(log, "=CODE", "=" + to_string(same));
    code = code == "same" ? XAVO_EC_to_string(same) : code == "success" ? "NO_ERROR" : code;
    if (code == "any")
        return false;
    EXPECT_TEXT(code + "\n" + outcome_lines(op, log),
                XAVO_EC_to_string(run.code) + ("\n" + outcome_lines(op, run.log)))
        << row->where;
    return true;
}

// Number of values left to the pool: a value that comes with a failing status is not released.
unsigned long left_to_the_pool(const Operation &op, const Attempt &run, const Fault &fault) {
    const bool argument = run.failed == "CMPIArgs.getArg",
               message = argument && run.occurrence == 1 &&
                         (op.reads == Reads::MESSAGE || op.reads == Reads::MESSAGE_OR_JOB),
               reads = argument || run.failed == "CMPIObjectPath.getKey" ||
                       run.failed == "CMPIInstance.getProperty";
    return (argument && !fault.works() ? 0 : op.counts.pooled) +
           (reads && !message && fault.rc != CMPI_RC_OK && fault.with_result != 0 ? 1 : 0);
}

TEST_P(Sweep, EndsAsDocumentedWhenAClientLibraryCallFails) {
    for (const Fault &fault : faults()) {
        Injected injected;
        injected.fault = &fault;
        const auto check = [&](const Attempt &run, unsigned) {
            ASSERT_NE(run.failed, "") << "there is no such call";
            const bool last = run.occurrence > PROPERTIES * (op.instances - 1);
            const Words words = {"rc=" + to_string(static_cast<int>(fault.rc)),
                                 fault.rc == CMPI_RC_OK ? "succeeds" : "fails",
                                 fault.with_result != 0 ? "with_result" : "without_result",
                                 run.occurrence == 1 ? "first" : "", last ? "last_record" : ""};
            if (expect_outcome(op, run, fault.rc, words)) {
                EXPECT_EQ(c.null_handle ? 0U : left_to_the_pool(op, run, fault), run.counts.pooled)
                    << "values left to the client library";
            }
            if (op.reads < Reads::RECORDS && run.counts.locked != 0) {
                EXPECT_EQ(run.counts.before_lock, expected.before_lock) << "calls before the lock";
                EXPECT_EQ(run.counts.unlocked, expected.unlocked) << "calls after the unlock";
            }
        };
        sweep("with " + fault.name + " (" + fault.where + "), call into the client library",
              expected.before_lock + expected.locked + expected.unlocked, injected, &Injected::client_call,
              check);
    }
}

TEST_P(Sweep, EndsAsDocumentedWhenAnAllocationFails) {
    const unsigned long last = op.counts.allocations / op.instances;
    for (const bool and_all_later : {false, true}) {
        Injected injected;
        injected.and_all_later = and_all_later;
        const auto check = [&](const Attempt &run, unsigned nth) {
            const bool ends_it = and_all_later || nth > expected.allocations - last;
            expect_outcome(
                op, run, CMPI_RC_OK,
                {"allocation", c.opens() && nth <= 2 ? "handle" : "", ends_it ? "last_record" : ""});
        };
        sweep(and_all_later ? "with all later ones, allocation" : "allocation", expected.allocations,
              injected, &Injected::own_call, check);
    }
}

TEST_P(Sweep, LogsAMutexCallThatFails) {
    Injected injected;
    injected.kind = OwnCall::MUTEX;
    const auto check = [&](const Attempt &run, unsigned) {
        EXPECT_STREQ(XAVO_EC_to_string(run.code),
                     run.failed == "pthread_mutex_init" ? "UNABLE_TO_OPEN_CONNECTION" : "NO_ERROR");
        EXPECT_NE(run.log.find(": ERROR: " + run.failed + "() failed\n"), std::string::npos) << run.log;
    };
    sweep("call on a mutex", expected.mutex_calls, injected, &Injected::own_call, check);
}

} // namespace
