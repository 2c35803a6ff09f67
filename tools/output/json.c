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

static struct json_object *checked(struct json_object *value) {
    out_of_memory |= value == NULL;
    return value;
}

struct json_object *json_new(void) {
    return checked(json_object_new_object());
}

void json_set(struct json_object *object, const char *key, struct json_object *value) {
    if (object != NULL && json_object_object_add(object, key, value) == 0)
        return;
    out_of_memory = true;
    json_object_put(value);
}

void json_append(struct json_object *array, struct json_object *value) {
    if (array != NULL && json_object_array_add(array, value) == 0)
        return;
    out_of_memory = true;
    json_object_put(value);
}

struct json_object *json_array(struct json_object *object, const char *key) {
    struct json_object *array = checked(json_object_new_array());
    json_set(object, key, array);
    return out_of_memory ? NULL : array;
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

/* json-c's own printing does not report a failed allocation. */

static void put_text(const char *text) {
    (void)putchar('"');
    for (size_t length; *text != '\0'; text += length) {
        const int32_t character = decode(text, &length);
        if (character < 0)
            (void)fputs("\\ufffd", stdout);
        else if (steers(character) && character > 0xffff)
            (void)printf("\\u%04x\\u%04x", (unsigned int)(0xd7c0 + (character >> 10)),
                         (unsigned int)(0xdc00 | (character & 0x3ff)));
        else if (steers(character))
            (void)printf("\\u%04x", (unsigned int)character);
        else
            (void)printf("%s%.*s", character == '"' || character == '\\' ? "\\" : "", (int)length, text);
    }
    (void)putchar('"');
}

static void put_json(struct json_object *value) {
    const char *separator = " ";
    switch (json_object_get_type(value)) {
    case json_type_null:
        (void)fputs("null", stdout);
        break;
    case json_type_boolean:
        (void)fputs(json_object_get_boolean(value) ? "true" : "false", stdout);
        break;
    case json_type_double: /* the text that it was made of */
        (void)fputs(json_object_get_userdata(value), stdout);
        break;
    case json_type_int:
        if (json_object_get_int64(value) < 0)
            (void)printf("%lld", (long long)json_object_get_int64(value));
        else
            (void)printf("%llu", (unsigned long long)json_object_get_uint64(value));
        break;
    case json_type_string:
        put_text(json_object_get_string(value));
        break;
    case json_type_array:
        (void)putchar('[');
        for (size_t i = 0; i < json_object_array_length(value); ++i, separator = ", ") {
            (void)fputs(separator, stdout);
            put_json(json_object_array_get_idx(value, i));
        }
        (void)fputs(" ]", stdout);
        break;
    case json_type_object:
        (void)putchar('{');
        json_object_object_foreach(value, key, member) {
            (void)fputs(separator, stdout);
            separator = ", ";
            put_text(key);
            (void)fputs(": ", stdout);
            put_json(member);
        }
        (void)fputs(" }", stdout);
    }
}

bool put_document(struct json_object *document) {
    const bool complete = !out_of_memory;
    if (complete) {
        put_json(document);
        (void)putchar('\n');
    }
    json_object_put(document);
    return complete;
}
