/* independent.c - a test of libxavo.so that knows only XAVO.h: makes the calls of a file of cases, and compares what
 * each returns, prints, logs, requests, releases and leaves. The file `cases.txt` describes its form.
 *
 * usage: independent CASES [LIBRARY], where LIBRARY is libxavo.so.1 by default
 *
 * It needs no other part of the tests. Where libxavo is installed, in the folder of this file, these commands build it.
 * The first makes an empty file with the name and the version that libxavo.so.1 requires: the program itself contains
 * the client library. Then `./independent cases.txt` runs it.
 *
 *     cc -shared -x c /dev/null -Wl,-h,libcmpisfcc.so.1,--version-script=empty.map -o libcmpisfcc.so.1
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
static const char *file;
static int at, failures;

#define X(name) (__extension__(__typeof__(&XAVO_##name)) dlsym(library, "XAVO_" #name))

static int number(const char *text) { return text != NULL ? (int)strtol(text, NULL, 0) : 0; }

/* ---- Records ------------------------------------------------------------------------------------ */

/* clang-format off */
static struct { XAVO_NET_INPUT_DATA net; XAVO_BAR_INPUT_DATA bar; } record;
#define F(member) {#member, &record.member, sizeof record.member}
#define HTTP(of) F(of.http.proxySupport), F(of.http.proxyType), F(of.http.proxyServer), F(of.http.proxyUname), \
    F(of.http.proxyPasswd), F(of.http.proxyPort), F(of.http.ignoreCertWarning)
static const struct Field { const char *name; void *at; size_t size; } fields[] = {
    F(net.uname), F(net.passwd), F(net.workgroup), F(net.ipaddr), F(net.sharename), F(net.shareType), F(net.reserved),
    HTTP(net), F(bar.uname), F(bar.passwd), F(bar.passphrase), F(bar.ipaddr), F(bar.sharename), F(bar.imagename),
    F(bar.startTime), F(bar.untilTime), F(bar.shareType), F(bar.preserveVDConfig), HTTP(bar), F(bar.JobName),
    F(bar.checkBackupDestinationAvailability), F(bar.tavixuname)};
/* clang-format on */

/* Fills both records: "all" sets each text to its member's name and each number to 3, NAME=TEXT sets one member, and
 * NAME=* fills its buffer without an end. Returns `filled`, or NULL if there are no words. */
static void *fill(void *filled, char **words) {
    if (*words == NULL) filled = NULL;
    memset(&record, 0, sizeof record);
    for (; *words != NULL; ++words) {
        char *text = *words, *const name = strsep(&text, "=");
        for (size_t i = 0; i < sizeof fields / sizeof *fields; ++i) {
            const char *const member = strrchr(fields[i].name, '.') + 1;
            if (text != NULL && strcmp(name, member) != 0) continue;
            if (fields[i].size == 2) *(uint16_t *)fields[i].at = (uint16_t)atoi(text != NULL ? text : "3");
            else if (text != NULL && *text == '*') memset(fields[i].at, 'x', fields[i].size);
            else strcpy(fields[i].at, text != NULL ? text : member);
        }
    }
    return filled;
}

static void put_name(char *to, int i, const char *name) { put(to, strcmp(name, "unknown") ? " %x=%s" : "", i, name); }

static void put_jobs(char *to, const XAVO_VELK_LifecycleJob *job) {
#define PROPERTY(name) put(to, job->name ? " " #name "=%s" : "", job->name);
    for (; job != NULL; job = job->next) {
        XAVO_JOB_PROPERTIES(PROPERTY)
        put(to, " ;");
    }
}

/* ---- Calls -------------------------------------------------------------------------------------- */

