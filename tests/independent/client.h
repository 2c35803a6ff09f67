/* client.h - a small CIM client library, which answers as a row says and records what libxavo does. */
#ifndef CLIENT_H
#define CLIENT_H

#include <XAVO.h>

enum { TEXT = 8192 };
enum Kind { NUMBER, STRING, ARRAY, ARGS, PATH, INSTANCE, ENUMERATION, CLIENT }; /* all but the first are objects */
enum Owner { LIBRARY, POOL, OTHER }; /* who frees an object: libxavo; the thread's pool; the test or another object */

/* An object of the client library. The first two members are those of every CMPI object. */
typedef struct Object {
    const void *hdl, *ft;
    enum Kind kind;
    enum Owner owner;
    unsigned int live, next; /* not yet released; the number of the next element of an enumeration */
    char text[TEXT];         /* the value, in the form that cases.txt describes */
} Object;

/* What the client library answers, which call fails, and what was done to it since client_prepare.
 *
 *  without          "broker", "object" (a success without one), "path", or ""
 *  returned         a method's return value
 *  content          the outputs of a method, the properties of an instance, or the elements of a list
 *  rc               status of a method call, a listing, a fetch and the reading of a property
 *  armed, fault     calls are counted; the number of the call that fails, or 0
 *  events, open     the number of calls, and of open clients
 *  depth, memory    locked mutexes; blocks of memory that are not freed
 *  sent, log        the requests; the error lines
 *  released         the objects that were released and the unlocks, in their order */
extern struct Client {
    const char *without, *returned;
    Object *content;
    CMPIrc rc;
    int armed, fault, events, open, depth, memory;
    char sent[TEXT], log[TEXT], released[TEXT];
} client;

/* Begins a row, whose second column is `answer`. */
void client_prepare(const char *answer, enum Kind content);
/* Appends how many objects, blocks and mutexes were not freed or unlocked. */
void show_kept(char *to);
void put(char *to, const char *format, ...) __attribute__((format(printf, 2, 3)));
CMPIData value(const char *text, enum Owner owner);

#endif
