// fault_sweep_test.cpp - runs every operation once for each call that it makes, into the client library, for
// memory and on a mutex, and makes that call fail. `expect` is the model of the outcome.
#include "operations.h"
#include "support.h"
#include "table.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

using namespace test;

namespace {

struct Expected {
    XAVO_ErrorCode code;
    std::string log;
};

// The call that failed: its slot, and which call of the slot this is in the operation.
struct Hit {
    std::string slot;
    unsigned occurrence; // among the operation's own calls
};

#define ONE(name) +1
constexpr unsigned PROPERTIES = XAVO_JOB_PROPERTIES(ONE); // of a job
#undef ONE

std::string number(long long n) { return std::to_string(n); }

// The outcome when the job cannot be read, or is `absent` from the outputs.
Expected no_job(const Operation &op, XAVO_ErrorCode code, int rc, bool absent) {
    const bool with_message = op.reads == Reads::MESSAGE_OR_JOB;
    std::string log = with_message ? "8 XAVO_dig_out_QM_result: st.rc=6\n" : "";
    if (rc != 0)
        log += "8 " + op.job.reader + ": st.rc=" + number(rc) + "\n";
    if (absent)
        log += "8 " + op.job.reader + ": Job not found\n";
    else
        log += error(op.function, op.job.blamed + "() returned an error");
    if (!with_message)
        log += error(op.function, "errorcode=" + number(code)) + NO_MESSAGES;
    return {code, log};
}

// The outcome when no handle can be opened: XAVO_new_with_uname logs why, then the operation logs its own
// line.
Expected no_handle(const Operation &op, const std::string &why) {
    return {XAVO_UNABLE_TO_OPEN_CONNECTION,
            "2 XAVO_new_with_uname: ERROR: " + why + "\n" +
                (op.takes_null ? error(op.function, "unable to open connection to server") : "")};
}

// Returns whether the call is the read of the message identifier, which is absent when nothing fails.
bool reads_message(const Operation &op, const Hit &hit) {
    return hit.slot == "CMPIArgs.getArg" && hit.occurrence == 1 &&
           (op.reads == Reads::MESSAGE || op.reads == Reads::MESSAGE_OR_JOB);
}

// Returns the expected outcome; nullopt if only "no leaks" can be checked.
std::optional<Expected> expect(const Operation &op, const Hit &hit, const Fault &fault) {
    const Expected success = {XAVO_NO_ERROR, op.success};
    const XAVO_ErrorCode code = XAVO_translate_error_code(static_cast<CMPIrc>(fault.rc));
    const bool failing = fault.rc != CMPI_RC_OK, nothing = fault.with_result == 0;
    const bool last_record = hit.occurrence > PROPERTIES * (op.instances - 1);
    const std::string slot = hit.slot.substr(hit.slot.find('.') + 1); // of any object

    if (slot == "release" || (fault.works() && !reads_message(op, hit)))
        return success;
    if (hit.slot == "cmciConnect")
        return nothing ? no_handle(op, "unable to open connection to server") : success;
    if (op.reads == Reads::NOTHING)
        return Expected{XAVO_NO_ERROR,
                        slot == "setElementAt" && failing
                            ? error("XAVO_free_CMPIArray_content", "setElementAt() call failed")
                            : ""};
    if (hit.slot == "newCMPIObjectPath")
        return Expected{failing ? code : XAVO_UNKNOWN_ERROR, ""};
    if (slot == "addKey" || slot == "addArg")
        return failing ? std::optional<Expected>({code, ""}) : std::nullopt;
    if (hit.slot == "native_new_CMPIArgs")
        return nothing ? Expected{XAVO_OUT_OF_MEMORY,
                                  error(op.function,
                                        hit.occurrence == 1 ? "inarglist is NULL" : "outarglist is NULL")}
                       : success;
    if (hit.slot == "native_new_CMPIArray" || hit.slot == "native_new_CMPIString")
        return nothing || hit.slot == "native_new_CMPIArray" ? Expected{XAVO_OUT_OF_MEMORY, ""} : success;
    if (slot == "setElementAt")
        return failing ? std::optional<Expected>({XAVO_OUT_OF_MEMORY, ""}) : std::nullopt;

    if (hit.slot == "CMCIClient.invokeMethod" && failing) {
        const bool says_so = op.reads == Reads::RETURN_VALUE || op.reads == Reads::JOB;
        return Expected{code, says_so ? error(op.function, "st.rc=" + number(static_cast<int>(fault.rc)) +
                                                               " errorcode=" + number(code)) +
                                            NO_MESSAGES
                                      : ""};
    }
    switch (op.reads) {
    case Reads::RETURN_VALUE: // no value came back
        return Expected{XAVO_INVALID_VALUE, ""};
    case Reads::MESSAGE_OR_JOB:
    case Reads::MESSAGE:
        if (reads_message(op, hit)) {
            if (fault.rc == CMPI_RC_ERR_NOT_FOUND)
                return success; // the same as without a fault
            return Expected{
                op.reads == Reads::MESSAGE ? XAVO_NOT_FOUND : XAVO_UNKNOWN_ERROR,
                failing ? "8 XAVO_dig_out_QM_result: st.rc=" + number(static_cast<int>(fault.rc)) + "\n"
                        : ""};
        }
        if (op.reads == Reads::MESSAGE) // an answer without a message
            return success;
        [[fallthrough]];
    case Reads::JOB:
        if (hit.slot == "CMCIClient.invokeMethod")
            return no_job(op, XAVO_UNKNOWN_ERROR, CMPI_RC_ERR_NOT_FOUND, true);
        if (hit.slot == "CMPIArgs.getArg" && fault.rc == CMPI_RC_ERR_NOT_FOUND)
            return no_job(op, XAVO_UNKNOWN_ERROR, fault.rc, true);
        if (slot == "getCharPtr")
            return nothing ? no_job(op, XAVO_UNKNOWN_ERROR, 0, false) : success;
        return no_job(op, failing ? code : XAVO_UNKNOWN_ERROR, fault.rc, false);
    case Reads::RECORDS:
        if (slot == "hasNext" || slot == "getNext")
            return success; // a shorter list; and these take no status
        if (slot == "getCharPtr")
            return nothing ? Expected{last_record ? XAVO_OUT_OF_MEMORY : XAVO_NO_ERROR,
                                      "2 XAVO_property_to_ntstring: ERROR: getCharPtr() returned NULL\n"}
                           : success;
        if (slot == "getProperty")
            return Expected{last_record ? code : XAVO_NO_ERROR, ""};
        return Expected{code, ""};
    default:
        return Expected{code, ""};
    }
}

// Returns the releases in the trace in the words of Releases; the first string released after the method call
// is the message of its status. Where there is no target, the second path is that of a job.
std::string released(const Operation &op) {
    std::map<std::string, std::string> own = {
        {"CMPIObjectPath#1.release", "path "}, {"CMPIArgs#1.release", "in "},
        {"CMPIArgs#2.release", "out "},        {"CMPIArray#1.release", "array "},
        {"CMPIArgs#2.getArg", "read "},        {"CMPIDateTime#1.release", "returned "},
        {"CMPIString.release", "message "}};
    if (op.releases.at_once == "path in target ")
        own["CMPIObjectPath#2.release"] = "target ";
    std::string all;
    std::istringstream words(cimsim_traced());
    bool invoked = false;
    for (std::string word; words >> word;) {
        invoked |= word == "CMCIClient#1.invokeMethod";
        if (invoked && word.rfind("CMPIString#", 0) == 0)
            word = "CMPIString" + word.substr(word.find('.'));
        if (const auto found = own.find(word); found != own.end()) {
            all += found->second;
            own.erase(found);
        }
    }
    return all;
}

std::string without(std::string text, const std::string &word) {
    const size_t at = text.find(word);
    return at == std::string::npos ? text : text.erase(at, word.size());
}

// An operation of the table, called with a handle or, if it opens one itself, with NULL.
struct Case {
    const Operation *op;
    bool null_handle;
    bool opens() const { return null_handle || op->reads == Reads::HANDLE; }
    // Returns `calls` if the operation opens a temporary handle, which makes this number of calls; else 0.
    unsigned if_null_handle(unsigned calls) const { return null_handle ? calls : 0; }
};

std::string name_of(const Case &c) {
    std::string name = c.op->name + (c.null_handle ? " without a handle" : "");
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
}

void PrintTo(const Case &c, std::ostream *os) { *os << name_of(c); }

// Number of mutex calls: those of the table, and two that create and destroy the mutex of a temporary handle.
unsigned long mutex_calls(const Case &c) { return c.op->counts.mutex_calls + c.if_null_handle(2); }

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
    std::string failed; // the slot or function that was made to fail, "" when it was not called
    Counts counts;
    std::string released;
    bool invoked = false;                  // the method was called
    std::map<std::string, unsigned> calls; // of each slot, up to the one that failed
    int error = 0;                         // errno, which was EINTR
};

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
            static char stale[] = "of an earlier call";
            const bool names_job = !op.job.output.empty();
            results.job = names_job ? stale : nullptr;
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
            result.released = without(without(released(op), "read "), "message ");
            EXPECT_FALSE(freed_in_wrong_order())
                << "XAVO_free must clear the magic, destroy the mutex, release the client, in this order";
            result.calls = traced_calls(injected.client_call);
            result.invoked = traced_calls().count("CMCIClient.invokeMethod") != 0;
            if (sp != nullptr) {
                EXPECT_TRUE(is_unlocked(sp)) << "the handle is still locked: " << result.failed << " failed";
                result.counts.pooled = cimsim_pooled();
            }
            if (results.job == stale) { // unchanged only when no handle could be opened
                EXPECT_EQ(result.code, XAVO_UNABLE_TO_OPEN_CONNECTION);
                results.job = nullptr;
            }
            if (names_job) {
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
        const bool lost =
            unfreed && result.failed == "CMPIArray.getElementAt" && result.calls[result.failed] > 2;
        expect_owned((sp == nullptr ? 0 : 1) + lost);
        if (sp != nullptr)
            XAVO_free(sp);
        if (!HasFailure())
            expect_nothing_left(twice, lost);
        return result;
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

// Returns the order in which an operation that fails before its method call releases its objects. The object
// that could not be completed is released first.
std::string early_order(const Hit &hit) {
    const bool filling = hit.slot == "native_new_CMPIArray" || hit.slot == "native_new_CMPIString" ||
                         hit.slot == "CMPIArray.setElementAt";
    const bool naming = hit.slot == "newCMPIObjectPath" || hit.slot == "CMPIObjectPath.addKey";
    return naming ? "target path " : filling ? "array path in out " : "path target in out array ";
}

// Returns the words of `order` that are in `text`.
std::string in_order(const std::string &order, const std::string &text) {
    std::string kept;
    std::istringstream words(order);
    for (std::string word; words >> word;)
        kept += text.find(word + " ") == std::string::npos ? "" : word + " ";
    return kept;
}

// Number of values left to the pool: a value that comes with a failing status is not released.
unsigned long left_to_the_pool(const Operation &op, const Hit &hit, const Fault &fault) {
    const bool reads = hit.slot == "CMPIArgs.getArg" || hit.slot == "CMPIObjectPath.getKey" ||
                       hit.slot == "CMPIInstance.getProperty";
    const bool untouched = reads && !reads_message(op, hit) && fault.rc != CMPI_RC_OK;
    return (hit.slot == "CMPIArgs.getArg" && !fault.works() ? 0 : op.counts.pooled) +
           (untouched && fault.with_result != 0 ? 1 : 0);
}

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
    if (op.reads < Reads::RECORDS) {
        EXPECT_TEXT(op.releases.at_once + "out ", clean.released);
    }
    Counts expected = op.counts;
    if (c.null_handle) // a client and its release, the handle and its user's name
        expected = {expected.before_lock + 1, expected.locked,          expected.unlocked + 1,
                    expected.allocations + 2, expected.mutex_calls + 2, 0};
    else
        counted[op.name] = to_text(clean.counts);
    if (!updating()) {
        EXPECT_TEXT(to_text(expected), to_text(clean.counts)) << "to change the counts see the table's head";
    }
}

