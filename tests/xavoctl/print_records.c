/* print_records.c - replaces the companion's start of a call: prints the record of the request. */
#include <stdio.h>
#include <XAVO_companion.h>

static void print_http(const XAVO_HTTP_SHARE_OPT_DATA *http) {
    fprintf(stderr, "support=%d type=%d server=%s uname=%s passwd=%s port=%s ignore=%d\n", http->proxySupport,
            http->proxyType, http->proxyServer, http->proxyUname, http->proxyPasswd, http->proxyPort,
            http->ignoreCertWarning);
}

XAVO_Call *XAVO_call_start(XAVO_Pool *pool, const XAVO_Request *request, XAVO_Answer *answer) {
    const XAVO_BAR_INPUT_DATA *image = request->image;
    const XAVO_NET_INPUT_DATA *share = request->share;
    (void)pool;
    if (image != NULL || share != NULL)
        fprintf(stderr, "%u s ", (request->deadline_ms + 500) / 1000);
    if (image != NULL) {
        fprintf(
            stderr,
            "%s uname=%s passwd=%s passphrase=%s ipaddr=%s sharename=%s imagename=%s start=%s until=%s type=%d "
            "preserve=%d job=%s check=%d tavix=%s\n",
            XAVO_operation_name(request->operation), image->uname, image->passwd, image->passphrase,
            image->ipaddr, image->sharename, image->imagename, image->startTime, image->untilTime,
            image->shareType, image->preserveVDConfig, image->JobName,
            image->checkBackupDestinationAvailability, image->tavixuname);
        print_http(&image->http);
    }
    if (share != NULL) {
        fprintf(stderr, "test uname=%s passwd=%s workgroup=%s ipaddr=%s sharename=%s type=%d\n", share->uname,
                share->passwd, share->workgroup, share->ipaddr, share->sharename, share->shareType);
        print_http(&share->http);
    }
    *answer = (XAVO_Answer){.code = XAVO_NOT_SUPPORTED, .kind = XAVO_KIND_NOTHING_ASKED};
    return NULL;
}
