/* reboot.c - the command reboot. */
#include "../output/output.h"
#include "../xavoctl.h"

static void check(struct request *request) {
    uint16_t number;
    if (!read_number(request->arguments[0], &number))
        complain(request, "TYPE is a number from 0 to 65535");
    check_confirmation(request);
}

static void perform(struct run *run) {
    const XAVO_Request request = {.operation = XAVO_OP_CREATE_REBOOT_JOB,
                                  .reboot_type = run->request.arguments[0]};
    if (confirm(run, "Create the reboot job?"))
        start_job(run, request, NULL);
}

const struct command reboot_command = {
    .name = "reboot",
    .arguments = "TYPE",
    .summary = "create a reboot job",
    .details =
        PRINTS_ID " TYPE is a number from 0 to 65535, sent as RebootJobType, which the service judges.",
    .examples = "  xavoctl reboot 1 --yes\n"
                "  xavoctl reboot 1 --yes --wait --timeout 600\n",
    .least = 1,
    .most = 1,
    .options = {wait_options, change_options, confirm_options},
    .check = check,
    .perform = perform,
    .print = put_end_of_job,
};
