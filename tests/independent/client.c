/* client.c - the client library, and the log, the memory and the mutexes of libxavo. */
#ifndef _GNU_SOURCE
#define _GNU_SOURCE
#endif
#include "client.h"
#include <dlfcn.h>
#include <signal.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

struct Client client;

static Object objects[600];
static size_t object_count, text_used;
static char texts[200000];
static void (*const tables[CLIENT + 1][MEMBERS])(void);

void put(char *to, const char *format, ...) {
    va_list values;
    va_start(values, format);
    vsnprintf(to + strlen(to), TEXT - strlen(to), format, values);
    va_end(values);
}

/* ---- Objects ------------------------------------------------------------------------------------ */

static char *copy_text(char *to, const char *from) { return to != NULL ? strcpy(to, from) : NULL; }
static const char *keep(const char *text) {
    text_used += strlen(text) + 1;
    return text_used > sizeof texts ? (abort(), NULL) : strcpy(texts + text_used - strlen(text) - 1, text);
}

Object *make(enum Kind kind, const char *chars) {
    if (object_count == sizeof objects / sizeof *objects) abort();
    objects[object_count] = (Object){.ft = tables[kind], .live = 1, .chars = chars ? keep(chars) : NULL};
    return &objects[object_count++];
}

static CMPIData data_of(CMPIType type, const void *object) {
    return (CMPIData){type, CMPI_goodValue, {.string = (CMPIString *)(size_t)object}};
}

static Object *object_of(CMPIData data) {
    const int is_object = data.type & CMPI_ARRAY || (data.type >= CMPI_instance && data.type < CMPI_chars) ||
                          data.type == CMPI_dateTime || data.type == CMPI_dateTimeString;
    return is_object && data.type != CMPI_filter ? (Object *)data.value.string : NULL;
}

static CMPIData mark(CMPIData data, int inside, int pooled) {
    if (object_of(data) != NULL) object_of(data)->inside |= inside, object_of(data)->pooled |= pooled;
    return data;
}
CMPIData lend(CMPIData data) { return mark(data, 1, 0); }
static CMPIData pooled(CMPIData data) { return mark(data, 0, 1); }

void add(Object *to, const char *name, CMPIData data) {
    unsigned int i = 0;
    while (i < to->count && (*name == '\0' || strcasecmp(to->name[i], name) != 0)) ++i;
    if (i == MEMBERS) abort();
    to->count += i == to->count;
    to->name[i] = keep(name);
    to->data[i] = lend(data);
}

static CMPIData copy(CMPIData data) {
    const Object *from = object_of(data);
    if (data.type == CMPI_chars) data.value.chars = strdup(data.value.chars);
    if (from == NULL) return data;
    Object *to = make(STRING, from->chars);
    to->ft = from->ft;
    to->class_name = from->class_name;
    for (unsigned int i = 0; i < from->count; ++i) add(to, from->name[i], copy(from->data[i]));
    data.value.string = (CMPIString *)to;
    return data;
}

static CMPIStatus status(CMPIrc rc) {
    return (CMPIStatus){rc, rc != CMPI_RC_OK ? (CMPIString *)make(STRING, "failed") : NULL};
}

/* Counts a call, and returns 1 if it fails. */
static int event(const char *name) {
    const int named = client.armed && client.slot != NULL && strcmp(client.slot, name) == 0;
    client.events += client.armed;
    client.seen += named;
    return client.armed && (client.events == client.any || (named && client.seen == client.nth));
}

/* The same for a call of the client library, with the status that it reports. */
static int fails(const char *name, const Object *self, CMPIStatus *rc) {
    if (client.open == 0 || (self != NULL && !self->live)) client.misuse = name;
    const int failed = event(name);
    if (rc != NULL) *rc = status(failed ? client.fault_rc : CMPI_RC_OK);
    return failed;
}

/* ---- Functions of the objects ------------------------------------------------------------------- */

static CMPIStatus release(Object *self) {
    if (!self->live || client.open == 0) client.misuse = "released twice, or without a connection";
    self->live = 0;
    for (unsigned int i = 0; i < self->count; ++i)
        if (object_of(self->data[i]) != NULL && object_of(self->data[i])->live) release(object_of(self->data[i]));
    return status(CMPI_RC_OK);
}

static const CMPIData absent = {CMPI_null, CMPI_notFound, {0}}, null = {CMPI_null, CMPI_nullValue, {0}};

static CMPIStatus set_element(Object *self, CMPICount i, CMPIValue *from, CMPIType type) {
    CMPIStatus rc;
    if (fails("setElementAt", self, &rc)) return rc;
    if (type == CMPI_null && self->made && object_of(self->data[i]) != NULL) release(object_of(self->data[i]));
    self->data[i] = type == CMPI_null ? null : lend(copy(data_of(type, *(CMPIString **)from)));
    return rc;
}

