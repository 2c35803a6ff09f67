// broker.h - the broker between clients and the controller: whether it can be reached, the last request, and
// the answers that a test has scripted.
#ifndef CIMSIM_BROKER_H
#define CIMSIM_BROKER_H

#include "controller/answer.h"

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string_view>

namespace cimsim {

// An answer that a test has scripted. Without a result: uint32 0 on success, no value on failure.
struct ScriptedAnswer {
    CMPIrc rc = CMPI_RC_OK;
    std::optional<std::string> message;
    std::optional<Value> result;
    std::vector<Item> outputs;

    Answer answer() &&;
};

// A request that reached the broker, with the status and the return value of its answer.
struct JournalEntry {
    long process;
    std::string operation, user, class_name, method;
    std::string subject; // the first argument of a method, or the first key, as text
    CMPIrc rc;
    std::optional<std::uint32_t> returned;
};

struct RequestItem {
    std::string name;
    CMPIType type;
    std::string text;  // the characters or digits that were sent
    std::string value; // the same in the notation of values
};

struct Request {
    const char *operation = "";
    std::string user, name_space, class_name, method;
    CMPIFlags flags = 0;
    std::vector<RequestItem> keys, arguments;

    bool is_method_call() const { return std::string_view(operation) == "invokeMethod"; }
};

struct Broker {
    bool reachable = true;
    bool garbage = false;         // each returned uint32 has arbitrary bits above the low 32
    unsigned int hold_ms = 0;     // delay of each answer, in simulated time
    unsigned long generation = 0; // number of restarts
    bool pipe_at_connect = false, pipe_at_release = false; // connecting or releasing a client raises SIGPIPE
    std::set<std::string> refused;
    unsigned long overlaps = 0; // exchanges that began on a client while another was running on it
    unsigned long requests = 0;
    std::optional<Request> last;
    bool journal = false;                              // requests are recorded, see JournalEntry
    std::deque<ScriptedAnswer> scripted_answers;       // for the next method calls, one each
    std::multimap<unsigned int, Value> extra_elements; // inserted before the instance with this index
};

} // namespace cimsim

#endif
