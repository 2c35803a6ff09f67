/* image.c - the commands backup and restore. */
#include "share.h"

#include "../output/output.h"
#include "../xavoctl.h"

/* clang-format off */
static const struct option_row options[] = {
    SHARE_OPTIONS(image),
    {"image", "NAME", "name of the image on the share", TEXT, false, 0, IN_RECORD(image.imagename)},
    SECRET_OPTIONS("passphrase", "passphrase of the image", image.passphrase),
    {"start", "TIME", "when the job starts, sent as ScheduledStartTime (default NOW)", TEXT, false, 0,
        IN_RECORD(image.startTime)},
    {"until", "TIME", "until when the job may start, sent as UntilTime", TEXT, false, 0, IN_RECORD(image.untilTime)},
    {"job-name", "NAME", "name of the job, sent as JobName", TEXT, false, 0, IN_RECORD(image.JobName)},
    {"check-destination", "N", "sent as CheckBackupDestinationAvailability", NUMBER, false, 0,
        IN_RECORD(image.checkBackupDestinationAvailability)},
    {0},
};

static const struct option_row restore_options[] = {
    {"preserve-config", NULL, "sent as PreserveVDConfig 1; without it 0 is sent", FLAG, false, 0,
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

#define SHARE_TYPES                                                                                          \
    "\nShare types:\n"                                                                                       \
    "  0     sends --address (needed), --share, --image; no user, no password\n"                             \
    "  2     sends these, and --share-user and its password\n"                                               \
    "  5, 6  send what 2 sends, and the options of proxy and certificate\n"                                  \
    "  4     sends nothing of a share, and no --image\n"                                                     \
    "  all   send the passphrase, --start, --until, --job-name, --check-destination\n"                       \
    "\nHow they are sent:\n"                                                                                 \
    "  numbers  as they are, and not at all if they are 0 (share type 0 is sent)\n"                          \
    "  texts    unchanged, and not at all if they are not given (--address and --image as empty texts)\n"

const struct command backup_command = {
    .name = "backup",
    .arguments = "",
    .summary = "start a backup to a share",
    .details = PRINTS_ID " " TIMES,
    .notes = SHARE_TYPES,
    .examples =
        "  xavoctl backup --share-type 0 --address 192.0.2.10 --share public --image c.img --wait\n"
        "  xavoctl backup --options-file nightly.options --image monday.img --job-name monday\n"
        "  xavoctl backup --share-type 4 --passphrase-file passphrase --start 20990101220000 --dry-run\n",
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
    .notes = SHARE_TYPES,
    .examples = "  xavoctl restore --options-file nightly.options --image monday.img --dry-run\n"
                "  xavoctl restore --share-type 4 --passphrase-file passphrase --yes --wait\n",
    .options = {options, restore_options, wait_options, change_options, confirm_options},
    .check = check_restore,
    .perform = perform,
    .print = put_end_of_job,
};