/* A property that an instance does not have is null. */
static CMPIData get_named(Object *self, const char *name, CMPIStatus *rc) {
    if (fails("get", self, rc)) return absent;
    for (unsigned int i = 0; i < self->count; ++i)
        if (strcasecmp(self->name[i], name) == 0) return pooled(copy(self->data[i]));
    if (self->ft == tables[INSTANCE]) return lend(value("null:string"));
    *rc = status(CMPI_RC_ERR_NOT_FOUND);
    return absent;
}
static CMPIString *get_text(Object *self, const char *text, CMPIStatus *rc) {
    return fails("text", self, rc) ? NULL : pooled(data_of(CMPI_string, make(STRING, text))).value.string;
}
static CMPIData get_numbered(Object *self, unsigned int i, CMPIString **name, CMPIStatus *rc) {
    if (fails("getAt", self, rc)) return absent;
    *name = get_text(self, self->name[i], NULL);
    return pooled(copy(self->data[i]));
}
static CMPIStatus add_named(Object *self, const char *name, CMPIValue *from, CMPIType type) {
    CMPIStatus rc;
    CMPIData data = {type, CMPI_goodValue, {0}};
    if (fails("add", self, &rc)) return rc;
    if (type == CMPI_uint16) data.value.uint16 = *(CMPIUint16 *)from;
    else if (type == CMPI_chars) data = data_of(CMPI_string, make(STRING, (const char *)from));
    else data = copy(data_of(type, *(CMPIString **)from));
    add(self, name, data);
    return rc;
}

/* Begins an exchange with the broker. It raises SIGPIPE, which must not reach the program. */
static int exchange(const char *name, Object *self, const Object *path, CMPIFlags flags, char **list, CMPIStatus *rc) {
    if (client.depth != 1 || rc == NULL || list != NULL) client.misuse = "no lock, no status, or a property list";
    put(client.sent, *name == 'i' ? "" : "%s(%u) ", name, flags);
    show(client.sent, data_of(CMPI_ref, path));
    raise(SIGPIPE);
    if (fails(name, self, rc)) return 1;
    if (client.rc != CMPI_RC_OK) *rc = status(client.rc);
    return client.rc != CMPI_RC_OK || strcmp(client.without, "object") == 0;
}
static CMPIData invoke(Object *self, const Object *path, const char *method, Object *in, Object *out, CMPIStatus *rc) {
    const int failed = exchange("invokeMethod", self, path, 0, NULL, rc);
    put(client.sent, ".%s", method);
    show(client.sent, data_of(CMPI_args, in));
    for (unsigned int i = 0; !failed && i < client.content[0]->count; ++i)
        add(out, client.content[0]->name[i], copy(client.content[0]->data[i]));
    return failed ? absent : pooled(copy(client.returned));
}
static Object *get_instance(Object *self, const Object *path, CMPIFlags flags, char **properties, CMPIStatus *rc) {
    if (exchange("getInstance", self, path, flags, properties, rc)) return NULL;
    return object_of(copy(data_of(CMPI_instance, client.content[0])));
}
static Object *list(Object *self, const Object *path, CMPIFlags flags, char **properties, CMPIStatus *rc) {
    if (exchange("enumInstances", self, path, flags, properties, rc)) return NULL;
    Object *made = make(ENUMERATION, NULL);
    for (int i = 0; i < client.contents; ++i) add(made, "", copy(data_of(CMPI_instance, client.content[i])));
    if (client.last.type != CMPI_null) add(made, "", copy(client.last));
    return made;
}
static CMPIStatus release_client(Object *self) {
    raise(SIGPIPE);
    return (release(self), --client.open, status(CMPI_RC_OK));
}

/* clang-format off */
#define GET(result, name, otherwise, self_value) \
    static result get_##name(Object *self, CMPIStatus *rc) { return fails(#name, self, rc) ? otherwise : (self_value); }
GET(const char *, chars, NULL, self->chars)
GET(unsigned int, count, 0, self->count)
GET(CMPIBoolean, hasNext, 0, self->next < self->count)
GET(CMPIData, next, absent, self->data[self->next++])
static CMPIString *get_space(Object *self, CMPIStatus *rc) { return get_text(self, self->chars, rc); }
static CMPIString *get_host(Object *self, CMPIStatus *rc) { return get_text(self, "host", rc); }
static CMPIString *get_class(Object *self, CMPIStatus *rc) { return get_text(self, self->class_name, rc); }
static CMPIData get_at(Object *o, unsigned int i, CMPIStatus *rc) { return fails("at", o, rc) ? absent : o->data[i]; }

