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

// An answer that a test has scripted. Without a result, success returns a uint32 0 and failure no value.
struct ScriptedAnswer {
    CMPIrc rc = CMPI_RC_OK;
    std::optional<std::string> message;
    std::optional<Value> result;
    std::vector<Item> outputs;

    Answer answer() &&;
};

// A request that reached the broker, and what became of it.
struct JournalEntry {
    long process;
    std::string operation, user, class_name, method, subject; // the last: the first key or argument, as text
    CMPIrc rc;
    std::optional<std::uint32_t> returned;
};

struct RequestItem {
    std::string name;
    CMPIType type;
    std::string text, value;
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
    bool garbage = false;
    unsigned int hold_ms = 0;
    unsigned long generation = 0;                          // how often it was restarted
    bool pipe_at_connect = false, pipe_at_release = false; // a SIGPIPE where the real library raises none
    std::set<std::string> refused;
    unsigned long overlaps = 0;
    unsigned long requests = 0;
    std::optional<Request> last;
    bool journal = false;                              // requests are recorded, see JournalEntry
    std::deque<ScriptedAnswer> scripted_answers;       // for the next method calls, one each
    std::multimap<unsigned int, Value> extra_elements; // by the index of the instance they come before
};

} // namespace cimsim

#endif
