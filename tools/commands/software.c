/* software.c - the command software. */
#include "../output/json.h"
#include "../output/output.h"
#include "../xavoctl.h"

#include <stdlib.h>
#include <strings.h>

static void perform(struct run *run) {
    const XAVO_Request request = {.operation = XAVO_OP_LIST_INSTANCES, .class_name = "VELK_SoftwareIdentity"};
    if (perform_and_note(run, request, run->outcomes, &run->answer) && run->answer.unreadable > 0)
        fail_unreadable(run->outcomes, &run->answer);
}

static const char *property_of(const XAVO_Instance *instance, const char *name) {
    for (size_t i = 0; i < instance->count; ++i) {
        const XAVO_Property *property = &instance->properties[i];
        if (strcasecmp(property->name, name) == 0 && property->count > 0 && !property->is_null)
            return property->text[0];
    }
    return NULL;
}

static void print(struct run *run) {
    static const char *const titles[] = {"TARGET", "VERSION", "NAME"};
    static const char *const properties[] = {"InstanceID", "VersionString", "ElementName"};
    enum { COLUMNS = sizeof titles / sizeof *titles };
    const size_t rows = run->answer.instance_count;
    const char **cells = allocate(rows * COLUMNS + 1, sizeof *cells);
    for (size_t i = 0; cells != NULL && i < rows * COLUMNS; ++i)
        cells[i] = property_of(&run->answer.instances[i / COLUMNS], properties[i % COLUMNS]);
    for (size_t i = 0; cells != NULL && run->request.quiet && i < rows; ++i)
        put_line(stdout, cells[i * COLUMNS]);
    if (cells != NULL && !run->request.quiet && (rows > 0 || run->outcomes->kind == XAVO_KIND_NONE))
        put_table(titles, COLUMNS, cells, rows, COLUMNS);
    free(cells);
}

const struct command software_command = {
    .name = "software",
    .arguments = "",
    .summary = "list what can be installed",
    .details = "With --quiet the targets of install alone. A document has all properties.",
    .examples = "  xavoctl software\n"
                "  xavoctl software --quiet\n",
    .perform = perform,
    .print = print,
    .to_json = instances_to_json,
};
