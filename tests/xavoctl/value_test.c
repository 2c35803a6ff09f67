/* value_test.c - properties of every type, as the tool makes JSON of them. */
#include "../../tools/value.h"

#include <cimsim.h>
#include <json-c/json.h>
#include <stdio.h>
#include <string.h>
#include <XAVO.h>

static cimsim_value *number(CMPIType type, CMPIUint64 bits) { return cimsim_number(type, bits); }

int main(void) {
    cimsim_value *two[] = {cimsim_string("a"), NULL},
                 *bits[] = {number(CMPI_boolean, 1), number(CMPI_boolean, 0)};
    cimsim_value *references[] = {cimsim_reference("root/velk", "VELK_A", "Name", cimsim_string("x\"y"))};
    cimsim_value *instances[] = {cimsim_instance("VELK_A"), cimsim_no_object(CMPI_instance)};
    const struct {
        cimsim_value *value;
        const char *json;
    } rows[] = {
        {cimsim_array(CMPI_string, 2, two), "[\"a\",null]"},
        {cimsim_array(CMPI_boolean, 2, bits), "[true,false]"},
        {cimsim_array(CMPI_ref, 1, references), "[\"root\\/velk:VELK_A.Name=\\\"x\\\\\\\"y\\\"\"]"},
        {cimsim_array(CMPI_instance, 2, instances), "[{},null]"},
        {cimsim_reference("root/velk", "VELK_A", NULL, NULL), "\"root\\/velk:VELK_A\""},
        {cimsim_instance("VELK_A"), "{}"},
        {cimsim_datetime("00000001000000.000000:000"), "\"00000001000000.000000:000\""},
        {cimsim_chars("c"), "\"c\""},
        {cimsim_string(NULL), "null"},
        {number(CMPI_char16, 0x41), "\"A\""},
        {number(CMPI_char16, 0xe9), "\"\xc3\xa9\""},
        {number(CMPI_char16, 0x20ac), "\"\xe2\x82\xac\""},
        {number(CMPI_char16, 0xd800), "\"\xef\xbf\xbd\""},
        {number(CMPI_uint8, 255), "255"},
        {number(CMPI_uint16, 65535), "65535"},
        {number(CMPI_uint32, 0xffffffff), "4294967295"},
        {number(CMPI_uint64, UINT64_MAX), "18446744073709551615"},
        {number(CMPI_sint8, 0xff), "-1"},
        {number(CMPI_sint16, 0x8000), "-32768"},
        {number(CMPI_sint32, 0x80000000), "-2147483648"},
        {number(CMPI_sint64, UINT64_C(1) << 63), "-9223372036854775808"},
        {number(CMPI_real32, 0x3f000000), "0.5"},
        {number(CMPI_real64, 0x7ff8000000000000), "\"nan\""},
        {cimsim_no_object(CMPI_string), "null"},
        {cimsim_with_state(cimsim_string("x"), CMPI_badValue), "null"},
    };
    enum { ROWS = sizeof rows / sizeof *rows };
    char names[ROWS][32];
    for (int i = 0; i < ROWS; ++i) {
        snprintf(names[i], sizeof names[i], "Property%d", i);
        cimsim_set_job_property("JID_1", names[i], rows[i].value);
    }
    XAVO_ErrorCode code;
    XAVO_Proxy *sp = XAVO_new();
    CMPIEnumeration *jobs = XAVO_enumerate(sp, &code, "root/velk", "VELK_LifecycleJob");
    struct json_object *job = instance_to_json(jobs->ft->getNext(jobs, NULL).value.inst);
    int failures = 0;
    for (int i = 0; i < ROWS; ++i) {
        struct json_object *value = NULL;
        const int there = json_object_object_get_ex(job, names[i], &value);
        const char *json = json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN);
        if (!there || strcmp(json, rows[i].json) != 0)
            failures += printf("row %d: %s, not %s\n", i, there ? json : "missing", rows[i].json) > 0;
    }
    json_object_put(job);
    jobs->ft->release(jobs);
    if (cimsim_owned() > 1 || cimsim_pooled() > 2) /* the client; objects of an absent and of a bad value */
        failures += printf("left: %s\n", cimsim_live()) > 0;
    XAVO_free(sp);
    return failures != 0;
}
