// outcome_test.cpp - what each operation makes of bad arguments, of a handle without a client, and of
// every shape of answer.
#include "operations.h"
#include "simulator/raw.h"
#include "support.h"

#include <cstring>
#include <functional>

using namespace test;

namespace {

constexpr XAVO_ErrorCode NONE = XAVO_NO_ERROR, UNKNOWN = XAVO_UNKNOWN_ERROR, INVALID = XAVO_INVALID_VALUE;

using Call = std::function<void(XAVO_Proxy *, XAVO_ErrorCode *, char **job)>;

class Outcome : public World {};

// ---- Arguments --------------------------------------------------------------------------------------

struct BadArguments {
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
#function, [](XAVO_Proxy *sp, XAVO_ErrorCode *ec, char **job) {                                          \
        (void)job;                                                                                           \
        function(sp, ec, __VA_ARGS__);                                                                       \
    }
    std::vector<BadArguments> rows = {
        {CALL(XAVO_invoke_DeleteJobQueue, nullptr), "JobID is NULL"},
        {CALL(XAVO_invoke_SetupJobQueue, nullptr, nullptr, nullptr), "StartTimeInterval is NULL"},
        {CALL(XAVO_invoke_SetupJobQueue, "", nullptr, nullptr), "JobArray is NULL"},
        {CALL(XAVO_invoke_SetupJobQueue, "", nullptr, no_jobs), "", true, false, XAVO_OUT_OF_MEMORY, 11},
        {CALL(XAVO_get_VELK_LifecycleJob, nullptr), "InstanceID is NULL"},
        {CALL(XAVO_invoke_InstallFromURI, nullptr, nullptr, job), "URI is NULL"},
        {CALL(XAVO_invoke_InstallFromURI, "http://x", nullptr, job), "InstanceID is NULL"},
        {CALL(XAVO_invoke_InstallFromURI, "http://x", "BIOS", nullptr), NO_JID},
        {CALL(XAVO_invoke_InstallFromSoftwareIdentity, nullptr, nullptr), "InstanceID is NULL"},
        {CALL(XAVO_invoke_InstallFromSoftwareIdentity, "BIOS", nullptr), NO_JID},
        {CALL(XAVO_invoke_CreateRebootJob, nullptr, job), "RebootJobType is NULL"},
        {CALL(XAVO_invoke_CreateRebootJob, "", nullptr), NO_JID},
        {CALL(XAVO_invoke_BackupRestore, "BackupImage", nullptr, job), "Input Data is missing"},
        {CALL(XAVO_invoke_BackupRestore, "x", &endless, job),
         "Input Data is not valid"}, // before the method's name is looked at
        {CALL(XAVO_invoke_BackupRestore, nullptr, &image, job), NO_METHOD},
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
        {CALL(XAVO_build_object_path_key_value, nullptr, "C", "k", "v"), "path is NULL", false},
        {CALL(XAVO_build_object_path_key_value, "n", nullptr, "k", "v"), "objectname is NULL", false},
        {CALL(XAVO_build_object_path_key_value, "n", "C", nullptr, nullptr), "key is NULL", false},
        {CALL(XAVO_build_object_path_key_value, "n", "C", "k", nullptr), "value is NULL", false},
    };
#undef CALL
    const std::pair<const char *, std::vector<const char *>> types[] = {
        {"RebootJobType is zero length", {""}},
        {"RebootJobType is out of range", {"65536", "-1", "2147483647", "-2147483648"}},
        // 4294967297 is 1 in its low 32 bits
        {"RebootJobType is invalid", {"2147483648", "-2147483649", "4294967297", "99999999999999999999"}},
        {"RebootJobType has invalid characters", {"7 ", "7a", "0x10", "abc", "  "}},
    };
    for (const auto &[complaint, texts] : types)
        for (const char *text : texts)
            rows.push_back({"XAVO_invoke_CreateRebootJob",
                            [text](XAVO_Proxy *sp, XAVO_ErrorCode *ec, char **job) {
                                XAVO_invoke_CreateRebootJob(sp, ec, text, job);
                            },
                            complaint, true, true});
    return rows;
}

