/* json.c - documents, made with json-c. */
#include "json.h"

#include "../command.h"
#include "../outcome.h"
#include "output.h"

#include <ctype.h>
#include <errno.h>
#include <json-c/json.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

/* ---- Building ---------------------------------------------------------------------------------------- */

static bool failed; /* an allocation */

static struct json_object *checked(struct json_object *value) {
    failed |= value == NULL;
    return value;
}

struct json_object *json_new(void) {
    return checked(json_object_new_object());
}

void json_set(struct json_object *object, const char *key, struct json_object *value) {
    if (object != NULL && json_object_object_add(object, key, value) == 0)
        return;
    failed = true;
    json_object_put(value);
}

void json_append(struct json_object *array, struct json_object *value) {
    if (array != NULL && json_object_array_add(array, value) == 0)
        return;
    failed = true;
    json_object_put(value);
}

struct json_object *json_array(struct json_object *object, const char *key) {
    struct json_object *array = checked(json_object_new_array());
    json_set(object, key, array);
    return failed ? NULL : array;
}

struct json_object *json_text(const char *text) {
    return text != NULL ? checked(json_object_new_string(text)) : NULL;
}

void json_set_text(struct json_object *object, const char *key, const char *text) {
    json_set(object, key, json_text(text));
}

void json_set_number(struct json_object *object, const char *key, int64_t number) {
    json_set(object, key, checked(json_object_new_int64(number)));
}

void json_set_boolean(struct json_object *object, const char *key, bool value) {
    json_set(object, key, checked(json_object_new_boolean(value)));
}

/* ---- Records ----------------------------------------------------------------------------------------- */

struct json_object *json_of_job(const XAVO_VELK_LifecycleJob *job) {
    struct json_object *object = json_new();
#define ROW(name) json_set_text(object, #name, job->name);
    PRINTED_PROPERTIES(ROW)
#undef ROW
    uint16_t percent;
    const char *text = job->PercentComplete;
    if (text != NULL && read_number(text, &percent) && percent <= 100) {
        json_set_number(object, "PercentComplete", percent);
    } else {
        json_set(object, "PercentComplete", NULL);
        if (text != NULL)
            json_set_text(object, "PercentCompleteText", text);
    }
    return object;
}

static struct json_object *json_of_real(const char *text) {
    const double number = strtod(text, NULL);
    return isfinite(number) ? checked(json_object_new_double_s(number, text)) : json_text(text);
}

/* A value of a property: numbers and booleans as such, all else as text. */
static struct json_object *json_of_value(const char *type, const char *text) {
    if (text == NULL)
        return NULL;
    if (strncmp(type, "real", 4) == 0)
        return json_of_real(text);
    if (strcmp(type, "boolean") == 0)
        return checked(json_object_new_boolean(strcmp(text, "true") == 0));
    if (strncmp(type, "uint", 4) == 0)
        return checked(json_object_new_uint64(strtoull(text, NULL, 10)));
    if (strncmp(type, "sint", 4) == 0)
        return checked(json_object_new_int64(strtoll(text, NULL, 10)));
    return json_text(text);
}

struct json_object *json_of_instance(const XAVO_Instance *instance) {
    struct json_object *object = json_new();
    for (size_t i = 0; i < instance->count; ++i) {
        const XAVO_Property *property = &instance->properties[i];
        if (property->is_array && !property->is_null) {
            struct json_object *array = json_array(object, property->name);
            for (size_t j = 0; j < property->count; ++j)
                json_append(array, json_of_value(property->type, property->text[j]));
        } else {
            const char *text = property->is_null ? NULL : property->text[0];
            json_set(object, property->name, json_of_value(property->type, text));
        }
    }
    return object;
}

/* ---- Outcomes ---------------------------------------------------------------------------------------- */

void json_add_job(struct json_object *object, const struct outcome *outcome) {
    if (outcome->job_id != NULL)
        json_set_text(object, "job_id", outcome->job_id);
    if (outcome->waited)
        json_set_text(object, "end", word_of_end(outcome->end));
    if (outcome->waited || outcome->job != NULL)
        json_set(object, "job", outcome->job != NULL ? json_of_job(outcome->job) : NULL);
}

void json_add_failure(struct json_object *object, const struct outcome *outcome) {
    if (outcome->kind == XAVO_KIND_NONE)
        return;
    json_set_text(object, "error", XAVO_code_name(outcome->code));
    json_set_number(object, "code", outcome->code);
    json_set_text(object, "kind", kind_of(outcome->kind)->word);
    json_set_text(object, "effect", word_of_effect(outcome->effect));
    json_set_text(object, "message", sentence_of(outcome));
    if (outcome->message_id != NULL)
        json_set_text(object, "message_id", outcome->message_id);
    if (outcome->status != 0)
        json_set_number(object, "status", outcome->status);
}

/* ---- Printing ---------------------------------------------------------------------------------------- */

bool put_document(struct json_object *document) {
    const char *text = failed ? NULL
                              : json_object_to_json_string_ext(document, JSON_C_TO_STRING_SPACED |
                                                                             JSON_C_TO_STRING_NOSLASHESCAPE);
    const bool complete = text != NULL;
    size_t length;
    /* Whatever is not ASCII stands inside a string, where an escape means the same. */
    for (; text != NULL && *text != '\0'; text += length) {
        const int32_t character = decode(text, &length);
        if (character < 0)
            (void)fputs("\\ufffd", stdout);
        else if (steers(character) && character > 0xffff)
            (void)printf("\\u%04x\\u%04x", (unsigned int)(0xd7c0 + (character >> 10)),
                         (unsigned int)(0xdc00 | (character & 0x3ff)));
        else if (steers(character))
            (void)printf("\\u%04x", (unsigned int)character);
        else
            (void)fwrite(text, 1, length, stdout);
    }
    if (complete)
        (void)putchar('\n');
    json_object_put(document);
    return complete;
}
