// object.h - the client library's objects. They are made from values and counted. The pool of a thread owns
// the objects that the thread reads. Released objects are kept in quarantine, to detect a second release and
// use after release.
//
// The back end is the part of the real client library that is loaded while a client is open. Releasing the
// last client unloads it, and all objects become invalid.
#ifndef CIMSIM_OBJECT_H
#define CIMSIM_OBJECT_H

#include "value/value.h"

#include <CimClientLib/cmcift.h>

#include <cstddef>
#include <map>

namespace cimsim {

// An element of a circular doubly linked list (a ring), or its head. An object is in one list at a time: that
// of the objects that the program owns, a thread's pool, the lost objects, or the quarantine.
struct Link {
    Link *previous = this, *next = this;

    Link() = default;
    Link(const Link &) = delete;
    Link &operator=(const Link &) = delete;
    void join(Link &ring);
    void leave();
};

// The owner of an object: the program, the pool of a thread, or the container that it is in.
enum class Holder : unsigned char { owned, pooled, container };
enum class Life : unsigned char { alive, released, unloaded };

struct Object;

// What an array or an enumeration has handed out for one of its elements: an object, characters, or nothing.
struct HandedOut {
    Object *object = nullptr;
    char *chars = nullptr;
};

struct Client {
    std::string user;
    unsigned int running = 0; // number of exchanges that have not been answered yet
};

// Data that another layer keeps for a thread.
struct Attachment {
    virtual ~Attachment() = default;
};

struct Thread {
    unsigned long id = 0;
    bool has_called = false; // has called the client library since its back end was loaded
    bool unloading = false;  // another thread is releasing the last client: the end of this one is misuse
    Link pool;

    std::unique_ptr<Attachment> attached;
};

struct Object : Link {
    struct {
        void *hdl;
        void *ft;
    } cmpi; // the structure to which a CMPIString *, CMPIArgs *, ... of the program points
    Kind kind;
    Holder holder;
    Life life = Life::alive;
    bool program_made = false; // an array that the program constructed, or any clone
    unsigned long number;      // by kind, from 1
    Thread *reader = nullptr;  // of a pooled object: the thread that read it
    Value value;
    std::vector<HandedOut> handed_out; // parallel to value.contents->elements; empty if none was handed out
    std::size_t next_element = 0;
    std::unique_ptr<Client> client;

    Object(Value value, Holder holder);
    std::string name() const;
};

// Number of released objects that are kept in quarantine: enough for any test, and not too many for a program
// that runs for days.
constexpr std::size_t quarantine_size = 4096;

struct Heap {
    Link owned;
    Link lost; // objects in the pools of the other threads when a thread released the last client
    std::size_t owned_count = 0, pooled_count = 0;
    std::size_t clients = 0; // number of open clients; the back end is loaded if there are any
    Link quarantine;         // released objects, kept to detect use after release
    std::size_t quarantined = 0;
    unsigned long numbers[static_cast<std::size_t>(Kind::count)] = {};
    std::map<unsigned long, Thread *> threads;
    unsigned long last_thread = 0;
};

const char *kind_name(Kind kind);

// The functions below expect the simulator's lock to be held.

Thread &this_thread();
void end_thread(Thread &thread);
void free_thread(); // frees the calling thread's data before the thread ends
void empty_pool(Thread &thread);

Object &make(Value value, Holder holder);

// The program's pointer to an object, and the object of such a pointer; NULL for NULL.
template <class Cmpi>
Cmpi *cmpi_of(Object *object) {
    return object ? reinterpret_cast<Cmpi *>(&object->cmpi) : nullptr;
}
template <class Cmpi>
Object *object_of(const Cmpi *cmpi) {
    return cmpi ? static_cast<Object *>(cmpi->hdl) : nullptr;
}

CMPIData no_data(); // type 0, state CMPI_notFound
CMPIData hand_out(const Value &value, Holder holder);
CMPIData hand_out_element(Object &container, std::size_t index);

// Both remove what was handed out for an element from its container. free_element frees it, and appends its
// name to `twice` if the program had released it already; detach_element makes the program its owner.
void free_element(Object &container, std::size_t index, std::vector<std::string> &twice);
void detach_element(Object &container, std::size_t index);

// The value of an object, with the changes that were made to its elements.
Value value_of(const Object &object);
// The value of data that was handed out. Misuse if its object was released.
Value value_behind(const CMPIData &data);

// Marks an object as released, frees its value and its elements, and puts it into the quarantine. Appends the
// names of elements that the program had released already to `twice`.
void mark_released(Object &object, std::vector<std::string> &twice);

// Counts a released client; unloads the back end if it was the last. Returns true if it was the last
// and other threads have used the back end.
bool client_released();
// Frees the objects that the unloading of the back end made invalid.
void free_unloaded();
void shrink_quarantine(std::size_t bound);

} // namespace cimsim

#endif