// The method call succeeds the first time, and fails the second time.
TEST_P(Sweep, ReleasesTheReturnedValueInTheDocumentedOrder) {
    SCOPED_TRACE(op.where + ", " + op.name);
    for (const CMPIrc rc : {CMPI_RC_OK, CMPI_RC_ERR_FAILED}) {
        if (op.releases.at_once.empty() || !goes_on())
            continue;
        populate();
        XAVO_Proxy *sp = c.null_handle ? nullptr : XAVO_new();
        Results results;
        XAVO_ErrorCode ec = -1;
        cimsim_answer_return(cimsim_datetime("20990101000000.000000+000"));
        cimsim_answer_status(rc, rc == CMPI_RC_OK ? nullptr : "no");
        cimsim_trace(1);
        arm(OwnCall::ALLOCATION, 0, false);
        op.call(sp, &ec, results);
        disarm();
        cimsim_trace(0);
        if (sp != nullptr) {
            EXPECT_EQ(calls_at_unlock(), cimsim_calls(nullptr)) << "a release after the unlock";
        }
        EXPECT_TEXT(op.releases.at_once + (rc == CMPI_RC_OK ? op.releases.after_success
                                                            : "message " + op.releases.after_failure),
                    released(op));
        if (sp != nullptr)
            XAVO_free(sp);
    }
}

