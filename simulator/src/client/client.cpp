// client.cpp - cmciConnect, the slots of CMCIClient, and the exchanges with the broker.
#include "client/slots.h"
#include "value/notation.h"

#include <CimClientLib/cmci.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace cimsim {

Answer ScriptedAnswer::answer() && {
    Value no_result;
    no_result.state = CMPI_notFound;
    return {rc, std::move(message),
            result             ? std::move(*result)
            : rc == CMPI_RC_OK ? Value::number(CMPI_uint32, 0)
                               : no_result,
            std::move(outputs)};
}

namespace {

// Ends with a backslash and an n, as in the real library.
const char *const dead_message = "Internal error - -1\\n";

// Raises SIGPIPE in the calling thread, as the real library's write to a dead socket does.
void write_to_dead_socket() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return;
    close(ends[0]);
    [[maybe_unused]] const ssize_t written = write(ends[1], "", sizeof "");
    close(ends[1]);
}

std::vector<RequestItem> request_items(const Contents &contents) {
    std::vector<RequestItem> items;
    for (const Item &item : contents.items) {
        Value as_given = item.value;
        if (item.given == CMPI_chars && as_given.kind == Kind::string && as_given.state == CMPI_goodValue) {
            as_given.kind = Kind::chars;
            as_given.type = CMPI_chars;
        }
        items.push_back({item.name, item.given, to_text(item.value), value_text(as_given)});
    }
    return items;
}

Request request_for(const char *operation, const Contents &path) {
    Request request;
    request.operation = operation;
    request.name_space = path.name_space;
    request.class_name = path.class_name;
    request.keys = request_items(path);
    return request;
}

// The broker's answer: for a method call the next scripted answer, if there is one; otherwise that of
// `query`, unless the user is refused.
template <class Query>
Answer answer_to(const Request &request, Query query) {
    Broker &broker = sim.broker;
    if (!broker.scripted_answers.empty() && request.is_method_call()) {
        ScriptedAnswer scripted = std::move(broker.scripted_answers.front());
        broker.scripted_answers.pop_front();
        return std::move(scripted).answer();
    }
    if (broker.refused.count(request.user) != 0)
        return failed(CMPI_RC_ERR_ACCESS_DENIED, "The broker refuses the user \"" + request.user + "\".");
    return query();
}

// Whether the socket that all clients share is dead: the broker has ended, or was restarted after the socket
// was opened.
bool is_dead() { return !sim.broker.reachable || sim.broker.generation != sim.socket_generation; }

JournalEntry journal_entry(const Request &request, const Answer &answer) {
    const auto &items = request.is_method_call() ? request.arguments : request.keys;
    JournalEntry entry{static_cast<long>(getpid()),
                       request.operation,
                       request.user,
                       request.class_name,
                       request.method,
                       items.empty() ? "" : items.front().text,
                       answer.rc,
                       std::nullopt};
    if (answer.result.type == CMPI_uint32 && answer.result.state == CMPI_goodValue)
        entry.returned = static_cast<std::uint32_t>(answer.result.bits);
    return entry;
}

// One exchange: sends the request to the broker, gets the controller's answer from `query`, and delays it
// without the lock. An exchange that begins while another is running on the same client counts as an overlap.
// If the client is released during the delay, the call is misuse.
template <class Query>
Answer exchange(Call &call, Request request, Query query) {
    Broker &broker = sim.broker;
    Client &client = *call.self->client;
    if (client.running++ > 0)
        ++broker.overlaps;
    Answer answer;
    Session session(sim.shared); // ended before the answer is delayed
    const bool good = session.good(), dead = good && is_dead(), method_call = request.is_method_call();
    if (!good) {
        answer = failed(CMPI_RC_ERR_FAILED, sim.shared.error());
    } else if (dead) {
        answer = failed(CMPI_RC_ERR_FAILED, dead_message);
        session.end();
        call.unlocked(write_to_dead_socket);
    } else {
        request.user = client.user;
        ++broker.requests;
        answer = answer_to(request, query);
        if (broker.journal)
            sim.shared.record(journal_entry(request, answer));
        broker.last = std::move(request);
        if (!session.end())
            answer = failed(CMPI_RC_ERR_FAILED, sim.shared.error());
        call.wait(Milliseconds{broker.hold_ms});
    }
    if (call.is_alive(call.self))
        --client.running;
    if (dead && method_call && !call.is_misuse())
        call.misuse("the broker was restarted, which the real library does not survive");
    if (!call.is_misuse())
        call.fail(answer.rc, answer.message);
    return answer;
}

// An exchange whose answer is an object. The program owns the object that is returned.
template <class Cmpi, class Query>
Cmpi *exchange_for_object(Call &call, const char *operation, const CMPIObjectPath *op, CMPIFlags flags,
                          Query query) {
    const Object *const path = object_of(op);
    if (call.is_misuse() || !call.accepts(path, "object path") || !call.works())
        return nullptr;
    const std::shared_ptr<Contents> at = path->value.contents;
    Request request = request_for(operation, *at);
    request.flags = flags;
    Answer answer = exchange(call, std::move(request), [&] { return query(*at); });
    if (call.is_misuse() || answer.rc != CMPI_RC_OK)
        return nullptr;
    return cmpi_of<Cmpi>(&make(std::move(answer.result), Holder::owned));
}

