/* tell.c - what the document says, for people. */
#include "tell.h"

#include "output.h"
#include <stdlib.h>
#include <string.h>

const char output_notes[] =
    "With --json one document, whatever happens. When something failed it has \"error\", the code's name, "
    "and "
    "\"code\", its number; where known \"kind\", \"message_id\", \"message\", and \"status\", the broker's. "
    "A kind is "
    "service, broker, connection lost, outcome unknown, nothing asked or answer unusable; or wrong use, no "
    "broker, "
    "deadline, interrupted, not there, job failed or job gone. jobs gives \"jobs\", job gives "
    "\"job\": objects with the ten properties, null where there is none. What starts a job gives \"job_id\"; "
    "with "
    "waiting also \"end\" (completed, failed, gone, deadline, cancelled, lost) and \"job\", the last record. "
    "Several "
    "identifiers give \"results\", an object each. instances gives \"instances\", doctor \"checks\", errors "
    "\"errors\". Control characters and bytes that are not UTF-8 are shown as \\n, \\x1b or \\u202e; in a "
    "document "
    "such bytes become U+FFFD.";

/* ---- Reading the document -------------------------------------------------------------------------------
 */

const char *text_of(struct json_object *object, const char *key) {
    struct json_object *value;
    return json_object_object_get_ex(object, key, &value) ? json_object_get_string(value) : NULL;
}

static struct json_object *part_of(struct json_object *object, const char *key) {
    struct json_object *value = NULL;
    json_object_object_get_ex(object, key, &value);
    return value;
}

/* The objects that have an outcome each: the results, or the document itself. */
static size_t outcomes(const struct run *run) {
    struct json_object *results = part_of(run->document, "results");
    return results ? json_object_array_length(results) : 1;
}

static struct json_object *outcome(const struct run *run, size_t index) {
    struct json_object *results = part_of(run->document, "results");
    return results ? json_object_array_get_idx(results, index) : run->document;
}

/* ---- Jobs -----------------------------------------------------------------------------------------------
 */

void tell_jobs(const struct run *run) {
    static const char *const titles[] = {"ID", "STATUS", "%", "START", "UNTIL", "NAME", "MESSAGE"};
    static const char *const keys[] = {"InstanceID",   "JobStatus", "PercentComplete", "JobStartTime",
                                       "JobUntilTime", "Name",      "Message"};
    enum { COLUMNS = sizeof keys / sizeof *keys };
    struct json_object *jobs = part_of(run->document, "jobs");
    const size_t count = jobs ? json_object_array_length(jobs) : 0;
    const char **cells = calloc(count * COLUMNS + 1, sizeof *cells);
    for (size_t i = 0; cells != NULL && i < count * COLUMNS; ++i)
        cells[i] = text_of(json_object_array_get_idx(jobs, i / COLUMNS), keys[i % COLUMNS]);
    if (run->request.quiet) {
        for (size_t i = 0; i < count; ++i) {
            const char *id = text_of(json_object_array_get_idx(jobs, i), keys[0]);
            put_visible(stdout, id ? id : "");
            (void)putchar('\n');
        }
    } else if (cells != NULL && (count > 0 || part_of(run->document, "error") == NULL)) {
        put_table(titles, COLUMNS, cells, count, 1);
    }
    free(cells);
}

/* An object's members in two columns. */
static void tell_members(struct json_object *object, const char *status_key) {
    size_t width = 0;
    json_object_object_foreach(object, name, ignored) {
        (void)ignored;
        const size_t columns = visible_width(name);
        width = columns > width ? columns : width;
    }
    json_object_object_foreach(object, key, value) {
        const char *text = value ? json_object_get_string(value) : "";
        put_visible(stdout, key);
        (void)printf("%*s", (int)(width - visible_width(key)) + 2, "");
        put_coloured(stdout, strcmp(key, status_key) == 0 ? colour_of_status(text) : PLAIN_COLOUR, text);
        (void)putchar('\n');
    }
}

void tell_job(const struct run *run) {
    struct json_object *job = part_of(run->document, "job");
    if (job != NULL)
        tell_members(job, "JobStatus");
}

/* How a job that was waited for ended. */
static void tell_end(struct json_object *result) {
    struct json_object *job = part_of(result, "job");
    const char *end = text_of(result, "end"), *id = text_of(result, "job_id");
    const char *status = job ? text_of(job, "JobStatus") : NULL,
               *message = job ? text_of(job, "Message") : NULL;
    put_visible(stdout, id ? id : "");
    (void)fputs("  ", stdout);
    put_coloured(stdout, colour_of_status(end), end);
    if (status != NULL && strcasecmp(status, end) != 0) {
        (void)fputs("  ", stdout);
        put_visible(stdout, status);
    }
    if (message != NULL) {
        (void)fputs("  ", stdout);
        put_visible(stdout, message);
    }
    (void)putchar('\n');
}

void tell_results(const struct run *run) {
    if (run->request.quiet)
        return;
    for (size_t i = 0; i < outcomes(run); ++i) {
        struct json_object *result = outcome(run, i);
        if (text_of(result, "end") != NULL) {
            tell_end(result);
        } else if (text_of(result, "error") == NULL && text_of(result, "job_id") != NULL) {
            put_visible(stdout, text_of(result, "job_id"));
            (void)printf("  %s\n", run->request.command->done);
        }
    }
}

