/* independent.c - a test of libxavo.so that knows only XAVO.h: makes the calls of a file of cases, and compares what
 * each returns, prints, logs, requests and leaves. The file `cases.txt` describes its form.
 *
 * usage: independent CASES [LIBRARY], where LIBRARY is libxavo.so.1 by default
 *
 * It needs no other part of the tests. Where libxavo is installed, in the folder of this file, these commands build it.
 * The first makes an empty file with the name and the version that libxavo.so.1 requires: the program itself contains
 * the client library. Then `./independent cases.txt` runs it.
 *
 *     echo 'CMPISFCC_2.0 {};' | cc -shared -x c /dev/null -Wl,-h,libcmpisfcc.so.1,--version-script=/dev/stdin \
 *         -o libcmpisfcc.so.1
 *     cc -rdynamic independent.c client.c $(pkg-config --cflags xavo) \
 *         -ldl -Wl,--no-as-needed,-rpath,. libcmpisfcc.so.1 -o independent
 */
#ifndef _GNU_SOURCE
#define _GNU_SOURCE
#endif
#include "client.h"
#include <dlfcn.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static void *library;
static int failures;

#define X(name) (__extension__(__typeof__(&XAVO_##name)) dlsym(library, "XAVO_" #name))

/* ---- Records and codes -------------------------------------------------------------------------- */

/* clang-format off */
#define N(member) {#member, offsetof(XAVO_NET_INPUT_DATA, member), sizeof record.net.member}
#define B(member) {#member, offsetof(XAVO_BAR_INPUT_DATA, member), sizeof record.bar.member}
#define HTTP(F) F(http.proxySupport), F(http.proxyType), F(http.proxyServer), F(http.proxyUname), \
    F(http.proxyPasswd), F(http.proxyPort), F(http.ignoreCertWarning), {NULL, 0, 0}
static union { XAVO_NET_INPUT_DATA net; XAVO_BAR_INPUT_DATA bar; } record;
typedef struct Field { const char *name; size_t offset, size; } Field;
static const Field net_fields[] = {N(uname), N(passwd), N(workgroup), N(ipaddr), N(sharename), N(shareType),
    N(reserved), HTTP(N)};
static const Field bar_fields[] = {B(uname), B(passwd), B(passphrase), B(ipaddr), B(sharename), B(imagename),
    B(startTime), B(untilTime), B(shareType), B(preserveVDConfig), B(JobName), B(checkBackupDestinationAvailability),
    B(tavixuname), HTTP(B)};
/* clang-format on */

/* Fills the record: "all" sets each text to its member's name and each number to 3, NAME=TEXT sets one member, and
 * NAME=* fills its buffer without an end. Returns NULL if there are no words. */
static void *fill(const Field *fields, char **words) {
    memset(&record, 0, sizeof record);
    for (char **word = words; *word != NULL; ++word)
        for (const Field *f = fields; f->name != NULL; ++f) {
            const size_t length = strlen(f->name);
            const int named = strncmp(*word, f->name, length) == 0 && (*word)[length] == '=';
            const char *text = named                          ? *word + length + 1
                               : f->size == 2                 ? "3"
                               : strncmp(f->name, "http.", 5) ? f->name
                                                              : f->name + 5;
            char *to = (char *)&record + f->offset;
            if (!named && strcmp(*word, "all") != 0) continue;
            if (f->size == 2) *(uint16_t *)(void *)to = (uint16_t)atoi(text);
            else if (strcmp(text, "*") == 0) memset(to, 'x', f->size);
            else memcpy(to, text, strlen(text) + 1);
        }
    return *words ? &record : NULL;
}

/* Compares the names of all codes and types with those of the header. */
static void names(char *r) {
#define NAME(constant, number, name, meaning) known += strcmp(X(EC_to_string)(number), name) == 0;
    int known = 0;
    XAVO_ERROR_CODES(NAME)
    for (int i = -2; i < 0x10000; ++i) {
        const char *name = X(CMPIType_to_string)((CMPIType)i);
        known -= strcmp(X(EC_to_string)(i), "unknown") != 0;
        if (type_of(name) != (strcmp(name, "unknown") ? (CMPIType)i : -1)) put(r, " type %d: %s", i, name);
    }
    put(r, " %d", known);
}

static void put_jobs(char *to, const XAVO_VELK_LifecycleJob *job) {
#define PROPERTY(name) put(to, job->name ? " " #name "=%s" : "", job->name);
    for (; job != NULL; job = job->next) {
        XAVO_JOB_PROPERTIES(PROPERTY)
        put(to, " ;");
    }
}

static int number(const char *text) { return text ? (int)strtol(text, NULL, 0) : 0; }

/* ---- Calls -------------------------------------------------------------------------------------- */

