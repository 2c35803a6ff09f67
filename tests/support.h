// support.h - used by all tests: the captured log, faults in the library's own calls, the record of steps, a
// populated controller, and the check for leaks.
#ifndef XAVO_TESTS_SUPPORT_H
#define XAVO_TESTS_SUPPORT_H

#include "operations.h"
#include "prepare.h"

#include <cimsim.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>
#include <XAVO.h>

namespace test {

// Returns the log since clear_log, one line for each record: "2 XAVO_free: ERROR: sp is NULL\n" (level,
// function, text). A line in the wrong form (module, prefix, file name) is recorded as "malformed: ...".
std::string logged();
void clear_log();

// Faults in the library's own calls, counted from arm() on. Allocations are calloc, strdup and
// utl_va_cat; mutex calls are pthread_mutex_init, _lock, _unlock and _destroy.
enum class OwnCall { ALLOCATION, MUTEX };
void arm(OwnCall kind, unsigned long nth, bool from_then_on); // nth 0: only counts
void disarm();
// The first call that failed ("strdup"), or ""; the number of calls of a kind since arm.
std::string failed_call();
unsigned own_calls(OwnCall kind);
// Number of calls into the client library before the latest lock and the latest unlock since arm.
unsigned long calls_at_lock();
unsigned long calls_at_unlock();

// Records the steps of the library in their order. A call into the client library, taken from the
// simulator's trace, is "  CMPIArgs#1.release". A call of the library's own is "NO_ERROR NULL
// pthread_mutex_lock": the name of *code at that moment; "NULL" or "set" for *job, only if `job` is given;
// the call. A line of the log is recorded in the same way.
void record_steps(const XAVO_ErrorCode *code, char *const *job = nullptr);
std::string steps(); // ends the record

// Returns whether --update is on the command line: tests then write the tables that they can compute.
bool updating();

// Resets the simulator and stops its clock; adds the waiting jobs "JID_1", "JID_2" and "JID_3", the software
// identity "BIOS", and the shares of full_image and full_share. Misuse of the client library is counted.
void populate();

// Compares two texts; a failure shows their difference (table.h).
testing::AssertionResult same_text(const char *, const char *, const std::string &expected,
                                   const std::string &actual);
#define EXPECT_TEXT(expected, actual) EXPECT_PRED_FORMAT2(test::same_text, expected, actual)

// Returns the names of the objects that are not released, for a failure; of many, the first ones.
std::string live_objects();

// Checks the number of objects that are not released. Reports only the first three leaks, each with the file
// and line of the running test: the tests after a leak of a common function find the same one. The program's
// last line of output is the number of the others.
void expect_owned(unsigned long expected);

// Checks, once every handle is freed: `lost` leaked objects, no value in a pool, `misuses` misuses, no
// malformed line in the log.
void expect_nothing_left(unsigned long misuses, unsigned long lost = 0);

// A populated controller and an open handle. After each test the handle must be unlocked; it is freed, and
// nothing may be leaked.
class WithHandle : public testing::Test {
protected:
    WithHandle();
    ~WithHandle() override;
    void SetUp() override; // without a handle the test fails at once

    XAVO_Proxy *sp;
    XAVO_ErrorCode ec = -1;
};

// How an injected fault makes a call fail.
struct Fault : cimsim_fault {
    std::string name, where;                                            // of the row: "faults.txt:3"
    bool works() const { return rc == CMPI_RC_OK && with_result != 0; } // success with a message
};
const std::vector<Fault> &faults();

// Returns whether the handle's mutex is unlocked.
bool is_unlocked(XAVO_Proxy *sp);

} // namespace test

#endif
