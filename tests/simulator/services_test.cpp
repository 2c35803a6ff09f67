// services_test.cpp - what the controller's services answer, and the life of the jobs that they start.
#include "raw.h"

#include <cstring>
#include <ctime>

using namespace raw;

namespace {

const char *const LATER = "20990101000000", *const LATEST = "20990101000001", *const PAST = "20200101000000";

class Services : public Raw {
protected:
    using Texts = std::vector<const char *>; // names and values by turns

    // Requests that are granted.
    const Texts queue{"JobArray", "new", "StartTimeInterval", "NOW"}, target{"Target", "BIOS"},
        uri{"Target", "BIOS", "URI", "http://x"},
        share{"ShareType", "2",        "IPAddress", "192.0.2.10", "ShareName",
              "share",     "UserName", "user",      "Password",   "secret"},
        image{"ShareType",          "2",    "IPAddress", "192.0.2.10", "ShareName", "share",
              "UserName",           "user", "Password",  "secret",     "ImageName", "image",
              "ScheduledStartTime", "NOW"};

    // A job in each phase, software, and shares: with credentials and without.
    static void populate() {
        cimsim_reset();
        cimsim_count_misuse(1);
        cimsim_freeze_time(1);
        cimsim_add_job("new", "", CIMSIM_NEVER, 10, 0);
        cimsim_add_job("soon", "", 10, 10, 0);
        cimsim_add_job("runs", "", 0, 10, 0);
        cimsim_add_job("done", "", 0, 0, 0);
        cimsim_add_job("failed", "", 0, 1, 1);
        cimsim_advance(1);
        cimsim_add_software_identity("BIOS", nullptr, nullptr);
        cimsim_add_share("192.0.2.10", "share", 2, "user", "secret");
        cimsim_add_share("192.0.2.10", "open", 0, nullptr, nullptr);
        cimsim_add_share("192.0.2.10", "closed", 0, "user", "secret");
        cimsim_add_share("192.0.2.20", "web", 5, nullptr, nullptr);
        cimsim_add_share("192.0.2.20", "tls", 6, "user", "secret");
    }
    // A request with some of its values changed.
    std::string ask(const std::string &method, const Texts &request, const Texts &changed = {}) {
        std::vector<Argument> arguments;
        for (const Texts *texts : {&request, &changed})
            for (size_t i = 0; i < texts->size(); i += 2) {
                const std::string name = (*texts)[i];
                arguments.push_back({(*texts)[i], (*texts)[i + 1],
                                     name == "JobArray" ? CMPIType{CMPI_stringA}
                                     : name == "Target" ? CMPIType{CMPI_ref}
                                                        : CMPIType{CMPI_chars}});
            }
        const bool software = method.find("Install") == 0 || method == "CreateRebootJob";
        return invoke(software                                 ? "VELK_SoftwareInstallationService"
                      : method.find("JobQueue") == method.npos ? "VELK_QMService"
                                                               : "VELK_JobService",
                      method.c_str(), arguments);
    }
    void check(const char *method, const Texts &request, const Texts &changed, const std::string &answer) {
        populate();
        before();
        EXPECT_EQ(ask(method, request, changed), answer) << method << testing::PrintToString(changed);
    }
    static std::string refused(const std::string &id, const std::string &message) {
        return "2 MessageID=" + id + " Message=" + message;
    }

