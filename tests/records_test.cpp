// records_test.cpp - validation of the callers' records, and the arguments that are sent from them.
#include "support.h"
#include "table.h"

#include <cstring>
#include <string>
#include <vector>

using namespace test;

namespace {

// At first no buffer has an end; then one after the other gets the longest possible string.
template <typename Record>
void expect_checks(int (*validate)(const Record *), const std::string &record) {
    const std::string function = "XAVO_Validate_XAVO_" + record;
    Record data;
    memset(&data, 'x', sizeof data);
    for (const Row &row : table("buffers.txt")) {
        if (row[0] != record)
            continue;
        SCOPED_TRACE(row.where + ", " + row[1]);
        clear_log();
        EXPECT_EQ(validate(&data), 0);
        const std::string invalid = row[1] + " is not valid";
        EXPECT_TEXT(row.size() == 4 ? error(function, invalid)
                                    : error("XAVO_Validate_XAVO_HTTP_SHARE_OPT_DATA", invalid) +
                                          error(function, "http data is not valid"),
                    logged());
        reinterpret_cast<char *>(&data)[std::stoul(row[2]) + std::stoul(row[3]) - 1] = '\0';
    }
    EXPECT_EQ(validate(&data), 1);
}

TEST(Records, AreRejectedWithAnUnterminatedString) {
    expect_checks(XAVO_Validate_XAVO_HTTP_SHARE_OPT_DATA, "HTTP_SHARE_OPT_DATA");
    expect_checks(XAVO_Validate_XAVO_NET_INPUT_DATA, "NET_INPUT_DATA");
    expect_checks(XAVO_Validate_XAVO_BAR_INPUT_DATA, "BAR_INPUT_DATA");
    EXPECT_EQ(XAVO_Validate_StringBuffer("", 0) + XAVO_Validate_StringBuffer(nullptr, 1), 0);
    EXPECT_EQ(XAVO_Validate_StringBuffer("", 1), 1);
}

class Requests : public WithHandle {};

TEST_F(Requests, HaveTheArgumentsForTheirShareType) {
    for (const std::string call : {"BackupImage full", "backupimage", "restoreimage full", "RestoreImage",
                                   "TestNetworkShare full", "TestNetworkShare"})
        for (const uint16_t type : std::initializer_list<uint16_t>{0, 1, 2, 3, 4, 5, 6, 7, 34, 258}) {
            const std::string method = call.substr(0, call.find(' ')), number = std::to_string(type);
            const bool full = method != call, restore = tolower(method[0]) == 'r', shares = method[0] == 'T';
            std::string expected;
            for (const Row &row : table("request_arguments.txt")) {
                const std::string text = row[full ? 3 : 4];
                if (strcasestr(row[0].c_str(), method.c_str()) != nullptr &&
                    row[2].find(number) != std::string::npos && text != "absent")
                    expected += ", " + row[1] + ":" +
                                (text == "type" ? number
                                 : text.empty() ? "\"\""
                                                : text);
            }
            XAVO_NET_INPUT_DATA share = full ? full_share(type) : XAVO_NET_INPUT_DATA();
            XAVO_BAR_INPUT_DATA image = full ? full_image(type) : XAVO_BAR_INPUT_DATA();
            share.shareType = image.shareType = type;
            strcpy(image.startTime, "NOW");
            image.preserveVDConfig = full ? 3 : 2;
            char *job = nullptr;
            populate();
            if (shares)
                XAVO_invoke_TestNetworkShare(sp, &ec, &share);
            else
                XAVO_invoke_BackupRestore(sp, &ec, method.c_str(), &image, &job);
            XAVO_free_ntstring(job);
            EXPECT_EQ(image.preserveVDConfig, restore && !expected.empty() ? full : full ? 3 : 2);
            expected = expected.empty() ? "" : method + "(" + expected.substr(2) + ")";
            const std::string asked = last_request();
            EXPECT_TEXT(expected, asked.substr(std::min(asked.size(), asked.find(") ") + 2)))
                << "request_arguments.txt, " << call << ", share type " << type;
        }
}

TEST_F(Requests, HaveNoCombinedUserNameWithoutWorkgroupOrUser) {
    for (const std::string user : {"user", ""}) {
        XAVO_NET_INPUT_DATA share = full_share(2);
        (user.empty() ? share.uname : share.workgroup)[0] = '\0';
        XAVO_invoke_TestNetworkShare(sp, &ec, &share);
        EXPECT_NE(last_request().find(", UserName=chars:" + (user.empty() ? "\"\"" : user) + ", Password="),
                  std::string::npos);
        const std::string by = "8 XAVO_invoke_TestNetworkShare: ", joined = by + "sCombinedUserName=[" + user;
        EXPECT_NE(logged().find(by + "uname=[" + user + "]\n" + joined + "]\n"), std::string::npos);
    }
}

TEST_F(Requests, ReducePreserveVDConfigAfterTheStartTimeWasAdded) {
    for (const unsigned failing : {1U, 2U}) { // the start time, the option itself
        XAVO_BAR_INPUT_DATA image = {};
        image.shareType = 4;
        image.preserveVDConfig = 3;
        strcpy(image.startTime, "NOW");
        const cimsim_fault fault = {CMPI_RC_ERR_FAILED, nullptr, 0};
        cimsim_fail("CMPIArgs.addArg", failing, &fault);
        char *job = nullptr;
        XAVO_invoke_BackupRestore(sp, &ec, "RestoreImage", &image, &job);
        EXPECT_EQ(image.preserveVDConfig, failing == 1 ? 3 : 1);
    }
}

TEST_F(Requests, SendAQuotationMarkUnchanged) {
    char *job = nullptr;
    XAVO_invoke_InstallFromSoftwareIdentity(sp, &ec, "BIOS\"", &job);
    XAVO_free_ntstring(job);
    EXPECT_STREQ(cimsim_last_request()->arguments[0].text,
                 "root/velk:VELK_SoftwareIdentity.InstanceID=\"BIOS\"\"");
}

} // namespace
