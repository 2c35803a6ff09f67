/* client.c - the client library, and the log, the memory and the mutexes of libxavo. */
#ifndef _GNU_SOURCE
#define _GNU_SOURCE
#endif
#include "client.h"
#include <hulmprintf.h>
#include <malloc.h>
#include <signal.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <utl_va_cat.h>

struct Client client;
static Object objects[600];
static size_t object_count;
static void (*const tables[CLIENT + 1][18])(void);

/* ---- Values ------------------------------------------------------------------------------------- */

/* clang-format off */
#define FORMAT(to, size, format) va_list v; va_start(v, format); vsnprintf(to, size, format, v); va_end(v)
/* clang-format on */
#define MISUSE(what) put(client.log, " misuse: " what)

void put(char *to, const char *format, ...) { FORMAT(to + strlen(to), TEXT - strlen(to), format); }

static Object *make(enum Kind kind, enum Owner owner, const char *text) {
    Object *const made = &objects[object_count++];
    if (object_count == sizeof objects / sizeof *objects) abort();
    *made = (Object){.ft = tables[kind], .kind = kind, .owner = owner, .live = 1};
    put(made->text, "%s", text);
    return made;
}

/* clang-format off */
#define T(name, kind) {#name, kind, CMPI_##name}
static const struct Name { const char *name; enum Kind kind; int number; } states[] = {
    {"null:", NUMBER, CMPI_nullValue}, {"key:", NUMBER, CMPI_keyValue}, {"notfound:", NUMBER, CMPI_notFound},
    {"bad:", NUMBER, CMPI_badValue}, {"", NUMBER, CMPI_goodValue}},
types[] = {
    T(chars, NUMBER), T(charsA, ARRAY), T(uint16, NUMBER), T(uint32, NUMBER), T(uint32A, ARRAY), T(sint32, NUMBER),
    T(real64, NUMBER), T(ptr, NUMBER), T(charsptr, NUMBER), T(filter, NUMBER), T(null, NUMBER), T(class, STRING),
    T(string, STRING), T(stringA, ARRAY), T(dateTime, STRING), T(integerString, STRING), T(dateTimeString, STRING),
    T(ref, PATH), T(refA, ARRAY), T(instance, INSTANCE), T(instanceA, ARRAY), T(args, ARGS),
    T(enumeration, ENUMERATION), {"", NUMBER, CMPI_null}};
/* clang-format on */

CMPIData value(const char *text, enum Owner owner) {
    const struct Name *state = states, *type = types;
    while (strncmp(text, state->name, strlen(state->name)) != 0) ++state;
    text += strlen(state->name);
    const size_t length = strcspn(text, ":");
    while (*type->name != '\0' && (strlen(type->name) != length || strncmp(text, type->name, length) != 0)) ++type;
    if (*type->name == '\0') MISUSE("a row has an unknown type");
    text += length + (text[length] == ':');
    CMPIData data = {(CMPIType)type->number, (CMPIValueState)state->number, {0}};
    if (data.type == CMPI_chars) data.value.chars = strdup(text);
    else if (type->number == CMPI_uint16) data.value.uint16 = (CMPIUint16)strtoul(text, NULL, 0);
    else if (type->number == CMPI_uint32 || type->number == CMPI_sint32)
        data.value.uint32 = (CMPIUint32)strtoull(text, NULL, 0);
    else if (type->kind == NUMBER) data.value.string = (CMPIString *)(uintptr_t)strtoull(text, NULL, 0);
    else if (strcmp(text, "none") != 0) data.value.string = (CMPIString *)make(type->kind, owner, text);
    return data;
}

static char member_name[TEXT];

/* Returns the value of a member, as text, and sets member_name; NULL if there is none. If name is NULL, the member
 * with this number is meant. */
static char *member(const Object *from, const char *name, unsigned int number) {
    const char *start = strchr(from->text, '(');
    while (start != NULL && *start != ')' && start[1] != ')') {
        int length = 0, depth = 0;
        for (start += start[1] == ' ' ? 2 : 1; depth > 0 || strchr(",)", start[length]) == NULL; ++length)
            depth += (start[length] == '(') - (start[length] == ')');
        snprintf(member_name, TEXT, "%.*s", length, start);
        char *const end = member_name + strcspn(member_name, "=:");
        char *const text = *end == '=' ? end + 1 : member_name;
        if (text > end) *end = '\0';
        if (name != NULL ? strcasecmp(name, member_name) == 0 : number-- == 0) return text;
        start += length;
    }
    return NULL;
}

