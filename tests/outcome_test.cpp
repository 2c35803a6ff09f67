// outcome_test.cpp - operations with bad arguments, with a handle that has no client, and with every kind of
// answer.
#include "operations.h"
#include "prepare.h"
#include "simulator/cmpi_helpers.h"
#include "support.h"
#include "table.h"

#include <cstring>
#include <functional>

using namespace test;

namespace {

constexpr XAVO_ErrorCode INVALID = XAVO_INVALID_VALUE;

using Call = std::function<void(XAVO_Proxy *, XAVO_ErrorCode *, char **job)>;

using Outcome = WithHandle;

// ---- Arguments --------------------------------------------------------------------------------------

struct BadArguments {
    int line; // of this file
    const char *function;
    Call call;
    std::string complaint;
    bool takes_null = true;  // a NULL handle
    bool clears_job = false; // *JID_InstanceID is overwritten before the check
    XAVO_ErrorCode code = INVALID;
    unsigned made = 0; // calls into the client library before it is judged, and to clean up after it
};

std::vector<BadArguments> bad_arguments() {
    const char *const WRONG_SHARE = "Invalid access type is NULL", *const NO_JID = "JID_InstanceID is NULL";
    const char *const NO_METHOD = "Service method is NULL or not allowed";
    static char *const no_jobs[] = {nullptr};
    static XAVO_BAR_INPUT_DATA image = full_image(2), endless = full_image(2), type3 = full_image(3),
                               type7 = full_image(7), no_start = full_image(4);
    static XAVO_NET_INPUT_DATA type4 = full_share(4), endless_share = full_share(2);
    memset(endless.untilTime, 'x', sizeof endless.untilTime);
    memset(endless_share.ipaddr, 'x', sizeof endless_share.ipaddr);
    no_start.startTime[0] = '\0';
#define CALL(function, ...)                                                                                  \
    __LINE__, #function, [](XAVO_Proxy *sp, XAVO_ErrorCode *ec, char **job) {                                \
        (void)job;                                                                                           \
        function(sp, ec, __VA_ARGS__);                                                                       \
    }
    std::vector<BadArguments> rows = {
        {CALL(XAVO_invoke_DeleteJobQueue, nullptr), "JobID is NULL"},
        {CALL(XAVO_invoke_SetupJobQueue, nullptr, nullptr, nullptr), "StartTimeInterval is NULL"},
        {CALL(XAVO_invoke_SetupJobQueue, "", nullptr, nullptr), "JobArray is NULL"},
        {CALL(XAVO_invoke_SetupJobQueue, "", nullptr, no_jobs), "", true, false, XAVO_OUT_OF_MEMORY, 11},
        {CALL(XAVO_get_VELK_LifecycleJob, nullptr), "InstanceID is NULL"},
        {CALL(XAVO_invoke_InstallFromURI, nullptr, nullptr, nullptr), "URI is NULL"},
        {CALL(XAVO_invoke_InstallFromURI, "http://x", nullptr, nullptr), "InstanceID is NULL"},
        {CALL(XAVO_invoke_InstallFromURI, "http://x", "BIOS", nullptr), NO_JID},
        {CALL(XAVO_invoke_InstallFromSoftwareIdentity, nullptr, nullptr), "InstanceID is NULL"},
        {CALL(XAVO_invoke_InstallFromSoftwareIdentity, "BIOS", nullptr), NO_JID},
        {CALL(XAVO_invoke_CreateRebootJob, nullptr, nullptr), "RebootJobType is NULL"},
        {CALL(XAVO_invoke_CreateRebootJob, "", nullptr), NO_JID},
        {CALL(XAVO_invoke_BackupRestore, "BackupImage", nullptr, job), "Input Data is missing"},
        {CALL(XAVO_invoke_BackupRestore, "x", &endless, job),
         "Input Data is not valid"}, // before the method's name is looked at
        {CALL(XAVO_invoke_BackupRestore, nullptr, &image, nullptr), NO_METHOD},
        {CALL(XAVO_invoke_BackupRestore, "Backup", &image, job), NO_METHOD},
        {CALL(XAVO_invoke_BackupRestore, "restoreimage", &image, nullptr), NO_JID},
        {CALL(XAVO_invoke_BackupRestore, "BackupImage", &type3, job), WRONG_SHARE, true, true, INVALID, 10},
        {CALL(XAVO_invoke_BackupRestore, "BackupImage", &type7, job), WRONG_SHARE, true, true, INVALID, 10},
        {CALL(XAVO_invoke_BackupRestore, "BackupImage", &no_start, job), "start time is NULL", true, true,
         INVALID, 12},
        {CALL(XAVO_invoke_TestNetworkShare, nullptr), "Input Data is missing"},
        {CALL(XAVO_invoke_TestNetworkShare, &endless_share), "Input Data is not valid"},
        {CALL(XAVO_invoke_TestNetworkShare, &type4), WRONG_SHARE, true, false, INVALID, 10},
        {CALL(XAVO_enumerate, nullptr, nullptr), "path is NULL", false},
        {CALL(XAVO_enumerate, "root/velk", nullptr), "classname is NULL", false},
        {CALL(XAVO_build_object_path_key_value, nullptr, nullptr, "k", "v"), "path is NULL", false},
        {CALL(XAVO_build_object_path_key_value, "n", nullptr, nullptr, "v"), "objectname is NULL", false},
        {CALL(XAVO_build_object_path_key_value, "n", "C", nullptr, nullptr), "key is NULL", false},
        {CALL(XAVO_build_object_path_key_value, "n", "C", "k", nullptr), "value is NULL", false},
    };
#undef CALL
    const std::pair<const char *, std::vector<const char *>> types[] = {
        {"RebootJobType is zero length", {""}},
        {"RebootJobType is out of range", {"65536", "-1", "2147483647", "-2147483648"}},
        // 4294967297 is 1 in its low 32 bits
        {"RebootJobType is invalid", {"2147483648", "-2147483649", "4294967297", "99999999999999999999x"}},
        {"RebootJobType has invalid characters", {"7 ", "7a", "0x10", "abc", "65536x", "  "}},
    };
    for (const auto &[complaint, texts] : types)
        for (const char *text : texts)
            rows.push_back({__LINE__, "XAVO_invoke_CreateRebootJob",
                            [text](XAVO_Proxy *sp, XAVO_ErrorCode *ec, char **job) {
                                XAVO_invoke_CreateRebootJob(sp, ec, text, job);
                            },
                            complaint, true, true});
    return rows;
}

