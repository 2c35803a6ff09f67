// support.h - what the tests share: the captured log, faults in the library's own calls, a controller
// with something on it, and the check that nothing was left behind.
#ifndef XAVO_TESTS_SUPPORT_H
#define XAVO_TESTS_SUPPORT_H

#include "operations.h"
#include "prepare.h"

#include <cimsim.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>
#include <XAVO.h>

namespace test {

// The log since clear_log, a line each: "2 XAVO_free: ERROR: sp is NULL\n" (level, function, text). A
// line in the wrong form (module, prefix, file name) is recorded as "malformed: ...".
std::string logged();
void clear_log();

// Faults in the library's own calls, counted from arm() on. Allocations are calloc, strdup and
// utl_va_cat; mutex calls are pthread_mutex_init, _lock, _unlock and _destroy.
enum class Own { ALLOCATION, MUTEX };
void arm(Own kind, unsigned nth, bool from_then_on); // nth 0: only counts
void disarm();
// The first call that was made to fail ("strdup"), empty if there was none; how many calls of a kind there
// were since arm; and whether a handle whose mutex was destroyed still bore a mark of a live one.
std::string failed_call();
unsigned own_calls(Own kind);
bool marks_kept();
// Calls into the client library at the time of the latest lock and of the latest unlock since arm.
unsigned long calls_at_lock();
unsigned long calls_at_unlock();

// Records what the library does, in order: "  CMPIArgs#1.release" for a call into the client library (it is
// on trace), and for a call of the library's own or a line of the log "NO_ERROR pthread_mutex_lock", with
// what *code is at that moment and, where `job` is given, whether *job is NULL.
void record_steps(const XAVO_ErrorCode *code, char *const *job = nullptr);
std::string steps(); // ends the record

// --update is on the command line: a test whose table it can compute writes it.
bool updating();

// An empty controller with the clock stopped, then: jobs "JID_1", "JID_2" and "JID_3" that wait, the
// identity "BIOS", and the shares that the records below describe. Misuse of the client library is counted.
void populate();

// Compares two texts. A failure shows them from the first line that differs, one below the other, with the
// first different character marked; of a long line only the part around it.
testing::AssertionResult same_text(const char *, const char *, const std::string &expected,
                                   const std::string &actual);
#define EXPECT_TEXT(expected, actual) EXPECT_PRED_FORMAT2(test::same_text, expected, actual)

// What must hold once every handle is freed: no object but those that nobody could keep, no value in a pool,
// no malformed line in the log.
void expect_nothing_left(unsigned long misuses, unsigned long lost = 0);

// A populated controller with a handle open on it. When a test is over the handle is freed, and nothing
// may be left: no object, no value in a pool, no misuse, no call through a locked handle.
class World : public testing::Test {
protected:
    World();
    ~World() override;
    void SetUp() override; // without a handle the test fails at once

    XAVO_Proxy *sp;
    XAVO_ErrorCode ec = -1;
};

// What an operation learns from a call that did not do its work.
struct Fault : cimsim_fault {
    std::string name, where;                                            // of the row: "faults.txt:3"
    bool works() const { return rc == CMPI_RC_OK && with_result != 0; } // with a message all the same
};
const std::vector<Fault> &faults();

// The calls of each slot in the trace; of its first so many calls, if they are limited.
std::map<std::string, unsigned> traced_calls(unsigned limit = 0);

// 1 when the handle's mutex is free.
bool is_unlocked(XAVO_Proxy *sp);

} // namespace test

#endif