static void append(Object *to, const char *name, const char *text) {
    char *const end = to->text + strlen(to->text) - 1;
    *end = '\0';
    put(to->text, "%s%s%s%s)", end[-1] == '(' ? "" : ", ", name, *name ? "=" : "", text);
}

/* Returns the text of a value that libxavo passes to the client library. */
static const char *given(const CMPIValue *from, CMPIType type) {
    static char text[TEXT + 16];
    const char *const name = type == CMPI_ref ? "ref" : type == CMPI_stringA ? "stringA" : "string";
    if (type == CMPI_null) snprintf(text, sizeof text, "null:null");
    else if (type == CMPI_chars) snprintf(text, sizeof text, "string:%s", (const char *)from);
    else if (type == CMPI_uint16) snprintf(text, sizeof text, "uint16:%u", *(const CMPIUint16 *)(const void *)from);
    else snprintf(text, sizeof text, "%s:%s", name, ((const Object *)from->string)->text);
    return text;
}

/* ---- Functions of the objects ------------------------------------------------------------------- */

/* Counts a call, and returns 1 if it fails. */
static int event(void) { return client.armed && ++client.events == client.fault; }

#define OK CMPI_RC_OK

/* The same for a call of the client library, which reports NOT_SUPPORTED if it fails, and else `otherwise`. */
static int fails(const Object *self, CMPIStatus *rc, CMPIrc otherwise) {
    const CMPIrc outcome = event() ? CMPI_RC_ERR_NOT_SUPPORTED : otherwise;
    if (client.open == 0 || (self != NULL && !self->live)) MISUSE("no connection, or a released object");
    const int failed = outcome != OK;
    if (rc != NULL) *rc = (CMPIStatus){outcome, failed ? (CMPIString *)make(STRING, LIBRARY, "failed") : NULL};
    return failed;
}

static CMPIStatus release(Object *self) {
    static const char *const kinds[] = {"", "string", "array", "args", "path", "instance", "enumeration", "client"};
    if (!self->live || client.open == 0) MISUSE("released twice, or without a connection");
    self->live = 0;
    put(client.released, " %s", kinds[self->kind]);
    if (self->kind == CLIENT) raise(SIGPIPE), --client.open;
    return (CMPIStatus){OK, NULL};
}

static CMPIStatus add(Object *self, const char *name, CMPIValue *from, CMPIType type) {
    CMPIStatus rc;
    if (!fails(self, &rc, OK)) append(self, name, given(from, type));
    return rc;
}
static CMPIStatus set_at(Object *self, CMPICount changed, CMPIValue *from, CMPIType type) {
    const Object old = *self;
    CMPIStatus rc;
    if (fails(self, &rc, OK)) return rc;
    strcpy(self->text, "()");
    for (CMPICount i = 0; member(&old, NULL, i) != NULL; ++i)
        append(self, "", i == changed ? given(from, type) : member_name);
    return rc;
}

static const CMPIData absent = {CMPI_null, CMPI_notFound, {0}};

/* Returns an argument, a key or a property. A property that an instance does not have is null. */
static CMPIData get_named(Object *self, const char *name, CMPIStatus *rc) {
    char *const text = member(self, name, 0);
    if (fails(self, rc, self->kind == INSTANCE ? client.rc : text ? OK : CMPI_RC_ERR_NOT_FOUND)) return absent;
    return value(text != NULL ? text : "null:string:none", POOL);
}
static CMPIString *part(Object *self, const char *text, const char *end, CMPIStatus *rc) {
    if (fails(self, rc, OK) || strcspn(text, end) == 0) return NULL;
    Object *const made = make(STRING, POOL, text);
    made->text[strcspn(made->text, end)] = '\0';
    return (CMPIString *)made;
}
static CMPIData get_nth(Object *self, unsigned int i, CMPIString **name, CMPIStatus *rc) {
    char *const text = member(self, NULL, i);
    if (fails(self, rc, OK)) return absent;
    *name = part(self, member_name, "", NULL);
    return value(text, POOL);
}
static CMPIData get_at(Object *self, CMPICount i, CMPIStatus *rc) {
    char *const text = member(self, NULL, i);
    return fails(self, rc, OK) || text == NULL ? absent : value(text, OTHER);
}
static CMPIData get_next(Object *self, CMPIStatus *rc) { return get_at(self, self->next++, rc); }
static unsigned int get_count(Object *self, CMPIStatus *rc) {
    unsigned int i = 0;
    while (member(self, NULL, i) != NULL) ++i;
    return fails(self, rc, OK) ? 0 : i;
}

