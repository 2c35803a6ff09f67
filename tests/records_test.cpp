// records_test.cpp - the callers' records: what is checked in them, and what of them is sent.
#include "support.h"

#include <cstring>
#include <string>
#include <vector>

using namespace test;

namespace {

// The buffers in the order of the checks. At first none of them ends; then one after the other is as long
// as it may be.
struct Buffer {
    const char *name;
    size_t offset, width;
    bool http = false; // one of the record's options
};

template <typename Record>
void expect_checks(int (*validate)(const Record *), const std::string &record,
                   const std::vector<Buffer> &buffers) {
    const std::string function = "XAVO_Validate_XAVO_" + record;
    Record data;
    memset(&data, 'x', sizeof data);
    for (const auto &[name, offset, width, http] : buffers) {
        clear_log();
        EXPECT_EQ(validate(&data), 0);
        const std::string invalid = std::string(name) + " is not valid";
        EXPECT_EQ(logged(), !http ? error(function, invalid)
                                  : error("XAVO_Validate_XAVO_HTTP_SHARE_OPT_DATA", invalid) +
                                        error(function, "http data is not valid"));
        reinterpret_cast<char *>(&data)[offset + width - 1] = '\0';
    }
    EXPECT_EQ(validate(&data), 1);
}

TEST(Records, MustEndTheirStrings) {
    expect_checks(
        XAVO_Validate_XAVO_HTTP_SHARE_OPT_DATA, "HTTP_SHARE_OPT_DATA",
        {{"proxyServer", 4, 65}, {"proxyUname", 69, 65}, {"proxyPasswd", 134, 65}, {"proxyPort", 199, 12}});
    expect_checks(XAVO_Validate_XAVO_NET_INPUT_DATA, "NET_INPUT_DATA",
                  {{"uname", 0, 65},
                   {"passwd", 65, 65},
                   {"workgroup", 130, 65},
                   {"ipaddr", 195, 65},
                   {"sharename", 260, 257},
                   {"proxyServer", 526, 65, true},
                   {"proxyUname", 591, 65, true},
                   {"proxyPasswd", 656, 65, true},
                   {"proxyPort", 721, 12, true}});
    expect_checks(XAVO_Validate_XAVO_BAR_INPUT_DATA, "BAR_INPUT_DATA",
                  {{"uname", 0, 65},
                   {"passwd", 65, 65},
                   {"passphrase", 130, 33},
                   {"ipaddr", 163, 65},
                   {"sharename", 228, 257},
                   {"imagename", 485, 65},
                   {"startTime", 550, 33},
                   {"untilTime", 583, 33},
                   {"JobName", 834, 33},
                   {"tavixuname", 870, 65},
                   {"proxyServer", 624, 65, true},
                   {"proxyUname", 689, 65, true},
                   {"proxyPasswd", 754, 65, true},
                   {"proxyPort", 819, 12, true}});
    EXPECT_EQ(XAVO_Validate_StringBuffer("", 0) + XAVO_Validate_StringBuffer(nullptr, 1), 0);
}

// The arguments in their order, with the share types that call for them, of a full record and of one that
// is empty but for the start time ("-": not sent then). The share type follows its own argument's name.
struct Row {
    const char *name, *types, *full, *empty;
    bool restore_only = false;
};
using Rows = std::vector<Row>;

Rows with_http(Rows before, const Rows &after) {
    for (const Row &row : Rows{{"ProxySupport:0090", "56", "1", "-"},
                               {"ProxyType:0090", "56", "2", "-"},
                               {"ProxyServer:1700", "56", "192.0.2.80", "-"},
                               {"ProxyUname:1700", "56", "proxyuser", "-"},
                               {"ProxyPasswd:1700", "56", "proxysecret", "-"},
                               {"ProxyPort:1700", "56", "3128", "-"},
                               {"IgnoreCertWarning:0090", "56", "3", "-"}})
        before.push_back(row);
    before.insert(before.end(), after.begin(), after.end());
    return before;
}
const Rows IMAGE = with_http({{"IPAddress:1700", "0256", "192.0.2.10", ""},
                              {"ShareName:1700", "0256", "share", "-"},
                              {"ImageName:1700", "0256", "image", ""},
                              {"UserName:1700", "256", "user", "-"},
                              {"Password:1700", "256", "secret", "-"},
                              {"Passphrase:1700", "02456", "phrase", "-"},
                              {"UntilTime:1700", "02456", "20990101000000", "-"},
                              {"ScheduledStartTime:1700", "02456", "NOW", "NOW"},
                              {"PreserveVDConfig:0090", "02456", "1", "0", true}},
                             {{"ShareType:0090", "02456", nullptr, nullptr},
                              {"JobName:1700", "02456", "nightly", "-"},
                              {"CheckBackupDestinationAvailability:0090", "02456", "4", "-"}});
const Rows SHARE = with_http({{"IPAddress:1700", "0256", "192.0.2.10", ""},
                              {"ShareName:1700", "0256", "share", "-"},
                              {"UserName:1700", "2", "group\\user", ""},
                              {"Password:1700", "2", "secret", ""},
                              {"Workgroup:1700", "2", "group", ""}},
                             {{"ShareType:0090", "0256", nullptr, nullptr}});

class Requests : public World {};

TEST_F(Requests, CarryWhatTheShareTypeCallsFor) {
    const struct {
        std::string method;
        bool full, restore;
        const Rows *rows;
    } calls[] = {{"BackupImage", true, false, &IMAGE},      {"backupimage", false, false, &IMAGE},
                 {"restoreimage", true, true, &IMAGE},      {"RestoreImage", false, true, &IMAGE},
                 {"TestNetworkShare", true, false, &SHARE}, {"TestNetworkShare", false, false, &SHARE}};
    for (const auto &[method, full, restore, rows] : calls)
        for (const uint16_t &type : std::vector<uint16_t>{0, 1, 2, 3, 4, 5, 6, 7, 34, 258}) {
            const std::string number = std::to_string(type);
            std::string expected;
            for (const Row &row : *rows) {
                const char *text = row.full == nullptr ? number.c_str() : full ? row.full : row.empty;
                if (std::string(row.types).find(number) != std::string::npos && strcmp(text, "-") != 0 &&
                    (restore || !row.restore_only))
                    expected += std::string(",") + row.name + "=" + text;
            }
            XAVO_NET_INPUT_DATA share = full ? full_share(type) : XAVO_NET_INPUT_DATA();
            XAVO_BAR_INPUT_DATA image = full ? full_image(type) : XAVO_BAR_INPUT_DATA();
            share.shareType = image.shareType = type;
            strcpy(image.startTime, "NOW");
            image.preserveVDConfig = full ? 3 : 2;
            char *job = nullptr;
            populate();
            if (rows == &SHARE)
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
