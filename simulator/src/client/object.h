// object.h - the client library's objects: made from values, counted, remembered in the pool of the thread
// that read them, and kept in quarantine after their release, to detect a second release and use after
// release.
#ifndef CIMSIM_OBJECT_H
#define CIMSIM_OBJECT_H

#include "value/value.h"

#include <CimClientLib/cmcift.h>

#include <cstddef>
#include <map>

namespace cimsim {

// A member of a ring: an object in the list of those that the program owns, or in a thread's pool.
struct Link {
    Link *previous = this, *next = this;

    Link() = default;
    Link(const Link &) = delete;
    Link &operator=(const Link &) = delete;
    void join(Link &ring);
    void leave();
};

// The owner of an object: the program, the pool of a thread, or the container that it is in.
enum class Holder : unsigned char { owned, pooled, member };
enum class Life : unsigned char { alive, released, unloaded };

struct Object;

// What an array or an enumeration has handed out for one of its elements.
struct Member {
    Object *object = nullptr;
    char *chars = nullptr;
};

struct Client {
    std::string user;
    unsigned int running = 0; // exchanges that have not been answered yet
};

// Data that another layer keeps for a thread.
struct Attachment {
    virtual ~Attachment() = default;
};

struct Thread {
    unsigned long id = 0;
    bool has_called = false; // the client library, since its back end was loaded
    bool unloading = false;  // another thread is releasing the last client: this one must not end now
    Link pool;

    std::unique_ptr<Attachment> attached;
};

struct Object : Link {
    struct {
        void *hdl;
        void *ft;
    } face; // what the program sees
    Kind kind;
    Holder holder;
    Life life = Life::alive;
    bool self_made = false;   // by the program, as against read from another object or answered
    unsigned long number;     // by kind, from 1
    Thread *reader = nullptr; // of a pooled object
    Value value;
    std::vector<Member> members; // beside value.tree->elements, as far as they were handed out
    std::size_t next_element = 0;
    std::unique_ptr<Client> client;

    Object(Value value, Holder holder);
    std::string name() const;
};

// Number of released objects that are kept in quarantine.
constexpr std::size_t remembered = 4096;

struct Heap {
    Link owned;
    Link lost; // in pools of threads other than the one that released the last client
    std::size_t owned_count = 0, pooled_count = 0;
    std::size_t clients = 0; // open ones; the back end is loaded while there are any
    Link quarantine;         // released, kept to detect use after release
    std::size_t quarantined = 0;
    unsigned long numbers[static_cast<std::size_t>(Kind::count)] = {};
    std::map<unsigned long, Thread *> threads;
    unsigned long last_thread = 0;
};

const char *kind_name(Kind kind);

// The functions below expect the simulator's lock to be held.

Thread &this_thread();
void end_thread(Thread &thread);
void forget_thread(); // the calling one, before its end
void empty_pool(Thread &thread);

Object &make(Value value, Holder holder);

// The pointer by which the program knows an object, and back; NULL is NULL both ways.
template <class Face>
Face *face_of(Object *object) {
    return object ? reinterpret_cast<Face *>(&object->face) : nullptr;
}
template <class Face>
Object *object_of(const Face *face) {
    return face ? static_cast<Object *>(face->hdl) : nullptr;
}

CMPIData no_data(); // type 0, state CMPI_notFound
CMPIData hand_out(const Value &value, Holder holder);
CMPIData hand_out_element(Object &container, std::size_t index);

// Both end what was handed out for an element. free_element frees it, and names it in `twice` if the program
// had released it itself; forget_element leaves it to the program.
void free_element(Object &container, std::size_t index, std::vector<std::string> &twice);
void forget_element(Object &container, std::size_t index);

// The value of an object, with the changes that were made to its elements.
Value value_of(const Object &object);
// The value behind data that was handed out; misuse if its object is dead.
Value value_behind(const CMPIData &data);

// Ends an object and its elements. Elements that the program had released itself are named in `twice`.
void end_object(Object &object, std::vector<std::string> &twice);

// Unloads the back end with the last client. False: other threads have used it.
bool client_released();
void forget_unloaded();
void shrink_quarantine(std::size_t bound);

} // namespace cimsim

#endif