    void (*before)() = [] {};
    const std::string granted = "4096 Job=root/velk:VELK_LifecycleJob.InstanceID=\"JID_1\"",
                      rebooting = "4096 RebootJobID=root/velk:VELK_LifecycleJob.InstanceID=\"JID_1\"";
};

TEST_F(Services, RefuseByMessageIdentifier) {
    const auto missing = [](const char *id, const std::string &name) {
        return refused(id, "The parameter " + name + " is missing.");
    };
    const auto start = [](const char *id, const std::string &time) {
        return refused(id, "The start time " + time + " is not valid.");
    };
    const auto until = [](const char *id, const std::string &time) {
        return refused(id, "The until time " + time + " is not valid or lies before the start time.");
    };
    const std::string busy = refused("KTB017", "The controller holds as many jobs as it can."),
                      locked = refused("PXN095", "The system is in lockdown mode.");

    const char *method = "DeleteJobQueue";
    check(method, {}, {}, missing("JQ006", "JobID"));
    check("deleteJobQueue", {}, {"JobID", ""}, missing("JQ006", "JobID"));
    check(method, {}, {"JobID", "x"}, refused("JQ001", "There is no job x."));
    check(method, {}, {"JobID", "runs"}, refused("JQ002", "Job runs is running and cannot be deleted."));
    for (const char *job : {"new", "soon", "done", "failed"})
        check(method, {}, {"JobID", job}, "0");
    method = "SetupJobQueue";
    check(method, {"StartTimeInterval", "NOW"}, {}, missing("JQ006", "JobArray"));
    check(method, {"JobArray", "new"}, {}, missing("JQ006", "StartTimeInterval"));
    // The 14 digits of a point in time that there is, in UTC and not past.
    for (const char *time :
         {"x", "", PAST, "2099010100000", "20990101000000x", "20990230000000", "2099 101000000"})
        check(method, queue, {"StartTimeInterval", time}, start("JQ004", time));
    check(method, queue, {"UntilTime", "x"}, until("JQ005", "x"));
    check(method, queue, {"UntilTime", PAST}, until("JQ005", PAST));
    check(method, queue, {"StartTimeInterval", LATEST, "UntilTime", LATER}, until("JQ005", LATER));
    check(method, queue, {"StartTimeInterval", LATER, "UntilTime", LATER}, "0");
    check(method, queue, {"JobArray", "x"}, refused("JQ001", "There is no job x."));
    for (const char *job : {"runs", "done", "failed"})
        check(method, queue, {"JobArray", job},
              refused("JQ003",
                      std::string("Job ") + job + " has been started before and cannot be scheduled."));
    check(method, queue, {"JobArray", "soon"}, "0");
    check("BackupJobQueue", {}, {}, "rc 17: VELK_JobService has no method \"BackupJobQueue\".");

    const std::string wrong_target = "rc 4: The parameter Target is missing or no reference.";
    method = "InstallFromURI";
    check(method, target, {}, "rc 4: The parameter URI is missing.");
    check(method, {"URI", "http://x"}, {}, wrong_target);
    check(method, uri, {"Target", "x"},
          "rc 6: There is no software root/velk:VELK_SoftwareIdentity.InstanceID=\"x\".");
    for (const char *scheme : {"gopher://x", "http", "://x"})
        check(method, uri, {"URI", scheme},
              refused("SWI001", "The scheme of the URI is not one that the controller takes."));
    for (const char *scheme : {"HTTPS://x", "ftp://x", "tftp://x", "nfs://x", "cifs://x"})
        check(method, uri, {"URI", scheme}, granted);
    check("InstallFromSoftwareIdentity", {}, {}, wrong_target);
    check("InstallFromSoftwareIdentity", target, {}, granted);
    for (const std::string type : {"", "0", "3", "1a", "0000000001"})
        check("CreateRebootJob", {}, {"RebootJobType", type.c_str()},
              refused("SWI002", "There is no reboot job of type " + type + "."));
    check("CreateRebootJob", {}, {"RebootJobType", "000000001"}, rebooting);

    const auto value = [](const std::string &name) {
        return refused("QM017", "The value of " + name + " is not valid.");
    };
    const auto nowhere = [](const std::string &host) {
        return refused("QM023", "The share on " + host + " cannot be reached.");
    };
    method = "TestNetworkShare";
    check(method, {}, {}, missing("QM016", "ShareType"));
    for (const char *type : {"", "1", "3", "4", "7"})
        check(method, share, {"ShareType", type}, value("ShareType"));
    for (const char *name : {"IPAddress", "ShareName"})
        check(method, share, {name, ""}, missing("QM016", name));
    check(method, share, {"ShareName", "x"}, nowhere("192.0.2.10"));
    check(method, share, {"ShareType", "0"}, nowhere("192.0.2.10"));
    check(method, share, {"IPAddress", "x"}, nowhere("x"));
    for (const char *name : {"UserName", "Password"})
        check(method, share, {name, "x"}, value("UserName or Password"));
    check(method, share, {"UserName", "GROUP\\user"}, "0");
    check(method, share, {"ShareType", "0", "ShareName", "closed", "UserName", ""}, "0");
    method = "BackupImage";
    check(method, image, {"ShareType", "0", "ShareName", "closed", "UserName", ""},
          value("UserName or Password"));
    check(method, image, {"ShareType", "0", "ShareName", "open", "UserName", ""}, granted);
    check(method, image, {"ShareType", "0", "ShareName", ""}, missing("QM016", "ShareName"));
    for (const char *type : {"5", "6"})
        check(method, image, {"ShareType", type, "ShareName", "", "IPAddress", "192.0.2.20"}, granted);
    check(method, {"ShareType", "4", "ScheduledStartTime", "NOW"}, {}, granted);
    check(method, image, {"ShareType", "3"}, value("ShareType"));
    for (const char *name : {"ScheduledStartTime", "ImageName"})
        check(method, image, {name, ""}, missing("QM016", name));
    check(method, image, {"ScheduledStartTime", PAST}, start("WUD017", PAST));
    check(method, image, {"UntilTime", PAST}, until("WUD018", PAST));

    const std::pair<const char *, Texts> jobs[] = {
        {"InstallFromURI", uri}, {"CreateRebootJob", {"RebootJobType", "2"}}, {"RestoreImage", image}};
    const std::tuple<void (*)(), std::string, std::string> moods[] = {
        {[] { cimsim_set_lockdown(1); }, locked, "0"},
        {[] { cimsim_set_job_limit(5); }, busy, "0"},
        {[] { cimsim_set_job_limit(6); }, granted, "0"},
        {[] { cimsim_set_job_limit(0); }, granted, "0"}};
    for (const auto &[mood, answer, test] : moods) {
        before = mood;
        for (const auto &[name, request] : jobs)
            check(name, request, {}, answer == granted && name == jobs[1].first ? rebooting : answer);
        check("TestNetworkShare", share, {}, test);
    }
}

TEST_F(Services, TakeOneBackupAndOneRestoreAtATime) {
    populate();
    const std::string exports = refused("QM051", "Another backup job is scheduled already."),
                      imports = refused("QM052", "Another restore job is scheduled already.");
    for (const auto &[method, again] :
         {std::pair("BackupImage", exports), std::pair("RestoreImage", imports)}) {
        EXPECT_EQ(ask(method, image, {"ScheduledStartTime", LATER}).substr(0, 4), "4096");
        EXPECT_EQ(ask(method, image, {"ScheduledStartTime", LATER}), again);
    }
    for (const char *job : {"JID_1", "JID_2"})
        EXPECT_EQ(ask("DeleteJobQueue", {"JobID", job}), "0");
    const std::string backup = refused("KTB018", "A backup is running."),
                      restore = refused("KTB019", "A restore is running.");
    for (const auto &[method, refusal] :
         {std::pair("BackupImage", backup), std::pair("RestoreImage", restore)}) {
        EXPECT_EQ(ask(method, image).substr(0, 4), "4096");
        cimsim_advance(4); // of five
        for (const char *another : {"BackupImage", "RestoreImage"})
            EXPECT_EQ(ask(another, image), refusal);
        cimsim_advance(1);
    }
}

// The job's instance and cimsim_job_at tell the same, at each point of its life.
TEST_F(Services, JobsLiveInSimulatedTime) {
    cimsim_job job;
    const struct {
        unsigned index, after;
        const char *status, *percent, *elapsed, *id, *message;
    } rows[] = {
        {0, 0, "Scheduled", "0", "0", "JOB002", "The job is scheduled."},
        {0, 15, "Running", "25", "0", "JOB003", "The job is running."},
        {0, 30, "Completed", "100", "0", "JOB004", "The job completed successfully."},
        {0, 37, "Completed", "100", "7", "JOB004", "The job completed successfully."},
        {1, 9, "Scheduled", "0", "0", "JOB002", "The job is scheduled."},
        {1, 10, "Running", "0", "0", "JOB003", "The job is running."},
        {1, 19, "Running", "45", "0", "JOB003", "The job is running."},
        {1, 20, "Failed", "50", "0", "JOB005", "The job failed."},
        {1, 25, "Failed", "50", "5", "JOB005", "The job failed."},
        {2, 99, "New", "0", "0", "JOB001", "The job waits for a queue."},
    };
    for (const auto &row : rows) {
        cimsim_reset();
        cimsim_count_misuse(1);
        cimsim_freeze_time(1);
        EXPECT_EQ(cimsim_add_job("good", "Good", 10, 20, 0), 0);
        cimsim_add_job("bad", "Bad", 10, 20, 1);
        cimsim_add_job("new", "New", CIMSIM_NEVER, 20, 0);
        EXPECT_EQ(cimsim_add_job("bad", "", 0, 0, 0), -1);
        EXPECT_EQ(cimsim_job_at(3, &job) + cimsim_job_at(0, nullptr), -2);
        cimsim_advance(row.after);
        ASSERT_EQ(cimsim_job_at(row.index, &job), 0);
        const std::string id = job.InstanceID, start = job.JobStartTime, name = job.Name;
        EXPECT_EQ(job.JobStatus + std::to_string(job.PercentComplete), std::string(row.status) + row.percent);
        const std::pair<const char *, std::string> properties[] = {
            {"InstanceID", row.index == 0 ? "good" : id},
            {"Name", row.index == 1 ? "Bad" : name},
            {"jobstatus", row.status},
            {"PercentComplete", row.percent},
            {"ElapsedTimeSinceCompletion", row.elapsed},
            {"MessageID", row.id},
            {"Message", row.message},
            {"JobStartTime", start},
            {"JobUntilTime", ""}};
        for (const auto &[property_name, text] : properties)
            EXPECT_EQ(property(id.c_str(), property_name), "1600:0 " + text)
                << id << row.after << property_name;
        EXPECT_EQ(property(id.c_str(), "MessageArguments"), "1600:100 blank");
        EXPECT_EQ(start.size(), row.index == 2 ? 0U : 14U);
    }
    // Times are UTC; the second that it is may be given, the one before not.
    populate();
    cimsim_add_job("now", "", 1, 1, 0);
    ASSERT_EQ(cimsim_job_at(5, &job), 0);
    const std::string now = job.JobStartTime;
    std::tm parts = {};
    ASSERT_NE(strptime(now.c_str(), "%Y%m%d%H%M%S", &parts), nullptr);
    EXPECT_NEAR(std::difftime(timegm(&parts), std::time(nullptr) + 2), 0, 2); // a second was let pass
    cimsim_advance(1);
    EXPECT_EQ(ask("SetupJobQueue", queue, {"StartTimeInterval", now.c_str()}), "0");
    EXPECT_EQ(property("new", "JobStatus"), "1600:0 Running");
    cimsim_advance(1);
    EXPECT_NE(ask("SetupJobQueue", queue, {"JobArray", "soon", "StartTimeInterval", now.c_str()}), "0");
}

TEST_F(Services, StartJobsThatEnd) {
    populate();
    cimsim_add_job("JID_2", "", CIMSIM_NEVER, 0, 0); // the name is taken
    unsigned index = cimsim_job_count();
    const auto ends = [&](const char *method, const Texts &request, const Texts &changed,
                          const std::string &told) {
        EXPECT_EQ(ask(method, request, changed).substr(0, 5), "4096 ") << told;
        std::string statuses;
        cimsim_job job = {};
        for (int second = 0; second < 6; ++second, cimsim_advance(1)) {
            ASSERT_EQ(cimsim_job_at(index, &job), 0);
            statuses += job.JobStatus[0];
        }
        ++index;
        EXPECT_EQ(std::string(job.Name) + "|" + statuses + "|" + job.JobStartTime + "|" + job.JobUntilTime,
                  told);
    };
    ends("InstallFromURI", uri, {}, "Install: BIOS|RRRCCC|NOW|");
    ends("CreateRebootJob", {"RebootJobType", "1"}, {}, "Graceful reboot|RRRCCC|NOW|");
    ends("CreateRebootJob", {"RebootJobType", "2"}, {}, "Forced reboot|RRRCCC|NOW|");
    ends("BackupImage", image, {}, "Backup of the image|RRRRRC|NOW|");
    ends("RestoreImage", image, {}, "Restore of the image|RRRRRC|NOW|");
    ends("BackupImage", image, {"JobName", "Mine", "ScheduledStartTime", LATER, "UntilTime", LATEST},
         std::string("Mine|SSSSSS|") + LATER + "|" + LATEST);
    EXPECT_EQ(cimsim_job_count(), index);
    EXPECT_EQ(property("JID_3", "Name"), "1600:0 Graceful reboot");
}

TEST_F(Services, QueueAllJobsOrNone) {
    for (const auto &[second, answer] : {std::pair("x", "2"), std::pair("soon", "0")}) {
        populate();
        const auto on = service("VELK_JobService");
        const Own<CMPIArgs> in(native_new_CMPIArgs(nullptr));
        const Own<CMPIArray> jobs(native_new_CMPIArray(2, CMPI_string, nullptr));
        CMPIArray *const list = jobs.get();
        list->ft->setElementAt(list, 0, value("new"), CMPI_chars);
        list->ft->setElementAt(list, 1, value(second), CMPI_chars);
        in->ft->addArg(in.get(), "JobArray", value(&list), CMPI_stringA);
        for (const auto &[name, time] :
             {std::pair("StartTimeInterval", LATER), std::pair("UntilTime", LATEST)})
            in->ft->addArg(in.get(), name, value(time), CMPI_chars);
        EXPECT_EQ(shown(client->ft->invokeMethod(client, on.get(), "SetupJobQueue", in.get(), nullptr, &st)),
                  std::string("00a0:0 ") + answer);
        for (const auto &[name, time] : {std::pair("JobStartTime", LATER), std::pair("JobUntilTime", LATEST)})
            EXPECT_EQ(property("new", name), std::string("1600:0 ") + (*answer == '0' ? time : ""));
    }
    EXPECT_EQ(property("soon", "JobStartTime"), std::string("1600:0 ") + LATER);
    // One job instead of an array is none.
    EXPECT_EQ(invoke("VELK_JobService", "SetupJobQueue", {{"JobArray", "new"}, {"StartTimeInterval", "NOW"}}),
              refused("JQ006", "The parameter JobArray is missing."));
    EXPECT_EQ(invoke("VELK_SoftwareInstallationService", "InstallFromSoftwareIdentity", {{"Target", "BIOS"}}),
              "rc 4: The parameter Target is missing or no reference.");
}

} // namespace
