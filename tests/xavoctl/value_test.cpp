// value_test.cpp - properties of every type, as the tool makes JSON of them.
#include "../table.h"

#include <cimsim.h>
#include <cstdio>
#include <json-c/json.h>
#include <XAVO.h>
extern "C" {
#include "../../tools/value.h"
}

int main() {
    const auto rows = test::table("json.txt");
    for (const auto &row : rows)
        cimsim_set_job_property("JID_1", row.where.c_str(), cimsim_parse_value(row[0].c_str()));
    XAVO_ErrorCode code;
    XAVO_Proxy *sp = XAVO_new();
    CMPIEnumeration *jobs = XAVO_enumerate(sp, &code, "root/velk", "VELK_LifecycleJob");
    json_object *job = instance_to_json(jobs->ft->getNext(jobs, nullptr).value.inst);
    int failures = rows.empty() ? 1 : 0;
    for (const auto &row : rows) {
        json_object *value = nullptr;
        const bool there = json_object_object_get_ex(job, row.where.c_str(), &value) != 0;
        const std::string json = json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN);
        if (!there || json != row[1])
            failures += printf("%s: %s, not %s\n", row.where.c_str(), there ? json.c_str() : "missing",
                               row[1].c_str()) > 0;
    }
    json_object_put(job);
    jobs->ft->release(jobs);
    if (cimsim_owned() > 1 || cimsim_pooled() > 2) // the client; objects of an absent and of a bad value
        failures += printf("left: %s\n", cimsim_live()) > 0;
    XAVO_free(sp);
    return failures != 0;
}