/* Begins an exchange with the broker. It raises SIGPIPE, which must not reach the program. */
static int exchange(const char *name, Object *self, const Object *path, CMPIFlags flags, char **list, CMPIStatus *rc) {
    if (client.depth != 1 || rc == NULL || list != NULL) MISUSE("no lock, no status, or a property list");
    put(client.sent, name, flags);
    put(client.sent, "%s", path->text);
    raise(SIGPIPE);
    return fails(self, rc, client.rc) || strcmp(client.without, "object") == 0;
}
static CMPIData invoke(Object *self, const Object *path, const char *method, Object *in, Object *out, CMPIStatus *rc) {
    const int failed = exchange("", self, path, 0, NULL, rc);
    put(client.sent, ".%s%s", method, in->text);
    strcpy(out->text, client.content->text);
    return failed ? absent : value(client.returned, POOL);
}
/* clang-format off */
#define READ(name, kind) \
    static Object *name(Object *self, const Object *path, CMPIFlags f, char **list, CMPIStatus *rc) { \
        return exchange(#name "(%u) ", self, path, f, list, rc) ? NULL : make(kind, LIBRARY, client.content->text); }
READ(getInstance, INSTANCE)
READ(enumInstances, ENUMERATION)
#define GET(type, name, get) static type name(Object *self, CMPIStatus *rc) { return fails(self, rc, OK) ? 0 : (get); }
GET(const char *, get_chars, strcmp(self->text, "NULL") != 0 ? self->text : NULL)
GET(CMPIBoolean, has_next, member(self, NULL, self->next) != NULL)
static CMPIString *get_space(Object *self, CMPIStatus *rc) { return part(self, self->text, ":", rc); }
static CMPIString *get_host(Object *o, CMPIStatus *rc) { return part(o, *o->text == ':' ? "" : "host", "", rc); }
static CMPIString *get_class(Object *self, CMPIStatus *rc) { return part(self, strchr(self->text, ':') + 1, "(", rc); }

/* The functions in the order of cmcift.h. The first place is that of the version. */
#define F (void (*)(void))
static void (*const tables[CLIENT + 1][18])(void) = {
    [STRING] = {0, F release, 0, F get_chars},
    [ARRAY] = {0, F release, 0, F get_count, 0, F get_at, F set_at},
    [ARGS] = {0, F release, 0, F add, F get_named, F get_nth, F get_count},
    [PATH] = {0, F release, 0, 0, F get_space, 0, F get_host, 0, F get_class, F add, F get_named, F get_nth,
              F get_count},
    [INSTANCE] = {0, F release, 0, F get_named},
    [ENUMERATION] = {0, F release, 0, F get_next, F has_next},
    [CLIENT] = {[1] = F release, [6] = F getInstance, [12] = F enumInstances, [17] = F invoke}};
/* clang-format on */

#define NEW(type, kind, text) (fails(NULL, rc, OK) ? NULL : (type *)make(kind, LIBRARY, text))
CMPIArgs *native_new_CMPIArgs(CMPIStatus *rc) { return NEW(CMPIArgs, ARGS, "()"); }
CMPIString *native_new_CMPIString(const char *text, CMPIStatus *rc) { return NEW(CMPIString, STRING, text); }
CMPIArray *native_new_CMPIArray(CMPICount size, CMPIType type, CMPIStatus *rc) {
    Object *const array = NEW(Object, ARRAY, "()");
    if (type != CMPI_string) MISUSE("an array of another type");
    for (CMPICount i = 0; array != NULL && i < size; ++i) append(array, "", "null:null");
    return (CMPIArray *)array;
}
CMPIObjectPath *newCMPIObjectPath(const char *name_space, const char *class_name, CMPIStatus *rc) {
    Object *const path = strcmp(client.without, "path") == 0 ? NULL : NEW(Object, PATH, name_space);
    if (path != NULL) put(path->text, ":%s()", class_name);
    return (CMPIObjectPath *)path;
}
CMCIClient *cmciConnect(const char *host, const char *a, const char *b, const char *user, const char *c,
                        CMPIStatus *rc) {
    put(client.sent, "%s %s %s ", host, user, a || b || c ? "more" : getenv("SFCC_CLIENT"));
    raise(SIGPIPE);
    ++client.open;
    CMCIClient *const connected = strcmp(client.without, "broker") == 0 ? NULL : NEW(CMCIClient, CLIENT, "");
    client.open -= connected == NULL;
    return connected;
}

/* ---- The log, the memory and the mutexes of libxavo --------------------------------------------- */

/* Keeps the text of each error, without the file, the line and the function before it. */
void hulmprintf(int level, int module, const char *format, ...) {
    char line[TEXT];
    FORMAT(line, sizeof line, format);
    const char *const error = strstr(line, "ERROR: ");
    if (module != 5 || level != (error ? 2 : 8)) MISUSE("a log line of another level or module");
    if (error != NULL) put(client.log, " [%.*s]", (int)strcspn(error + 7, "\n"), error + 7);
}

/* Returns a zeroed block. (The compiler makes calloc of malloc and memset.) */
static char *allocate(size_t size) {
    char *const block = event() ? NULL : memalign(sizeof(CMPIValue), size);
    client.memory += block != NULL;
    return block != NULL ? memset(block, '\0', size) : NULL;
}
void *calloc(size_t count, size_t size) { return allocate(count * size + 1); }
char *utl_va_cat(const char *first, ...) {
    char *const joined = allocate(TEXT);
    va_list values;
    va_start(values, first);
    for (const char *text = first; joined && text; text = va_arg(values, const char *)) strcat(joined, text);
    va_end(values);
    return joined;
}
char *strdup(const char *text) { return utl_va_cat(text, (char *)NULL); }
void free(void *block) {
    client.memory -= block != NULL;
    if (block != NULL && realloc(block, 0) != NULL) abort();
}

/* The test has one thread, so that a mutex is a number. */
static int mutex(int change) {
    client.depth += change;
    if (change < 0) put(client.released, " unlock");
    return event();
}
int pthread_mutex_init(pthread_mutex_t *m, const pthread_mutexattr_t *a) { return ((void)m, mutex(0) || a != NULL); }
#define MUTEX(name, change)                                                                                            \
    int pthread_mutex_##name(pthread_mutex_t *m) { return ((void)m, mutex(change)); }
MUTEX(destroy, 0)
MUTEX(lock, 1)
MUTEX(unlock, -1)

/* ---- Rows --------------------------------------------------------------------------------------- */

void client_prepare(const char *answer, enum Kind content) {
    static char words[TEXT];
    client = (struct Client){.without = "", .returned = "uint32:0"};
    object_count = 0;
    client.content = make(content, OTHER, "()");
    for (char *word = strtok(strcpy(words, answer), " "); word != NULL; word = strtok(NULL, " ")) {
        char *const end = word + strcspn(word, "=:"), *const text = end + 1;
        if (*end == '=') *end = '\0';
        if (strcmp(word, "without") == 0) client.without = text;
        else if (strcmp(word, "rc") == 0) client.rc = (CMPIrc)atoi(text);
        else if (strcmp(word, "return") == 0) client.returned = text;
        else append(client.content, *end ? "" : word, *end ? word : text);
    }
}

void show_kept(char *to) {
    int kept[] = {[LIBRARY] = 0, [POOL] = 0, [OTHER] = 0};
    for (size_t i = 0; i < object_count; ++i) kept[objects[i].owner] += (int)objects[i].live;
    if (kept[LIBRARY]) put(to, " leaked=%d", kept[LIBRARY]);
    if (kept[POOL]) put(to, " pooled=%d", kept[POOL]);
    if (client.memory || client.depth) put(to, " memory=%d locked=%d", client.memory, client.depth);
}
