// fault_sweep_test.cpp - every call on the way of every operation fails once: into the client library,
// for memory, for the mutex. What must come of it is told by one model, `expect`.
#include "operations.h"
#include "support.h"

#include <cstdio>
#include <map>
#include <optional>
#include <sstream>

using namespace test;

namespace {

struct Expected {
    XAVO_ErrorCode code;
    std::string log;
};

// What has gone wrong: the slot, and which call of it this is in the operation.
struct Hit {
    std::string slot;
    unsigned occurrence;
    unsigned of; // how many there are when nothing fails
};

// What an operation learns from a call that did not do its work.
const cimsim_fault FAULTS[] = {{CMPI_RC_ERR_FAILED, nullptr, 0},
                               {CMPI_RC_ERR_FAILED, "failed", 1},
                               {CMPI_RC_ERR_ACCESS_DENIED, "denied", 0},
                               {CMPI_RC_ERR_INVALID_CLASS, nullptr, 1},
                               {CMPI_RC_ERR_NOT_FOUND, "not found", 0},
                               {CMPI_RC_ERR_NOT_FOUND, nullptr, 1},
                               {CMPI_RC_ERR_NOT_SUPPORTED, "no", 1},
                               {CMPI_RC_ERROR, nullptr, 0},
                               {CMPI_RC_OK, nullptr, 0}}; // success, and still nothing is handed out

std::string number(long long n) { return std::to_string(n); }

// A job that cannot be read, or (code UNKNOWN_ERROR, no complaint) that is not there.
Expected no_job(const Operation &op, XAVO_ErrorCode code, int rc, bool absent) {
    const bool with_message = op.reads == Reads::MESSAGE_OR_JOB;
    const std::string reader = with_message ? "XAVO_dig_out_QMjob_id" : "XAVO_dig_out_job_id";
    std::string log = with_message ? "8 XAVO_dig_out_QM_result: st.rc=6\n" : "";
    if (rc != 0)
        log += "8 " + reader + ": st.rc=" + number(rc) + "\n";
    if (absent)
        log += "8 " + reader + ": Job not found\n";
    else
        log +=
            error(op.function, op.name == "CreateRebootJob" ? "XAVO_dig_out_reboot_job_id() returned an error"
                                                            : "XAVO_dig_out_job_id() returned an error");
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

// The model. Nothing: only that nothing is left behind can be said.
std::optional<Expected> expect(const Operation &op, const Hit &hit, const cimsim_fault &fault) {
    const Expected success = {XAVO_NO_ERROR, op.success};
    const XAVO_ErrorCode code = XAVO_translate_error_code(fault.rc);
    const bool failing = fault.rc != CMPI_RC_OK, nothing = fault.with_result == 0;
    const bool last_record = hit.occurrence > hit.of - hit.of / (op.name == "list" ? 3 : 1);
    const std::string slot = hit.slot.substr(hit.slot.find('.') + 1); // whatever the object

    if (slot == "release")
        return success;
    if (hit.slot == "cmciConnect")
        return nothing ? no_handle(op, "unable to open connection to server") : success;
    if (op.reads == Reads::NOTHING)
        return std::nullopt;
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
        return Expected{
            code, says_so ? error(op.function, "st.rc=" + number(fault.rc) + " errorcode=" + number(code)) +
                                NO_MESSAGES
                          : ""};
    }
    switch (op.reads) {
    case Reads::RETURN_VALUE: // no value came back
        return Expected{XAVO_INVALID_VALUE, ""};
    case Reads::MESSAGE_OR_JOB:
    case Reads::MESSAGE:
        if (hit.slot == "CMPIArgs.getArg" && hit.occurrence == 1) {
            if (fault.rc == CMPI_RC_ERR_NOT_FOUND)
                return success; // as it is anyway
            return Expected{op.reads == Reads::MESSAGE ? XAVO_NOT_FOUND : XAVO_UNKNOWN_ERROR,
                            failing ? "8 XAVO_dig_out_QM_result: st.rc=" + number(fault.rc) + "\n" : ""};
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

// One run of an operation, with a handle or without, while something fails.
struct Attempt {
    XAVO_ErrorCode code = -1;
    std::string log;
    std::string struck; // the slot, "" when the plan has not been reached
    unsigned own_calls = 0;
    std::string releases;
    bool invoked = false;                  // the method was called
    std::map<std::string, unsigned> calls; // of each slot, up to the one that was struck
    unsigned long pooled = 0;
};

// Names what a word of the trace releases; empty when it is none of the call's own objects.
std::string released(const std::string &word) {
    static const std::map<std::string, std::string> own = {
        {"CMPIObjectPath#1.release", "path "}, {"CMPIObjectPath#2.release", "target "},
        {"CMPIArgs#1.release", "in "},         {"CMPIArgs#2.release", "out "},
        {"CMPIArray#1.release", "array "},
    };
    const auto found = own.find(word);
    return found == own.end() ? "" : found->second;
}

class Sweep : public testing::Test {
protected:
    // Runs the operation once; client_nth and own_nth say which call is to fail, 0 none.
    Attempt attempt(const Operation &op, bool null_handle, unsigned client_nth, const cimsim_fault &fault,
                    Own kind, unsigned own_nth, bool from_then_on) {
        populate();
        for (const char *job : {"JID_1", "JID_2", "JID_3"}) // so that no null property stays in the pool
            cimsim_set_job_property(job, "MessageArguments", cimsim_string("none"));
        Attempt result;
        ++runs;
        XAVO_Proxy *sp = null_handle ? nullptr : XAVO_new();
        {
            Results results;
            if (op.reads == Reads::NOTHING)
                results.args = printable();
            const bool names_job = op.reads == Reads::JOB || op.reads == Reads::MESSAGE_OR_JOB;
            static char stale[] = "of an earlier call";
            results.job = names_job ? stale : nullptr;
            clear_log();
            cimsim_trace(1);
            const unsigned long start = cimsim_calls(nullptr);
            cimsim_fail(nullptr, client_nth, &fault);
            arm(kind, own_nth, from_then_on);
            const bool prints = op.name == "print";
            if (prints)
                testing::internal::CaptureStdout();
            op.call(sp, &result.code, results);
            if (prints)
                testing::internal::GetCapturedStdout();
            disarm();
            const unsigned long end = cimsim_calls(nullptr);
            const char *hit = cimsim_fault_hit();
            result.struck = hit != nullptr ? hit : struck();
            cimsim_fail(nullptr, 0, nullptr);
            cimsim_trace(0);
            result.log = logged();
            result.own_calls = own_calls();
            read_trace(op, result, client_nth);
            if (sp != nullptr) {
                EXPECT_TRUE(is_unlocked(sp));
                result.pooled = cimsim_pooled();
                if (op.reads < Reads::RECORDS && calls_at_lock() != 0) {
                    EXPECT_EQ(calls_at_lock(), start) << "a call before the lock";
                    EXPECT_EQ(calls_at_unlock(), end) << "a call after the unlock";
                }
            }
            if (results.job == stale) { // left alone only by a call that never began
                EXPECT_EQ(result.code, XAVO_UNABLE_TO_OPEN_CONNECTION);
                results.job = nullptr;
            }
            if (names_job) {
                EXPECT_EQ(results.job != nullptr, result.code == XAVO_NO_ERROR);
            } else if (op.name != "list") {
                EXPECT_FALSE(result.code != XAVO_NO_ERROR && results.handed_out());
            }
        }
        // Nobody can prevent these: an element of an array that could not be set to null when its value was
        // freed is freed once more with the array; one that is not handed out to be freed (the first two are
        // for printing) is forgotten.
        const bool unfreed = op.name == "print" && fault.with_result == 0;
        const bool twice = unfreed && result.struck == "CMPIArray.setElementAt";
        const bool lost =
            unfreed && result.struck == "CMPIArray.getElementAt" && result.calls[result.struck] > 2;
        EXPECT_EQ(cimsim_owned(), (null_handle ? 0U : 1U) + lost) << cimsim_live();
        if (sp != nullptr)
            XAVO_free(sp);
        expect_nothing_left(twice, lost);
        return result;
    }

    Attempt attempt_clean(const Operation &op, bool null_handle) {
        return attempt(op, null_handle, 0, FAULTS[0], Own::ALLOCATION, 0, false);
    }

    // Every operation, with a handle and, where it opens one itself, without.
    template <typename Body>
    void for_each_operation(Body body) {
        for (const Operation &op : operations())
            for (const bool null_handle : {false, true})
                if (!null_handle || op.takes_null) {
                    SCOPED_TRACE(op.name + (null_handle ? " without a handle" : ""));
                    body(op, null_handle);
                }
    }

    void TearDown() override {
        printf("%s: %zu operations, %lu faults in %lu runs, %s\n",
               testing::UnitTest::GetInstance()->current_test_info()->name(), operations().size(), failed,
               runs, HasFailure() ? "FAILED" : "no failure");
    }

    unsigned long runs = 0;
    unsigned long failed = 0;

private:
    static void read_trace(const Operation &op, Attempt &result, unsigned upto) {
        std::istringstream words(cimsim_traced());
        unsigned n = 0;
        for (std::string word; words >> word;) {
            const std::string own = released(word);
            if (own != "target " || op.releases.find("target") != std::string::npos)
                result.releases += own;
            std::string slot = word.substr(0, word.find('='));
            const size_t mark = slot.find('#');
            if (mark != std::string::npos)
                slot = slot.substr(0, mark) + slot.substr(slot.find('.'));
            result.invoked = result.invoked || slot == "CMCIClient.invokeMethod";
            if (upto == 0 || ++n <= upto)
                ++result.calls[slot];
        }
    }
};

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
unsigned long left_to_the_pool(const Operation &op, const Hit &hit, const cimsim_fault &fault) {
    const bool reads = hit.slot == "CMPIArgs.getArg" || hit.slot == "CMPIObjectPath.getKey" ||
                       hit.slot == "CMPIInstance.getProperty";
    const bool no_value = hit.slot == "CMPIArgs.getArg" && hit.occurrence == 1 &&
                          (op.reads == Reads::MESSAGE || op.reads == Reads::MESSAGE_OR_JOB);
    return reads && !no_value && fault.rc != CMPI_RC_OK && fault.with_result != 0 ? 1 : 0;
}

TEST_F(Sweep, NothingFails) {
    for_each_operation([&](const Operation &op, bool null_handle) {
        const Attempt clean = attempt_clean(op, null_handle);
        EXPECT_EQ(clean.code, XAVO_NO_ERROR);
        EXPECT_EQ(clean.log,
                  (null_handle ? "8 XAVO_new_with_uname: using username=[root]\n" : "") + op.success);
        EXPECT_EQ(last_request(), op.request);
        // A string argument's object is left to the list.
        EXPECT_EQ(clean.pooled, op.name == "text" ? 1U : 0U);
        EXPECT_EQ(clean.releases, op.reads < Reads::OBJECT ? op.releases : clean.releases);
    });
}

TEST_F(Sweep, EveryCallIntoTheClientLibraryFails) {
    for_each_operation([&](const Operation &op, bool null_handle) {
        const Attempt clean = attempt_clean(op, null_handle);
        for (const cimsim_fault &fault : FAULTS)
            for (unsigned nth = 1;; ++nth) {
                const Attempt run = attempt(op, null_handle, nth, fault, Own::ALLOCATION, 0, false);
                if (run.struck.empty())
                    break;
                ++failed;
                const Hit hit = {run.struck, run.calls.at(run.struck), clean.calls.at(run.struck)};
                SCOPED_TRACE("call " + number(nth) + ", " + hit.slot + ", rc " + number(fault.rc) +
                             (fault.with_result ? " with a result" : ""));
                if (const auto expected = expect(op, hit, fault)) {
                    EXPECT_EQ(run.code, expected->code);
                    EXPECT_EQ(outcome_lines(op, run.log), outcome_lines(op, expected->log));
                    EXPECT_EQ(run.pooled, null_handle ? 0U : left_to_the_pool(op, hit, fault));
                }
                if (run.invoked) {
                    EXPECT_EQ(run.releases, op.releases);
                } else if (op.reads < Reads::RECORDS) {
                    EXPECT_TRUE(in_early_order(hit, run.releases)) << run.releases;
                }
            }
    });
}

// What a failing allocation comes to. Nothing else than these is allocated by the library itself.
Expected expect_without_memory(const Operation &op, unsigned nth, bool null_handle, bool ends_it) {
    if ((null_handle && nth <= 2) || op.name == "open") // a handle, and its user's name
        return no_handle(op, "out of memory");
    if (op.reads == Reads::JOB || op.reads == Reads::MESSAGE_OR_JOB)
        return no_job(op, XAVO_OUT_OF_MEMORY, 0, false);
    if (op.reads == Reads::MESSAGE)
        return {XAVO_OUT_OF_MEMORY, error(op.function, "sCombinedUserName is NULL")};
    return {op.reads == Reads::RECORDS && ends_it ? XAVO_OUT_OF_MEMORY : XAVO_NO_ERROR, ""};
}

TEST_F(Sweep, EveryAllocationFails) {
    for_each_operation([&](const Operation &op, bool null_handle) {
        const unsigned all = attempt_clean(op, null_handle).own_calls;
        const unsigned handle = null_handle ? 2 : 0;
        const unsigned last = (all - handle) / (op.name == "list" ? 3 : 1);
        for (const bool from_then_on : {false, true})
            for (unsigned nth = 1; nth <= all; ++nth) {
                const Attempt run =
                    attempt(op, null_handle, 0, FAULTS[0], Own::ALLOCATION, nth, from_then_on);
                ++failed;
                SCOPED_TRACE("allocation " + number(nth) + ", " + run.struck);
                const Expected expected =
                    expect_without_memory(op, nth, null_handle, from_then_on || nth > all - last);
                EXPECT_EQ(run.code, expected.code);
                EXPECT_EQ(outcome_lines(op, run.log), expected.log);
            }
    });
}

TEST_F(Sweep, EveryMutexCallFails) {
    for_each_operation([&](const Operation &op, bool null_handle) {
        const unsigned all = attempt(op, null_handle, 0, FAULTS[0], Own::MUTEX, 0, false).own_calls;
        for (unsigned nth = 1; nth <= all; ++nth) {
            const Attempt run = attempt(op, null_handle, 0, FAULTS[0], Own::MUTEX, nth, false);
            ++failed;
            SCOPED_TRACE(run.struck);
            EXPECT_EQ(run.code,
                      run.struck == "pthread_mutex_init" ? XAVO_UNABLE_TO_OPEN_CONNECTION : XAVO_NO_ERROR);
            EXPECT_NE(run.log.find(": ERROR: " + run.struck + "() failed\n"), std::string::npos) << run.log;
        }
    });
}

} // namespace