/* Makes the call that the words name. `r` gets what it returned. */
static void make_call(char **w, char *r) {
    XAVO_ErrorCode code = -1, *ec = &code;
    XAVO_Proxy dead = {.mutex_initialised = 0}, *opened = NULL, *sp = NULL;
    XAVO_VELK_LifecycleJob *job = NULL;
    Object *const content = client.content[0];
    CMPIData data = {0, 0, {0}};
    char *id = NULL, *text = NULL;
    if (strncmp(*w, "sp=", 3) == 0) sp = strcmp(*w++, "sp=dead") == 0 ? &dead : NULL;
    else sp = opened = X(new)();
    if (strcmp(*w, "ec=NULL") == 0) ec = NULL, ++w;
    const char *const call = *w++;
    FILE *const stream = w[0] && strcmp(w[0], "stdout") == 0 ? stdout : NULL;
    if (w[0] && strchr(w[0], ':')) data = value(w[0]);
    if (strncmp(call, "pr_", 3) == 0) lend(data);
    *client.sent = *client.log = '\0';
    client.armed = 1;
    /* clang-format off */
#define CALL(name) else if (strcmp(call, #name) == 0)
#define GET(data_type, member, object) data = (CMPIData){data_type, CMPI_goodValue, {.member = object}}
    if (strcmp(call, "new") == 0) {
        sp = X(new_with_uname)(w[0]);
        put(r, sp ? " handle %d%d" : " NULL", X(is_valid)(sp), sp && sp->mutex_initialised);
        if (sp) X(free)(sp);
    }
    CALL(magic) { /* each word of the mark has its value, and a handle with another one is not valid */
        uint32_t *const mark = (number(w[0]) < 2 ? sp->head_magic : sp->tail_magic - 2) + number(w[0]), old = *mark;
        *mark = 0, put(r, " %x %d", old, X(is_valid)(sp)), *mark = old;
    }
    CALL(free) X(free)(sp);
    CALL(is_valid) put(r, " %d", X(is_valid)(sp));
    CALL(lock) { X(lock)(sp); put(r, " %d", client.depth); X(unlock)(sp); }
    CALL(cleanstack) X(cleanstack)();
    CALL(names) names(r);
    CALL(translate) for (int i = 0; i < 20; ++i) put(r, " %d", X(translate_error_code)((CMPIrc)i));
    CALL(state) put(r, " %s", X(CMPIValueState_to_string)((CMPIValueState)number(w[0])));
    CALL(to_uint32) put(r, " %lu", (unsigned long)X(CMPIData_to_uint32)(ec, w[0] ? &data : NULL));
    CALL(free_value) { X(free_CMPIData_value)(&data); put(r, data.value.string ? " kept" : " NULL"); }
    CALL(free_content) X(free_CMPIArray_content)(data.value.array);
    CALL(string_arg) text = X(get_string_arg)((CMPIArgs *)content, w[0]);
    CALL(log_MessageID) X(log_MessageID)((CMPIArgs *)content);
    CALL(build_array) GET(CMPI_stringA, array, X(build_string_array)(w[0] && !strcmp(w[0], "NULL") ? NULL : w));
    CALL(property) text = X(property_to_ntstring)(NULL, ec, w[0] ? (CMPIInstance *)content : NULL, w[0]);
    CALL(enumerate) GET(CMPI_enumeration, Enum, X(enumerate)(sp, ec, w[0], w[0] ? w[1] : NULL));
    CALL(path) GET(CMPI_ref, ref, X(build_object_path_key_value)(sp, ec, w[0], w[1], w[2], w[3]));
    CALL(DeleteJobQueue) X(invoke_DeleteJobQueue)(sp, ec, w[0]);
    CALL(delete_job) X(delete_VELK_LifecycleJob)(sp, ec, w[0]);
    CALL(SetupJobQueue) X(invoke_SetupJobQueue)(sp, ec, w[0], w[1], w[2] && !strcmp(w[2], "NULL") ? NULL : w + 2);
    CALL(jobs) put_jobs(r, job = X(enumerate_VELK_LifecycleJob)(sp, ec));
    CALL(print_jobs) X(fprint_list_VELK_LifecycleJob)(stream, job = X(enumerate_VELK_LifecycleJob)(sp, ec));
    CALL(job) put_jobs(r, job = X(get_VELK_LifecycleJob)(sp, ec, w[0])), X(free_VELK_LifecycleJob)(job), job = NULL;
    CALL(modify) put(r, " %s", X(EC_to_string)(X(modify_VELK_LifecycleJob)(sp, ec)));
    CALL(InstallFromURI) X(invoke_InstallFromURI)(sp, ec, w[0], w[1], w[2] ? NULL : &id);
    CALL(InstallFromSoftwareIdentity) X(invoke_InstallFromSoftwareIdentity)(sp, ec, w[0], w[1] ? NULL : &id);
    CALL(CreateRebootJob) X(invoke_CreateRebootJob)(sp, ec, w[0], w[1] ? NULL : &id);
    CALL(buffer) put(r, " %d", X(Validate_StringBuffer)(w[0], (size_t)number(w[1])));
    CALL(NET) put(r, " %d", X(Validate_XAVO_NET_INPUT_DATA)(fill(net_fields, w)));
    CALL(BAR) put(r, " %d", X(Validate_XAVO_BAR_INPUT_DATA)(fill(bar_fields, w)));
    CALL(HTTP) put(r, " %d", X(Validate_XAVO_HTTP_SHARE_OPT_DATA)((fill(net_fields, w), &record.net.http)));
    CALL(TestNetworkShare) X(invoke_TestNetworkShare)(sp, ec, fill(net_fields, w));
    CALL(BackupRestore) {
        void *bar = w[0] ? fill(bar_fields, w + 1) : NULL;
        X(invoke_BackupRestore)(sp, ec, w[0], bar, bar && !strcmp(w[1], "noid") ? NULL : &id);
        put(r, bar && record.bar.preserveVDConfig ? " preserve=%d" : "", record.bar.preserveVDConfig);
    }
    CALL(print_job) X(fprint_VELK_LifecycleJob)(stream, w[1] ? NULL : (job = X(new_VELK_LifecycleJob)()));
    CALL(indent) X(indent)(stream, number(w[1]));
    CALL(ntstring) X(fprint_ntstring)(stream, w[1]);
    CALL(pr_string) X(pr_CMPIString)(2, "label", data.value.string);
    CALL(pr_type) X(pr_CMPIType)(2, "label", (CMPIType)number(w[0]));
    CALL(pr_state) X(pr_CMPIValueState)(2, "label", (CMPIValueState)number(w[0]));
    CALL(pr_uint32) X(pr_CMPIUint32)(2, "label", (CMPIUint32)strtoull(w[0], NULL, 0));
    CALL(pr_data) X(pr_CMPIData)(2, "label", data);
    CALL(pr_array) X(pr_CMPIArray)(2, "label", data.value.array);
    CALL(pr_path) X(pr_CMPIObjectPath)(2, "label", data.value.ref);
    CALL(pr_args) X(pr_CMPIArgs)(2, "label", w[0] ? (CMPIArgs *)content : NULL);
    else put(r, "there is no call %s", call); /* clang-format on */
    if (strstr("build_array enumerate path free_content", call) && data.value.array != NULL)
        show((put(r, " "), r), data), data.value.string->ft->release(data.value.string);
    put(r, text ? " \"%s\"" : id ? " %s" : "", text ? text : id);
    put(r, code == -1 ? "" : " %s", X(EC_to_string)(code));
    X(free_list_VELK_LifecycleJob)(job);
    X(free_ntstring)(text);
    X(free_ntstring)(id);
    if (opened != NULL && strcmp(call, "free") != 0) X(free)(opened);
    client.armed = 0;
}

