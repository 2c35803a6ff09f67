/* record.c - stands before libxavo in the tool's worker and says what it is handed, instead of asking. */
#include <stdio.h>
#include <XAVO.h>

static void print_http(const XAVO_HTTP_SHARE_OPT_DATA *http) {
    fprintf(stderr, "support=%d type=%d server=%s uname=%s passwd=%s port=%s ignore=%d\n", http->proxySupport,
            http->proxyType, http->proxyServer, http->proxyUname, http->proxyPasswd, http->proxyPort,
            http->ignoreCertWarning);
}

void XAVO_invoke_BackupRestore(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep, const char *method,
                               XAVO_BAR_INPUT_DATA *data, char **JID_InstanceID) {
    (void)sp, (void)JID_InstanceID;
    fprintf(
        stderr,
        "%s uname=%s passwd=%s passphrase=%s ipaddr=%s sharename=%s imagename=%s start=%s until=%s type=%d "
        "preserve=%d job=%s check=%d tavix=%s\n",
        method, data->uname, data->passwd, data->passphrase, data->ipaddr, data->sharename, data->imagename,
        data->startTime, data->untilTime, data->shareType, data->preserveVDConfig, data->JobName,
        data->checkBackupDestinationAvailability, data->tavixuname);
    print_http(&data->http);
    *errorcodep = XAVO_NOT_SUPPORTED;
}

void XAVO_invoke_TestNetworkShare(XAVO_Proxy *sp, XAVO_ErrorCode *errorcodep,
                                  const XAVO_NET_INPUT_DATA *data) {
    (void)sp;
    fprintf(stderr, "test uname=%s passwd=%s workgroup=%s ipaddr=%s sharename=%s type=%d\n", data->uname,
            data->passwd, data->workgroup, data->ipaddr, data->sharename, data->shareType);
    print_http(&data->http);
    *errorcodep = XAVO_NOT_SUPPORTED;
}
