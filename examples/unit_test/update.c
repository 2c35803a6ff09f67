/* update.c - installs software: looks up the target, starts the job, waits for its end. */
#include "update.h"
#include <string.h>

static void print_answer(FILE *out, const char *step, const XAVO_Answer *answer) {
    fprintf(out, "%s: %s, %s, effect %s%s%s\n", step, XAVO_code_name(answer->code),
            XAVO_kind_name(answer->kind), XAVO_effect_name(answer->effect), answer->message ? ": " : "",
            answer->message ? answer->message : "");
}

/* The text of a property; "" if the instance does not have it, or it is null. */
static const char *text_of(const XAVO_Instance *instance, const char *name) {
    for (size_t i = 0; i < instance->count; ++i) {
        const XAVO_Property *property = &instance->properties[i];
        if (strcmp(property->name, name) == 0 && property->count > 0 && property->text[0] != NULL)
            return property->text[0];
    }
    return "";
}

/* Returns whether the software identity exists; if not, prints the existing ones. */
static int exists(FILE *out, XAVO_Pool *pool, const char *identity, unsigned int deadline_ms) {
    XAVO_Answer answer;
    int found = 0;
    XAVO_list_instances(pool, "VELK_SoftwareIdentity", deadline_ms, &answer);
    for (size_t i = 0; i < answer.instance_count && !found; ++i)
        found = strcmp(text_of(&answer.instances[i], "InstanceID"), identity) == 0;
    if (!found) {
        print_answer(out, "no such target", &answer);
        for (size_t i = 0; i < answer.instance_count; ++i)
            fprintf(out, "available: %s\n", text_of(&answer.instances[i], "InstanceID"));
    }
    XAVO_answer_free(&answer);
    return found;
}

static update_end wait_for_job(FILE *out, XAVO_Pool *pool, const char *id, const XAVO_WaitOptions *how) {
    XAVO_WaitResult result;
    const int end = XAVO_wait_for_job(pool, id, how, &result);
    fprintf(out, "%s: %s, %s\n", id, XAVO_wait_name(end),
            result.job && result.job->Message ? result.job->Message : XAVO_code_name(result.code));
    XAVO_wait_free(&result);
    if (end == XAVO_WAIT_COMPLETED)
        return UPDATE_DONE;
    return end == XAVO_WAIT_FAILED || end == XAVO_WAIT_GONE || end == XAVO_WAIT_NOT_FOUND ? UPDATE_FAILED
                                                                                          : UPDATE_UNKNOWN;
}

update_end update_software(FILE *out, XAVO_Pool *pool, const char *uri, const char *identity,
                           const XAVO_WaitOptions *how) {
    XAVO_Answer answer;
    update_end end = UPDATE_UNKNOWN;
    if (!exists(out, pool, identity, how->deadline_ms))
        return UPDATE_NOT_STARTED;
    XAVO_install_from_uri(pool, uri, identity, how->deadline_ms, &answer);
    print_answer(out, "install", &answer);
    if (answer.job_id != NULL)
        end = wait_for_job(out, pool, answer.job_id, how);
    else if (answer.effect == XAVO_EFFECT_NONE || answer.kind == XAVO_KIND_SERVICE ||
             (answer.kind == XAVO_KIND_BROKER && answer.effect == XAVO_EFFECT_ANSWERED))
        end = UPDATE_NOT_STARTED;
    XAVO_answer_free(&answer);
    return end;
}
