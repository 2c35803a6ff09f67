/* install.c - the command install. */
#include "../output/output.h"
#include "../xavoctl.h"

static const struct option_row options[] = {
    {"target", "ID", "identifier of the software identity: xavoctl software lists them", TEXT, true, 0,
     IN_REQUEST(target)},
    {"uri", "URI", "where the software is fetched from", TEXT, false, 0, IN_REQUEST(uri)},
    {0},
};

static void perform(struct run *run) {
    const struct request *asked = &run->request;
    const XAVO_Request request = {.operation = asked->uri != NULL ? XAVO_OP_INSTALL_FROM_URI
                                                                  : XAVO_OP_INSTALL_FROM_SOFTWARE_IDENTITY,
                                  .uri = asked->uri,
                                  .id = asked->target};
    start_job(run, request, NULL);
}

const struct command install_command = {
    .name = "install",
    .arguments = "",
    .summary = "install software",
    .details = PRINTS_ID " Without --uri the controller installs what it holds.",
    .examples = "  xavoctl software\n"
                "  xavoctl install --target IDENTITY:BIOS --wait\n"
                "  xavoctl install --target IDENTITY:BIOS --uri http://192.0.2.20/bios.bin --dry-run\n",
    .options = {options, wait_options, change_options},
    .perform = perform,
    .print = put_end_of_job,
};