TEST_F(Outcome, BadArgumentsAreRefusedAndNothingIsSent) {
    char before[] = "before";
    XAVO_Proxy invalid = *sp;
    invalid.tail_magic[1] ^= 1U;
    for (const BadArguments &row : bad_arguments()) {
        SCOPED_TRACE(std::string(row.function) + ", " + row.complaint);
        const std::string complaint = row.complaint.empty() ? "" : error(row.function, row.complaint);
        const auto check = [&](XAVO_Proxy *handle, XAVO_ErrorCode *errorcodep, XAVO_ErrorCode code,
                               const std::string &log, bool clears, unsigned made) {
            char *job = before;
            ec = -1;
            clear_log();
            const unsigned long calls = cimsim_calls(nullptr);
            row.call(handle, errorcodep, &job);
            EXPECT_EQ(ec, code);
            EXPECT_EQ(job, clears ? nullptr : before);
            EXPECT_EQ(cimsim_calls(nullptr) - calls, made);
            const std::string lines = logged();
            EXPECT_TRUE(lines.size() >= log.size() && lines.substr(lines.size() - log.size()) == log)
                << lines;
            EXPECT_EQ(cimsim_owned(), 1U) << cimsim_live();
        };
        check(sp, &ec, row.code, complaint, row.clears_job, row.made);
        check(&invalid, &ec, XAVO_SP_NOT_VALID, error(row.function, "sp is not valid"), false, 0);
        check(sp, nullptr, -1, error(row.function, "errorcodep is NULL"), false, 0);
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

TEST_F(Outcome, RebootTypesAreSentAsNumbers) {
    const std::pair<const char *, const char *> texts[] = {{"0", "0"},  {"65535", "65535"}, {"-0", "0"},
                                                           {"+7", "7"}, {" 7", "7"},        {"\t007", "7"}};
    for (const auto &[text, sent] : texts) {
        char *job = nullptr;
        XAVO_invoke_CreateRebootJob(sp, &ec, text, &job);
        EXPECT_NE(last_request().find(std::string("(RebootJobType:0090=") + sent + ")"), std::string::npos);
        XAVO_free_ntstring(job);
    }
}

TEST_F(Outcome, AHandleWithoutAClientToAskIsNotValid) {
    CMCIClient *const real = sp->client;
    CMCIClientFT empty = {};
    CMCIClient crippled = {real->hdl, &empty}, hollow = {real->hdl, nullptr};
    for (CMCIClient *client : {static_cast<CMCIClient *>(nullptr), &crippled, &hollow})
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

using Script = void (*)(const char *job); // `job` is the output that names the job

struct Answer {
    const char *what;
    Script script;
    XAVO_ErrorCode code;
    std::string lines; // "F" stands for the operation, "D" for its reader of job identifiers
};

const std::string TEXT = "2 XAVO_log_MessageID: ERROR: Message=[no]\n";
const std::string BOTH = "2 XAVO_log_MessageID: ERROR: MessageID=[QM017]\n" + TEXT;
const std::string NO_MESSAGE = "8 XAVO_dig_out_QM_result: st.rc=6\n";
const std::string BAD_JOB = "2 F: ERROR: D() returned an error\n";
const std::string RETURNED = "2 F: ERROR: invoke_return_code=";

const auto returns = cimsim_answer_return;
const auto outputs = cimsim_answer_output;

void messages() {
    outputs("messageid", cimsim_string("QM017")); // names are not case-sensitive
    outputs("Message", cimsim_string("no"));
}

cimsim_value *reference(cimsim_value *id) {
    return cimsim_reference("root/velk", "VELK_LifecycleJob", id == nullptr ? nullptr : "InstanceID", id);
}
cimsim_value *bad(const char *text) { return cimsim_with_state(cimsim_string(text), CMPI_badValue); }
cimsim_value *good_job() { return reference(cimsim_string("JID_9")); }
cimsim_value *uint32(unsigned n) { return cimsim_number(CMPI_uint32, n); }

const std::vector<Answer> &answers(Reads reads) {
#define SCRIPT(...)                                                                                          \
    [](const char *job) {                                                                                    \
        (void)job;                                                                                           \
        __VA_ARGS__;                                                                                         \
    }
    // Ways to name a job; the same for both ways of reading one.
    static const std::vector<Answer> jobs = {
        {"and a nonzero return", SCRIPT(returns(uint32(2)), outputs(job, good_job())), NONE, ""},
        {"bad state", SCRIPT(outputs(job, cimsim_with_state(good_job(), CMPI_badValue))), NONE, ""},
        {"bad key", SCRIPT(outputs(job, reference(bad("JID_9")))), NONE, ""},
        {"and a value to free", SCRIPT(returns(cimsim_chars("owned")), outputs(job, good_job())), NONE, ""},
        {"a string", SCRIPT(outputs(job, cimsim_string("JID_9"))), UNKNOWN, BAD_JOB},
        {"no reference", SCRIPT(outputs(job, cimsim_no_object(CMPI_ref))), UNKNOWN, BAD_JOB},
        {"no key", SCRIPT(outputs(job, reference(nullptr))), XAVO_NOT_FOUND, "8 D: st.rc=6\n" + BAD_JOB},
        {"a numeric key", SCRIPT(outputs(job, reference(uint32(9)))), UNKNOWN, BAD_JOB},
        {"no characters", SCRIPT(outputs(job, reference(cimsim_string(nullptr)))), UNKNOWN, BAD_JOB},
        {"none", SCRIPT(returns(uint32(0))), UNKNOWN, "8 D: st.rc=6\n8 D: Job not found\n"},
    };
    static const std::vector<Answer> return_values = {
        {"0", SCRIPT(returns(uint32(0))), NONE, ""},
        {"key", SCRIPT(returns(cimsim_with_state(uint32(0), CMPI_keyValue))), NONE, ""},
        {"2", SCRIPT(returns(uint32(2))), UNKNOWN, RETURNED + "2\n" + NO_MESSAGES},
        {"all bits", SCRIPT(returns(uint32(~0U)), messages()), UNKNOWN, RETURNED + "4294967295\n" + BOTH},
        {"bad messages",
         SCRIPT(returns(uint32(2)), outputs("MessageID", bad("QM017")), outputs("Message", bad("no"))),
         UNKNOWN, RETURNED + "2\n" + BOTH},
        {"numeric MessageID", SCRIPT(returns(uint32(2)), messages(), outputs("MessageID", uint32(1))),
         UNKNOWN, RETURNED + "2\n" + TEXT},
        {"uint16", SCRIPT(returns(cimsim_number(CMPI_uint16, 0))), INVALID, ""},
        {"null", SCRIPT(returns(cimsim_null(CMPI_uint32))), INVALID, ""},
        {"array", SCRIPT(returns(cimsim_array(CMPI_string, 0, nullptr))), INVALID, ""},
        {"status",
         SCRIPT(returns(cimsim_chars("x")), messages(), cimsim_answer_status(CMPI_RC_ERR_NOT_FOUND, "no")),
         XAVO_NOT_FOUND, "2 F: ERROR: st.rc=6 errorcode=7\n" + BOTH},
    };
    static const std::vector<Answer> only_messages = {
        {"none", SCRIPT(returns(uint32(2))), NONE, NO_MESSAGE},
        {"numeric", SCRIPT(outputs("MessageID", uint32(17))), XAVO_NOT_FOUND, ""},
        {"bad state", SCRIPT(outputs("MessageID", bad("QM017"))), INVALID, ""},
        {"no string", SCRIPT(outputs("MessageID", cimsim_no_object(CMPI_string))), XAVO_NOT_FOUND, ""},
        {"status",
         SCRIPT(returns(cimsim_chars("x")), messages(),
                cimsim_answer_status(CMPI_RC_ERR_ACCESS_DENIED, "no")),
         XAVO_PERMISSION_ERROR, ""},
    };
#undef SCRIPT
    return reads == Reads::RETURN_VALUE ? return_values : reads == Reads::MESSAGE ? only_messages : jobs;
}

void replace(std::string &text, const std::string &what, const std::string &with) {
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size())
        text.replace(at, what.size(), with);
}

TEST_F(Outcome, EveryShapeOfAnswer) {
    cimsim_set_garbage(1);
    { // it is there
        CMPIStatus status;
        const raw::Own<CMPIObjectPath> on(newCMPIObjectPath("root/velk", "VELK_QMService", nullptr));
        const raw::Own<CMPIArgs> in(native_new_CMPIArgs(nullptr));
        returns(uint32(0));
        const CMPIData data =
            sp->client->ft->invokeMethod(sp->client, on.get(), "X", in.get(), nullptr, &status);
        EXPECT_EQ(data.value.uint64 >> 32 != 0, sizeof(CMPIUint32) > 4);
    }
    for (const Operation &op : operations()) {
        if (op.reads >= Reads::RECORDS)
            continue;
        for (const Answer &answer : answers(op.reads)) {
            SCOPED_TRACE(op.name + ", " + answer.what);
            std::string log = (op.reads == Reads::MESSAGE_OR_JOB ? NO_MESSAGE : "") + answer.lines;
            if (op.reads == Reads::JOB && answer.code != NONE)
                log += "2 F: ERROR: errorcode=" + std::to_string(answer.code) + "\n" + NO_MESSAGES;
            replace(log, "ERROR: D()", "ERROR: " + op.job.blamed + "()");
            replace(log, " D: ", " " + op.job.reader + ": ");
            replace(log, " F: ", " " + op.function + ": ");
            Results results;
            clear_log();
            answer.script(op.job.output.c_str());
            op.call(sp, &ec, results);
            EXPECT_EQ(ec, answer.code);
            EXPECT_EQ(outcome_lines(op, logged()), log);
            EXPECT_EQ(results.job == nullptr ? std::string() : results.job,
                      !op.job.output.empty() && answer.code == NONE ? "JID_9" : "");
        }
    }
}

TEST_F(Outcome, MessagesAreNamed) {
    struct {
        const char *id;
        XAVO_ErrorCode image, test;
    } const rows[] = {{"QM016", UNKNOWN, XAVO_MISSING_REQUIRED_PARAMETER},
                      {"QM017", INVALID, INVALID},
                      {"qm017", INVALID, INVALID},
                      {"QM023", XAVO_UNABLE_TO_OPEN_CONNECTION, XAVO_UNABLE_TO_OPEN_CONNECTION},
                      {"QM051", XAVO_MULTIPLE_EXPORT_JOBS, UNKNOWN},
                      {"QM052", XAVO_MULTIPLE_IMPORT_JOBS, UNKNOWN},
                      {"WUD017", XAVO_INVALID_START_TIME, UNKNOWN},
                      {"WUD018", XAVO_INVALID_UNTIL_TIME, UNKNOWN},
                      {"KTB017", XAVO_MAXIMUM_JOBS, UNKNOWN},
                      {"ktb018", XAVO_BACKUP_ALREADY_RUNNING, UNKNOWN},
                      {"KTB019", XAVO_RESTORE_ALREADY_RUNNING, UNKNOWN},
                      {"PXN095", XAVO_SYSTEM_IN_LOCKDOWN_MODE, UNKNOWN},
                      {"QM0170", UNKNOWN, UNKNOWN},
                      {"", UNKNOWN, UNKNOWN}};
    for (const auto &row : rows)
        for (const Operation &op : operations()) {
            if (op.reads != Reads::MESSAGE_OR_JOB && op.reads != Reads::MESSAGE)
                continue;
            SCOPED_TRACE(op.name + ", " + row.id);
            const bool image = op.reads == Reads::MESSAGE_OR_JOB;
            const std::string log =
                image ? error(op.function, "XAVO_dig_out_QM_RESULT () returned a message") : "";
            for (const unsigned allocation : {0U, 1U}) { // the second time the identifier cannot be copied
                Results results;
                clear_log();
                cimsim_answer_output("MessageID", cimsim_string(row.id));
                cimsim_answer_output("Job", good_job());
                arm(Own::ALLOCATION, allocation == 0 ? 0 : image ? 1 : op.allocations + 1, false);
                op.call(sp, &ec, results);
                disarm();
                const XAVO_ErrorCode lost = image ? UNKNOWN : XAVO_OUT_OF_MEMORY;
                EXPECT_EQ(ec, allocation != 0 ? lost : image ? row.image : row.test);
                EXPECT_EQ(outcome_lines(op, logged()), allocation == 0 ? log : "");
                EXPECT_EQ(results.job, nullptr);
            }
        }
}

// ---- Records ----------------------------------------------------------------------------------------

std::string identifiers(const XAVO_VELK_LifecycleJob *job) {
    std::string text;
    for (; job != nullptr; job = job->next)
        text += std::string(job->InstanceID == nullptr ? "NULL" : job->InstanceID) + " ";
    return text;
}

TEST_F(Outcome, JobsThatCannotBeReadAreLeftOut) {
    struct {
        const char *job, *property;
        cimsim_value *value; // NULL: the instance lacks it
        const char *listed;
        XAVO_ErrorCode list, get;
    } const rows[] = {
        {"JID_2", "Name", cimsim_number(CMPI_uint16, 5), "JID_1 JID_3 ", NONE, XAVO_NOT_IMPLEMENTED},
        {"JID_3", "MessageArguments", cimsim_array(CMPI_string, 0, nullptr), "JID_1 JID_2 ",
         XAVO_NOT_IMPLEMENTED, XAVO_NOT_IMPLEMENTED},
        {"JID_3", "Message", nullptr, "JID_1 JID_2 ", UNKNOWN, UNKNOWN},
        {"JID_3", "JobStatus", cimsim_string(nullptr), "JID_1 JID_2 ", XAVO_OUT_OF_MEMORY,
         XAVO_OUT_OF_MEMORY},
        {"JID_3", "InstanceID", cimsim_null(CMPI_string), "JID_1 JID_2 NULL ", NONE, NONE},
        {"JID_3", "InstanceID", cimsim_with_state(cimsim_string("KEY"), CMPI_keyValue), "JID_1 JID_2 KEY ",
         NONE, NONE},
        {"JID_3", "Name", cimsim_no_object(CMPI_string), "JID_1 JID_2 ", XAVO_NOT_IMPLEMENTED,
         XAVO_NOT_IMPLEMENTED},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.job) + " " + row.property);
        populate();
        cimsim_set_job_property(row.job, row.property, row.value);
        Results list, one;
        list.records = XAVO_enumerate_VELK_LifecycleJob(sp, &ec);
        EXPECT_EQ(ec, row.list);
        EXPECT_EQ(identifiers(list.records), row.listed);
        one.records = XAVO_get_VELK_LifecycleJob(nullptr, &ec, row.job);
        EXPECT_EQ(ec, row.get);
        EXPECT_EQ(one.records != nullptr, row.get == NONE);
    }
}

