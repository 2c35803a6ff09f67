// fault_sweep_test.cpp - every call on the way of every operation fails once: into the client library,
// for memory, for the mutex. What must come of it is told by one model, `expect`.
#include "operations.h"
#include "support.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <map>
#include <optional>
#include <sstream>
#include <utility>
#include <XAVO_companion.h>

using namespace test;

namespace {

struct Expected {
    XAVO_ErrorCode code;
    std::string log;
};

// What has gone wrong: the slot, and which call of it this is in the operation.
struct Hit {
    std::string slot;
    unsigned occurrence; // among the operation's own calls
    bool guards;         // it is the guard's own, and changes nothing
};

constexpr unsigned PROPERTIES = 10; // of a job

std::string number(long long n) { return std::to_string(n); }

// A job that cannot be read, or (code UNKNOWN_ERROR, no complaint) that is not there.
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

// A handle that could not be opened: XAVO_new_with_uname says why, and a call that needed one says so.
Expected no_handle(const Operation &op, const std::string &why) {
    return {XAVO_UNABLE_TO_OPEN_CONNECTION,
            "2 XAVO_new_with_uname: ERROR: " + why + "\n" +
                (op.takes_null ? error(op.function, "unable to open connection to server") : "")};
}

// The first look at the outputs, which have no message when nothing fails.
bool reads_message(const Operation &op, const Hit &hit) {
    return hit.slot == "CMPIArgs.getArg" && hit.occurrence == 1 &&
           (op.reads == Reads::MESSAGE || op.reads == Reads::MESSAGE_OR_JOB);
}

// The model. Nothing: only that nothing is left behind can be said.
std::optional<Expected> expect(const Operation &op, const Hit &hit, const Fault &fault) {
    const Expected success = {XAVO_NO_ERROR, op.success};
    const XAVO_ErrorCode code = XAVO_translate_error_code(static_cast<CMPIrc>(fault.rc));
    const bool failing = fault.rc != CMPI_RC_OK, nothing = fault.with_result == 0;
    const bool last_record = hit.occurrence > PROPERTIES * (op.instances - 1);
    const std::string slot = hit.slot.substr(hit.slot.find('.') + 1); // whatever the object

    if (slot == "release" || hit.guards || (fault.works() && !reads_message(op, hit)))
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
                return success; // as it is anyway
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

// What the record says of a call's own objects, in the words of Releases, and of the first string after the
// method was called, the message of its status. Where there is no target, the second path is the one of a
// job that was read.
std::string released(const Operation &op) {
    std::map<std::string, std::string> own = {
        {"CMPIObjectPath#1.release", "path "}, {"CMPIArgs#1.release", "in "},
        {"CMPIArgs#2.release", "out "},        {"CMPIArray#1.release", "array "},
        {"CMPIArgs#2.getArg", "read "},        {"CMPIDateTime#1.release", "returned "},
        {"CMPIString.release", "message "}};
    if (op.releases.asked == "path in target ")
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

// A row, with a handle, a guarded one or, where it opens one itself, none.
struct Case {
    const Operation *op;
    enum { PLAIN, GUARDED, NONE } handle;
    bool null_handle() const { return handle == NONE; }
    bool opens() const { return null_handle() || op->reads == Reads::HANDLE || op->given == Given::LOAN; }
    bool guarded_method() const { return handle == GUARDED && op->reads < Reads::RECORDS; }
    // What a call makes besides its own for a handle of its own.
    unsigned extra(unsigned calls) const { return null_handle() ? calls : 0; }
    // What a guard reads of a method's outputs: those that may be messages, where there are any.
    unsigned read() const { return guarded_method() && !op->job.output.empty() ? 2 : 0; }
    // Calls under the lock: a guard asks for a class, releases it, counts the outputs and reads them.
    unsigned locked() const { return op->locked + (guarded_method() ? 3 + read() : 0); }
};

std::string name_of(const Case &c) {
    const char *const with[] = {"", " through a guard", " without a handle"};
    std::string name = c.op->name + with[c.handle];
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
}

void PrintTo(const Case &c, std::ostream *os) { *os << name_of(c); }

// The lock and the unlock; the making and the end of a handle's mutex.
unsigned mutex_calls(const Case &c) {
    return (c.op->locked != 0 ? 2U : 0U) + (c.opens() ? 2U : 0U) + c.op->mutexes;
}

std::vector<Case> cases() {
    std::vector<Case> all;
    for (const Operation &op : operations())
        for (const auto handle : {Case::PLAIN, Case::GUARDED, Case::NONE})
            if (handle == Case::PLAIN || (handle == Case::NONE ? op.takes_null : op.given != Given::LOAN))
                all.push_back({&op, handle});
    return all;
}

// One run of an operation while something fails.
struct Attempt {
    XAVO_ErrorCode code = -1;
    std::string log;
    std::string struck; // the slot or function, "" when the plan has not been reached
    unsigned allocations = 0, mutex_calls = 0;
    unsigned long before_lock = 0, locked = 0, unlocked = 0; // calls into the client library
    std::string released;
    bool invoked = false;                  // the method was called
    std::map<std::string, unsigned> calls; // of each slot, up to the one that was struck
    unsigned long pooled = 0;
    XAVO_Reason reason = {}; // that a guarded handle gives
    int error = 0;           // errno, which was EINTR
};

template <typename Parameter>
class Sweeping : public testing::TestWithParam<Parameter> {
protected:
    // Runs the operation once; client_nth and own_nth say which call is to fail, 0 none.
    Attempt attempt(const Case &c, unsigned client_nth, const Fault &fault, Own kind, unsigned own_nth,
                    bool from_then_on) {
        const Operation &op = *c.op;
        populate();
        settle();
        for (const char *job : {"JID_1", "JID_2", "JID_3"}) // so that no null property stays in the pool
            cimsim_set_job_property(job, "MessageArguments", cimsim_string("none"));
        Attempt result;
        ++runs;
        XAVO_Proxy *sp = XAVO_new();
        if (sp == nullptr) {
            ADD_FAILURE() << logged();
            return result;
        }
        if (c.handle == Case::GUARDED)
            XAVO_guard(sp);
        {
            Results results;
            give(op, sp, results);
            XAVO_forget_reason(sp);
            if (c.null_handle())
                XAVO_free(std::exchange(sp, nullptr));
            static char stale[] = "of an earlier call";
            const bool names_job = !op.job.output.empty();
            results.job = names_job ? stale : nullptr;
            clear_log();
            cimsim_trace(1);
            const unsigned long start = cimsim_calls(nullptr);
            cimsim_fail(nullptr, client_nth, &fault);
            arm(kind, own_nth, from_then_on);
            testing::internal::CaptureStdout();
            errno = EINTR; // as the program's own last call may have left it
            op.call(sp, &result.code, results);
            result.error = errno;
            testing::internal::GetCapturedStdout();
            disarm();
            const unsigned long end = cimsim_calls(nullptr);
            const unsigned long locked = calls_at_lock() == 0 ? end : calls_at_lock();
            const unsigned long unlocked = calls_at_lock() == 0 ? end : calls_at_unlock();
            result.before_lock = locked - start;
            result.locked = unlocked - locked;
            result.unlocked = end - unlocked;
            const char *hit = cimsim_fault_hit();
            result.struck = hit != nullptr ? hit : struck();
            cimsim_fail(nullptr, 0, nullptr);
            cimsim_trace(0);
            result.log = logged();
            result.allocations = own_calls(Own::ALLOCATION);
            result.mutex_calls = own_calls(Own::MUTEX);
            result.released = without(without(released(op), "read "), "message ");
            EXPECT_FALSE(marks_kept());
            result.calls = traced_calls(client_nth);
            result.invoked = traced_calls().count("CMCIClient.invokeMethod") != 0;
            if (sp != nullptr) {
                EXPECT_TRUE(is_unlocked(sp));
                result.pooled = cimsim_pooled();
                XAVO_take_reason(sp, result.code, &result.reason);
            }
            if (results.job == stale) { // left alone only by a call that never began
                EXPECT_EQ(result.code, XAVO_UNABLE_TO_OPEN_CONNECTION);
                results.job = nullptr;
            }
            if (names_job) {
                EXPECT_EQ(results.job != nullptr, result.code == XAVO_NO_ERROR);
            } else if (op.instances == 1) { // a list tells what could be read
                EXPECT_FALSE(result.code != XAVO_NO_ERROR && results.handed_out());
            }
        }
        // Nobody can prevent these: an element of an array that could not be set to null when its value was
        // freed is freed once more with the array; one that is not handed out to be freed (the first two are
        // for printing) is forgotten.
        const bool unfreed = op.reads == Reads::NOTHING && fault.with_result == 0;
        const bool twice = unfreed && result.struck == "CMPIArray.setElementAt";
        const bool lost =
            unfreed && result.struck == "CMPIArray.getElementAt" && result.calls[result.struck] > 2;
        EXPECT_EQ(cimsim_owned(), (sp == nullptr ? 0U : 1U) + lost) << cimsim_live();
        if (sp != nullptr)
            XAVO_free(sp);
        expect_nothing_left(twice, lost);
        return result;
    }

    static void SetUpTestSuite() { runs = failed = 0; }
    static void TearDownTestSuite() {
        Sweeping::RecordProperty("operations", std::to_string(operations().size())); // for scripts/figures
        Sweeping::RecordProperty("faults", std::to_string(failed));
        Sweeping::RecordProperty("runs", std::to_string(runs));
    }

    static inline unsigned long runs, failed;
};

using Sweep = Sweeping<Case>;
using FaultSweep = Sweeping<std::tuple<Case, Fault>>;

INSTANTIATE_TEST_SUITE_P(All, Sweep, testing::ValuesIn(cases()),
                         [](const auto &row) { return name_of(row.param); });
INSTANTIATE_TEST_SUITE_P(All, FaultSweep,
                         testing::Combine(testing::ValuesIn(cases()), testing::ValuesIn(faults())),
                         [](const auto &row) {
                             return name_of(std::get<0>(row.param)) + "_" + std::get<1>(row.param).name;
                         });

// The order in which a call that ends before the method is called releases what it has made. What
// could not be finished goes first.
bool in_early_order(const Hit &hit, const std::string &releases) {
    const bool filling = hit.slot == "native_new_CMPIArray" || hit.slot == "native_new_CMPIString" ||
                         hit.slot == "CMPIArray.setElementAt";
    const bool naming = hit.slot == "newCMPIObjectPath" || hit.slot == "CMPIObjectPath.addKey";
    const std::string order = naming    ? "target path "
                              : filling ? "array path in out "
                                        : "path target in out array ";
    size_t at = 0;
    std::istringstream words(releases);
    for (std::string word; words >> word;) {
        at = order.find(word + " ", at);
        if (at == std::string::npos)
            return false;
    }
    return true;
}

// A value that came back with a failing status is not touched: the pool keeps it.
unsigned long left_to_the_pool(const Operation &op, const Hit &hit, const Fault &fault) {
    const bool reads = hit.slot == "CMPIArgs.getArg" || hit.slot == "CMPIObjectPath.getKey" ||
                       hit.slot == "CMPIInstance.getProperty";
    const bool untouched = reads && !hit.guards && !reads_message(op, hit) && fault.rc != CMPI_RC_OK;
    return (hit.slot == "CMPIArgs.getArg" && !fault.works() ? 0 : op.pooled) +
           (untouched && fault.with_result != 0 ? 1 : 0);
}

TEST_P(Sweep, NothingFails) {
    const Operation &op = *GetParam().op;
    const Attempt clean = attempt(GetParam(), 0, faults()[0], Own::ALLOCATION, 0, false);
    EXPECT_EQ(numbered(op.number), &op) << "another row's stored inputs";
    EXPECT_EQ(clean.code, XAVO_NO_ERROR);
    EXPECT_TRUE(clean.error == EINTR || clean.error == 0) << clean.error; // cleared where a number is read
    EXPECT_EQ(clean.log, (GetParam().null_handle() ? "8 XAVO_new_with_uname: using username=[root]\n" : "") +
                             op.success);
    const std::string request = op.given == Given::INSTANCE ? "" : last_request();
    EXPECT_EQ(op.request.empty() ? request : request.substr(0, op.request.size()), op.request);
    EXPECT_EQ(clean.pooled, GetParam().null_handle() ? 0 : op.pooled);
    if (op.reads < Reads::RECORDS) {
        EXPECT_EQ(clean.released, op.releases.asked + "out ");
    }
    EXPECT_EQ(clean.before_lock, op.before_lock + GetParam().extra(1));
    EXPECT_EQ(clean.locked, GetParam().locked());
    EXPECT_EQ(clean.unlocked, op.unlocked + GetParam().extra(1));
    EXPECT_EQ(clean.allocations, op.allocations + GetParam().extra(2));
    EXPECT_EQ(clean.mutex_calls, mutex_calls(GetParam()));
}

// With a good status, and with a failing one.
TEST_P(Sweep, WhatTheMethodReturnedIsReleasedInItsPlace) {
    const Operation &op = *GetParam().op;
    for (const CMPIrc rc : {CMPI_RC_OK, CMPI_RC_ERR_FAILED}) {
        if (op.releases.asked.empty())
            continue;
        populate();
        XAVO_Proxy *sp = GetParam().null_handle() ? nullptr : XAVO_new();
        if (GetParam().handle == Case::GUARDED)
            XAVO_guard(sp);
        Results results;
        XAVO_ErrorCode ec = -1;
        cimsim_answer_return(cimsim_datetime("20990101000000.000000+000"));
        cimsim_answer_status(rc, rc == CMPI_RC_OK ? nullptr : "no");
        cimsim_trace(1);
        arm(Own::ALLOCATION, 0, false);
        op.call(sp, &ec, results);
        disarm();
        cimsim_trace(0);
        if (sp != nullptr) { // all of it under the lock
            EXPECT_EQ(calls_at_unlock(), cimsim_calls(nullptr));
        }
        EXPECT_EQ(released(op), op.releases.asked + (rc == CMPI_RC_OK ? op.releases.answered
                                                                      : "message " + op.releases.refused));
        if (sp != nullptr)
            XAVO_free(sp);
    }
}

// What the reason of a guarded handle is.
int expect_reason(const Attempt &run, const Fault &fault) {
    if (run.code == XAVO_NO_ERROR)
        return XAVO_REASON_NONE;
    const std::string asked[] = {"CMCIClient.getClass", "CMCIClient.getInstance", "CMCIClient.enumInstances",
                                 "CMCIClient.invokeMethod"};
    if (std::none_of(std::begin(asked), std::end(asked),
                     [&](const std::string &slot) { return run.calls.count(slot) != 0; }))
        return XAVO_REASON_NOTHING_ASKED;
    const bool exchange = std::find(std::begin(asked), std::end(asked), run.struck) != std::end(asked);
    if (!exchange || (fault.rc == CMPI_RC_OK && run.struck != asked[0]))
        return XAVO_REASON_ANSWER_UNUSABLE;
    return fault.rc > CMPI_RC_ERR_FAILED || fault.rc < CMPI_RC_OK ? XAVO_REASON_BROKER
           : run.struck == asked[3]                               ? XAVO_REASON_OUTCOME_UNKNOWN
                                                                  : XAVO_REASON_CONNECTION_LOST;
}

TEST_P(FaultSweep, EveryCallIntoTheClientLibraryFails) {
    const auto &[c, planned] = GetParam();
    const Operation &op = *c.op;
    const unsigned all = op.before_lock + c.locked() + op.unlocked + c.extra(2);
    for (unsigned nth = 1; nth <= all; ++nth) {
        const Attempt run = attempt(c, nth, planned, Own::ALLOCATION, 0, false);
        ASSERT_NE(run.struck, "") << nth;
        ++failed;
        Hit hit = {run.struck, run.calls.at(run.struck),
                   run.struck == "CMPIArgs.getArgCount" && c.guarded_method()};
        SCOPED_TRACE("call " + number(nth) + ", " + hit.slot);
        Fault fault = planned;
        const bool asked = hit.slot == "CMCIClient.getClass" && !fault.works();
        if (asked) { // then the method is not called, and fails with what was answered
            EXPECT_FALSE(run.invoked);
            hit.slot = "CMCIClient.invokeMethod";
            fault.rc = fault.rc == CMPI_RC_OK ? CMPI_RC_ERR_FAILED : fault.rc;
        }
        if (hit.slot == "CMPIArgs.getArg") {
            hit.guards = hit.occurrence <= c.read();
            hit.occurrence -= c.read();
        }
        if (const auto expected = expect(op, hit, fault)) {
            EXPECT_EQ(run.code, expected->code);
            EXPECT_EQ(outcome_lines(op, run.log), outcome_lines(op, expected->log));
            EXPECT_EQ(run.pooled, c.null_handle() ? 0U : left_to_the_pool(op, hit, fault));
            if (c.handle == Case::GUARDED) {
                const int kind = expect_reason(run, planned);
                const bool refused = kind != XAVO_REASON_NONE && kind != XAVO_REASON_NOTHING_ASKED &&
                                     kind != XAVO_REASON_ANSWER_UNUSABLE;
                EXPECT_EQ(XAVO_reason_to_string(run.reason.kind), std::string(XAVO_reason_to_string(kind)));
                EXPECT_EQ(run.reason.rc, refused ? fault.rc : CMPI_RC_OK);
                EXPECT_STREQ(run.reason.message, refused && fault.message != nullptr ? fault.message : "");
            }
        }
        if (nth <= op.before_lock && c.locked() != 0 && run.locked == 0 && mutex_calls(c) == 2) {
            EXPECT_EQ(run.mutex_calls, 0U); // nothing to ask, nobody to wait for
        }
        if (op.reads < Reads::RECORDS && run.locked != 0) {
            EXPECT_EQ(run.before_lock, c.extra(1));
            EXPECT_EQ(run.unlocked, c.extra(1));
        }
        if (run.invoked || asked) {
            EXPECT_EQ(run.released, op.releases.asked + "out ");
        } else if (op.reads < Reads::RECORDS) {
            EXPECT_TRUE(in_early_order(hit, run.released)) << run.released;
        }
    }
}

// What a failing allocation comes to. Nothing else than these is allocated by the library itself.
Expected expect_without_memory(const Case &c, unsigned nth, bool ends_it) {
    const Operation &op = *c.op;
    if (c.opens() && nth <= 2) // a handle, and its user's name
        return no_handle(op, "out of memory");
    if (op.given == Given::LOAN && nth == 3) // its guard
        return {XAVO_OUT_OF_MEMORY, ""};
    if (!op.job.output.empty())
        return no_job(op, XAVO_OUT_OF_MEMORY, 0, false);
    if (op.reads == Reads::MESSAGE)
        return {XAVO_OUT_OF_MEMORY, error(op.function, "sCombinedUserName is NULL")};
    return {op.reads == Reads::RECORDS && ends_it ? XAVO_OUT_OF_MEMORY : XAVO_NO_ERROR, ""};
}

TEST_P(Sweep, EveryAllocationFails) {
    const Operation &op = *GetParam().op;
    const unsigned all = op.allocations + GetParam().extra(2), last = op.allocations / op.instances;
    for (const bool from_then_on : {false, true})
        for (unsigned nth = 1; nth <= all; ++nth) {
            const Attempt run = attempt(GetParam(), 0, faults()[0], Own::ALLOCATION, nth, from_then_on);
            ++failed;
            SCOPED_TRACE("allocation " + number(nth) + ", " + run.struck);
            const Expected expected =
                expect_without_memory(GetParam(), nth, from_then_on || nth > all - last);
            EXPECT_EQ(run.code, expected.code);
            EXPECT_EQ(outcome_lines(op, run.log), expected.log);
        }
}

TEST_P(Sweep, EveryMutexCallFails) {
    for (unsigned nth = 1; nth <= mutex_calls(GetParam()); ++nth) {
        const Attempt run = attempt(GetParam(), 0, faults()[0], Own::MUTEX, nth, false);
        ++failed;
        SCOPED_TRACE(run.struck);
        EXPECT_EQ(run.code,
                  run.struck == "pthread_mutex_init" ? XAVO_UNABLE_TO_OPEN_CONNECTION : XAVO_NO_ERROR);
        if (GetParam().op->mutexes == 0) {
            EXPECT_NE(run.log.find(": ERROR: " + run.struck + "() failed\n"), std::string::npos) << run.log;
        }
    }
}

} // namespace
