/* test_share.c - the command test-share. */
#include "share.h"

#include "../output/json.h"
#include "../xavoctl.h"

static const struct option_row options[] = {
    SHARE_OPTIONS(share),
    {"workgroup", "NAME", "share type 2: the user's workgroup", TEXT, false, 0, IN_RECORD(share.workgroup)},
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
    .notes = "\nShare types:\n"
             "  0     sends --address (needed) and --share; no user, no password\n"
             "  2     sends these, the user as WORKGROUP\\USER, the password, and --workgroup\n"
             "  5, 6  send what 0 sends, and the options of proxy and certificate; no user, no password\n"
             "  4     is not valid here: there is nothing to test\n"
             "\nHow they are sent:\n"
             "  numbers  as they are, and not at all if they are 0 (share type 0 is sent)\n"
             "  texts    unchanged; of user, password and workgroup also empty ones, with share type 2\n",
    .examples =
        "  xavoctl test-share --share-type 0 --address 192.0.2.10 --share public\n"
        "  xavoctl test-share --share-type 2 --address 192.0.2.10 --share backups --share-user operator "
        "--password-file password\n",
    .options = {options, change_options},
    .check = check_share,
    .perform = perform,
    .print = print,
    .to_json = to_json,
};
