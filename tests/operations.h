// operations.h - the table of all exported operations that can fail. The sweeps, the edge cases, the tests
// with threads and the fuzzer iterate over it.
#ifndef XAVO_TESTS_OPERATIONS_H
#define XAVO_TESTS_OPERATIONS_H

#include <string>
#include <vector>
#include <XAVO.h>

namespace test {

// Inputs that an operation needs, and its results. Destroy it before the last handle: it releases the
// objects.
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

// How an operation determines its outcome.
enum class Reads {
    RETURN_VALUE,   // the method's return value
    JOB,            // the job that the method names
    MESSAGE_OR_JOB, // a message, or else a job
    MESSAGE,        // a message, or else success
    RECORDS,        // instances turned into records
    OBJECT,         // an object of the client library, passed on
    HANDLE,         // a connection
    NOTHING,        // none, or one without the broker
};
const char *name_of(Reads reads);

// The output that names a job, the function that reads it, and the function that the log blames when that
// fails.
struct JobNames {
    std::string output, reader, blamed;
};

// Inputs that the test must create with the client library.
enum class Given {
    NOTHING,
    ARGS,
    INSTANCE,
};

// Number of calls into the client library before the handle is locked, under the lock and after; of the
// library's own allocations and mutex calls; of values left to the client library.
struct Counts {
    unsigned long before_lock, locked, unlocked, allocations, mutex_calls, pooled;
};
std::string to_text(const Counts &counts); // as a line of the table

struct Operation {
    unsigned char number; // never changes: stored fuzz inputs identify the operation by it
    std::string name;     // of the row
    std::string function; // the name in its log lines
    Reads reads;
    void (*call)(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, Results &results);
    bool takes_null = false;  // opens a temporary handle for a NULL one
    std::string request = {}; // the request that it sends, or its beginning, without blanks
    std::string success = {}; // the log of a call that succeeds
    Counts counts = {};       // when nothing fails
    JobNames job = {};
    Given given = Given::NOTHING;
    unsigned instances = 1; // read into records
    std::string where = {}; // "operations.txt:20"
};

const std::vector<Operation> &operations();
const Operation &operation(const std::string &name);
const Operation *numbered(unsigned number); // NULL: there is none

// Creates the inputs that an operation needs, through an open handle.
void create_inputs(const Operation &op, XAVO_Proxy *sp, Results &results);

// Returns a request as the table compares it.
std::string without_blanks(std::string text);

// The log without the operation's own traces, which do not depend on its outcome.
std::string outcome_lines(const Operation &op, const std::string &log);

// Returns the lines of a table with an operation's names: its own for F, and for D that of its function that
// reads job identifiers (as ERROR: D(), that of the function that its log blames).
std::string with_names(const Operation &op, std::string log);

// A function's error line; the traces of an answer without messages.
std::string error(const std::string &function, const std::string &text);
extern const std::string NO_MESSAGES;

// Returns an argument list that holds a reference with two keys, an array and a string; the caller releases
// it.
CMPIArgs *printable();

// Records with every member set, for a share of a type.
XAVO_BAR_INPUT_DATA full_image(uint16_t share_type);
XAVO_NET_INPUT_DATA full_share(uint16_t share_type);

} // namespace test

#endif