/* The functions in the order of cmcift.h. The first place is that of the version. */
#define F (void (*)(void))
static void (*const tables[CLIENT + 1][MEMBERS])(void) = {
    [STRING] = {0, F release, 0, F get_chars},
    [ARRAY] = {0, F release, 0, F get_count, 0, F get_at, F set_element},
    [ARGS] = {0, F release, 0, F add_named, F get_named, F get_numbered, F get_count},
    [PATH] = {0, F release, 0, 0, F get_space, 0, F get_host, 0, F get_class, F add_named, F get_named, F get_numbered,
        F get_count},
    [INSTANCE] = {0, F release, 0, F get_named},
    [ENUMERATION] = {0, F release, 0, F get_next, F get_hasNext},
    [CLIENT] = {[1] = F release_client, [6] = F get_instance, [12] = F list, [17] = F invoke}};
#define NEW(type, kind, text) (fails("new" #type, NULL, rc) ? NULL : (type *)make(kind, text))
CMPIArgs *native_new_CMPIArgs(CMPIStatus *rc) { return NEW(CMPIArgs, ARGS, NULL); }
CMPIString *native_new_CMPIString(const char *text, CMPIStatus *rc) { return NEW(CMPIString, STRING, text); }
/* clang-format on */
CMPIArray *native_new_CMPIArray(CMPICount size, CMPIType type, CMPIStatus *rc) {
    Object *array = (Object *)NEW(CMPIArray, ARRAY, NULL);
    for (CMPICount i = 0; array != NULL && i < size; ++i) add(array, "", null), array->made = type == CMPI_string;
    return (CMPIArray *)array;
}
CMPIObjectPath *newCMPIObjectPath(const char *name_space, const char *class_name, CMPIStatus *rc) {
    Object *path = (Object *)(strcmp(client.without, "path") == 0 ? NULL : NEW(CMPIObjectPath, PATH, name_space));
    if (path != NULL) path->class_name = keep(class_name);
    return (CMPIObjectPath *)path;
}
CMCIClient *cmciConnect(const char *host, const char *a, const char *b, const char *user, const char *c,
                        CMPIStatus *rc) {
    put(client.sent, "%s %s %s ", host, user, a || b || c ? "more" : getenv("SFCC_CLIENT"));
    raise(SIGPIPE);
    ++client.open;
    CMCIClient *connected = strcmp(client.without, "broker") == 0 ? NULL : NEW(CMCIClient, CLIENT, NULL);
    client.open -= connected == NULL;
    return connected;
}

/* ---- Values as text ----------------------------------------------------------------------------- */

/* clang-format off */
#define T(name) {"CMPI_" #name, CMPI_##name}
static const struct { const char *name; int number; } types[] = {
    T(null), T(boolean), T(char16), T(real32), T(real64), T(uint8), T(uint16), T(uint32), T(uint64), T(sint8),
    T(sint16), T(sint32), T(sint64), T(instance), T(ref), T(args), T(class), T(filter), T(enumeration), T(string),
    T(chars), T(dateTime), T(ptr), T(charsptr), T(booleanA), T(char16A), T(real32A), T(real64A), T(uint8A), T(uint16A),
    T(uint32A), T(uint64A), T(sint8A), T(sint16A), T(sint32A), T(sint64A), T(instanceA), T(refA), T(stringA),
    T(charsA), T(dateTimeA), T(ptrA), T(charsptrA), T(integerString), T(realString), T(numericString),
    T(booleanString), T(dateTimeString), {NULL, -1}},
    forms[] = {{"null:", CMPI_nullValue}, {"key:", CMPI_keyValue}, {"notfound:", CMPI_notFound},
    {"bad:", CMPI_badValue}, {"none:", 1}, {"blank:", 2}, {"", 0}};
/* clang-format on */

int type_of(const char *name) {
    size_t i = 0;
    while (types[i].name != NULL && strcmp(types[i].name, name) != 0) ++i;
    return types[i].number;
}

CMPIData value(const char *text) {
    char name[64] = "CMPI_", word[256];
    size_t form = 0;
    while (strncmp(text, forms[form].name, strlen(forms[form].name)) != 0) ++form;
    text += strlen(forms[form].name);
    strncat(name, text, strcspn(text, ":"));
    text += strcspn(text, ":") + (strchr(text, ':') != NULL);
    CMPIData data = {(CMPIType)type_of(name), (CMPIValueState)(forms[form].number & ~3), {0}};
    if (type_of(name) < 0) put(client.log, " there is no %s", name);
    if (forms[form].number == 1) return data; /* none: a NULL pointer */
    const enum Kind kind = data.type & CMPI_ARRAY ? ARRAY : data.type == CMPI_ref ? PATH : STRING;
    const int blank =
        kind != STRING || data.type == CMPI_instance || forms[form].number == 2 || data.state == CMPI_nullValue;
    Object *object = make(data.type == CMPI_instance ? INSTANCE : kind, blank ? NULL : text);
    data.value.string = (CMPIString *)object;
    object->live = object_of(data) != NULL;
    if (!object->live) data.value.uint64 = strtoull(text, NULL, 0);
    if (data.type == CMPI_chars) data.value.chars = strdup(text);
    object->chars = kind == PATH ? "root/velk" : object->chars;
    object->class_name = "VELK_LifecycleJob";
    for (; blank && *text != '\0'; text += strcspn(text, ","), text += *text == ',') {
        strncat(strcpy(word, ""), text, strcspn(text, ","));
        char *equals = strchr(word, '=');
        if (equals != NULL) *equals = '\0';
        add(object, equals ? word : "", value(equals ? equals + 1 : word));
    }
    return data;
}

