// records_test.cpp - the callers' records: what is checked in them, and what of them is sent.
#include "support.h"

#include <cstring>
#include <sstream>

using namespace test;

namespace {

// `buffers` names each with its offset and its width, in the order of the checks. At first none of them
// ends; then one after the other is as long as it may be.
template <typename Record>
void expect_checks(int (*validate)(const Record *), const std::string &record, const char *buffers) {
    std::string name, error = "2 XAVO_Validate_XAVO_" + record + ": ERROR: ";
    Record data;
    memset(&data, 'x', sizeof data);
    std::istringstream words(buffers);
    for (size_t offset, width; words >> name >> offset >> width;) {
        clear_log();
        EXPECT_EQ(validate(&data), 0);
        EXPECT_EQ(logged(), name[4] != '.'
                                ? error + name + " is not valid\n"
                                : "2 XAVO_Validate_XAVO_HTTP_SHARE_OPT_DATA: ERROR: " + name.substr(5) +
                                      " is not valid\n" + error + "http data is not valid\n");
        reinterpret_cast<char *>(&data)[offset + width - 1] = '\0';
    }
    EXPECT_EQ(validate(&data), 1);
}

TEST(Records, MustEndTheirStrings) {
    expect_checks(XAVO_Validate_XAVO_HTTP_SHARE_OPT_DATA, "HTTP_SHARE_OPT_DATA",
                  "proxyServer 4 65 proxyUname 69 65 proxyPasswd 134 65 proxyPort 199 12");
    expect_checks(XAVO_Validate_XAVO_NET_INPUT_DATA, "NET_INPUT_DATA",
                  "uname 0 65 passwd 65 65 workgroup 130 65 ipaddr 195 65 sharename 260 257 http.proxyServer "
                  "526 65 http.proxyUname 591 65 http.proxyPasswd 656 65 http.proxyPort 721 12");
    expect_checks(
        XAVO_Validate_XAVO_BAR_INPUT_DATA, "BAR_INPUT_DATA",
        "uname 0 65 passwd 65 65 passphrase 130 33 ipaddr 163 65 sharename 228 257 imagename 485 65 "
        "startTime 550 33 untilTime 583 33 JobName 834 33 tavixuname 870 65 http.proxyServer 624 65 "
        "http.proxyUname 689 65 http.proxyPasswd 754 65 http.proxyPort 819 12");
    EXPECT_EQ(XAVO_Validate_StringBuffer("", 0) + XAVO_Validate_StringBuffer(nullptr, 1), 0);
}

// The arguments in their order, each after the share types with which it is sent (R: by a restore only),
// of a full record and of one that is empty but for the start time.
const std::string HTTP = "56 ProxySupport:0090=1 56 ProxyType:0090=2 56 ProxyServer:1700=192.0.2.80 "
                         "56 ProxyUname:1700=proxyuser 56 ProxyPasswd:1700=proxysecret "
                         "56 ProxyPort:1700=3128 56 IgnoreCertWarning:0090=3 ";
const std::string FULL_IMAGE =
    "0256 IPAddress:1700=192.0.2.10 0256 ShareName:1700=share 0256 ImageName:1700=image "
    "256 UserName:1700=user 256 Password:1700=secret 02456 Passphrase:1700=phrase "
    "02456 UntilTime:1700=20990101000000 02456 ScheduledStartTime:1700=NOW 02456R PreserveVDConfig:0090=1 " +
    HTTP + "02456 ShareType:0090= 02456 JobName:1700=nightly 02456 CheckBackupDestinationAvailability:0090=4";
const std::string EMPTY_IMAGE = "0256 IPAddress:1700= 0256 ImageName:1700= 02456 ScheduledStartTime:1700=NOW "
                                "02456R PreserveVDConfig:0090=0 02456 ShareType:0090=";
const std::string FULL_SHARE = "0256 IPAddress:1700=192.0.2.10 0256 ShareName:1700=share "
                               "2 UserName:1700=group\\user 2 Password:1700=secret 2 Workgroup:1700=group " +
                               HTTP + "0256 ShareType:0090=";
const std::string EMPTY_SHARE = "0256 IPAddress:1700= 2 UserName:1700= 2 Password:1700= 2 Workgroup:1700= "
                                "0256 ShareType:0090=";

class Requests : public World {};

TEST_F(Requests, CarryWhatTheShareTypeCallsFor) {
    const std::tuple<std::string, bool, std::string> rows[] = {
        {"BackupImage", true, FULL_IMAGE},      {"backupimage", false, EMPTY_IMAGE},
        {"restoreimage", true, FULL_IMAGE},     {"RestoreImage", false, EMPTY_IMAGE},
        {"TestNetworkShare", true, FULL_SHARE}, {"TestNetworkShare", false, EMPTY_SHARE}};
    for (const auto &[method, full, arguments] : rows)
        for (const uint16_t &type : std::vector<uint16_t>{0, 1, 2, 3, 4, 5, 6, 7, 34, 258}) {
            const bool restore = method.find("estore") == 1;
            std::string expected, number = std::to_string(type);
            std::istringstream words(arguments);
            for (std::string types, argument; words >> types >> argument;)
                if (types.find(number) != std::string::npos && (restore || types.back() != 'R'))
                    expected += "," + argument + (argument == "ShareType:0090=" ? number : "");
            XAVO_NET_INPUT_DATA share = full ? full_share(type) : XAVO_NET_INPUT_DATA();
            XAVO_BAR_INPUT_DATA image = full ? full_image(type) : XAVO_BAR_INPUT_DATA();
            share.shareType = image.shareType = type;
            strcpy(image.startTime, "NOW");
            image.preserveVDConfig = full ? 3 : 2;
            char *job = nullptr;
            populate();
            if (method == "TestNetworkShare")
                XAVO_invoke_TestNetworkShare(sp, &ec, &share);
            else
                XAVO_invoke_BackupRestore(sp, &ec, method.c_str(), &image, &job);
            XAVO_free_ntstring(job);
            EXPECT_EQ(image.preserveVDConfig, restore && !expected.empty() ? full : full ? 3 : 2);
            expected = expected.empty() ? "" : method + "(" + expected.substr(1) + ")";
            EXPECT_EQ(last_request().substr(last_request().find(' ') + 1), expected);
        }
}

TEST_F(Requests, JoinNoUserToNoGroup) {
    for (const std::string user : {"user", ""}) {
        XAVO_NET_INPUT_DATA share = full_share(2);
        (user.empty() ? share.uname : share.workgroup)[0] = '\0';
        XAVO_invoke_TestNetworkShare(sp, &ec, &share);
        EXPECT_NE(last_request().find(",UserName:1700=" + user + ",Password:"), std::string::npos);
        const std::string by = "8 XAVO_invoke_TestNetworkShare: ", joined = by + "sCombinedUserName=[" + user;
        EXPECT_NE(logged().find(by + "uname=[" + user + "]\n" + joined + "]\n"), std::string::npos);
    }
}

} // namespace
