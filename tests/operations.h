// operations.h - every exported operation that can fail, a row each. The sweeps, the edge cases, the
// threads and the fuzzer walk this table.
#ifndef XAVO_TESTS_OPERATIONS_H
#define XAVO_TESTS_OPERATIONS_H

#include <string>
#include <vector>
#include <XAVO.h>

namespace test {

// What an operation is given beforehand and what it hands out. Freed with its objects, so before the
// last handle is.
struct Results {
    CMPIArgs *args = nullptr;         // to be printed
    CMPIInstance *instance = nullptr; // to be read
    char *job = nullptr;
    XAVO_VELK_LifecycleJob *records = nullptr;
    CMPIEnumeration *instances = nullptr;
    CMPIObjectPath *path = nullptr;
    CMPIArray *array = nullptr;

    Results() = default;
    ~Results();
    Results(const Results &) = delete;
    Results &operator=(const Results &) = delete;
    bool handed_out() const { return job || records || instances || path || array; }
};

// How an operation learns its outcome.
enum class Reads {
    RETURN_VALUE,   // the method's return value
    JOB,            // the job that the method names
    MESSAGE_OR_JOB, // a message, or else a job
    MESSAGE,        // a message, or else success
    RECORDS,        // instances turned into records
    OBJECT,         // what the broker or the client library hands out, as it is
    HANDLE,         // a connection
    NOTHING,        // reports none, or not one of the broker's
};

// What is released once the broker was asked, in its order: path, in, target and array first. "read" is
// the first look at the outputs, "returned" the release of an object that the method returned.
struct Releases {
    std::string asked;    // at once
    std::string answered; // then, with a good status
    std::string refused;  // with a failing one
};

// The output that names a job, who reads it, and who is said to have failed when it cannot be read.
struct JobNames {
    std::string output, reader, blamed;
};

// What a call needs that nobody but the broker or the client library can give.
enum class Given {
    NOTHING,
    ARGS,
    INSTANCE,
};

struct Operation {
    unsigned char number; // stays the row's own: stored fuzz inputs name it by this
    std::string name;     // of the row
    std::string function; // the name in its log lines
    Reads reads;
    void (*call)(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, Results &results);
    bool takes_null = false;  // opens a handle of its own for a NULL one
    std::string request = {}; // what it asks the broker, or the beginning of that, without blanks
    std::string success = {}; // the log of a call that succeeds
    Releases releases = {};
    // When nothing fails, as the line of the table says: calls into the client library before the handle is
    // locked, under the lock and after; allocations of the library's own; calls on a mutex.
    std::string counts = {};
    unsigned before_lock = 0, locked = 0, unlocked = 0, allocations = 0, mutexes = 0;
    unsigned pooled = 0; // values left to the client library
    JobNames job = {};
    Given given = Given::NOTHING;
    unsigned instances = 1; // read into records
    std::string where = {}; // "operations.txt:20"
};

// The line of an operation's counts, for printf and scanf.
constexpr const char COUNTS[] =
    "%u before the lock, %u under it, %u after; %u allocations, %u mutex calls, %u pooled\n";

const std::vector<Operation> &operations();
const Operation &operation(const std::string &name);
const Operation *numbered(unsigned number); // NULL: there is none

// Through a handle that is open.
void give(const Operation &op, XAVO_Proxy *sp, Results &results);

// A request as the table compares it.
std::string without_blanks(std::string text);

// The log without the traces that a call writes on its way, whatever becomes of it.
std::string outcome_lines(const Operation &op, const std::string &log);

// The line with which a function says why it failed, and the traces of an answer without messages.
std::string error(const std::string &function, const std::string &text);
extern const std::string NO_MESSAGES;

// An argument list with a reference of two keys, an array and a string in it; to be printed.
CMPIArgs *printable();

// Records with every member set, for a share of this type.
XAVO_BAR_INPUT_DATA full_image(uint16_t share_type);
XAVO_NET_INPUT_DATA full_share(uint16_t share_type);

} // namespace test

#endif
