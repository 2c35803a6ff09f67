/* image.c - the commands backup and restore. */
#include "share.h"

#include "../output/output.h"
#include "../xavoctl.h"

/* clang-format off */
static const struct option_row options[] = {
    SHARE_OPTIONS(image),
    {"image", "NAME", "name of the image on the share", TEXT, false, 0, IN_RECORD(image.imagename)},
    SECRET_OPTIONS("passphrase", "passphrase of the image", image.passphrase),
    {"start", "TIME", "when the job starts (default NOW)", TEXT, false, 0, IN_RECORD(image.startTime)},
    {"until", "TIME", "until when the job may start", TEXT, false, 0, IN_RECORD(image.untilTime)},
    {"job-name", "NAME", "name of the job", TEXT, false, 0, IN_RECORD(image.JobName)},
    {"check-destination", "N", "CheckBackupDestinationAvailability", NUMBER, false, 0,
        IN_RECORD(image.checkBackupDestinationAvailability)},
    {0},
};

static const struct option_row restore_options[] = {
    {"preserve-config", NULL, "PreserveVDConfig: sent as 1, not as 0", FLAG, false, 0,
        IN_RECORD(image.preserveVDConfig)},
    {0},
};
/* clang-format on */

static void check_restore(struct request *request) {
    check_share(request);
    check_confirmation(request);
}

static void perform(struct run *run) {
    const XAVO_BAR_INPUT_DATA *image = &run->request.image;
    const XAVO_Request request = {
        .operation = run->request.command == &backup_command ? XAVO_OP_BACKUP_IMAGE : XAVO_OP_RESTORE_IMAGE,
        .image = image};
    if (run->request.command == &backup_command || confirm(run, "Restore this controller from the image?"))
        start_job(run, request, image->JobName[0] != '\0' ? image->JobName : NULL);
}

const struct command backup_command = {
    .name = "backup",
    .arguments = "",
    .summary = "start a backup to a share",
    .details = PRINTS_ID " " TIMES,
    .options = {options, wait_options, change_options},
    .check = check_share,
    .perform = perform,
    .print = put_end_of_job,
};

const struct command restore_command = {
    .name = "restore",
    .arguments = "",
    .summary = "start a restore from a share",
    .details = PRINTS_ID " " TIMES,
    .options = {options, restore_options, wait_options, change_options, confirm_options},
    .check = check_restore,
    .perform = perform,
    .print = put_end_of_job,
};