/* Makes the call that the words name. `r` gets what it returned. */
static void make_call(char **w, char *r) {
    char unchanged[] = "unchanged", *id = NULL, *text = NULL;
    XAVO_ErrorCode code = -1, *ec = &code;
    XAVO_VELK_LifecycleJob *job = NULL;
    CMPIData data = {0, 0, {0}};
    const char *const handle = strncmp(*w, "sp=", 3) == 0 ? *w++ : "";
    XAVO_Proxy *const opened = *handle == '\0' || strcmp(handle, "sp=lost") == 0 ? X(new)() : NULL;
    XAVO_Proxy lost = opened != NULL ? *opened : (XAVO_Proxy){.client = NULL};
    XAVO_Proxy *sp = strcmp(handle, "sp=NULL") == 0 ? NULL : *handle == '\0' ? opened : &lost;
    lost.client = NULL;
    if (strcmp(*w, "ec=NULL") == 0) ec = NULL, ++w;
    const char *const call = *w++;
    FILE *const stream = w[0] != NULL && strcmp(w[0], "stdout") == 0 ? stdout : NULL;
    if (w[0] != NULL && strchr(w[0], ':') != NULL) data = value(w[0], strncmp(call, "pr_", 3) == 0 ? OTHER : LIBRARY);
    *client.sent = *client.log = *client.released = '\0';
    client.armed = 1;
    /* clang-format off */
#define CALL(name) else if (strcmp(call, #name) == 0)
#define GET(data_type, member, object) data = (CMPIData){data_type, CMPI_goodValue, {.member = object}}
#define NEW_ID (id = unchanged, &id)
#define NAMES(type, name) for (int i = -2; i < 0x10000; ++i) put_name(r, i, X(name)((type)i));
#define OR_NULL(word, other) ((word) != NULL && strcmp(word, "NULL") == 0 ? NULL : (other))
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
    CALL(codes) NAMES(int, EC_to_string)
    CALL(types) NAMES(CMPIType, CMPIType_to_string)
    CALL(states) NAMES(CMPIValueState, CMPIValueState_to_string)
    CALL(translate) for (int i = 0; i < 20; ++i) put(r, " %d", X(translate_error_code)((CMPIrc)i));
    CALL(to_uint32) put(r, " %lu", (unsigned long)X(CMPIData_to_uint32)(ec, w[0] ? &data : NULL));
    CALL(free_value) { X(free_CMPIData_value)(&data); put(r, data.value.string ? " kept" : " NULL"); }
    CALL(free_content) X(free_CMPIArray_content)(data.value.array);
    CALL(string_arg) text = X(get_string_arg)((CMPIArgs *)client.content, w[0]);
    CALL(log_MessageID) X(log_MessageID)((CMPIArgs *)client.content);
    CALL(build_array) GET(CMPI_stringA, array, X(build_string_array)(OR_NULL(w[0], w)));
    CALL(property) text = X(property_to_ntstring)(NULL, ec, w[0] ? (CMPIInstance *)client.content : NULL, w[0]);
    CALL(enumerate) GET(CMPI_enumeration, Enum, X(enumerate)(sp, ec, w[0], w[0] ? w[1] : NULL));
    CALL(path) GET(CMPI_ref, ref, X(build_object_path_key_value)(sp, ec, w[0], w[1], w[2], w[3]));
    CALL(DeleteJobQueue) X(invoke_DeleteJobQueue)(sp, ec, w[0]);
    CALL(delete_job) X(delete_VELK_LifecycleJob)(sp, ec, w[0]);
    CALL(SetupJobQueue) X(invoke_SetupJobQueue)(sp, ec, w[0], OR_NULL(w[1], w[1]), OR_NULL(w[2], w + 2));
    CALL(jobs) put_jobs(r, job = X(enumerate_VELK_LifecycleJob)(sp, ec));
    CALL(print_jobs) X(fprint_list_VELK_LifecycleJob)(stream, job = X(enumerate_VELK_LifecycleJob)(sp, ec));
    CALL(job) put_jobs(r, job = X(get_VELK_LifecycleJob)(sp, ec, w[0]));
    CALL(free_first_job) { /* the others remain */
        XAVO_VELK_LifecycleJob *const first = X(enumerate_VELK_LifecycleJob)(sp, ec);
        put_jobs(r, job = first ? first->next : NULL), X(free_VELK_LifecycleJob)(first);
    }
    CALL(modify) put(r, " %s", X(EC_to_string)(X(modify_VELK_LifecycleJob)(sp, ec)));
    CALL(InstallFromURI) X(invoke_InstallFromURI)(sp, ec, w[0], w[1], w[2] ? NULL : NEW_ID);
    CALL(InstallFromSoftwareIdentity) X(invoke_InstallFromSoftwareIdentity)(sp, ec, w[0], w[1] ? NULL : NEW_ID);
    CALL(CreateRebootJob) X(invoke_CreateRebootJob)(sp, ec, w[0], w[1] ? NULL : NEW_ID);
    CALL(buffer) put(r, " %d", X(Validate_StringBuffer)(w[0], (size_t)number(w[1])));
    CALL(NET) put(r, " %d", X(Validate_XAVO_NET_INPUT_DATA)(fill(&record.net, w)));
    CALL(BAR) put(r, " %d", X(Validate_XAVO_BAR_INPUT_DATA)(fill(&record.bar, w)));
    CALL(HTTP) put(r, " %d", X(Validate_XAVO_HTTP_SHARE_OPT_DATA)((fill(&record.net.http, w))));
    CALL(TestNetworkShare) X(invoke_TestNetworkShare)(sp, ec, fill(&record.net, w));
    CALL(BackupRestore) {
        void *const given = fill(&record.bar, w[0] ? w + 1 : w);
        X(invoke_BackupRestore)(sp, ec, w[0], given, given && strcmp(w[1], "noid") == 0 ? NULL : NEW_ID);
        put(r, record.bar.preserveVDConfig != 0 ? " preserve=%d" : "", record.bar.preserveVDConfig);
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
    CALL(pr_args) X(pr_CMPIArgs)(2, "label", w[0] ? (CMPIArgs *)client.content : NULL);
    else put(r, "there is no call %s", call); /* clang-format on */
    if (strstr("build_array enumerate path free_content", call) != NULL && data.value.string != NULL)
        put(r, " %s", ((Object *)data.value.string)->text), data.value.string->ft->release(data.value.string);
    put(r, text ? " \"%s\"" : id ? " %s" : "", text ? text : id);
    put(r, code == -1 ? "" : " %s", X(EC_to_string)(code));
    X(free_list_VELK_LifecycleJob)(job);
    X(free_ntstring)(id == unchanged ? NULL : id ? id : text);
    if (opened != NULL && strcmp(call, "free") != 0) X(free)(opened);
    client.armed = 0;
}

/* ---- Rows --------------------------------------------------------------------------------------- */

/* Makes the call of a row; the nth of the calls that this makes fails. Returns how many there were. `result` gets
 * what the call returned, printed (if none fails), logged and left. */
static int run(const char *call, const char *answer, int nth, char *result) {
    static char printed[TEXT], copy[TEXT];
    char *words[16] = {NULL}, **end = words, *rest = printed;
    sigset_t blocked;
    stdout = fmemopen(memset(printed, 0, TEXT), TEXT, "w");
    client_prepare(answer, strstr(call, "property") ? INSTANCE : ARGS);
    for (char *word = strtok(strcpy(copy, call), " "); word != NULL; word = strtok(NULL, " "))
        *end++ = strcmp(word, "\"\"") == 0 ? word + 2 : word;
    client.fault = nth;
    *result = '\0';
    make_call(words, result);
    pthread_sigmask(SIG_BLOCK, NULL, &blocked);
    char *const flushed = strchr(printed, '\0');
    fflush(stdout);
    put(result, *flushed != '\0' ? " unflushed" : "");
    while (nth == 0 && rest != NULL && *rest != '\0') { /* "/" ends a line, and "4:" stands for four blanks before it */
        const int blanks = (int)strspn(rest, " ");
        char *const line = strsep(&rest, "\n") + blanks, *const address = strstr(line, "cs=0x");
        if (address != NULL) address[5] = '\0';
        put(result, blanks > 0 ? " %d:" : " ", blanks);
        put(result, rest != NULL ? "%s /" : "%s", line);
    }
    put(result, "%s", client.log);
    show_kept(result);
    put(result, sigismember(&blocked, SIGPIPE) ? " SIGPIPE is blocked" : "");
    fclose(stdout);
    return client.events;
}

/* Repeats a call, and makes a different one of the calls below it fail each time. `result` gets each outcome,
 * after the number of its successive occurrences. */
static void sweep(const char *call, const char *answer, char *result) {
    static char outcome[TEXT], last[TEXT];
    const int calls = run(call, answer, 0, outcome);
    int times = 0;
    *result = '\0';
    for (int nth = 1; nth <= calls; ++nth, ++times) {
        strcpy(last, outcome);
        run(call, answer, nth, outcome);
        if (nth > 1 && strcmp(outcome, last) != 0) put(result, " %d%s,", times, last), times = 0;
    }
    put(result, " %d%s", times, outcome);
}

static void expect(const char *expected, const char *actual) {
    const int end_only = strncmp(expected, "...", 3) == 0;
    const size_t length = strlen(expected += end_only ? 3 : 0);
    size_t same = 0;
    if (end_only && strlen(actual) > length) actual += strlen(actual) - length;
    while (expected[same] != '\0' && expected[same] == actual[same]) ++same;
    if (expected[same] == actual[same]) return;
    fprintf(stderr, "%s:%d:\n  expected: %s\n  actual:   %s\n%*s\n", file, at, expected, actual, (int)same + 13, "^");
    ++failures;
}

/* Returns the text up to the next "|" without the blanks around it, and moves `row` behind it. */
static const char *column(char **row) {
    char *const text = *row != NULL ? strsep(row, "|") : "", *const start = text + strspn(text, " ");
    for (size_t end = strlen(start); end > 0 && start[end - 1] == ' ';) start[--end] = '\0';
    return start;
}

static void check(char *row) {
    static char result[TEXT];
    const char *const call = column(&row), *const answer = column(&row);
    char *actual[] = {result, client.sent, client.released};
    if (strncmp(call, "sweep ", 6) == 0) sweep(call + 6, answer, result);
    else run(call, answer, 0, result);
    for (int i = 0; i < 3 && (i == 0 || row != NULL); ++i) expect(column(&row), column(&actual[i]));
}

/* A row that crashes or does not end. */
static void stop(int signal_number) {
    fprintf(stderr, "%s:%d: %s\n", file, at, strsignal(signal_number));
    _exit(1);
}

int main(int argc, char **argv) {
    static char line[TEXT], row[TEXT];
    FILE *const cases = argc > 1 ? fopen(file = argv[1], "r") : NULL;
    int rows = 0;
    library = dlopen(argc > 2 ? argv[2] : "libxavo.so.1", RTLD_NOW);
    if (cases == NULL || library == NULL)
        return (fprintf(stderr, "usage: independent CASES [LIBRARY]\n%s\n", library ? "no cases" : dlerror()), 2);
    for (int i = SIGHUP; i <= SIGTERM; ++i) signal(i, stop);
    alarm(60);
    for (int number_of = 1, more = 1; more; ++number_of) { /* a line that begins with a blank continues the row */
        more = fgets(line, sizeof line, cases) != NULL;
        line[strcspn(line, "\n")] = '\0';
        if ((!more || *line != ' ') && *row != '\0') check(row), *row = '\0', ++rows;
        if (*line != ' ') at = number_of;
        if (more && *line != '#') put(row, *line ? " %s" : "", line + strspn(line, " "));
    }
    fprintf(stderr, "%d rows, %d failures\n", rows, failures);
    return failures != 0 || rows == 0;
}
