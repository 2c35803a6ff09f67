/* doctor.c - the command doctor: whether libxavo can work with this controller. Reads only. */
#include "../output/json.h"
#include "../output/output.h"
#include "../xavoctl.h"

#include <stdarg.h>
#include <stdio.h>

enum {
    MOST_CHECKS = 16,
    ACCESS_DENIED = 2,
    INVALID_CLASS = 5,
    NOT_SUPPORTED = 7
}; /* status codes of brokers */

static struct check {
    const char *name, *advice;
    bool ok;
    char finding[1024];
} checks[MOST_CHECKS];
static size_t check_count;

/* Notes what a check found; `advice` is for one that failed. */
static bool note(const char *name, bool ok, const char *advice, const char *format, ...)
    __attribute__((format(printf, 4, 5)));

static bool note(const char *name, bool ok, const char *advice, const char *format, ...) {
    struct check *check = &checks[check_count++];
    check->name = name;
    check->ok = ok;
    check->advice = advice;
    va_list arguments;
    va_start(arguments, format);
    (void)vsnprintf(check->finding, sizeof check->finding, format, arguments);
    va_end(arguments);
    return ok;
}

static const char *advice_on(const XAVO_Answer *answer) {
    if (answer->code == XAVO_PERMISSION_ERROR || answer->status == ACCESS_DENIED)
        return "Ask as another user (--user), or give this one the right.";
    if (answer->kind == XAVO_KIND_BROKER && answer->status > ACCESS_DENIED && answer->status <= NOT_SUPPORTED)
        return "Its provider is not registered with the broker, in the namespace root/velk.";
    return "The broker's own log tells more; --verbose shows this library's.";
}

/* The libraries and the broker, from the first answer. True when a broker answered. */
static bool check_broker(const XAVO_Answer *answer, const char *user, int64_t took) {
    const bool loaded = answer->kind != XAVO_KIND_NO_WORKER;
    const bool reached = answer->effect == XAVO_EFFECT_ANSWERED;
    const char *words = answer->message != NULL ? answer->message : kind_of(XAVO_KIND_NO_WORKER)->sentence;
    if (!loaded && answer->status != 0) /* an errno: the program itself */
        return note("worker", false,
                    "Install the companion with its worker; look whether a limit refuses processes.", "%s",
                    words);
    note("client library", loaded, "Install libxavo and sblim-sfcc, or name their folders in ld.so.conf.",
         "%s", loaded ? "can be loaded" : words);
    if (!loaded)
        return false;
    return note("broker", reached,
                answer->kind == XAVO_KIND_NO_BROKER
                    ? "Start the broker; look whether its local socket is there and may be opened."
                    : "Restart the broker; its own log may tell why it does not answer.",
                reached ? "%s after %lld ms, as %s" : "%s", reached ? "answers" : "does not answer",
                (long long)took, user);
}

static bool check_class(struct run *run, const char *name) {
    XAVO_Answer answer;
    perform_call(run, (XAVO_Request){.operation = XAVO_OP_LIST_INSTANCES, .class_name = name}, 0, &answer);
    /* A provider of methods need not list instances. */
    const bool ok = answer.code == XAVO_NO_ERROR || answer.status == NOT_SUPPORTED;
    if (ok)
        note("class", true, NULL, "%s", name);
    else
        note("class", false, advice_on(&answer), "%s: status %d", name, answer.status);
    XAVO_answer_free(&answer);
    return ok;
}

static bool check_jobs(struct run *run, const XAVO_Answer *answer, const char *user, int64_t took) {
    const bool listed =
        note("list jobs", answer->code == XAVO_NO_ERROR, advice_on(answer), "as %s: %s, %zu jobs, %lld ms",
             user, XAVO_code_name(answer->code), answer->job_count, (long long)took);
    const bool readable = answer->unreadable == 0 ||
                          note("read jobs", false, "Their properties cannot be read; delete or repair them.",
                               "%zu jobs cannot be read", answer->unreadable);
    XAVO_Answer unknown;
    perform_call(run, (XAVO_Request){.operation = XAVO_OP_GET_JOB, .id = "xavoctl: no such job"}, 0,
                 &unknown);
    const bool refused = note("unknown job", is_absent(&unknown), advice_on(&unknown), "as %s: %s", user,
                              XAVO_code_name(unknown.code));
    XAVO_answer_free(&unknown);
    return listed && readable && refused;
}

static void perform(struct run *run) {
    static const char *const services[] = {"VELK_JobService", "VELK_QMService",
                                           "VELK_SoftwareInstallationService", "VELK_SoftwareIdentity"};
    const char *user = run->request.user != NULL ? run->request.user : "root";
    const int64_t before = now();
    perform_call(run, (XAVO_Request){.operation = XAVO_OP_LIST_JOBS}, 0, &run->answer);
    const int64_t took = now() - before;
    (void)take_outcome(run->outcomes, &run->answer);
    if (run->answer.kind == XAVO_KIND_CANCELLED || !check_broker(&run->answer, user, took))
        return;
    bool ok = true;
    for (size_t i = 0; i < sizeof services / sizeof *services; ++i)
        ok &= check_class(run, services[i]);
    ok &= check_jobs(run, &run->answer, user, took);
    if (run->signal != 0)
        fail(run->outcomes, XAVO_KIND_CANCELLED, NULL);
    else if (!ok)
        fail(run->outcomes, KIND_CHECK_FAILED, NULL);
}

static void print(struct run *run) {
    (void)run;
    for (const struct check *check = checks; check < checks + check_count; ++check) {
        put_coloured(stdout, check->ok ? GREEN : RED, check->ok ? "ok    " : "FAILED");
        (void)printf("  %-16s  ", check->name);
        put_line(stdout, check->finding);
        if (!check->ok)
            (void)printf("%26s%s\n", "", check->advice);
    }
}

static void to_json(struct run *run, struct json_object *document) {
    (void)run;
    struct json_object *list = json_array(document, "checks");
    for (const struct check *check = checks; check < checks + check_count; ++check) {
        struct json_object *entry = json_new();
        json_set_text(entry, "check", check->name);
        json_set_boolean(entry, "ok", check->ok);
        json_set_text(entry, "finding", check->finding);
        if (!check->ok)
            json_set_text(entry, "advice", check->advice);
        json_append(list, entry);
    }
}

const struct command doctor_command = {
    .name = "doctor",
    .arguments = "",
    .summary = "test client library, broker and services",
    .details = "Changes nothing on the controller, and says what to do where a check fails.",
    .examples = "  xavoctl doctor\n"
                "  xavoctl doctor --user operator\n",
    .perform = perform,
    .print = print,
    .to_json = to_json,
};
