/* records.c - jobs, instances and ends of jobs, for people. */
#include "../xavoctl.h"
#include "output.h"

#include <string.h>
#include <strings.h>

/* ---- Two columns ------------------------------------------------------------------------------------- */

static void put_key(const char *key, size_t width) {
    put_visible(stdout, key);
    put_padding(key, width);
}

static void put_value(const char *key, const char *text) {
    put_coloured(stdout, strcmp(key, "JobStatus") == 0 ? colour_of_status(text) : PLAIN_COLOUR, text);
}

void put_job(const XAVO_VELK_LifecycleJob *job) {
    const size_t width = strlen("ElapsedTimeSinceCompletion");
#define ROW(name)                                                                                            \
    put_key(#name, width);                                                                                   \
    put_value(#name, job->name != NULL ? job->name : "");                                                    \
    (void)putchar('\n');
    PRINTED_PROPERTIES(ROW)
#undef ROW
}

static void put_array(const XAVO_Property *property) {
    for (size_t i = 0; i < property->count; ++i) {
        (void)fputs(i == 0 ? "[" : ", ", stdout);
        put_visible(stdout, property->text[i] != NULL ? property->text[i] : "null");
    }
    (void)fputs(property->count == 0 ? "[]" : "]", stdout);
}

void put_instance(const XAVO_Instance *instance) {
    size_t width = 0;
    for (size_t i = 0; i < instance->count; ++i)
        width = wider(width, instance->properties[i].name);
    for (size_t i = 0; i < instance->count; ++i) {
        const XAVO_Property *property = &instance->properties[i];
        put_key(property->name, width);
        if (property->is_array && !property->is_null)
            put_array(property);
        else if (!property->is_null)
            put_value(property->name, property->text[0] != NULL ? property->text[0] : "");
        (void)putchar('\n');
    }
}

/* ---- Ends of jobs ------------------------------------------------------------------------------------ */

static void put_end(const struct outcome *outcome) {
    const char *end = word_of_end(outcome->end);
    const char *status = outcome->job != NULL ? outcome->job->JobStatus : NULL;
    const char *message = outcome->job != NULL ? outcome->job->Message : NULL;
    put_visible(stdout, outcome->job_id);
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

void put_done(struct run *run, const char *done) {
    for (size_t i = 0; !run->request.quiet && i < run->outcome_count; ++i) {
        const struct outcome *outcome = &run->outcomes[i];
        if (outcome->waited) {
            put_end(outcome);
        } else if (outcome->kind == XAVO_KIND_NONE && outcome->job_id != NULL) {
            put_visible(stdout, outcome->job_id);
            (void)printf("  %s\n", done);
        }
    }
}

/* The identifier was printed when the job had started. */
void put_end_of_job(struct run *run) {
    if (!run->request.quiet && run->outcomes->waited)
        put_end(run->outcomes);
}
