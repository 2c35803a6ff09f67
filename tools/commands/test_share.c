/* test_share.c - the command test-share. */
#include "share.h"

#include "../output/json.h"
#include "../xavoctl.h"

static const struct option_row options[] = {
    SHARE_OPTIONS(share),
    {"workgroup", "NAME", "the user's workgroup", TEXT, false, 0, IN_RECORD(share.workgroup)},
    {0},
};

static void perform(struct run *run) {
    const XAVO_Request request = {.operation = XAVO_OP_TEST_NETWORK_SHARE, .share = &run->request.share};
    (void)perform_and_note(run, request, run->outcomes, &run->answer);
}

static void print(struct run *run) {
    if (!run->request.quiet && run->outcomes->kind == XAVO_KIND_NONE)
        (void)puts("the share can be reached");
}

static void to_json(struct run *run, struct json_object *document) {
    if (run->outcomes->kind == XAVO_KIND_NONE)
        json_set_boolean(document, "reachable", true);
}

const struct command test_share_command = {
    .name = "test-share",
    .arguments = "",
    .summary = "test whether a share can be reached",
    .options = {options, change_options},
    .check = check_share,
    .perform = perform,
    .print = print,
    .to_json = to_json,
};
