/* Tests whether a share without credentials can be reached. */
#include <string.h>
#include <XAVO.h>

int main(int argc, char **argv) {
    XAVO_NET_INPUT_DATA share;
    memset(&share, 0, sizeof share); /* members that are not set must be zero */
    if (argc != 3 || strlen(argv[1]) >= sizeof share.ipaddr || strlen(argv[2]) >= sizeof share.sharename) {
        fprintf(stderr, "usage: %s ADDRESS SHARE\n", argv[0]);
        return 2;
    }
    strcpy(share.ipaddr, argv[1]);
    strcpy(share.sharename, argv[2]);
    share.shareType = 0;
    XAVO_ErrorCode ec;
    XAVO_invoke_TestNetworkShare(NULL, &ec, &share);
    puts(XAVO_EC_to_string(ec));
    return ec != XAVO_NO_ERROR;
}
