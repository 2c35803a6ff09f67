/* backup.c - tests a share and, if that succeeds, starts a backup onto it.
 *
 * The share and the times are the arguments; the password is the first line of a file. */
#include "record.h"
#include <stdlib.h>
#include <unistd.h>
#include <XAVO.h>

static int test_share(XAVO_Proxy *sp, const XAVO_BAR_INPUT_DATA *backup) {
    XAVO_ErrorCode ec;
    XAVO_NET_INPUT_DATA share;
    memset(&share, 0, sizeof share);
    share.shareType = backup->shareType;
    if (!RECORD_PUT(share.ipaddr, backup->ipaddr) || !RECORD_PUT(share.sharename, backup->sharename) ||
        !RECORD_PUT(share.uname, backup->uname) || !RECORD_PUT(share.passwd, backup->passwd))
        return 0;
    XAVO_invoke_TestNetworkShare(sp, &ec, &share);
    printf("test the share: %s\n", XAVO_EC_to_string(ec));
    return ec == XAVO_NO_ERROR;
}

static int start(XAVO_Proxy *sp, XAVO_BAR_INPUT_DATA *backup) {
    XAVO_ErrorCode ec;
    char *id = NULL;
    XAVO_invoke_BackupRestore(sp, &ec, "BackupImage", backup, &id);
    printf("start the backup: %s%s%s\n", XAVO_EC_to_string(ec), id ? ", " : "", id ? id : "");
    XAVO_free_ntstring(id);
    return ec == XAVO_NO_ERROR;
}

int main(int argc, char **argv) {
    if (argc != 8) {
        fprintf(
            stderr,
            "usage: %s SHARE_TYPE ADDRESS SHARE USER PASSWORD_FILE IMAGE START\n"
            "SHARE_TYPE is 0, 2, 5 or 6; START is NOW or a time in the form that the controller accepts.\n",
            argv[0]);
        return 2;
    }
    XAVO_BAR_INPUT_DATA backup;
    memset(&backup, 0, sizeof backup);
    char *end;
    const unsigned long type = strtoul(argv[1], &end, 10);
    if (end == argv[1] || *end != '\0' || type > 6) {
        fprintf(stderr, "%s is not a share type\n", argv[1]);
        return 2;
    }
    backup.shareType = (uint16_t)type;
    if (!RECORD_PUT(backup.ipaddr, argv[2]) || !RECORD_PUT(backup.sharename, argv[3]) ||
        !RECORD_PUT(backup.uname, argv[4]) || !RECORD_PUT_FILE(backup.passwd, argv[5]) ||
        !RECORD_PUT(backup.imagename, argv[6]) || !RECORD_PUT(backup.startTime, argv[7]))
        return 2;

    alarm(60); /* ends the program if the broker hangs: no call has a time-out */
    XAVO_Proxy *sp = XAVO_new();
    if (sp == NULL) {
        fprintf(stderr, "no broker answers\n");
        return 1;
    }
    const int ok = test_share(sp, &backup) && start(sp, &backup);
    XAVO_free(sp);
    return ok ? 0 : 1;
}
