// client.cpp - connecting, and the exchanges with the broker.
#include "slots.h"

#include <CimClientLib/cmci.h>

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <thread>
#include <unistd.h>

namespace cimsim {

namespace {

// What the real library does to a socket whose other end is gone: the calling thread gets a SIGPIPE.
void write_to_dead_socket() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return;
    close(ends[0]);
    [[maybe_unused]] const ssize_t written = write(ends[1], "", 1);
    close(ends[1]);
}

std::vector<RequestItem> request_items(const Tree &tree) {
    std::vector<RequestItem> items;
    for (const Item &item : tree.items)
        items.push_back({item.name, item.given, to_text(item.value)});
    return items;
}

Request request_for(const char *operation, const Tree &path) {
    Request request;
    request.operation = operation;
    request.name_space = path.name_space;
    request.class_name = path.class_name;
    request.keys = request_items(path);
    return request;
}

bool accepts_properties(Call &call, char **properties) {
    if (properties)
        call.misuse("a list of properties, which the real library does not survive");
    return call.sound();
}

// What the broker answers, when no script says it instead: a script is for method calls alone.
template <class Ask>
Answer answer_to(const Request &request, Ask ask) {
    Broker &broker = sim.broker;
    if (broker.script && request.is_method_call()) {
        Answer answer = std::move(*broker.script);
        broker.script.reset();
        return answer;
    }
    if (broker.refused.count(request.user) != 0)
        return failed(CMPI_RC_ERR_ACCESS_DENIED, "The broker refuses the user \"" + request.user + "\".");
    return ask();
}

// One exchange: the request goes to the broker, `ask` says what the controller answers, and the answer
// is on its way while the lock is given away. An exchange on a client that is still busy counts as an
// overlap. The call is no longer sound when the client was released in the meantime.
template <class Ask>
Answer exchange(Call &call, Request request, Ask ask) {
    Broker &broker = sim.broker;
    Client &client = *call.self->client;
    if (client.running++ > 0)
        ++broker.overlaps;
    Answer answer;
    if (broker.dead_pipes & CIMSIM_PIPE_CALLS) {
        answer = failed(CMPI_RC_ERR_FAILED, "The connection to the broker is lost.");
        call.unlocked(write_to_dead_socket);
    } else {
        request.user = client.user;
        ++broker.requests;
        answer = answer_to(request, ask);
        broker.last = std::move(request);
        const auto hold = std::chrono::milliseconds(broker.hold_ms);
        call.unlocked([&] {
            if (hold.count() > 0)
                std::this_thread::sleep_for(hold);
            else
                std::this_thread::yield(); // a chance for another thread to get in between
        });
    }
    if (call.accepts(call.self, "client"))
        --client.running;
    if (call.sound())
        call.fail(answer.rc, answer.message);
    return answer;
}

CMPIStatus client_release(CMCIClient *self) {
    Call call = Call::release("CMCIClient.release", object_of(self));
    if (call.sound() && (sim.broker.dead_pipes & CIMSIM_PIPE_RELEASE)) {
        call.unlocked(write_to_dead_socket);
        call.accepts(call.self, "client"); // another thread may have been here
    }
    if (call.sound()) {
        const unsigned long connector = call.self->client->connector;
        release_object(call);
        client_released(connector);
        if (sim.heap.clients == 0)
            sim.broker.dead_pipes = 0; // the next one to connect opens a socket of its own
    }
    return call.status();
}

CMPIInstance *client_getInstance(CMCIClient *self, CMPIObjectPath *op, CMPIFlags flags, char **properties,
                                 CMPIStatus *rc) {
    Call call("CMCIClient.getInstance", self, rc);
    const Object *const path = object_of(op);
    if (!call.sound() || !call.accepts(path, "object path") || !accepts_properties(call, properties) ||
        !call.works())
        return nullptr;
    const std::shared_ptr<Tree> at = path->value.tree;
    Request request = request_for("getInstance", *at);
    request.flags = flags;
    const Answer answer = exchange(call, std::move(request), [&] { return sim.controller.get(*at); });
    if (!call.sound() || answer.rc != CMPI_RC_OK)
        return nullptr;
    return face_of<CMPIInstance>(&make(answer.result, Holder::owned));
}

CMPIEnumeration *client_enumInstances(CMCIClient *self, CMPIObjectPath *op, CMPIFlags flags,
                                      char **properties, CMPIStatus *rc) {
    Call call("CMCIClient.enumInstances", self, rc);
    const Object *const path = object_of(op);
    if (!call.sound() || !call.accepts(path, "object path") || !accepts_properties(call, properties) ||
        !call.works())
        return nullptr;
    const std::shared_ptr<Tree> at = path->value.tree;
    Request request = request_for("enumInstances", *at);
    request.flags = flags;
    Answer answer = exchange(call, std::move(request), [&] {
        Answer found = sim.controller.enumerate(*at);
        if (found.rc == CMPI_RC_OK) {
            auto &elements = found.result.tree->elements;
            const std::size_t count = elements.size();
            const auto &extra = sim.broker.extra_elements;
            for (auto entry = extra.rbegin(); entry != extra.rend();
                 ++entry) { // the last first: indices stay
                const std::size_t before = std::min<std::size_t>(entry->first, count);
                elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(before), entry->second);
            }
        }
        return found;
    });
    if (!call.sound() || answer.rc != CMPI_RC_OK)
        return nullptr;
    return face_of<CMPIEnumeration>(&make(std::move(answer.result), Holder::owned));
}