void show(char *to, CMPIData data) {
    const Object *object = object_of(data);
    const int group = object != NULL && object->ft != tables[STRING];
    size_t i = 0;
    while (types[i].number != data.type) ++i;
    if (data.type == CMPI_ref) put(to, "%s:%s", object->chars, object->class_name);
    else if (data.type != CMPI_args) put(to, "%s:", types[i].name + 5);
    if (object == NULL) put(to, "%u", data.type == CMPI_uint16 ? data.value.uint16 : (unsigned int)data.value.uint32);
    else put(to, "%s", group ? "(" : object->chars);
    for (i = 0; object != NULL && i < object->count; ++i) {
        put(to, "%s%s%s", i ? ", " : "", object->name[i], *object->name[i] ? "=" : "");
        show(to, object->data[i]);
    }
    if (group) put(to, ")");
}

/* ---- The log, the memory and the mutexes of libxavo --------------------------------------------- */

/* Keeps the text of each error, without the file, the line and the function before it. */
void hulmprintf(int level, int module, const char *format, ...) __attribute__((format(printf, 3, 4)));
void hulmprintf(int level, int module, const char *format, ...) {
    char line[1024];
    va_list values;
    va_start(values, format);
    vsnprintf(line, sizeof line, format, values);
    va_end(values);
    const char *error = strstr(line, "ERROR: ");
    if (module != 5 || level != (error ? 2 : 8)) client.misuse = "a log line of another level or module";
    put(client.log, error ? " [%.*s]" : "", error ? (int)strcspn(error + 7, "\n") : 0, error ? error + 7 : "");
}

static void *allocate(const char *name, size_t size) {
    volatile char *block = event(name) ? NULL : malloc(size + 1);
    for (size_t i = 0; block != NULL && i <= size; ++i) block[i] = '\0'; /* memset would become a call of calloc */
    client.memory += block != NULL;
    return (void *)(size_t)block;
}
void *calloc(size_t count, size_t size) { return allocate("calloc", count * size); }
char *strdup(const char *text) { return copy_text(allocate("strdup", strlen(text)), text); }
char *utl_va_cat(const char *first, ...);
char *utl_va_cat(const char *first, ...) {
    char *joined = allocate("utl_va_cat", 1024);
    va_list values;
    va_start(values, first);
    for (const char *text = first; joined && text; text = va_arg(values, const char *)) strcat(joined, text);
    va_end(values);
    return joined;
}
void free(void *block) {
    static void (*next)(void *);
    if (next == NULL) *(void **)&next = dlsym(RTLD_NEXT, "free");
    client.memory -= block != NULL;
    next(block);
}

/* The test has one thread, so that a mutex is a number. */
/* clang-format off */
int pthread_mutex_init(pthread_mutex_t *m, const pthread_mutexattr_t *a) { return ((void)m, event("mutex_init") || a); }
int pthread_mutex_destroy(pthread_mutex_t *m) { return ((void)m, event("mutex_destroy")); }
int pthread_mutex_lock(pthread_mutex_t *m) { return ((void)m, client.depth += client.armed, event("mutex_lock")); }
int pthread_mutex_unlock(pthread_mutex_t *m) { return ((void)m, client.depth -= client.armed, event("mutex_unlock")); }
/* clang-format on */

void client_reset(void) {
    memset(&client, 0, sizeof client);
    object_count = text_used = 0;
}

void show_kept(char *to) {
    int kept[2] = {0, 0};
    for (size_t i = 0; i < object_count; ++i) kept[objects[i].pooled] += objects[i].live && !objects[i].inside;
    put(to, kept[0] ? " leaked=%d" : "", kept[0]);
    put(to, kept[1] ? " pooled=%d" : "", kept[1]);
    put(to, client.memory || client.depth ? " memory=%d locked=%d" : "", client.memory, client.depth);
    put(to, client.misuse ? " misuse: %s" : "", client.misuse);
}