std::string last_line(const std::string &log) {
    return log.size() < 2 ? log : log.substr(log.rfind('\n', log.size() - 2) + 1);
}

TEST_F(Outcome, BadArgumentsAreRefusedAndNothingIsSent) {
    char before[] = "before";
    XAVO_Proxy invalid = *sp;
    invalid.tail_magic[1] ^= 1U;
    for (const BadArguments &row : bad_arguments()) {
        const testing::ScopedTrace trace(__FILE__, row.line,
                                         std::string(row.function) + ", " + row.complaint);
        const std::string complaint = row.complaint.empty() ? "" : error(row.function, row.complaint);
        const auto check = [&](XAVO_Proxy *handle, XAVO_ErrorCode *errorcodep, XAVO_ErrorCode code,
                               const std::string &log, bool clears, unsigned made) {
            char *job = before;
            ec = -1;
            clear_log();
            const unsigned long calls = cimsim_calls(nullptr);
            arm(Own::MUTEX, 0, false);
            record_steps(errorcodep);
            row.call(handle, errorcodep, &job);
            const std::string recorded = steps();
            disarm();
            // An argument that is checked before the lock is rejected without waiting for it.
            const unsigned locks = row.made != 0 && made != 0, opened = handle == nullptr && made != 0;
            EXPECT_EQ(own_calls(Own::MUTEX), 2 * locks + 2 * opened);
            // The code is NO_ERROR when the line is written; XAVO_enumerate sets NO_ERROR after the lock
            // only.
            const bool late = std::string(row.function) == "XAVO_enumerate";
            const std::string last = (late ? "unknown " : "NO_ERROR ") + log;
            if (!log.empty() && errorcodep != nullptr && recorded.find(log) != std::string::npos) {
                EXPECT_NE(recorded.find(last), std::string::npos)
                    << "expected code and line: " << last << "actual steps:\n"
                    << recorded;
            }
            EXPECT_TEXT(XAVO_EC_to_string(code), XAVO_EC_to_string(ec));
            EXPECT_EQ(job, clears ? nullptr : before);
            EXPECT_EQ(cimsim_calls(nullptr) - calls, made);
            const std::string lines = logged();
            if (!log.empty()) {
                EXPECT_TEXT(log, last_line(lines));
            }
            EXPECT_EQ(lines.find("ERROR") == std::string::npos, log.empty()) << lines;
            EXPECT_EQ(cimsim_owned(), 1U) << live_objects();
        };
        check(sp, &ec, row.code, complaint, row.clears_job, row.made);
        check(&invalid, &ec, XAVO_SP_NOT_VALID, error(row.function, "sp is not valid"), false, 0);
        for (XAVO_Proxy *any : {sp, &invalid})
            check(any, nullptr, -1, error(row.function, "errorcodep is NULL"), false, 0);
        if (row.takes_null)
            check(nullptr, &ec, row.code, complaint, row.clears_job, row.made + 2);
        else
            check(nullptr, &ec, XAVO_SP_NOT_VALID, error(row.function, "sp is not valid"), false, 0);
    }
    EXPECT_EQ(cimsim_request_count(), 0U);
    clear_log();
    EXPECT_EQ(XAVO_modify_VELK_LifecycleJob(sp, nullptr), XAVO_NOT_IMPLEMENTED);
    EXPECT_EQ(logged(), error("XAVO_modify_VELK_LifecycleJob", "errorcodep is NULL"));
}