/* The identifier was told when the job had started. */
void tell_started(const struct run *run) {
    if (!run->request.quiet && text_of(run->document, "end") != NULL)
        tell_end(run->document);
}

void tell_test_share(const struct run *run) {
    if (!run->request.quiet && text_of(run->document, "error") == NULL)
        (void)puts("the share can be reached");
}

/* ---- Instances ------------------------------------------------------------------------------------------
 */

void tell_instances(const struct run *run) {
    struct json_object *instances = part_of(run->document, "instances");
    const size_t count = instances ? json_object_array_length(instances) : 0;
    for (size_t i = 0; i < count; ++i) {
        if (i > 0)
            (void)putchar('\n');
        tell_members(json_object_array_get_idx(instances, i), "JobStatus");
    }
}

/* ---- The doctor's findings ------------------------------------------------------------------------------
 */

void tell_doctor(const struct run *run) {
    struct json_object *checks = part_of(run->document, "checks");
    const size_t count = checks ? json_object_array_length(checks) : 0;
    for (size_t i = 0; i < count; ++i) {
        struct json_object *check = json_object_array_get_idx(checks, i);
        const bool ok = json_object_get_boolean(part_of(check, "ok"));
        put_coloured(stdout, ok ? GREEN : RED, ok ? "ok    " : "FAILED");
        (void)printf("  %-16s  ", text_of(check, "check"));
        put_visible(stdout, text_of(check, "finding") ? text_of(check, "finding") : "");
        (void)putchar('\n');
        if (!ok && text_of(check, "advice") != NULL)
            (void)printf("%26s%s\n", "", text_of(check, "advice"));
    }
}

/* ---- What went wrong ------------------------------------------------------------------------------------
 */

/* A word of a command that can be typed again: in quotation marks where a shell would not take it as it is.
 */
static void tell_word(const char *word) {
    static const char plain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.:@/";
    if (*word != '\0' && word[strspn(word, plain)] == '\0') {
        (void)fputs(word, stderr);
        return;
    }
    char *const copy = strdup(word), *part = copy;
    (void)fputc('\'', stderr);
    for (char *quote; part != NULL; part = quote ? quote + 1 : NULL) {
        quote = strchr(part, '\'');
        if (quote != NULL)
            *quote = '\0';
        put_visible(stderr, part);
        (void)fputs(quote ? "'\\''" : "'", stderr);
    }
    free(copy);
}

static void tell_failure(const struct run *run, struct json_object *result) {
    const struct request *request = &run->request;
    const char *words = text_of(result, "message"), *message_id = text_of(result, "message_id");
    const char *id = text_of(result, "job_id");
    const bool colours = has_colours(stderr);
    (void)fprintf(stderr, "%sxavoctl: %s", colours ? "\033[31m" : "",
                  request->command ? request->command->name : "");
    if (request->command != NULL && (id != NULL || request->argument_count == 1) &&
        (request->command->flags & ALL_OR_NONE) == 0) {
        (void)fputc(' ', stderr);
        put_visible(stderr, id ? id : request->arguments[0]);
    }
    (void)fprintf(stderr, "%s%s%s", request->command ? ": " : "", text_of(result, "error"),
                  words ? ": " : "");
    put_visible(stderr, words ? words : "");
    if (message_id != NULL && *message_id != '\0') {
        (void)fputs(" (", stderr);
        put_visible(stderr, message_id);
        (void)fputc(')', stderr);
    }
    (void)fprintf(stderr, "%s\n", colours ? "\033[0m" : "");

    const char *end = text_of(result, "end"), *kind = text_of(result, "kind");
    if (part_of(result, "job") != NULL && end != NULL &&
        (strcmp(end, "deadline") == 0 || strcmp(end, "cancelled") == 0 || strcmp(end, "lost") == 0)) {
        (void)fputs("The job goes on. To wait for it again: xavoctl wait ", stderr);
        tell_word(id);
        if (request->user != NULL) {
            (void)fputs(" --user ", stderr);
            tell_word(request->user);
        }
        (void)fputc('\n', stderr);
    } else if (end == NULL && kind != NULL && (run->unknown || strcmp(kind, "outcome unknown") == 0)) {
        (void)fputs("To see what is there: xavoctl jobs\n", stderr);
    }
}

void tell_failures(const struct run *run) {
    const struct request *request = &run->request;
    const char *kind = text_of(run->document, "kind");
    if (kind != NULL && strcmp(kind, "wrong use") == 0) {
        (void)fputs("xavoctl: ", stderr);
        put_visible(stderr, text_of(run->document, "message"));
        (void)fprintf(stderr, "\nxavoctl help%s%s says how it is used.\n", request->command ? " " : "",
                      request->command ? request->command->name : "");
        return;
    }
    for (size_t i = 0; i < outcomes(run); ++i) {
        if (text_of(outcome(run, i), "error") != NULL)
            tell_failure(run, outcome(run, i));
        if (request->command != NULL && (request->command->flags & ALL_OR_NONE))
            return;
    }
}
