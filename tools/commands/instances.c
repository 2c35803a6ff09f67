/* instances.c - the command instances. */
#include "../output/json.h"
#include "../output/output.h"
#include "../xavoctl.h"

static const struct option_row options[] = {
    {"namespace", "NS", "namespace of the class (default root/velk)", TEXT, false, 0, IN_REQUEST(name_space)},
    {0},
};

static void perform(struct run *run) {
    const XAVO_Request request = {.operation = XAVO_OP_LIST_INSTANCES,
                                  .class_name = run->request.arguments[0],
                                  .name_space = run->request.name_space};
    const bool done = perform_and_note(run, request, run->outcomes, &run->answer);
    /* No such namespace or class: nothing else of the request can be wrong. */
    if (!done && run->answer.code == XAVO_INVALID_VALUE)
        fail_absent(run->outcomes, &run->answer);
    else if (done && run->answer.unreadable > 0)
        fail_unreadable(run->outcomes, &run->answer);
}

static void print(struct run *run) {
    for (size_t i = 0; i < run->answer.instance_count; ++i) {
        if (i > 0)
            (void)putchar('\n');
        put_instance(&run->answer.instances[i]);
    }
}

void instances_to_json(struct run *run, struct json_object *document) {
    if (run->answer.code != XAVO_NO_ERROR)
        return;
    struct json_object *list = json_array(document, "instances");
    for (size_t i = 0; i < run->answer.instance_count; ++i)
        json_append(list, json_of_instance(&run->answer.instances[i]));
    if (run->answer.unreadable > 0)
        json_set_number(document, "unreadable", (int64_t)run->answer.unreadable);
}

const struct command instances_command = {
    .name = "instances",
    .arguments = "CLASS",
    .summary = "show all instances of a class",
    .examples = "  xavoctl instances VELK_SoftwareIdentity\n"
                "  xavoctl instances CIM_Namespace --namespace root/interop --json\n",
    .least = 1,
    .most = 1,
    .options = {options},
    .perform = perform,
    .print = print,
    .to_json = instances_to_json,
};
