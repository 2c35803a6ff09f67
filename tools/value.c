/* value.c - CMPI values of every type as JSON: numbers and booleans as such, times, references and the rest
 * as text, arrays and embedded instances by their parts; what is absent, null. */
#include "value.h"

#include "guard/handles.h"
#include <json-c/json.h>
#include <math.h>
#include <stdbool.h>
#include <stdlib.h>

enum { MOST_DEPTH = 16 }; /* of instances in instances */

static struct json_object *to_json(const CMPIData *data, int depth);
static struct json_object *properties_to_json(CMPIInstance *instance, int depth);

/* The characters of a string object, which goes if it is the caller's. */
static struct json_object *text_to_json(CMPIString *string, bool owned) {
    const char *text = string ? string->ft->getCharPtr(string, NULL) : NULL;
    struct json_object *json = text ? json_object_new_string(text) : NULL;
    if (string != NULL && owned)
        string->ft->release(string);
    return json;
}

/* A 16-bit character as UTF-8; half of a surrogate pair is none. */
static struct json_object *char16_to_json(unsigned int code) {
    if (code >= 0xd800 && code < 0xe000)
        code = 0xfffd;
    const char bytes[] = {(char)(0xe0 | code >> 12), (char)(0x80 | (code >> 6 & 0x3f)),
                          (char)(0x80 | (code & 0x3f))};
    const char two[] = {(char)(0xc0 | code >> 6), bytes[2]}, one[] = {(char)code};
    return code >= 0x800  ? json_object_new_string_len(bytes, 3)
           : code >= 0x80 ? json_object_new_string_len(two, 2)
                          : json_object_new_string_len(one, 1);
}

/* namespace:Class.key="value",... */
static struct json_object *reference_to_json(CMPIObjectPath *path) {
    char *text = NULL;
    size_t size;
    FILE *stream = open_memstream(&text, &size);
    if (stream == NULL)
        return NULL;
    struct json_object *parts[] = {text_to_json(path->ft->getNameSpace(path, NULL), true),
                                   text_to_json(path->ft->getClassName(path, NULL), true)};
    for (int i = 0; i < 2; ++i) {
        (void)fprintf(stream, "%s%s", i > 0 ? ":" : "", parts[i] ? json_object_get_string(parts[i]) : "");
        json_object_put(parts[i]);
    }
    const unsigned int count = path->ft->getKeyCount(path, NULL);
    for (unsigned int i = 0; i < count; ++i) {
        CMPIString *string = NULL;
        CMPIData data = path->ft->getKeyAt(path, i, &string, NULL);
        struct json_object *name = text_to_json(string, true), *value = to_json(&data, MOST_DEPTH);
        (void)fprintf(stream, "%c%s=%s", i > 0 ? ',' : '.', name ? json_object_get_string(name) : "",
                      json_object_to_json_string_ext(value, JSON_C_TO_STRING_NOSLASHESCAPE));
        json_object_put(name);
        json_object_put(value);
        XAVO_free_CMPIData_value(&data);
    }
    (void)fclose(stream);
    struct json_object *json = text ? json_object_new_string(text) : NULL;
    free(text);
    return json;
}

/* The elements belong to the array. */
static struct json_object *array_to_json(CMPIArray *array, int depth) {
    struct json_object *json = json_object_new_array();
    const CMPICount count = array->ft->getSize(array, NULL);
    for (CMPICount i = 0; i < count; ++i) {
        const CMPIData element = array->ft->getElementAt(array, i, NULL);
        json_object_array_add(json, to_json(&element, depth));
    }
    return json;
}

static struct json_object *real_to_json(double number) {
    char text[32];
    (void)snprintf(text, sizeof text, "%.17g", number);
    return isfinite(number) ? json_object_new_double_s(number, text) : json_object_new_string(text);
}

static struct json_object *to_json(const CMPIData *data, int depth) {
    const CMPIValue *value = &data->value;
    if ((data->state & (CMPI_nullValue | CMPI_notFound | CMPI_badValue)) != 0)
        return NULL;
    if ((data->type & CMPI_ENC) != 0 || (data->type & CMPI_ARRAY) != 0)
        if (value->string == NULL)
            return NULL;
    if ((data->type & CMPI_ARRAY) != 0)
        return array_to_json(value->array, depth);
    switch (data->type) {
    case CMPI_boolean:
        return json_object_new_boolean(value->boolean != 0);
    case CMPI_char16:
        return char16_to_json(value->char16);
    case CMPI_uint8:
        return json_object_new_int64(value->uint8);
    case CMPI_uint16:
        return json_object_new_int64(value->uint16);
    case CMPI_uint32: /* what is above these bits means nothing */
        return json_object_new_int64((uint32_t)value->uint32);
    case CMPI_uint64:
        return json_object_new_uint64(value->uint64);
    case CMPI_sint8:
        return json_object_new_int64(value->sint8);
    case CMPI_sint16:
        return json_object_new_int64(value->sint16);
    case CMPI_sint32:
        return json_object_new_int64((int32_t)value->sint32);
    case CMPI_sint64:
        return json_object_new_int64(value->sint64);
    case CMPI_real32:
        return real_to_json((double)value->real32);
    case CMPI_real64:
        return real_to_json(value->real64);
    case CMPI_string:
        return text_to_json(value->string, false);
    case CMPI_chars:
        return json_object_new_string(value->chars);
    case CMPI_dateTime:
        return text_to_json(value->dateTime->ft->getStringFormat(value->dateTime, NULL), true);
    case CMPI_ref:
        return reference_to_json(value->ref);
    case CMPI_instance:
        return depth > 0 ? properties_to_json(value->inst, depth - 1) : json_object_new_string("...");
    default:
        return json_object_new_string(XAVO_CMPIType_to_string(data->type));
    }
}

static struct json_object *properties_to_json(CMPIInstance *instance, int depth) {
    struct json_object *json = json_object_new_object();
    const unsigned int count = instance->ft->getPropertyCount(instance, NULL);
    for (unsigned int i = 0; i < count; ++i) {
        CMPIString *string = NULL;
        CMPIData data = instance->ft->getPropertyAt(instance, i, &string, NULL);
        struct json_object *name = text_to_json(string, true);
        if (name != NULL)
            json_object_object_add(json, json_object_get_string(name), to_json(&data, depth));
        json_object_put(name);
        XAVO_free_CMPIData_value(&data);
    }
    return json;
}

struct json_object *instance_to_json(CMPIInstance *instance) {
    return properties_to_json(instance, MOST_DEPTH);
}
