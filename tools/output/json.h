/* json.h - documents. What json-c returns is checked here: after a failed allocation put_document fails. */
#ifndef XAVOCTL_OUTPUT_JSON_H
#define XAVOCTL_OUTPUT_JSON_H

#include <stdbool.h>
#include <stdint.h>
#include <XAVO_companion.h>

struct json_object;
struct outcome;

struct json_object *json_new(void);
struct json_object *json_text(const char *text); /* NULL: null */
/* A new list, which becomes a member of the object. */
struct json_object *json_array(struct json_object *object, const char *key);
void json_append(struct json_object *array, struct json_object *value);
void json_set(struct json_object *object, const char *key, struct json_object *value);
void json_set_text(struct json_object *object, const char *key, const char *text); /* NULL: null */
void json_set_number(struct json_object *object, const char *key, int64_t number);
void json_set_boolean(struct json_object *object, const char *key, bool value);

struct json_object *json_of_job(const XAVO_VELK_LifecycleJob *job);
struct json_object *json_of_instance(const XAVO_Instance *instance);
/* Adds members of an outcome: the job, and how the wait for it ended; and what failed. */
void json_add_job(struct json_object *object, const struct outcome *outcome);
void json_add_failure(struct json_object *object, const struct outcome *outcome);

/* Prints a document on one line, and frees it. Bytes that are not UTF-8 become U+FFFD; what would steer a
 * terminal is escaped. False when there was no memory for all of it; then nothing is printed. */
bool put_document(struct json_object *document);

#endif
