// operations.h - every exported operation that can fail, a row each. The sweeps, the edge cases, the
// threads and the fuzz seeds walk this table.
#ifndef XAVO_TESTS_OPERATIONS_H
#define XAVO_TESTS_OPERATIONS_H

#include <XAVO.h>
#include <string>
#include <vector>

namespace test {

// What an operation hands out. clear frees it.
struct Results {
    char *job = nullptr; // also any other string
    XAVO_VELK_LifecycleJob *record = nullptr;
    CMPIEnumeration *instances = nullptr;
    CMPIObjectPath *path = nullptr;
    CMPIArray *array = nullptr;

    Results() = default;
    ~Results() { clear(); }
    Results(const Results &) = delete;
    Results &operator=(const Results &) = delete;
    void clear();
    bool empty() const;
};

// How an operation learns its outcome.
enum class Reads {
    RETURN_VALUE,   // the method's return value
    JOB,            // the job that the method names
    MESSAGE_OR_JOB, // a message, or else a job
    MESSAGE,        // a message, or else success
    RECORDS,        // instances turned into records
    OBJECT,         // what the broker or the client library hands out, as it is
};

struct Operation {
    const char *name;     // of the row
    const char *function; // the name in the log lines
    Reads reads;
    void (*call)(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, Results &results);
    bool takes_null;      // opens a handle of its own for a NULL one
    std::string request;  // what it asks the broker, as last_request gives it; empty: nothing
    std::string success;  // the log of a call that succeeds
    const char *releases; // the order of the releases when it succeeds: path, target, in, out, array
};

const std::vector<Operation> &operations();

} // namespace test

#endif
