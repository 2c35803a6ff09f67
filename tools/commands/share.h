/* share.h - the options of a network share, for backup, restore and test-share. */
#ifndef XAVOCTL_COMMANDS_SHARE_H
#define XAVOCTL_COMMANDS_SHARE_H

#include "../command.h"

/* Rows of a list of options; `record` is the member of the request that they fill in. */
/* clang-format off */
#define SHARE_OPTIONS(record) \
    {"share-type", "N", "sent as ShareType: see Share types", NUMBER, true, 0, \
        IN_RECORD(record.shareType)}, \
    {"address", "HOST", "address of the share's server", TEXT, false, 0, IN_RECORD(record.ipaddr)}, \
    {"share", "NAME", "name of the share", TEXT, false, 0, IN_RECORD(record.sharename)}, \
    {"share-user", "NAME", "user on the share", TEXT, false, 0, IN_RECORD(record.uname)}, \
    SECRET_OPTIONS("password", "password of that user", record.passwd), \
    {"proxy-support", "N", "share types 5, 6: sent as ProxySupport", NUMBER, false, 0, \
        IN_RECORD(record.http.proxySupport)}, \
    {"proxy-type", "N", "share types 5, 6: sent as ProxyType", NUMBER, false, 0, IN_RECORD(record.http.proxyType)}, \
    {"proxy-server", "HOST", "share types 5, 6: address of the proxy", TEXT, false, 0, \
        IN_RECORD(record.http.proxyServer)}, \
    {"proxy-port", "N", "share types 5, 6: port of the proxy, sent as text", TEXT, false, 0, \
        IN_RECORD(record.http.proxyPort)}, \
    {"proxy-user", "NAME", "share types 5, 6: user of the proxy", TEXT, false, 0, \
        IN_RECORD(record.http.proxyUname)}, \
    SECRET_OPTIONS("proxy-password", "password of the proxy's user", record.http.proxyPasswd), \
    {"ignore-cert-warning", "N", "share types 5, 6: sent as IgnoreCertWarning", NUMBER, false, 0, \
        IN_RECORD(record.http.ignoreCertWarning)}
/* clang-format on */

#endif
