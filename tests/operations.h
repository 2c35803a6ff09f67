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
    CMPIArgs *args = nullptr; // to be printed
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
    NOTHING,        // reports none: a printer
};

struct Operation {
    std::string name;     // of the row
    std::string function; // the name in its log lines
    Reads reads;
    void (*call)(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, Results &results);
    bool takes_null;      // opens a handle of its own for a NULL one
    std::string releases; // the order in which it releases path, target, in, out and array
    std::string request;  // what it asks the broker, as last_request gives it
    std::string success;  // the log of a call that succeeds
};

const std::vector<Operation> &operations();

// The log without the traces that a call writes on its way, whatever becomes of it.
std::string outcome_lines(const Operation &op, const std::string &log);

// The line with which a function says why it failed, and the traces of an answer without messages.
std::string error(const std::string &function, const std::string &text);
extern const std::string NO_MESSAGES;

// An argument list with a reference, an array and a string in it; to be printed.
CMPIArgs *printable();

// Records with every member set, for a share of this type.
XAVO_BAR_INPUT_DATA full_image(uint16_t share_type);
XAVO_NET_INPUT_DATA full_share(uint16_t share_type);

} // namespace test

#endif