std::string code_and_log(XAVO_ErrorCode code, const std::string &log) {
    return std::string("code ") + XAVO_EC_to_string(code) + "\n" + log;
}

TEST_P(Sweep, EndsAsDocumentedWhenAClientLibraryCallFails) {
    const Counts &counts = op.counts;
    const unsigned long all = counts.before_lock + counts.locked + counts.unlocked + c.if_null_handle(2);
    for (const Fault &planned : faults())
        for (unsigned nth = 1; nth <= all && goes_on() && !HasFailure(); ++nth) {
            SCOPED_TRACE(op.where + ", " + op.name + ": call " + number(nth) +
                         " into the client library fails with " + planned.name + " (" + planned.where + ")");
            Injected injected;
            injected.client_call = nth;
            injected.fault = &planned;
            const Attempt run = attempt(injected);
            ASSERT_NE(run.failed, "") << "there is no such call";
            SCOPED_TRACE("the call is " + run.failed);
            ++injected_faults;
            const Hit hit = {run.failed, run.calls.at(run.failed)};
            if (const auto expected = expect(op, hit, planned)) {
                EXPECT_TEXT(code_and_log(expected->code, outcome_lines(op, expected->log)),
                            code_and_log(run.code, outcome_lines(op, run.log)));
                EXPECT_EQ(c.null_handle ? 0U : left_to_the_pool(op, hit, planned), run.counts.pooled)
                    << "values left to the client library";
            }
            if (nth <= counts.before_lock && counts.locked != 0 && run.counts.locked == 0 &&
                mutex_calls(c) == 2) {
                EXPECT_EQ(run.counts.mutex_calls, 0U) << "it uses the mutex though it failed before the lock";
            }
            if (op.reads < Reads::RECORDS && run.counts.locked != 0) {
                EXPECT_EQ(run.counts.before_lock, c.if_null_handle(1)) << "calls before the lock";
                EXPECT_EQ(run.counts.unlocked, c.if_null_handle(1)) << "calls after the unlock";
            }
            if (run.invoked) {
                EXPECT_TEXT("released: " + op.releases.at_once + "out ", "released: " + run.released);
            } else if (op.reads < Reads::RECORDS) {
                EXPECT_TEXT("released: " + in_order(early_order(hit), run.released),
                            "released: " + run.released);
            }
        }
}