TEST_F(Outcome, IsARequestWithTheRebootTypeAsANumber) {
    const std::pair<const char *, const char *> texts[] = {{"0", "0"},  {"65535", "65535"}, {"-0", "0"},
                                                           {"+7", "7"}, {" 7", "7"},        {"\t007", "7"}};
    for (const auto &[text, sent] : texts) {
        char *job = nullptr;
        XAVO_invoke_CreateRebootJob(sp, &ec, text, &job);
        EXPECT_NE(last_request().find(std::string("(RebootJobType=uint16:") + sent + ")"), std::string::npos);
        XAVO_free_ntstring(job);
    }
}

TEST_F(Outcome, IsSpNotValidWithoutAClient) {
    CMCIClient *const real = sp->client;
    CMCIClientFT empty = {};
    CMCIClient without_slots = {real->hdl, &empty}, without_table = {real->hdl, nullptr};
    for (CMCIClient *client : {static_cast<CMCIClient *>(nullptr), &without_slots, &without_table})
        for (const Operation &op : operations()) {
            if (op.request.empty())
                continue;
            SCOPED_TRACE(op.name);
            Results results;
            clear_log();
            sp->client = client;
            op.call(sp, &ec, results);
            sp->client = real;
            EXPECT_EQ(ec, XAVO_SP_NOT_VALID);
            EXPECT_EQ(logged().find("2 "), std::string::npos) << logged();
            EXPECT_FALSE(results.handed_out());
        }
    EXPECT_EQ(cimsim_request_count(), 0U);
}

// ---- Answers ----------------------------------------------------------------------------------------

TEST_F(Outcome, FollowsFromTheAnswer) {
    cimsim_set_garbage(1);
    { // the garbage is in the upper half of a value, if CMPIUint32 has more than 32 bits
        CMPIStatus status;
        const cmpi::Own<CMPIObjectPath> on(newCMPIObjectPath("root/velk", "VELK_QMService", nullptr));
        const cmpi::Own<CMPIArgs> in(native_new_CMPIArgs(nullptr));
        prepare("answer_return uint32:0");
        const CMPIData data =
            sp->client->ft->invokeMethod(sp->client, on.get(), "X", in.get(), nullptr, &status);
        EXPECT_EQ(data.value.uint64 >> 32 != 0, sizeof(CMPIUint32) > 4);
    }
    for (const Row &row : table("method_answers.txt"))
        for (const Operation &op : operations()) {
            const bool message_too = op.reads == Reads::MESSAGE_OR_JOB, good = row[2] == "NO_ERROR";
            if (row[0] != (op.reads == Reads::RETURN_VALUE ? "RETURN_VALUE"
                           : op.reads == Reads::MESSAGE    ? "MESSAGE"
                           : op.reads < Reads::RECORDS     ? "JOB"
                                                           : "no answer"))
                continue;
            SCOPED_TRACE(row.where + ", " + op.name + ": " + row[1]);
            Results results;
            std::string script = row[1],
                        log = (message_too ? "8 XAVO_dig_out_QM_result: st.rc=6\n" : "") + row[3];
            replace(script, "JOB", op.job.output);
            const unsigned long pooled = cimsim_pooled();
            clear_log();
            prepare(script);
            op.call(sp, &ec, results);
            if (op.reads == Reads::JOB && !good)
                log += "2 F: ERROR: errorcode=" + std::to_string(ec) + "\n" + NO_MESSAGES;
            replace(log, "ERROR: D()", "ERROR: " + op.job.blamed + "()");
            replace(log, " D: ", " " + op.job.reader + ": ");
            replace(log, " F: ", " " + op.function + ": ");
            EXPECT_TEXT(row[2], XAVO_EC_to_string(ec));
            EXPECT_TEXT(log, outcome_lines(op, logged()));
            EXPECT_EQ(results.job == nullptr ? std::string() : results.job,
                      good && !op.job.output.empty() ? "JID_9" : "");
            // Only good values are released, and the text of a line in the log is left to its list.
            if (op.reads != Reads::RETURN_VALUE && row[1].find("bad:") == std::string::npos) {
                EXPECT_EQ(cimsim_pooled(), pooled) << cimsim_live();
            }
        }
}

