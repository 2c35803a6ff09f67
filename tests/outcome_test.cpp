// outcome_test.cpp - error codes, and which of them an operation reports: for invalid arguments, for a handle
// without a client, and for every kind of answer.
#include "operations.h"
#include "prepare.h"
#include "simulator/cmpi_helpers.h"
#include "support.h"
#include "table.h"

#include <algorithm>
#include <cstring>

using namespace test;

namespace {

TEST(ErrorCodes, HaveTheirNames) {
    std::string listed;
#define ROW(constant, value, name, meaning)                                                                  \
    listed += std::to_string(constant) + " " + XAVO_EC_to_string(constant) + (*meaning ? "\n" : "?");
    XAVO_ERROR_CODES(ROW)
#undef ROW
    EXPECT_TEXT(lines("codes.txt"), listed);
    for (const int other : {-1, 18, 8225, 8227, 65536}) // the last one's low 16 bits are a code
        EXPECT_STREQ(XAVO_EC_to_string(other), "unknown") << other;
}

TEST(ErrorCodes, AreTranslatedFromBrokerStatuses) {
    std::string translated;
    for (const int rc : {-1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 255, INT32_MAX})
        translated += std::to_string(rc) + " " +
                      XAVO_EC_to_string(XAVO_translate_error_code(static_cast<CMPIrc>(rc))) + "\n";
    EXPECT_TEXT(lines("statuses.txt"), translated);
}

using Outcome = WithHandle;

// ---- Arguments --------------------------------------------------------------------------------------

// Calls a function with the arguments of a row in invalid_arguments.txt, whose head describes them.
void call(const std::string &name, const Row &given, XAVO_Proxy *sp, XAVO_ErrorCode *ec, char **job) {
    static char *const no_jobs[] = {nullptr};
    const auto text = [&](size_t i) { return given[i] == "NULL" ? nullptr : given[i].c_str(); };
    char **const variable = given.back() == "NULL" ? nullptr : job;
    const std::string &record = given[name == "XAVO_invoke_BackupRestore" ? 1 : 0];
    const auto share_type = static_cast<uint16_t>(atoi(record.c_str()));
    XAVO_BAR_INPUT_DATA image = full_image(share_type);
    XAVO_NET_INPUT_DATA share = full_share(share_type);
    if (record.find("unterminated") != record.npos) {
        memset(image.untilTime, 'x', sizeof image.untilTime);
        memset(share.ipaddr, 'x', sizeof share.ipaddr);
    }
    if (record.find("without_start") != record.npos)
        image.startTime[0] = '\0';
#define CALL(function, ...)                                                                                  \
    if (name == #function)                                                                                   \
        return void(function(sp, ec, __VA_ARGS__));
    CALL(XAVO_invoke_DeleteJobQueue, text(0))
    CALL(XAVO_invoke_SetupJobQueue, text(0), text(1), text(2) == nullptr ? nullptr : no_jobs)
    CALL(XAVO_get_VELK_LifecycleJob, text(0))
    CALL(XAVO_invoke_InstallFromURI, text(0), text(1), variable)
    CALL(XAVO_invoke_InstallFromSoftwareIdentity, text(0), variable)
    CALL(XAVO_invoke_CreateRebootJob, text(0), variable)
    CALL(XAVO_invoke_BackupRestore, text(0), text(1) == nullptr ? nullptr : &image, variable)
    CALL(XAVO_invoke_TestNetworkShare, text(0) == nullptr ? nullptr : &share)
    CALL(XAVO_enumerate, text(0), text(1))
    CALL(XAVO_build_object_path_key_value, text(0), text(1), text(2), text(3))
#undef CALL
    abort();
}

// Returns the last error line among recorded steps, with the code at that moment.
std::string last_error(const std::string &steps) {
    std::string error;
    for (const std::string &step : split(steps, '\n'))
        if (step.find(": ERROR: ") != step.npos)
            error = step + "\n";
    return error;
}

TEST_F(Outcome, InvalidArgumentsAreRejectedBeforeAnyRequest) {
    char before[] = "before";
    XAVO_Proxy invalid = *sp;
    invalid.tail_magic[1] ^= 1U;
    for (const Row &row : table("invalid_arguments.txt")) {
        SCOPED_TRACE(row.where + ", " + row[0] + "(" + row[1] + ")");
        Row given;
        for (const std::string &word : words_in(row[1]))
            given.push_back(unquoted(word));
        const std::string complaint = row[2].empty() ? "" : error(row[0], row[2]);
        const std::string code = row.size() > 3 ? row[3] : "INVALID_VALUE";
        const unsigned calls_of_row = row.size() > 4 ? static_cast<unsigned>(std::stoul(row[4])) : 0;
        const auto check = [&](XAVO_Proxy *handle, XAVO_ErrorCode *errorcodep, const std::string &expected,
                               const std::string &log, bool clears, unsigned made) {
            char *job = before;
            ec = -1;
            const unsigned long calls = cimsim_calls(nullptr);
            arm(OwnCall::MUTEX, 0, false);
            record_steps(errorcodep);
            call(row[0], given, handle, errorcodep, &job);
            const std::string recorded = steps();
            disarm();
            // An argument that is checked before the lock is rejected without waiting for it.
            const unsigned locks = calls_of_row != 0 && made != 0, opened = handle == nullptr && made != 0;
            EXPECT_EQ(own_calls(OwnCall::MUTEX), 2 * locks + 2 * opened);
            // XAVO_enumerate sets NO_ERROR only after its checks.
            const std::string before_line = errorcodep == nullptr        ? ""
                                            : row[0] == "XAVO_enumerate" ? "unknown "
                                                                         : "NO_ERROR ";
            EXPECT_TEXT(log.empty() ? "" : before_line + log, last_error(recorded));
            EXPECT_TEXT(expected, XAVO_EC_to_string(ec));
            EXPECT_EQ(job, clears ? nullptr : before);
            EXPECT_EQ(cimsim_calls(nullptr) - calls, made);
            expect_owned(1);
        };
        const std::string not_valid = error(row[0], "sp is not valid");
        const bool clears = given.back() == "cleared";
        check(sp, &ec, code, complaint, clears, calls_of_row);
        check(&invalid, &ec, "SP_NOT_VALID", not_valid, false, 0);
        for (XAVO_Proxy *any : {sp, &invalid})
            check(any, nullptr, "unknown", error(row[0], "errorcodep is NULL"), false, 0);
        if (std::any_of(operations().begin(), operations().end(),
                        [&](const Operation &op) { return op.function == row[0] && op.takes_null; }))
            check(nullptr, &ec, code, complaint, clears, calls_of_row + 2);
        else
            check(nullptr, &ec, "SP_NOT_VALID", not_valid, false, 0);
    }
    EXPECT_EQ(cimsim_request_count(), 0U);
    clear_log();
    EXPECT_EQ(XAVO_modify_VELK_LifecycleJob(sp, nullptr), XAVO_NOT_IMPLEMENTED);
    EXPECT_EQ(logged(), error("XAVO_modify_VELK_LifecycleJob", "errorcodep is NULL"));
}

TEST_F(Outcome, RebootTypeIsSentAsANumber) {
    const std::pair<const char *, const char *> texts[] = {{"0", "0"},  {"65535", "65535"}, {"-0", "0"},
                                                           {"+7", "7"}, {" 7", "7"},        {"\t007", "7"}};
    for (const auto &[text, sent] : texts) {
        char *job = nullptr;
        XAVO_invoke_CreateRebootJob(sp, &ec, text, &job);
        EXPECT_NE(last_request().find(std::string("(RebootJobType=uint16:") + sent + ")"), std::string::npos);
        XAVO_free_ntstring(job);
    }
}

TEST_F(Outcome, IsSpNotValidWhenTheHandleHasNoClient) {
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

TEST_F(Outcome, DependsOnTheAnswer) {
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
            EXPECT_TEXT(row[2], XAVO_EC_to_string(ec));
            EXPECT_TEXT(with_names(op, log), outcome_lines(op, logged()));
            EXPECT_EQ(results.job == nullptr ? std::string() : results.job,
                      good && !op.job.output.empty() ? "JID_9" : "");
            // A bad value is not released, nor is a text of the outputs that was only logged.
            if (op.reads != Reads::RETURN_VALUE && row[1].find("bad:") == std::string::npos) {
                EXPECT_EQ(cimsim_pooled(), pooled)
                    << "values that were read and not released; " << live_objects();
            }
        }
}

TEST_F(Outcome, DependsOnTheMessageIdentifier) {
    for (const Row &row : table("messages.txt"))
        for (const Operation &op : operations()) {
            if (op.reads != Reads::MESSAGE_OR_JOB && op.reads != Reads::MESSAGE)
                continue;
            SCOPED_TRACE(row.where + ", " + op.name + ": " + row[0]);
            const bool image = op.reads == Reads::MESSAGE_OR_JOB;
            Results results;
            clear_log();
            cimsim_answer_output("MessageID", cimsim_string(row[0].c_str()));
            prepare("answer_output Job reference:\"root/velk VELK_LifecycleJob InstanceID=string:JID_9\"");
            op.call(sp, &ec, results);
            EXPECT_TEXT(row[image ? 1 : 2], XAVO_EC_to_string(ec));
            EXPECT_TEXT(image ? error(op.function, "XAVO_dig_out_QM_RESULT () returned a message") : "",
                        outcome_lines(op, logged()));
            EXPECT_EQ(results.job, nullptr);
        }
}

// ---- Records ----------------------------------------------------------------------------------------

TEST_F(Outcome, UnreadableJobsAreLeftOut) {
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

TEST_F(Outcome, RefusalOfTheControllerHasItsOwnCode) {
    for (const Row &row : table("refusals.txt")) {
        Results results;
        prepare(row[0]);
        operation(row[1]).call(sp, &ec, results);
        EXPECT_TEXT(row[2], XAVO_EC_to_string(ec)) << row.where << ": " << row[1] << ", after " << row[0];
    }
}

} // namespace
