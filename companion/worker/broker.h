// broker.h - the worker's handle, and what its client meets in each exchange.
#ifndef XAVO_WORKER_BROKER_H
#define XAVO_WORKER_BROKER_H

#include "protocol.h"

#include <XAVO.h>

namespace xavo_worker {

// The result of the last exchange of a call.
struct Met {
    enum Exchange { NOTHING, READ, METHOD } exchange;
    bool withheld; // the method was not invoked: the deadline had passed, or the program had claimed the call
    CMPIrc status;
    bool has_return_value;
    uint32_t return_value;
    bool has_outputs;           // the method returned output arguments
    char *message_id, *message; // the service's, or the broker's message; or NULL
};

// The call that the next exchanges belong to.
struct CallContext {
    xavo_companion::Shared *shared;
    uint32_t sequence;
    uint64_t deadline; // in milliseconds of CLOCK_MONOTONIC
};

uint64_t now_ms();

// The only handle of the process. Its client is replaced by one that probes the connection before a method is
// invoked, since the client library crashes on a dead connection, and that then claims the invocation.
class Broker {
public:
    Broker() = default;
    ~Broker() { close(); }
    Broker(const Broker &) = delete;
    Broker &operator=(const Broker &) = delete;

    // Begins a call by a user (NULL: "root"): gives the handle that is open, or opens one. NULL: no broker
    // answers. Forgets what the last call met.
    XAVO_Proxy *begin(const CallContext &context, const char *user);
    // Ends the call, and forgets what it met. A handle on which an exchange failed with rc 1 is closed.
    void end();
    // Frees the handle, if one is open.
    void close();

    bool is_open() const { return handle_ != nullptr; }
    // Whether an earlier call used the handle.
    bool is_used() const { return used_; }
    const Met &met() const { return met_; }

private:
    static CMPIEnumeration *enum_instances(CMCIClient *self, CMPIObjectPath *path, CMPIFlags flags,
                                           char **properties, CMPIStatus *status);
    static CMPIInstance *get_instance(CMCIClient *self, CMPIObjectPath *path, CMPIFlags flags,
                                      char **properties, CMPIStatus *status);
    static CMPIData invoke_method(CMCIClient *self, CMPIObjectPath *path, const char *method, CMPIArgs *in,
                                  CMPIArgs *out, CMPIStatus *status);

    bool open(const char *user);
    bool stand_in();
    bool probe(CMPIObjectPath *path, CMPIStatus *status);
    bool may_invoke() const;
    void forget();
    void note(Met::Exchange exchange, const CMPIStatus &status);
    void note_method(const CMPIStatus &status, const CMPIData &returned, CMPIArgs *outputs);

    XAVO_Proxy *handle_ = nullptr;
    char *user_ = nullptr; // NULL: "root"
    CMCIClient *inner_ = nullptr;
    CMCIClient face_ = {}; // the handle's client, in place of inner_
    CMCIClientFT table_ = {};
    bool used_ = false, failed_ = false;
    CallContext context_ = {};
    Met met_ = {};
};

} // namespace xavo_worker

#endif