TEST_F(Outcome, FollowsFromTheMessageIdentifier) {
    for (const Row &row : table("messages.txt"))
        for (const Operation &op : operations()) {
            if (op.reads != Reads::MESSAGE_OR_JOB && op.reads != Reads::MESSAGE)
                continue;
            SCOPED_TRACE(row.where + ", " + op.name + ": " + row[0]);
            const bool image = op.reads == Reads::MESSAGE_OR_JOB;
            const std::string log =
                image ? error(op.function, "XAVO_dig_out_QM_RESULT () returned a message") : "";
            // The second time the identifier cannot be copied; the third time it comes with a failing status.
            for (unsigned way = 0; way < 3; ++way) {
                const cimsim_fault failing = {CMPI_RC_ERR_FAILED, nullptr, 1};
                const unsigned long pooled = cimsim_pooled();
                Results results;
                clear_log();
                cimsim_answer_output("MessageID", cimsim_string(row[0].c_str()));
                prepare(
                    "answer_output Job reference:\"root/velk VELK_LifecycleJob InstanceID=string:JID_9\"");
                arm(Own::ALLOCATION, way != 1 ? 0 : image ? 1 : op.allocations + 1, false);
                cimsim_fail("CMPIArgs.getArg", way / 2, &failing);
                op.call(sp, &ec, results);
                disarm();
                const std::string lost = image ? "UNKNOWN_ERROR" : way == 1 ? "OUT_OF_MEMORY" : "NOT_FOUND";
                EXPECT_TEXT(way != 0 ? lost : row[image ? 1 : 2], XAVO_EC_to_string(ec));
                EXPECT_TEXT(way == 0   ? log
                            : way == 1 ? ""
                                       : "8 XAVO_dig_out_QM_result: st.rc=1\n",
                            outcome_lines(op, logged()));
                EXPECT_EQ(cimsim_pooled() - pooled, way / 2);
                EXPECT_EQ(results.job, nullptr);
            }
        }
}

// ---- Records ----------------------------------------------------------------------------------------

TEST_F(Outcome, IsAListWithoutUnreadableJobs) {
    for (const Row &row : table("records.txt")) {
        SCOPED_TRACE(row.where + ": " + row[0]);
        populate();
        prepare(row[0]);
        Results list, one;
        std::string identifiers;
        list.records = XAVO_enumerate_VELK_LifecycleJob(sp, &ec);
        EXPECT_TEXT(row[2], XAVO_EC_to_string(ec));
        for (const auto *job = list.records; job != nullptr; job = job->next)
            identifiers +=
                std::string(identifiers.empty() ? "" : " ") + (job->InstanceID ? job->InstanceID : "NULL");
        EXPECT_EQ(identifiers, row[1]);
        one.records = XAVO_get_VELK_LifecycleJob(nullptr, &ec, row[3].c_str());
        EXPECT_TEXT(row[4], XAVO_EC_to_string(ec));
        EXPECT_EQ(one.records != nullptr, ec == XAVO_NO_ERROR);
    }
}

TEST_F(Outcome, IsTheCodeOfTheControllersRefusal) {
    for (const Row &row : table("refusals.txt")) {
        Results results;
        prepare(row[0]);
        operation(row[1]).call(sp, &ec, results);
        EXPECT_TEXT(row[2], XAVO_EC_to_string(ec)) << row.where << ": " << row[1] << ", after " << row[0];
    }
}

} // namespace
