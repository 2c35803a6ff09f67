/* value.h - CMPI values as JSON. */
#ifndef XAVOCTL_VALUE_H
#define XAVOCTL_VALUE_H

#include <CimClientLib/cmcift.h>

struct json_object;

/* An instance: an object with its properties. The caller puts it. */
struct json_object *instance_to_json(CMPIInstance *instance);

#endif
