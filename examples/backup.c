/* backup.c - tests a share, starts a backup onto it, and is refused a second one.
 *
 * On a controller in lockdown the backup itself is refused: the outcome names that, too. */
#include <stdio.h>
#include <string.h>
#include <XAVO.h>

/* Fills a buffer of a record; the record is all zero, so the string ends inside it. */
#define FILL(buffer, text)                                                                                   \
    memcpy(buffer, text, sizeof(text) <= sizeof(buffer) ? sizeof(text) : sizeof(buffer) - 1)

int main(void) {
    XAVO_ErrorCode ec;
    char *id = NULL;

    XAVO_Proxy *sp = XAVO_new();
    if (sp == NULL) {
        fprintf(stderr, "no broker answers\n");
        return 1;
    }

    XAVO_NET_INPUT_DATA share;
    memset(&share, 0, sizeof share);
    share.shareType = 2;
    FILL(share.ipaddr, "192.0.2.10");
    FILL(share.sharename, "backups");
    FILL(share.uname, "operator");
    FILL(share.passwd, "secret");
    XAVO_invoke_TestNetworkShare(sp, &ec, &share);
    printf("test the share: %s\n", XAVO_EC_to_string(ec));

    FILL(share.ipaddr, "192.0.2.99");
    XAVO_invoke_TestNetworkShare(sp, &ec, &share);
    printf("test a share on a server that is not there: %s\n", XAVO_EC_to_string(ec));

    XAVO_BAR_INPUT_DATA backup;
    memset(&backup, 0, sizeof backup);
    backup.shareType = 2;
    FILL(backup.ipaddr, "192.0.2.10");
    FILL(backup.sharename, "backups");
    FILL(backup.uname, "operator");
    FILL(backup.passwd, "secret");
    FILL(backup.imagename, "controller.img");
    FILL(backup.startTime, "NOW");
    XAVO_invoke_BackupRestore(sp, &ec, "BackupImage", &backup, &id);
    printf("start a backup: %s%s%s\n", XAVO_EC_to_string(ec), id ? ", " : "", id ? id : "");
    const XAVO_ErrorCode first = ec;
    XAVO_free_ntstring(id);
    id = NULL;

    XAVO_invoke_BackupRestore(sp, &ec, "BackupImage", &backup, &id);
    printf("start another while it runs: %s\n", XAVO_EC_to_string(ec));
    XAVO_free_ntstring(id);

    XAVO_free(sp);
    return first == XAVO_NO_ERROR || first == XAVO_SYSTEM_IN_LOCKDOWN_MODE ? 0 : 1;
}