// An exchange of any signature that no provider supports. The broker gets the request, and answers with
// CMPI_RC_ERR_NOT_SUPPORTED.
template <class Name, class R, class... Rest>
R unsupported_exchange(CMCIClient *self, CMPIObjectPath *op, Rest... rest) {
    Call call(Name::get(), self, argument_of_type<CMPIStatus *>(rest...));
    exchange_for_object<CMPIInstance>(call, Name::get() + sizeof "CMCIClient", op,
                                      argument_of_type<CMPIFlags>(rest...), [](const Contents &) {
                                          Answer answer;
                                          answer.rc = CMPI_RC_ERR_NOT_SUPPORTED;
                                          return answer;
                                      });
    return no_result<R>(call);
}

template <class Name, class R, class... Rest>
constexpr auto unsupported_exchange_of(Name, R (*)(CMCIClient *, CMPIObjectPath *, Rest...)) {
    return unsupported_exchange<Name, R, Rest...>;
}

#define NO_PROVIDER(slot)                                                                                    \
    unsupported_exchange_of(CIMSIM_SLOT_NAME(CMCIClient, slot), CIMSIM_TYPE_OF(CMCIClient, slot))

void refuse_properties(Call &call, char *const *properties) {
    if (!call.is_misuse() && properties)
        call.misuse("a list of properties, which the real library does not survive");
}

// Converts digits that were given as text for an integer parameter to the integer, as the real library does
// with the help of the class. Other text is sent unchanged.
void convert_integers(const Contents &path, Value &arguments) {
    for (std::size_t i = 0; i < arguments.contents->items.size(); ++i) {
        const Item &item = arguments.contents->items[i];
        if (item.value.kind != Kind::string || !is_integer_parameter(path.class_name, item.name))
            continue;
        if (const auto number = whole_number(item.value.text, 0xffff))
            arguments.edit().items[i].value = Value::number(CMPI_uint16, *number);
    }
}

// Inserts the elements that a test has added to every enumeration.
void add_extra_elements(std::vector<Value> &elements) {
    const std::size_t count = elements.size();
    const auto &extra = sim.broker.extra_elements;
    for (auto entry = extra.rbegin(); entry != extra.rend(); ++entry) { // backwards: indices stay valid
        const std::size_t before = std::min<std::size_t>(entry->first, count);
        elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(before), entry->second);
    }
}

CMPIStatus client_release(CMCIClient *self) {
    Call call = Call::release("CMCIClient.release", object_of(self));
    if (!call.is_misuse() && sim.broker.pipe_at_release) {
        call.unlocked(write_to_dead_socket);
        call.is_alive(call.self); // another thread may have released it while the lock was released
    }
    if (!call.is_misuse()) {
        release_object(call);
        const bool others = client_released();
        if (sim.heap.clients == 0)
            sim.broker.pipe_at_connect = sim.broker.pipe_at_release = false;
        if (others)
            call.wait_for_threads(sim.recorder.unload_ms);
    }
    return call.status();
}

// A list of properties has no effect, because the simulator's classes have no properties.
CMPIConstClass *client_getClass(CMCIClient *self, CMPIObjectPath *op, CMPIFlags flags, char **,
                                CMPIStatus *rc) {
    Call call("CMCIClient.getClass", self, rc);
    return exchange_for_object<CMPIConstClass>(
        call, "getClass", op, flags, [](const Contents &path) { return sim.controller.get_class(path); });
}

CMPIInstance *client_getInstance(CMCIClient *self, CMPIObjectPath *op, CMPIFlags flags, char **properties,
                                 CMPIStatus *rc) {
    Call call("CMCIClient.getInstance", self, rc);
    refuse_properties(call, properties);
    return exchange_for_object<CMPIInstance>(call, "getInstance", op, flags,
                                             [](const Contents &path) { return sim.controller.get(path); });
}

CMPIEnumeration *client_enumInstances(CMCIClient *self, CMPIObjectPath *op, CMPIFlags flags,
                                      char **properties, CMPIStatus *rc) {
    Call call("CMCIClient.enumInstances", self, rc);
    refuse_properties(call, properties);
    return exchange_for_object<CMPIEnumeration>(call, "enumInstances", op, flags, [](const Contents &path) {
        Answer found = sim.controller.enumerate(path);
        if (found.rc == CMPI_RC_OK)
            add_extra_elements(found.result.contents->elements);
        return found;
    });
}

// Returns an empty enumeration: no provider answers queries.
CMPIEnumeration *client_execQuery(CMCIClient *self, CMPIObjectPath *op, const char *, const char *,
                                  CMPIStatus *rc) {
    Call call("CMCIClient.execQuery", self, rc);
    return exchange_for_object<CMPIEnumeration>(call, "execQuery", op, 0, [](const Contents &) {
        Answer nothing;
        nothing.result = Value::with_contents(CMPI_enumeration, Kind::enumeration);
        return nothing;
    });
}