TEST_F(Outcome, OddElementsOfAnEnumerationAreSkipped) {
    cimsim_add_element(0, cimsim_string("no instance"));
    cimsim_add_element(3, cimsim_with_state(cimsim_instance("VELK_LifecycleJob"), CMPI_keyValue));
    cimsim_add_element(5, cimsim_no_object(CMPI_instance));
    Results list;
    list.records = XAVO_enumerate_VELK_LifecycleJob(sp, &ec);
    EXPECT_EQ(ec, NONE);
    EXPECT_EQ(identifiers(list.records), "JID_1 JID_2 JID_3 ");
}

// ---- The controller ---------------------------------------------------------------------------------

TEST_F(Outcome, TheControllerRefusesByName) {
    const auto outcome = [this](const char *name) {
        Results results;
        operation(name).call(sp, &ec, results);
        return std::string(XAVO_EC_to_string(ec));
    };
    EXPECT_EQ(outcome("BackupImage"), "NO_ERROR");
    EXPECT_EQ(outcome("BackupImage"), "BACKUP_ALREADY_RUNNING");
    cimsim_advance(3600);
    EXPECT_EQ(outcome("RestoreImage"), "NO_ERROR");
    EXPECT_EQ(outcome("RestoreImage"), "RESTORE_ALREADY_RUNNING");
    EXPECT_EQ(outcome("DeleteJobQueue"), "NO_ERROR");
    EXPECT_EQ(outcome("DeleteJobQueue"), "UNKNOWN_ERROR");
    EXPECT_EQ(outcome("get"), "NOT_FOUND");
    cimsim_set_lockdown(1);
    EXPECT_EQ(outcome("BackupImage"), "SYSTEM_IN_LOCKDOWN_MODE");
    cimsim_set_lockdown(0);
    cimsim_advance(3600);
    cimsim_set_job_limit(1);
    EXPECT_EQ(outcome("BackupImage"), "MAXIMUM_JOBS");
    EXPECT_EQ(outcome("CreateRebootJob"), "UNKNOWN_ERROR");
    cimsim_refuse_user("root01ff");
    for (const char *name :
         {"BackupImage", "InstallFromURI", "SetupJobQueue", "get", "list", "TestNetworkShare"})
        EXPECT_EQ(outcome(name), "PERMISSION_ERROR") << name;
    cimsim_reset();
    cimsim_count_misuse(1);
    EXPECT_EQ(outcome("TestNetworkShare"), "UNABLE_TO_OPEN_CONNECTION");
    EXPECT_EQ(outcome("InstallFromURI"), "NOT_FOUND");
    EXPECT_EQ(outcome("list"), "NO_ERROR");
}

} // namespace
