/* client.h - a small CIM client library, which answers as a script says and counts what libxavo does. */
#ifndef CLIENT_H
#define CLIENT_H

#include <XAVO.h>

enum { MEMBERS = 40, INSTANCES = 4, TEXT = 8192 };
enum Kind { STRING, ARRAY, ARGS, PATH, INSTANCE, ENUMERATION, CLIENT };

/* An object of the client library. The first two members are those of every CMPI object. */
typedef struct Object {
    void *hdl;
    const void *ft;
    int live, pooled, inside, made; /* in the thread's pool; freed by another object; made in this process */
    const char *chars, *class_name; /* a string's characters or a path's namespace; a path's class */
    unsigned int count, next;
    const char *name[MEMBERS];
    CMPIData data[MEMBERS];
} Object;

/* What the client library answers and which call fails, and what was done to it since client_reset.
 *
 *  without            a "broker", an "object" in a success, a "path", or ""
 *  returned, last     a method's return value; the last element of a list, if it has a type
 *  content, contents  the outputs of a method, or the properties of each instance; their number
 *  any, slot, nth     the call `any` of all fails, and the nth call of `slot`, with the status fault_rc
 *  rc                 status of a method call, a listing and a fetch
 *  armed, events      calls are counted; their number
 *  open, depth        open clients, locked mutexes */
extern struct Client {
    const char *without, *slot, *misuse;
    CMPIData returned, last;
    Object *content[INSTANCES];
    CMPIrc rc, fault_rc;
    int contents, any, nth, armed, events, seen, open, depth, memory;
    char sent[TEXT], log[TEXT];
} client;

void client_reset(void);
/* Appends what was not freed or unlocked, and a misuse. */
void show_kept(char *to);
Object *make(enum Kind kind, const char *chars);
void add(Object *to, const char *name, CMPIData data);
CMPIData lend(CMPIData data); /* the test owns it */
CMPIData value(const char *text);
void show(char *to, CMPIData data);
void put(char *to, const char *format, ...) __attribute__((format(printf, 2, 3)));
int type_of(const char *name); /* -1 if no type has this name, which begins with "CMPI_" */

#endif
