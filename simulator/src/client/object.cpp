// object.cpp - makes, hands out and releases objects; the threads' pools; the unloading of the back end.
#include "client/simulator.h"
#include "client/tables.h"

#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <utility>

namespace cimsim {

void Link::join(Link &ring) {
    previous = ring.previous;
    next = &ring;
    previous->next = next->previous = this;
}

void Link::leave() {
    previous->next = next;
    next->previous = previous;
    previous = next = this;
}

namespace {

struct KindFacts {
    const char *name;
    void *table;
};

const KindFacts kinds[] = {
    {"", nullptr},
    {"", nullptr},
    {"", nullptr},
    {"CMPIString", &string_table},
    {"CMPIArray", &array_table},
    {"CMPIArgs", &args_table},
    {"CMPIEnumeration", &enumeration_table},
    {"CMPIObjectPath", &path_table},
    {"CMPIInstance", &instance_table},
    {"CMPIDateTime", &date_time_table},
    {"CMPIConstClass", &const_class_table},
    {"CMCIClient", &client_table},
};

const KindFacts &facts(Kind kind) { return kinds[static_cast<std::size_t>(kind)]; }

// A thread's data is the value of a pthread key, not a thread_local variable: the value of a key can be set
// again while the thread or the process is ending.
struct ThreadKey {
    pthread_key_t key;
    ThreadKey() { pthread_key_create(&key, ended); }
    static void ended(void *thread) {
        std::lock_guard<std::mutex> lock(sim.lock);
        end_thread(*static_cast<Thread *>(thread));
    }
};

pthread_key_t thread_key() {
    static ThreadKey key;
    return key.key;
}

void move_to_quarantine(Object &object) {
    object.join(sim.heap.quarantine);
    ++sim.heap.quarantined;
    shrink_quarantine(quarantine_size);
}

void remove_from_holder(Object &object) {
    object.leave();
    if (object.holder == Holder::owned)
        --sim.heap.owned_count;
    else if (object.holder == Holder::pooled)
        --sim.heap.pooled_count;
}

// Frees what a container has handed out for one of its elements.
void free_handed_out(HandedOut &element, std::vector<std::string> &twice) {
    std::free(element.chars);
    if (element.object && element.object->life == Life::released) {
        twice.push_back(element.object->name());
        move_to_quarantine(*element.object);
    } else if (element.object) {
        element.object->holder = Holder::owned; // no container holds it any more
        ++sim.heap.owned_count;
        mark_released(*element.object, twice);
    }
    element = {};
}

void free_all_handed_out(Object &object, std::vector<std::string> &twice) {
    for (HandedOut &element : object.handed_out)
        free_handed_out(element, twice);
    object.handed_out.clear();
}

HandedOut &handed_out_at(Object &container, std::size_t index) {
    if (container.handed_out.size() <= index)
        container.handed_out.resize(container.value.contents->elements.size());
    return container.handed_out[index];
}

void mark_all_unloaded(Link &ring) {
    std::vector<std::string> ignored;
    for (Link *link = ring.next; link != &ring; link = link->next) {
        auto &object = *static_cast<Object *>(link);
        free_all_handed_out(object, ignored);
        object.life = Life::unloaded;
    }
}

// Unloads the back end: frees the pool of the calling thread, moves the other threads' pools to the lost
// objects, and makes all objects invalid; those that the program owns are still counted. Returns whether
// other threads have used the back end.
bool unload() {
    Thread &own = this_thread();
    empty_pool(own);
    own.has_called = false;
    bool others = false;
    for (auto &entry : sim.heap.threads) {
        Thread &thread = *entry.second;
        while (thread.pool.next != &thread.pool) {
            Link &object = *thread.pool.next;
            object.leave();
            object.join(sim.heap.lost);
        }
        thread.unloading = std::exchange(thread.has_called, false);
        others = others || thread.unloading;
    }
    mark_all_unloaded(sim.heap.owned);
    mark_all_unloaded(sim.heap.lost);
    return others;
}

void free_unloaded(Link &ring) {
    std::vector<std::string> ignored;
    for (Link *link = ring.next; link != &ring;) {
        auto &object = *static_cast<Object *>(link);
        link = link->next;
        if (object.life == Life::unloaded)
            mark_released(object, ignored);
    }
}

} // namespace

const char *kind_name(Kind kind) { return facts(kind).name; }

Object::Object(Value value_, Holder holder_)
    : cmpi{this, facts(value_.kind).table}, kind(value_.kind), holder(holder_),
      number(++sim.heap.numbers[static_cast<std::size_t>(value_.kind)]), value(std::move(value_)) {}

std::string Object::name() const { return std::string(kind_name(kind)) + "#" + std::to_string(number); }

Thread &this_thread() {
    auto *thread = static_cast<Thread *>(pthread_getspecific(thread_key()));
    if (!thread) {
        thread = new Thread;
        thread->id = ++sim.heap.last_thread;
        sim.heap.threads[thread->id] = thread;
        pthread_setspecific(thread_key(), thread);
    }
    return *thread;
}

void end_thread(Thread &thread) {
    if (thread.unloading) {
        sim.recorder.misuse(
            "a thread that has used the client library ended while another released the last client");
        sim.thread_ended.notify_all();
    }
    empty_pool(thread);
    sim.heap.threads.erase(thread.id);
    delete &thread;
}

void free_thread() {
    if (void *thread = pthread_getspecific(thread_key())) {
        pthread_setspecific(thread_key(), nullptr);
        end_thread(*static_cast<Thread *>(thread));
    }
}

void empty_pool(Thread &thread) {
    std::vector<std::string> twice;
    while (thread.pool.next != &thread.pool)
        mark_released(*static_cast<Object *>(thread.pool.next), twice);
}

Object &make(Value value, Holder holder) {
    auto *object = new Object(std::move(value), holder);
    if (holder == Holder::owned) {
        object->join(sim.heap.owned);
        ++sim.heap.owned_count;
    } else if (holder == Holder::pooled) {
        object->reader = &this_thread();
        object->join(object->reader->pool);
        ++sim.heap.pooled_count;
    }
    return *object;
}

CMPIData no_data() {
    CMPIData data;
    std::memset(&data, 0, sizeof data);
    data.state = CMPI_notFound;
    return data;
}

namespace {

// Returns what a value is handed out as: its kind; chars for a string with the type code of chars; Kind::none
// (NULL or 0) if its kind does not fit its type code. With the code of a string, a reference, an instance or
// an array, only that kind fits, because the program uses the value as such. With the other codes of objects,
// every object fits, because all objects can be released.
Kind handed_out_kind(const Value &value) {
    const auto only = [&](Kind kind) { return value.kind == kind ? kind : Kind::none; };
    switch (value.type) {
    case CMPI_chars:
        return value.kind == Kind::string ? Kind::chars : only(Kind::chars);
    case CMPI_string:
        return only(Kind::string);
    case CMPI_ref:
        return only(Kind::path);
    case CMPI_instance:
        return only(Kind::instance);
    case CMPI_args:
    case CMPI_class:
    case CMPI_enumeration:
    case CMPI_dateTime:
        return is_object(value.kind) ? value.kind : Kind::none;
    default:
        if (value.type & CMPI_ARRAY)
            return only(Kind::array);
        return is_number(value.type) ? only(Kind::number) : value.kind;
    }
}

CMPIData data_of(const Value &value, void *pointer) {
    CMPIData data = no_data();
    data.type = value.type;
    data.state = value.state;
    if (handed_out_kind(value) == Kind::number)
        store_number(value.type, value.bits, &data.value);
    else
        data.value.dataPtr.ptr = pointer;
    return data;
}

} // namespace

CMPIData hand_out(const Value &value, Holder holder) {
    const Kind kind = handed_out_kind(value);
    if (kind == Kind::chars)                               // freed by its receiver
        return data_of(value, strdup(value.text.c_str())); // NOLINT(clang-analyzer-unix.Malloc)
    return data_of(value, is_object(kind) ? &make(value, holder).cmpi : nullptr);
}

CMPIData hand_out_element(Object &container, std::size_t index) {
    const Value &value = container.value.contents->elements[index];
    const Kind kind = handed_out_kind(value);
    if (kind != Kind::chars && !is_object(kind))
        return data_of(value, nullptr);
    HandedOut &element = handed_out_at(container, index);
    if (kind == Kind::chars) {
        if (!element.chars)
            element.chars = strdup(value.text.c_str());
        return data_of(value, element.chars);
    }
    if (!element.object)
        element.object = &make(value, Holder::container);
    return data_of(value, &element.object->cmpi);
}

void free_element(Object &container, std::size_t index, std::vector<std::string> &twice) {
    free_handed_out(handed_out_at(container, index), twice);
}

void detach_element(Object &container, std::size_t index) {
    const Value &value = container.value.contents->elements[index];
    HandedOut &element = handed_out_at(container, index);
    if (element.object && element.object->life == Life::released) {
        move_to_quarantine(*element.object);
    } else if (element.object) {
        element.object->holder = Holder::owned;
        element.object->join(sim.heap.owned);
        ++sim.heap.owned_count;
    } else if (is_object(handed_out_kind(value))) {
        make(value, Holder::owned);
    }
    element = {};
}

Value value_of(const Object &object) {
    Value value = object.value;
    for (std::size_t i = 0; i < object.handed_out.size(); ++i)
        if (const Object *element = object.handed_out[i].object; element && element->life == Life::alive) {
            Value &old = value.edit().elements[i];
            Value now = value_of(*element);
            now.type = old.type;
            now.state = old.state;
            old = std::move(now);
        }
    return value;
}

Value value_behind(const CMPIData &data) {
    Value value(data.type, Kind::none);
    if (is_number(data.type)) {
        value = Value::number(data.type, load_number(data.type, &data.value));
        if (data.state & CMPI_nullValue)
            value.kind = Kind::none;
    } else if (data.type == CMPI_chars && data.value.chars) {
        value.kind = Kind::chars;
        value.text = data.value.chars;
    } else if ((data.type & (CMPI_ENC | CMPI_ARRAY)) && data.value.string) {
        const Object &object = *object_of(data.value.string);
        if (object.life == Life::alive)
            value = value_of(object);
        else
            sim.recorder.misuse(object.name() + " used after its release");
        value.type = data.type;
    }
    value.state = data.state;
    return value;
}

void mark_released(Object &object, std::vector<std::string> &twice) {
    free_all_handed_out(object, twice);
    remove_from_holder(object);
    object.life = Life::released;
    object.value = {};
    object.client.reset();
    if (object.holder != Holder::container) // its container still has a pointer to it
        move_to_quarantine(object);
}

bool client_released() { return --sim.heap.clients == 0 && unload(); }

void free_unloaded() {
    free_unloaded(sim.heap.owned);
    free_unloaded(sim.heap.lost);
}

void shrink_quarantine(std::size_t bound) {
    for (; sim.heap.quarantined > bound; --sim.heap.quarantined) {
        auto *oldest = static_cast<Object *>(sim.heap.quarantine.next);
        // The analyser does not see that `leave` removes the object from the list.
        oldest->leave(); // NOLINT(clang-analyzer-cplusplus.NewDelete)
        delete oldest;
    }
}

} // namespace cimsim
