/* tell.h - what the parent prints for people. */
#ifndef XAVOCTL_TELL_H
#define XAVOCTL_TELL_H

#include "xavoctl.h"

/* The string of a key, or NULL. Valid as long as the object. */
const char *text_of(struct json_object *object, const char *key);

void tell_jobs(const struct run *run);
void tell_job(const struct run *run);
void tell_results(const struct run *run);
void tell_started(const struct run *run);
void tell_test_share(const struct run *run);
void tell_instances(const struct run *run);
void tell_doctor(const struct run *run);

/* Says on standard error what went wrong: in the document itself, or in each of its results. */
void tell_failures(const struct run *run);

extern const char output_notes[];

#endif