/* ---- Rows --------------------------------------------------------------------------------------- */

/* Splits a text at its blanks, in place. The word "" is an empty one. */
static void split(char *text, char **words) {
    for (char *word = strtok(text, " "); word != NULL; word = strtok(NULL, " "))
        *words++ = strcmp(word, "\"\"") == 0 ? word + 2 : word;
    *words = NULL;
}

/* Sets the client's answers from the words of a row's second column. */
static void prepare(char **word, const char *call) {
    client.without = "";
    client.returned = lend(value("uint32:0"));
    client.fault_rc = CMPI_RC_ERR_NOT_SUPPORTED;
    for (int i = 0; i < INSTANCES; ++i)
        (client.content[i] = make(strstr(call, "property") || strstr(call, "job") ? INSTANCE : ARGS, NULL))->inside = 1;
    for (; *word != NULL; ++word) {
        char *equals = strchr(*word, '='), *const text = equals ? equals + 1 : *word;
        if (equals == NULL) ++client.contents; /* a semicolon */
        else *equals = '\0';
        if (strcmp(*word, "without") == 0) client.without = text;
        else if (strcmp(*word, "rc") == 0) client.rc = (CMPIrc)number(text);
        else if (strcmp(*word, "return") == 0) client.returned = lend(value(text));
        else if (strcmp(*word, "last") == 0) client.last = lend(value(text));
        else if (strcmp(*word, "fail") == 0) /* FUNCTION:NTH:STATUS */
            client.slot = strtok(text, ":"), client.nth = number(strtok(NULL, ":")),
            client.fault_rc = (CMPIrc)number(strtok(NULL, ":"));
        else if (equals != NULL) add(client.content[client.contents], *word, value(text));
    }
    client.contents += client.content[client.contents]->count > 0;
}