// Returns the expected outcome of a failing allocation. libxavo allocates nothing else.
Expected expect_without_memory(const Case &c, unsigned nth, bool ends_it) {
    const Operation &op = *c.op;
    if (c.opens() && nth <= 2) // a handle, and its user's name
        return no_handle(op, "out of memory");
    if (!op.job.output.empty())
        return no_job(op, XAVO_OUT_OF_MEMORY, 0, false);
    if (op.reads == Reads::MESSAGE)
        return {XAVO_OUT_OF_MEMORY, error(op.function, "sCombinedUserName is NULL")};
    return {op.reads == Reads::RECORDS && ends_it ? XAVO_OUT_OF_MEMORY : XAVO_NO_ERROR, ""};
}

TEST_P(Sweep, EndsAsDocumentedWhenAnAllocationFails) {
    const unsigned long all = op.counts.allocations + c.if_null_handle(2),
                        last = op.counts.allocations / op.instances;
    Injected injected;
    for (const bool and_all_later : {false, true})
        for (unsigned nth = 1; nth <= all && goes_on() && !HasFailure(); ++nth) {
            SCOPED_TRACE(op.where + ", " + op.name + ": allocation " + number(nth) +
                         (and_all_later ? " and all later ones fail" : " fails"));
            injected.own_call = nth;
            injected.and_all_later = and_all_later;
            const Attempt run = attempt(injected);
            ++injected_faults;
            const Expected expected = expect_without_memory(c, nth, and_all_later || nth > all - last);
            EXPECT_TEXT(code_and_log(expected.code, expected.log),
                        code_and_log(run.code, outcome_lines(op, run.log)))
                << "the call is " << run.failed;
        }
}

TEST_P(Sweep, LogsAMutexCallThatFails) {
    Injected injected;
    injected.kind = OwnCall::MUTEX;
    for (unsigned nth = 1; nth <= mutex_calls(c) && goes_on() && !HasFailure(); ++nth) {
        SCOPED_TRACE(op.where + ", " + op.name + ": call " + number(nth) + " on a mutex fails");
        injected.own_call = nth;
        const Attempt run = attempt(injected);
        ++injected_faults;
        EXPECT_STREQ(XAVO_EC_to_string(run.code),
                     run.failed == "pthread_mutex_init" ? "UNABLE_TO_OPEN_CONNECTION" : "NO_ERROR");
        EXPECT_NE(run.log.find(": ERROR: " + run.failed + "() failed\n"), std::string::npos) << run.log;
    }
}

} // namespace
