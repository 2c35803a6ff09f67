#include "operations.h"

#include <sstream>

namespace test {

namespace {

const std::string JOB_SERVICE =
    "root/velk:VELK_JobService.CreationClassName:1700=VELK_JobService,"
    "SystemCreationClassName:1700=VELK_ComputerSystem,SystemName:1700=Tavix,Name:1700=JobService ";
const std::string INSTALLATION_SERVICE =
    "root/velk:VELK_SoftwareInstallationService.CreationClassName:1700=VELK_SoftwareInstallationService,"
    "SystemCreationClassName:1700=VELK_ComputerSystem,SystemName:1700=TAVIX:ID,Name:1700=SoftwareUpdate ";
const std::string QM_SERVICE =
    "root/velk:VELK_QMService.CreationClassName:1700=VELK_QMService,"
    "SystemCreationClassName:1700=VELK_ComputerSystem,SystemName:1700=VELK:ComputerSystem,"
    "Name:1700=VELK:QMService ";
const std::string TARGET = "Target:1100=root/velk:VELK_SoftwareIdentity.InstanceID=\"BIOS\"";
const std::string HTTP =
    "ProxySupport:0090=1,ProxyType:0090=2,ProxyServer:1700=192.0.2.80,ProxyUname:1700=proxyuser,"
    "ProxyPasswd:1700=proxysecret,ProxyPort:1700=3128,IgnoreCertWarning:0090=3,";
const Releases FRAME = {"path in ", "returned out ", "read out returned "};
const Releases QUEUE_FRAME = {"path in array ", "returned out ", "read out returned "};
const Releases JOB_FRAME = {"path in ", "returned read out ", "read out returned "};
const Releases TARGET_FRAME = {"path in target ", "returned read out ", "read out returned "};
const Releases IMAGE_FRAME = {"path in ", "returned read out ", "out returned "};
const Releases TEST_FRAME = {"path in ", "read returned out ", "returned out "};
const JobNames INSTALLATION = {"Job", "XAVO_dig_out_job_id", "XAVO_dig_out_job_id"};
const JobNames REBOOT = {"RebootJobID", "XAVO_dig_out_job_id", "XAVO_dig_out_reboot_job_id"};
const JobNames IMAGE = {"Job", "XAVO_dig_out_QMjob_id", "XAVO_dig_out_job_id"};
const std::string NO_MESSAGE = "8 XAVO_dig_out_QM_result: st.rc=6\n";

std::string image_request(const char *method, const char *preserve) {
    return QM_SERVICE + method +
           "(IPAddress:1700=192.0.2.10,ShareName:1700=share,ImageName:1700=image,UserName:1700=user,"
           "Password:1700=secret,Passphrase:1700=phrase,UntilTime:1700=20990101000000,"
           "ScheduledStartTime:1700=NOW," +
           preserve + HTTP +
           "ShareType:0090=5,"
           "JobName:1700=nightly,CheckBackupDestinationAvailability:0090=4)";
}

void test_share(uint16_t type, XAVO_Proxy *sp, XAVO_ErrorCode *ec) {
    const XAVO_NET_INPUT_DATA data = full_share(type);
    XAVO_invoke_TestNetworkShare(sp, ec, &data);
}

char *const words[] = {const_cast<char *>("one"), const_cast<char *>("two"), nullptr};

const XAVO_HTTP_SHARE_OPT_DATA FULL_HTTP = {1, 2, "192.0.2.80", "proxyuser", "proxysecret", "3128", 3};

void image(const char *method, XAVO_Proxy *sp, XAVO_ErrorCode *ec, Results &r) {
    XAVO_BAR_INPUT_DATA data = full_image(5);
    XAVO_invoke_BackupRestore(sp, ec, method, &data, &r.job);
}

} // namespace

XAVO_BAR_INPUT_DATA full_image(uint16_t share_type) {
    return {"user",           "secret",   "phrase", "192.0.2.10", "share",   "image", "NOW",
            "20990101000000", share_type, 3,        FULL_HTTP,    "nightly", 4,       "admin"};
}

XAVO_NET_INPUT_DATA full_share(uint16_t share_type) {
    return {"user", "secret", "group", "192.0.2.10", "share", share_type, 9, FULL_HTTP};
}

Results::~Results() {
    const auto release = [](auto *object) {
        if (object != nullptr)
            object->ft->release(object);
    };
    release(args);
    release(instance);
    release(instances);
    release(path);
    release(array);
    XAVO_free_ntstring(job);
    XAVO_free_list_VELK_LifecycleJob(records);
}

CMPIArgs *printable() {
    CMPIArgs *args = native_new_CMPIArgs(nullptr);
    CMPIObjectPath *path = newCMPIObjectPath("root/velk", "VELK_LifecycleJob", nullptr);
    CMPIArray *array = XAVO_build_string_array(words);
    char text[] = "text", other[] = "other";
    for (const char *key : {"InstanceID", "Other"})
        path->ft->addKey(path, key, reinterpret_cast<CMPIValue *>(key[0] == 'O' ? other : text), CMPI_chars);
    args->ft->addArg(args, "Job", reinterpret_cast<CMPIValue *>(&path), CMPI_ref);
    args->ft->addArg(args, "Words", reinterpret_cast<CMPIValue *>(&array), CMPI_stringA);
    args->ft->addArg(args, "Text", reinterpret_cast<CMPIValue *>(text), CMPI_chars);
    array->ft->release(array);
    path->ft->release(path);
    return args;
}

std::string outcome_lines(const Operation &op, const std::string &log) {
    std::istringstream lines(log);
    std::string kept;
    for (std::string line; std::getline(lines, line);)
        if (line.rfind("8 XAVO_new_with_uname: ", 0) != 0 && line.rfind("8 " + op.function, 0) != 0)
            kept += line + "\n";
    return kept;
}

std::string error(const std::string &function, const std::string &text) {
    return "2 " + function + ": ERROR: " + text + "\n";
}
const std::string NO_MESSAGES = "8 XAVO_get_string_arg: st.rc=6\n8 XAVO_get_string_arg: st.rc=6\n";

const std::vector<Operation> &operations() {
    using Proxy = XAVO_Proxy *;
    using Code = XAVO_ErrorCode *;
    static const std::vector<Operation> rows = {
        {0, "DeleteJobQueue", "XAVO_invoke_DeleteJobQueue", Reads::RETURN_VALUE,
         [](Proxy sp, Code ec, Results &) { XAVO_invoke_DeleteJobQueue(sp, ec, "JID_1"); }, true,
         JOB_SERVICE + "DeleteJobQueue(JobID:1700=JID_1)", "", FRAME, 0, 12, 0, 0, JobNames()},
        {1, "delete", "XAVO_invoke_DeleteJobQueue", Reads::RETURN_VALUE,
         [](Proxy sp, Code ec, Results &) { XAVO_delete_VELK_LifecycleJob(sp, ec, "JID_2"); }, true,
         JOB_SERVICE + "DeleteJobQueue(JobID:1700=JID_2)", "", FRAME, 0, 12, 0, 0, JobNames()},
        {2, "SetupJobQueue", "XAVO_invoke_SetupJobQueue", Reads::RETURN_VALUE,
         [](Proxy sp, Code ec, Results &) {
             char *const jobs[] = {const_cast<char *>("JID_3"), const_cast<char *>("JID_1"), nullptr};
             XAVO_invoke_SetupJobQueue(sp, ec, "NOW", "20990101000000", jobs);
         },
         true,
         JOB_SERVICE + "SetupJobQueue(StartTimeInterval:1700=NOW,UntilTime:1700=20990101000000,"
                       "JobArray:3600=[JID_3,JID_1])",
         "", QUEUE_FRAME, 0, 22, 0, 0, JobNames()},
        {3, "InstallFromURI", "XAVO_invoke_InstallFromURI", Reads::JOB,
         [](Proxy sp, Code ec, Results &r) {
             XAVO_invoke_InstallFromURI(sp, ec, "http://192.0.2.20/bios.bin", "BIOS", &r.job);
         },
         true, INSTALLATION_SERVICE + "InstallFromURI(URI:1700=http://192.0.2.20/bios.bin," + TARGET + ")",
         "", TARGET_FRAME, 0, 21, 0, 1, INSTALLATION},
        {4, "InstallFromSoftwareIdentity", "XAVO_invoke_InstallFromSoftwareIdentity", Reads::JOB,
         [](Proxy sp, Code ec, Results &r) {
             XAVO_invoke_InstallFromSoftwareIdentity(sp, ec, "BIOS", &r.job);
         },
         true, INSTALLATION_SERVICE + "InstallFromSoftwareIdentity(" + TARGET + ")", "", TARGET_FRAME, 0, 20,
         0, 1, INSTALLATION},
        {5, "CreateRebootJob", "XAVO_invoke_CreateRebootJob", Reads::JOB,
         [](Proxy sp, Code ec, Results &r) { XAVO_invoke_CreateRebootJob(sp, ec, "1", &r.job); }, true,
         INSTALLATION_SERVICE + "CreateRebootJob(RebootJobType:0090=1)", "", JOB_FRAME, 0, 17, 0, 1, REBOOT},
        {6, "BackupImage", "XAVO_invoke_BackupRestore", Reads::MESSAGE_OR_JOB,
         [](Proxy sp, Code ec, Results &r) { image("BackupImage", sp, ec, r); }, true,
         image_request("BackupImage", ""), NO_MESSAGE, IMAGE_FRAME, 0, 35, 0, 1, IMAGE},
        {7, "RestoreImage", "XAVO_invoke_BackupRestore", Reads::MESSAGE_OR_JOB,
         [](Proxy sp, Code ec, Results &r) { image("RestoreImage", sp, ec, r); }, true,
         image_request("RestoreImage", "PreserveVDConfig:0090=1,"), NO_MESSAGE, IMAGE_FRAME, 0, 36, 0, 1,
         IMAGE},
        {8, "TestNetworkShare", "XAVO_invoke_TestNetworkShare", Reads::MESSAGE,
         [](Proxy sp, Code ec, Results &) { test_share(2, sp, ec); }, true,
         QM_SERVICE + "TestNetworkShare(IPAddress:1700=192.0.2.10,ShareName:1700=share,"
                      "UserName:1700=group\\user,Password:1700=secret,Workgroup:1700=group,ShareType:0090=2)",
         "8 XAVO_invoke_TestNetworkShare: workgroup=[group] uname=[user]\n"
         "8 XAVO_invoke_TestNetworkShare: sCombinedUserName=[group\\user]\n" +
             NO_MESSAGE,
         TEST_FRAME, 0, 18, 0, 1, JobNames()},
        {9, "TestNetworkShare over HTTP", "XAVO_invoke_TestNetworkShare", Reads::MESSAGE,
         [](Proxy sp, Code ec, Results &) { test_share(5, sp, ec); }, true,
         QM_SERVICE + "TestNetworkShare(IPAddress:1700=192.0.2.10,ShareName:1700=share," + HTTP +
             "ShareType:0090=5)",
         NO_MESSAGE, TEST_FRAME, 0, 22, 0, 0, JobNames()},
        {10, "list", "XAVO_enumerate_VELK_LifecycleJob", Reads::RECORDS,
         [](Proxy sp, Code ec, Results &r) { r.records = XAVO_enumerate_VELK_LifecycleJob(sp, ec); }, true,
         "root/velk:VELK_LifecycleJob enumInstances flags=2", "", Releases(), 0, 3, 98, 33, JobNames(),
         Given::NOTHING, 3},
        {11, "get", "XAVO_get_VELK_LifecycleJob", Reads::RECORDS,
         [](Proxy sp, Code ec, Results &r) { r.records = XAVO_get_VELK_LifecycleJob(sp, ec, "JID_1"); }, true,
         "root/velk:VELK_LifecycleJob.InstanceID:1700=JID_1 getInstance flags=2", "", Releases(), 2, 2, 31,
         11, JobNames()},
        {12, "enumerate", "XAVO_enumerate", Reads::OBJECT,
         [](Proxy sp, Code ec, Results &r) {
             r.instances = XAVO_enumerate(sp, ec, "root/velk", "VELK_SoftwareIdentity");
         },
         false, "root/velk:VELK_SoftwareIdentity enumInstances flags=2", "", Releases(), 0, 3, 0, 0,
         JobNames()},
        {13, "path", "XAVO_build_object_path_key_value", Reads::OBJECT,
         [](Proxy sp, Code ec, Results &r) {
             r.path = XAVO_build_object_path_key_value(sp, ec, "root/velk", "VELK_LifecycleJob", "InstanceID",
                                                       "JID_1");
         },
         false, "", "", Releases(), 2, 0, 0, 0, JobNames()},
        {14, "array", "XAVO_build_string_array", Reads::OBJECT,
         [](Proxy, Code ec, Results &r) {
             r.array = XAVO_build_string_array(words);
             *ec = r.array != nullptr ? XAVO_NO_ERROR : XAVO_OUT_OF_MEMORY;
         },
         false, "", "", Releases(), 7, 0, 0, 0, JobNames()},
        {15, "open", "XAVO_new_with_uname", Reads::HANDLE,
         [](Proxy, Code ec, Results &) {
             XAVO_Proxy *another = XAVO_new_with_uname(nullptr);
             *ec = another != nullptr ? XAVO_NO_ERROR : XAVO_UNABLE_TO_OPEN_CONNECTION;
             if (another != nullptr)
                 XAVO_free(another);
         },
         false, "", "8 XAVO_new_with_uname: using root default userid\n", Releases(), 2, 0, 0, 1, JobNames()},
        {16, "text", "XAVO_get_string_arg", Reads::NOTHING,
         [](Proxy, Code ec, Results &r) {
             r.job = XAVO_get_string_arg(r.args, "Text");
             *ec = XAVO_NO_ERROR;
         },
         false, "", "", Releases(), 2, 0, 0, 1, JobNames(), Given::ARGS, 1, 1},
        {17, "print", "XAVO_pr_CMPIArgs", Reads::NOTHING,
         [](Proxy, Code ec, Results &r) {
             XAVO_pr_CMPIArgs(0, "printable", r.args);
             *ec = XAVO_NO_ERROR;
         },
         false, "", "", Releases(), 44, 0, 0, 0, JobNames(), Given::ARGS},
        {18, "property", "XAVO_property_to_ntstring", Reads::RECORDS,
         [](Proxy sp, Code ec, Results &r) { r.job = XAVO_property_to_ntstring(sp, ec, r.instance, "Name"); },
         false, "", "", Releases(), 3, 0, 0, 1, JobNames(), Given::INSTANCE},
        {19, "number", "XAVO_CMPIData_to_uint32", Reads::NOTHING,
         [](Proxy, Code ec, Results &) {
             CMPIData data = {CMPI_uint32, CMPI_goodValue, {}};
             *ec = XAVO_NO_ERROR; // which a success leaves as it is
             XAVO_CMPIData_to_uint32(ec, &data);
         },
         false, "", "", Releases(), 0, 0, 0, 0, JobNames()},
        {20, "modify", "XAVO_modify_VELK_LifecycleJob", Reads::NOTHING,
         [](Proxy sp, Code ec, Results &) {
             const XAVO_ErrorCode returned = XAVO_modify_VELK_LifecycleJob(sp, ec);
             *ec = returned == XAVO_NOT_IMPLEMENTED && *ec == returned ? XAVO_NO_ERROR : XAVO_UNKNOWN_ERROR;
         },
         false, "", "", Releases(), 0, 0, 0, 0, JobNames()},
    };
    return rows;
}

const Operation &operation(const std::string &name) {
    for (const Operation &op : operations())
        if (op.name == name)
            return op;
    abort();
}

const Operation *numbered(unsigned number) {
    for (const Operation &op : operations())
        if (op.number == number)
            return &op;
    return nullptr;
}

void give(const Operation &op, XAVO_Proxy *sp, Results &results) {
    if (op.given == Given::ARGS)
        results.args = printable();
    if (op.given != Given::INSTANCE)
        return;
    XAVO_ErrorCode ec = -1;
    CMPIObjectPath *path =
        XAVO_build_object_path_key_value(sp, &ec, "root/velk", "VELK_LifecycleJob", "InstanceID", "JID_1");
    results.instance = sp->client->ft->getInstance(sp->client, path, 0, nullptr, nullptr);
    path->ft->release(path);
}

} // namespace test