CMPIData client_invokeMethod(CMCIClient *self, CMPIObjectPath *op, const char *method, CMPIArgs *in,
                             CMPIArgs *out, CMPIStatus *rc) {
    Call call("CMCIClient.invokeMethod", self, rc);
    if (!call.is_misuse() && !rc)
        call.misuse("no status");
    const Object *const path = object_of(op);
    const Object *const given = object_of(in);
    Object *const outputs = object_of(out);
    if (call.is_misuse() || !call.accepts(path, "object path") || !call.accepts(given, "input arguments") ||
        (outputs && !call.is_alive(outputs)) || !call.works())
        return no_data();

    const std::shared_ptr<Contents> at = path->value.contents;
    Value arguments = given->value;
    // The real library fetches the class first, and releases the result without checking it.
    if (Session session(sim.shared);
        session.good() && !is_dead() && sim.controller.get_class(*at).rc != CMPI_RC_OK) {
        call.misuse("there is no class " + at->name_space + ":" + at->class_name +
                        ", which the real library does not survive",
                    CMPI_RC_ERR_NOT_FOUND);
        return no_data();
    }
    Request request = request_for("invokeMethod", *at);
    request.method = text_or_empty(method);
    convert_integers(*at, arguments);
    request.arguments = request_items(*arguments.contents);
    Answer answer = exchange(call, std::move(request), [&] {
        return sim.controller.invoke(*at, text_or_empty(method), *arguments.contents);
    });
    if (!call.is_misuse() && !outputs && !answer.outputs.empty())
        call.misuse("no output arguments, but the method has outputs");
    if (call.is_misuse() || (outputs && !call.is_alive(outputs)))
        return no_data();
    if (outputs)
        for (Item &item : answer.outputs)
            outputs->value.edit().put(item.name.c_str(), std::move(item.value), item.given);
    // The pool owns a value whose state is not good, because a caller does not free such a value.
    const bool present = (answer.result.state & ~CMPI_keyValue) == CMPI_goodValue;
    CMPIData data = hand_out(answer.result, present ? Holder::owned : Holder::pooled);
    if (sim.broker.garbage && data.type == CMPI_uint32 && sizeof(CMPIUint32) > 4)
        data.value.uint64 |= 0xdeadbeefULL << 32;
    return data;
}

// Whether an argument of cmciConnect, or SFCC_CLIENT, has the value that local mode requires. If not, reports
// both values on standard error.
bool is_local(const char *what, const char *given, const char *wanted) {
    const auto shown = [](const char *text) { return text ? text : "not given"; };
    const bool same = given && wanted ? std::string(given) == wanted : given == wanted;
    if (!same)
        std::fprintf(stderr, "cimsim: cmciConnect: %s: %s, but in local mode it is: %s\n", what, shown(given),
                     shown(wanted));
    return same;
}

} // namespace

CMCIClientFT client_table = {
    1,
    client_release,
    NOT_SUPPORTED(CMCIClient, clone),
    client_getClass,
    NO_PROVIDER(enumClassNames),
    NO_PROVIDER(enumClasses),
    client_getInstance,
    NO_PROVIDER(createInstance),
    NO_PROVIDER(setInstance),
    NO_PROVIDER(deleteInstance),
    client_execQuery,
    NO_PROVIDER(enumInstanceNames),
    client_enumInstances,
    NO_PROVIDER(associators),
    NO_PROVIDER(associatorNames),
    NO_PROVIDER(references),
    NO_PROVIDER(referenceNames),
    client_invokeMethod,
    NO_PROVIDER(setProperty),
    NO_PROVIDER(getProperty),
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
    Session session(sim.shared);
    if (broker.pipe_at_connect) {
        if (first)
            broker.pipe_at_connect = broker.pipe_at_release = false;
        session.end();
        call.unlocked(write_to_dead_socket);
        call.fail(CMPI_RC_ERR_FAILED);
        return nullptr;
    }
    if (first) { // further clients use the socket of the first
        bool local = is_local("SFCC_CLIENT", std::getenv("SFCC_CLIENT"), "SfcbLocal");
        local =
            is_local("host", host, "localhost") && local; // is_local first, so that each error is reported
        local = is_local("scheme", scheme, nullptr) && local;
        local = is_local("port", port, nullptr) && local;
        if (!local || !session.good() || !broker.reachable) {
            call.fail(CMPI_RC_ERR_FAILED);
            return nullptr;
        }
        broker.pipe_at_connect = broker.pipe_at_release = false;
        sim.socket_generation = broker.generation;
    }
    Object &client = make(Value(CMPI_null, Kind::client), Holder::owned);
    client.client = std::make_unique<Client>();
    client.client->user = text_or_empty(user);
    ++sim.heap.clients;
    return call.made<CMCIClient>(client);
}
