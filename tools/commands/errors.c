/* errors.c - the command errors. */
#include "../output/json.h"
#include "../xavoctl.h"

#define ROW(constant, value, name, meaning) {value, name, meaning},
static const struct {
    int code;
    const char *name, *meaning;
} codes[] = {XAVO_ERROR_CODES(ROW)};
#undef ROW
enum { CODES = sizeof codes / sizeof *codes };

static void print(struct run *run) {
    (void)run;
    (void)printf("%-5s %-26s %s\n", "CODE", "NAME", "MEANING");
    for (size_t i = 0; i < CODES; ++i)
        (void)printf("%-5d %-26s %s\n", codes[i].code, codes[i].name, codes[i].meaning);
}

static void to_json(struct run *run, struct json_object *document) {
    (void)run;
    struct json_object *list = json_array(document, "errors");
    for (size_t i = 0; i < CODES; ++i) {
        struct json_object *entry = json_new();
        json_set_number(entry, "code", codes[i].code);
        json_set_text(entry, "name", codes[i].name);
        json_set_text(entry, "meaning", codes[i].meaning);
        json_append(list, entry);
    }
}

const struct command errors_command = {
    .name = "errors",
    .arguments = "",
    .summary = "list the error codes",
    .examples = "  xavoctl errors\n",
    .print = print,
    .to_json = to_json,
};