/* Makes the call of a row; the nth of the calls that this makes fails. Returns how many there were. `result` gets
 * what the call returned, printed (if none fails), logged and left. */
static int run(const char *call, const char *answer, int nth, char *result) {
    static char call_text[TEXT], answer_text[TEXT], line[TEXT];
    char *words[MEMBERS];
    sigset_t blocked;
    FILE *const printed = tmpfile();
    client_reset();
    split(strcpy(answer_text, answer), words);
    prepare(words, call);
    client.any = nth;
    split(strcpy(call_text, call), words);
    fflush(stdout);
    dup2(fileno(printed), 1);
    *result = '\0';
    make_call(words, result);
    pthread_sigmask(SIG_BLOCK, NULL, &blocked);
    fflush(stdout);
    rewind(printed);
    while (nth == 0 && fgets(line, sizeof line, printed) != NULL) { /* "/" ends a line, "4:" is four blanks */
        const char *const text = line + strspn(line, " "), *const address = strstr(text, "cs=0x");
        const size_t length = address ? (size_t)(address + 5 - text) : strcspn(text, "\n");
        put(result, text > line ? " %d:" : " ", (int)(text - line));
        put(result, "%.*s%s", (int)length, text, strchr(text, '\n') ? " /" : "");
    }
    put(result, "%s", client.log);
    show_kept(result);
    fclose(printed);
    put(result, sigismember(&blocked, SIGPIPE) ? " SIGPIPE is blocked" : "");
    return client.events;
}

/* Makes a call again and again, each time with another failing call below. `result` gets each outcome, after the
 * number of times that it came in succession. */
static void sweep(const char *call, const char *answer, char *result) {
    static char outcomes[2][TEXT];
    const int calls = run(call, answer, 0, outcomes[0]);
    int times = 0;
    *result = '\0';
    for (int i = 1; i <= calls; ++i) {
        run(call, answer, i, outcomes[i % 2]);
        if (i > 1 && strcmp(outcomes[0], outcomes[1]) != 0)
            put(result, " %d%s,", times, outcomes[(i + 1) % 2]), times = 0;
        ++times;
    }
    put(result, " %d%s", times, outcomes[calls % 2]);
}

static void expect(const char *file, int line, const char *expected, const char *actual) {
    const size_t part = strncmp(expected, "...", 3) == 0 ? 3 : 0; /* only the end is given */
    const size_t length = strlen(actual), end = strlen(expected + part);
    if (strcmp(expected + part, actual + (part && length > end ? length - end : 0)) == 0) return;
    fprintf(stderr, "%s:%d:\n  expected: %s\n  actual:   %s\n", file, line, expected, actual);
    ++failures;
}

/* Returns the text up to the next "|" without the blanks around it, and moves `row` behind it. */
static const char *column(char **row) {
    char *const text = *row != NULL ? strsep(row, "|") : "", *const start = text + strspn(text, " ");
    for (size_t end = strlen(start); end > 0 && start[end - 1] == ' ';) start[--end] = '\0';
    return start;
}

int main(int argc, char **argv) {
    static char line[TEXT], row[TEXT], result[TEXT];
    int number_of = 0, first = 0, rows = 0;
    FILE *const cases = argc > 1 ? fopen(argv[1], "r") : NULL;
    library = dlopen(argc > 2 ? argv[2] : "libxavo.so.1", RTLD_NOW);
    if (cases == NULL || library == NULL)
        return (fprintf(stderr, "usage: independent CASES [LIBRARY]\n%s\n", library ? "no cases" : dlerror()), 2);
    for (char *more = line; more != NULL; ++number_of) { /* a line that begins with a blank continues the row */
        *line = '\0';
        more = fgets(line, sizeof line, cases);
        line[strcspn(line, "\n")] = '\0';
        if (*line != ' ' && *row != '\0') {
            char *rest = row, *returned = result, *sent = client.sent;
            const char *const call = column(&rest), *const answer = column(&rest);
            if (strncmp(call, "sweep ", 6) == 0) sweep(call + 6, answer, result);
            else run(call, answer, 0, result);
            expect(argv[1], first, column(&rest), column(&returned));
            if (rest != NULL) expect(argv[1], first, column(&rest), column(&sent));
            ++rows;
        }
        if (*line != ' ') first = number_of + 1, *row = '\0';
        if (*line != '\0' && *line != '#') put(row, " %s", line + strspn(line, " "));
    }
    fprintf(stderr, "%d rows, %d failures\n", rows, failures);
    return failures != 0 || rows == 0;
}