CMPIData client_invokeMethod(CMCIClient *self, CMPIObjectPath *op, const char *method, CMPIArgs *in,
                             CMPIArgs *out, CMPIStatus *rc) {
    Call call("CMCIClient.invokeMethod", self, rc);
    if (call.sound() && !rc)
        call.misuse("no status");
    const Object *const path = object_of(op);
    const Object *const given = object_of(in);
    Object *const outputs = object_of(out);
    if (!call.sound() || !call.accepts(path, "object path") || !call.accepts(given, "input arguments") ||
        (outputs && !call.accepts(outputs, "output arguments")) || !call.works())
        return no_data();

    const std::shared_ptr<Tree> at = path->value.tree, arguments = given->value.tree;
    Request request = request_for("invokeMethod", *at);
    request.method = text_or_empty(method);
    request.arguments = request_items(*arguments);
    Answer answer = exchange(call, std::move(request),
                             [&] { return sim.controller.invoke(*at, text_or_empty(method), *arguments); });
    if (!call.sound() || (outputs && !call.accepts(outputs, "output arguments")))
        return no_data();
    if (outputs)
        for (Item &item : answer.outputs)
            outputs->value.edit().put(item.name.c_str(), std::move(item.value), item.given);
    // What has no good state a caller does not free: nobody but the pool could.
    const bool present = (answer.result.state & ~CMPI_keyValue) == CMPI_goodValue;
    CMPIData data = hand_out(answer.result, present ? Holder::owned : Holder::pooled);
    if (sim.broker.garbage && data.type == CMPI_uint32 && sizeof(CMPIUint32) > 4)
        data.value.uint64 |= 0xdeadbeefULL << 32;
    return data;
}

} // namespace

CMCIClientFT client_table = {
    1,
    client_release,
    NOT_SUPPORTED(CMCIClient, clone),
    NOT_SUPPORTED(CMCIClient, getClass),
    NOT_SUPPORTED(CMCIClient, enumClassNames),
    NOT_SUPPORTED(CMCIClient, enumClasses),
    client_getInstance,
    NOT_SUPPORTED(CMCIClient, createInstance),
    NOT_SUPPORTED(CMCIClient, setInstance),
    NOT_SUPPORTED(CMCIClient, deleteInstance),
    NOT_SUPPORTED(CMCIClient, execQuery),
    NOT_SUPPORTED(CMCIClient, enumInstanceNames),
    client_enumInstances,
    NOT_SUPPORTED(CMCIClient, associators),
    NOT_SUPPORTED(CMCIClient, associatorNames),
    NOT_SUPPORTED(CMCIClient, references),
    NOT_SUPPORTED(CMCIClient, referenceNames),
    client_invokeMethod,
    NOT_SUPPORTED(CMCIClient, setProperty),
    NOT_SUPPORTED(CMCIClient, getProperty),
};

} // namespace cimsim

using namespace cimsim;

extern "C" CMCIClient *cmciConnect(const char *host, const char *scheme, const char *port, const char *user,
                                   const char *, CMPIStatus *rc) {
    Call call = Call::connect("cmciConnect", rc);
    if (!call.works())
        return nullptr;
    Broker &broker = sim.broker;
    const bool first = sim.heap.clients == 0;
    if (broker.dead_pipes & CIMSIM_PIPE_CONNECT) {
        if (first)
            broker.dead_pipes = 0;
        call.unlocked(write_to_dead_socket);
        call.fail(CMPI_RC_ERR_FAILED);
        return nullptr;
    }
    if (first) { // only then are the transport chosen and the broker spoken to
        const char *transport = std::getenv("SFCC_CLIENT");
        const bool local = transport && std::string(transport) == "SfcbLocal" && host &&
                           std::string(host) == "localhost" && !scheme && !port;
        if (!local || !broker.reachable) {
            call.fail(CMPI_RC_ERR_FAILED);
            return nullptr;
        }
        broker.dead_pipes = 0;
    }
    Object &client = make(Value(CMPI_null, Kind::client), Holder::owned);
    client.client = std::make_unique<Client>();
    client.client->user = text_or_empty(user);
    client_opened(client);
    return call.made<CMCIClient>(client);
}
