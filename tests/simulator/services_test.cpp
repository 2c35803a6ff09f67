// services_test.cpp - what the controller's services answer, and the life of the jobs that they start.
#include "raw.h"

#include <ctime>

using namespace raw;

namespace {

const char *const JOBS = "VELK_JobService", *const SOFTWARE = "VELK_SoftwareInstallationService",
                  *const IMAGES = "VELK_QMService", *const LATER = "20990101000000",
                  *const LATEST = "20990101000001", *const PAST = "20200101000000";

class Services : public Raw {
protected:
    using Arguments = std::vector<Argument>;

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
    static std::string refused(const std::string &id, const std::string &message) {
        return "2 MessageID=" + id + " Message=" + message;
    }
    static std::string started(const std::string &job, const std::string &output = "Job") {
        return "4096 " + output + "=root/velk:VELK_LifecycleJob.InstanceID=\"" + job + "\"";
    }
    // A request that is granted, but for what is given: a later argument takes the place of an earlier one.
    static Arguments with(Arguments base, const Arguments &changed) {
        base.insert(base.end(), changed.begin(), changed.end());
        return base;
    }
    static Arguments queue(const Arguments &changed) {
        return with({{"JobArray", "new", CMPI_stringA}, {"StartTimeInterval", "NOW"}}, changed);
    }
    static Arguments uri(const Arguments &changed) {
        return with({{"URI", "http://x"}, {"Target", "BIOS", CMPI_ref}}, changed);
    }
    static Arguments share(const Arguments &changed) {
        return with({{"ShareType", "2"},
                     {"IPAddress", "192.0.2.10"},
                     {"ShareName", "share"},
                     {"UserName", "user"},
                     {"Password", "secret"}},
                    changed);
    }
    static Arguments image(const Arguments &changed) {
        return with(share({{"ScheduledStartTime", "NOW"}, {"ImageName", "image"}}), changed);
    }
};

TEST_F(Services, RefuseByMessageIdentifier) {
    const std::string busy = "The controller holds as many jobs as it can.",
                      locked = "The system is in lockdown mode.",
                      scheme = "The scheme of the URI is not one that the controller takes.",
                      wrong = "The parameter Target is missing or no reference.",
                      type = "The value of ShareType is not valid.",
                      login = "The value of UserName or Password is not valid.",
                      nowhere = "The share on 192.0.2.10 cannot be reached.";
    const auto missing = [](const char *id, const std::string &name) {
        return refused(id, "The parameter " + name + " is missing.");
    };
    const auto start = [](const char *id, const std::string &time) {
        return refused(id, "The start time " + time + " is not valid.");
    };
    const auto until = [](const char *id, const std::string &time) {
        return refused(id, "The until time " + time + " is not valid or lies before the start time.");
    };
    const auto lockdown = [] { cimsim_set_lockdown(1); };
    const auto limit = [] { cimsim_set_job_limit(5); };
    const auto no_limit = [] { cimsim_set_job_limit(0); };
    const auto one_left = [] { cimsim_set_job_limit(6); };
    struct {
        const char *service, *method;
        Arguments arguments;
        std::string answer;
        void (*before)() = nullptr;
    } const rows[] = {
        {JOBS, "DeleteJobQueue", {}, missing("JQ006", "JobID")},
        {JOBS, "deletejobqueue", {{"JobID", ""}}, missing("JQ006", "JobID")},
        {JOBS, "DeleteJobQueue", {{"JobID", "x"}}, refused("JQ001", "There is no job x.")},
        {JOBS,
         "DeleteJobQueue",
         {{"JobID", "runs"}},
         refused("JQ002", "Job runs is running and cannot be deleted.")},
        {JOBS, "DeleteJobQueue", {{"JobID", "soon"}}, "0"},
        {JOBS, "DeleteJobQueue", {{"JobID", "done"}}, "0", lockdown},
        {JOBS, "SetupJobQueue", {{"StartTimeInterval", "NOW"}}, missing("JQ006", "JobArray")},
        {JOBS, "SetupJobQueue", queue({{"JobArray", "new"}}), missing("JQ006", "JobArray")},
        {JOBS, "SetupJobQueue", {{"JobArray", "new", CMPI_stringA}}, missing("JQ006", "StartTimeInterval")},
        {JOBS, "SetupJobQueue", queue({{"StartTimeInterval", "x"}}), start("JQ004", "x")},
        {JOBS, "SetupJobQueue", queue({{"StartTimeInterval", PAST}}), start("JQ004", PAST)},
        {JOBS, "SetupJobQueue", queue({{"UntilTime", "x"}}), until("JQ005", "x")},
        {JOBS, "SetupJobQueue", queue({{"UntilTime", PAST}}), until("JQ005", PAST)},
        {JOBS, "SetupJobQueue", queue({{"StartTimeInterval", LATEST}, {"UntilTime", LATER}}),
         until("JQ005", LATER)},
        {JOBS, "SetupJobQueue", queue({{"StartTimeInterval", LATER}, {"UntilTime", LATER}}), "0"},
        {JOBS, "SetupJobQueue", queue({{"JobArray", "x", CMPI_stringA}}),
         refused("JQ001", "There is no job x.")},
        {JOBS, "SetupJobQueue", queue({{"JobArray", "done", CMPI_stringA}}),
         refused("JQ003", "Job done has been started before and cannot be scheduled.")},
        {JOBS, "SetupJobQueue", queue({{"JobArray", "soon", CMPI_stringA}}), "0"},
        {JOBS, "BackupImage", {}, "rc 17: VELK_JobService has no method \"BackupImage\"."},

        {SOFTWARE, "InstallFromURI", {}, "rc 4: The parameter URI is missing."},
        {SOFTWARE, "InstallFromURI", {{"URI", "http://x"}}, "rc 4: " + wrong},
        {SOFTWARE, "InstallFromURI", uri({{"Target", "BIOS"}}), "rc 4: " + wrong},
        {SOFTWARE, "InstallFromURI", uri({{"Target", "x", CMPI_ref}}),
         "rc 6: There is no software root/velk:VELK_SoftwareIdentity.InstanceID=\"x\"."},
        {SOFTWARE, "InstallFromURI", uri({{"URI", "gopher://x"}}), refused("SWI001", scheme)},
        {SOFTWARE, "InstallFromURI", uri({{"URI", "http"}}), refused("SWI001", scheme)},
        {SOFTWARE, "InstallFromURI", uri({}), refused("PXN095", locked), lockdown},
        {SOFTWARE, "InstallFromURI", uri({}), refused("KTB017", busy), limit},
        {SOFTWARE, "InstallFromURI", uri({}), started("JID_1"), one_left},
        {SOFTWARE, "InstallFromURI", uri({}), started("JID_1"), no_limit},
        {SOFTWARE, "InstallFromURI", uri({{"URI", "HTTPS://x"}}), started("JID_1")},
        {SOFTWARE, "InstallFromURI", uri({{"URI", "ftp://x"}}), started("JID_1")},
        {SOFTWARE, "InstallFromURI", uri({{"URI", "tftp://x"}}), started("JID_1")},
        {SOFTWARE, "InstallFromURI", uri({{"URI", "nfs://x"}}), started("JID_1")},
        {SOFTWARE, "InstallFromURI", uri({{"URI", "cifs://x"}}), started("JID_1")},
        {SOFTWARE, "InstallFromSoftwareIdentity", {}, "rc 4: " + wrong},
        {SOFTWARE, "InstallFromSoftwareIdentity", {{"Target", "BIOS", CMPI_ref}}, started("JID_1")},
        {SOFTWARE, "CreateRebootJob", {}, refused("SWI002", "There is no reboot job of type .")},
        {SOFTWARE,
         "CreateRebootJob",
         {{"RebootJobType", "0"}},
         refused("SWI002", "There is no reboot job of type 0.")},
        {SOFTWARE,
         "CreateRebootJob",
         {{"RebootJobType", "3"}},
         refused("SWI002", "There is no reboot job of type 3.")},
        {SOFTWARE,
         "CreateRebootJob",
         {{"RebootJobType", "1a"}},
         refused("SWI002", "There is no reboot job of type 1a.")},
        {SOFTWARE, "CreateRebootJob", {{"RebootJobType", "1"}}, started("JID_1", "RebootJobID")},
        {SOFTWARE, "CreateRebootJob", {{"RebootJobType", "2"}}, refused("PXN095", locked), lockdown},
        {SOFTWARE, "CreateRebootJob", {{"RebootJobType", "2"}}, refused("KTB017", busy), limit},

        {IMAGES, "TestNetworkShare", {}, missing("QM016", "ShareType")},
        {IMAGES, "TestNetworkShare", share({}), "0", lockdown},
        {IMAGES, "TestNetworkShare", share({{"ShareType", "1"}}), refused("QM017", type)},
        {IMAGES, "TestNetworkShare", share({{"ShareType", "4"}}), refused("QM017", type)},
        {IMAGES, "TestNetworkShare", share({{"IPAddress", ""}}), missing("QM016", "IPAddress")},
        {IMAGES, "TestNetworkShare", share({{"ShareName", ""}}), missing("QM016", "ShareName")},
        {IMAGES, "TestNetworkShare", share({{"ShareName", "x"}}), refused("QM023", nowhere)},
        {IMAGES, "TestNetworkShare", share({{"ShareType", "0"}}), refused("QM023", nowhere)},
        {IMAGES, "TestNetworkShare", share({{"IPAddress", "x"}}),
         refused("QM023", "The share on x cannot be reached.")},
        {IMAGES, "TestNetworkShare", share({{"UserName", "x"}}), refused("QM017", login)},
        {IMAGES, "TestNetworkShare", share({{"Password", "x"}}), refused("QM017", login)},
        {IMAGES, "TestNetworkShare", share({{"UserName", "GROUP\\user"}}), "0"},
        {IMAGES, "TestNetworkShare", share({{"ShareType", "0"}, {"ShareName", "closed"}, {"UserName", ""}}),
         "0"},
        {IMAGES, "BackupImage", image({{"ShareType", "0"}, {"ShareName", "closed"}, {"UserName", ""}}),
         refused("QM017", login)},
        {IMAGES, "BackupImage", image({{"ShareType", "0"}, {"ShareName", "open"}, {"UserName", ""}}),
         started("JID_1")},
        {IMAGES, "BackupImage", image({{"ShareType", "5"}, {"IPAddress", "192.0.2.20"}, {"ShareName", ""}}),
         started("JID_1")},
        {IMAGES, "BackupImage", image({{"ShareType", "6"}, {"IPAddress", "192.0.2.20"}, {"ShareName", ""}}),
         started("JID_1")},
        {IMAGES, "BackupImage", {{"ShareType", "4"}, {"ScheduledStartTime", "NOW"}}, started("JID_1")},
        {IMAGES, "BackupImage", image({{"ShareType", "3"}}), refused("QM017", type)},
        {IMAGES, "BackupImage", share({}), missing("QM016", "ScheduledStartTime")},
        {IMAGES, "BackupImage", image({{"ImageName", ""}}), missing("QM016", "ImageName")},
        {IMAGES, "BackupImage", image({{"ScheduledStartTime", PAST}}), start("WUD017", PAST)},
        {IMAGES, "BackupImage", image({{"UntilTime", PAST}}), until("WUD018", PAST)},
        {IMAGES, "RestoreImage", image({}), refused("PXN095", locked), lockdown},
        {IMAGES, "RestoreImage", image({}), refused("KTB017", busy), limit},
    };
    for (const auto &row : rows) {
        populate();
        if (row.before != nullptr)
            row.before();
        EXPECT_EQ(invoke(row.service, row.method, row.arguments), row.answer) << &row - rows;
    }
}

TEST_F(Services, TakeOneBackupAndOneRestoreAtATime) {
    populate();
    const auto later = image({{"ScheduledStartTime", LATER}});
    EXPECT_EQ(invoke(IMAGES, "BackupImage", later), started("JID_1"));
    EXPECT_EQ(invoke(IMAGES, "BackupImage", later),
              refused("QM051", "Another backup job is scheduled already."));
    EXPECT_EQ(invoke(IMAGES, "RestoreImage", later), started("JID_2"));
    EXPECT_EQ(invoke(IMAGES, "RestoreImage", later),
              refused("QM052", "Another restore job is scheduled already."));
    for (const char *job : {"JID_1", "JID_2"})
        EXPECT_EQ(invoke(JOBS, "DeleteJobQueue", {{"JobID", job}}), "0");
    for (const auto &[method, refusal] :
         {std::pair(+"BackupImage", refused("KTB018", "A backup is running.")),
          std::pair(+"RestoreImage", refused("KTB019", "A restore is running."))}) {
        EXPECT_EQ(invoke(IMAGES, method, image({})).substr(0, 4), "4096");
        cimsim_advance(4); // of five
        for (const char *another : {"BackupImage", "RestoreImage"})
            EXPECT_EQ(invoke(IMAGES, another, image({})), refusal);
        cimsim_advance(1);
    }
}

TEST_F(Services, ReadTimesInUtcAndNotOthers) {
    std::string times[] = {"2099010100000",  "20990101000000x", "20990230000000",
                           "20991301000000", "2099 101000000",  ""};
    for (const std::string &time : times) {
        populate();
        EXPECT_EQ(invoke(JOBS, "SetupJobQueue", queue({{"StartTimeInterval", time.c_str()}})).substr(0, 17),
                  "2 MessageID=JQ004")
            << time;
    }
    // The second that it is may be given; the job then runs at once.
    populate();
    cimsim_add_job("now", "", 1, 1, 0);
    cimsim_job now;
    ASSERT_EQ(cimsim_job_at(5, &now), 0);
    const std::string text = now.JobStartTime;
    const std::time_t wall = std::time(nullptr) + 2; // one second was let pass
    std::tm parts = {};
    ASSERT_NE(strptime(text.c_str(), "%Y%m%d%H%M%S", &parts), nullptr);
    EXPECT_NEAR(static_cast<double>(timegm(&parts)), static_cast<double>(wall), 2);
    cimsim_advance(1);
    EXPECT_EQ(invoke(JOBS, "SetupJobQueue", queue({{"StartTimeInterval", text.c_str()}})), "0");
    EXPECT_EQ(property("new", "JobStatus"), "1600:0 Running");
    cimsim_advance(1);
    EXPECT_NE(invoke(JOBS, "SetupJobQueue",
                     queue({{"JobArray", "soon", CMPI_stringA}, {"StartTimeInterval", text.c_str()}})),
              "0");
}

// The job's instance and cimsim_job_at tell the same, at each point of its life.
TEST_F(Services, JobsLiveInSimulatedTime) {
    cimsim_add_job("good", "Good", 10, 20, 0);
    cimsim_add_job("bad", "Bad", 10, 20, 1);
    EXPECT_EQ(cimsim_add_job("bad", "", 0, 0, 0), -1);
    cimsim_add_job("new", "New", CIMSIM_NEVER, 20, 0);
    cimsim_job job;
    EXPECT_EQ(cimsim_job_at(3, &job), -1);
    EXPECT_EQ(cimsim_job_at(0, nullptr), -1);
    struct {
        unsigned index, after;
        const char *status, *percent, *elapsed, *id, *message;
    } const rows[] = {
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
        cimsim_add_job("good", "Good", 10, 20, 0);
        cimsim_add_job("bad", "Bad", 10, 20, 1);
        cimsim_add_job("new", "New", CIMSIM_NEVER, 20, 0);
        cimsim_advance(row.after);
        ASSERT_EQ(cimsim_job_at(row.index, &job), 0);
        const std::string id = job.InstanceID, start = job.JobStartTime, prefix = "1600:0 ";
        EXPECT_EQ(std::string(job.Name) + job.JobStatus + std::to_string(job.PercentComplete),
                  std::string(row.index == 0   ? "Good"
                              : row.index == 1 ? "Bad"
                                               : "New") +
                      row.status + row.percent);
        const std::pair<const char *, std::string> properties[] = {
            {"InstanceID", id},
            {"Name", job.Name},
            {"jobstatus", row.status},
            {"PercentComplete", row.percent},
            {"ElapsedTimeSinceCompletion", row.elapsed},
            {"MessageID", row.id},
            {"Message", row.message},
            {"JobStartTime", start},
            {"JobUntilTime", ""}};
        for (const auto &[name, text] : properties)
            EXPECT_EQ(property(id.c_str(), name), prefix + text)
                << id << " after " << row.after << ": " << name;
        EXPECT_EQ(property(id.c_str(), "MessageArguments"), "1600:100 blank");
        EXPECT_EQ(start.size(), row.index == 2 ? 0U : 14U);
    }
}

TEST_F(Services, StartJobsThatEnd) {
    populate();
    cimsim_add_job("JID_2", "", CIMSIM_NEVER, 0, 0); // the name is taken
    const Arguments named =
        image({{"JobName", "Mine"}, {"ScheduledStartTime", LATER}, {"UntilTime", LATEST}});
    struct {
        const char *service, *method;
        Arguments arguments;
        const char *name, *start, *until, *status;
    } const rows[] = {
        {SOFTWARE, "InstallFromURI", uri({}), "Install: BIOS", "NOW", "", "Completed"},
        {SOFTWARE, "CreateRebootJob", {{"RebootJobType", "1"}}, "Graceful reboot", "NOW", "", "Completed"},
        {SOFTWARE, "CreateRebootJob", {{"RebootJobType", "2"}}, "Forced reboot", "NOW", "", "Completed"},
        {IMAGES, "BackupImage", image({}), "Backup of the image", "NOW", "", "Running"},
        {IMAGES, "RestoreImage", image({}), "Restore of the image", "NOW", "", "Running"},
        {IMAGES, "BackupImage", named, "Mine", LATER, LATEST, "Scheduled"},
    };
    unsigned index = cimsim_job_count();
    for (const auto &row : rows) {
        EXPECT_EQ(invoke(row.service, row.method, row.arguments).substr(0, 5), "4096 ") << row.name;
        cimsim_job job;
        cimsim_advance(2);
        ASSERT_EQ(cimsim_job_at(index, &job), 0);
        EXPECT_STREQ(job.JobStatus, row.start == LATER ? "Scheduled" : "Running") << row.name;
        cimsim_advance(1);
        ASSERT_EQ(cimsim_job_at(index++, &job), 0);
        EXPECT_EQ(std::string(job.Name) + "|" + job.JobStatus + "|" + job.JobStartTime + "|" +
                      job.JobUntilTime,
                  std::string(row.name) + "|" + row.status + "|" + row.start + "|" + row.until);
        cimsim_advance(2);
    }
    EXPECT_EQ(cimsim_job_count(), index);
    EXPECT_EQ(property("JID_3", "Name"), "1600:0 Graceful reboot");
}

// A queue takes all of its jobs or none of them.
TEST_F(Services, QueueAllJobsOrNone) {
    populate();
    for (const auto &[second, answer] : {std::pair("x", "2"), std::pair("soon", "0")}) {
        const auto on = service(JOBS);
        const Own<CMPIArgs> in(native_new_CMPIArgs(nullptr));
        const Own<CMPIArray> jobs(native_new_CMPIArray(2, CMPI_string, nullptr));
        CMPIArray *const list = jobs.get();
        list->ft->setElementAt(list, 0, value("new"), CMPI_chars);
        list->ft->setElementAt(list, 1, value(second), CMPI_chars);
        in->ft->addArg(in.get(), "JobArray", value(&list), CMPI_stringA);
        in->ft->addArg(in.get(), "StartTimeInterval", value(LATER), CMPI_chars);
        in->ft->addArg(in.get(), "UntilTime", value(LATEST), CMPI_chars);
        const CMPIData data =
            client->ft->invokeMethod(client, on.get(), "SetupJobQueue", in.get(), nullptr, &st);
        EXPECT_EQ(shown(data), std::string("00a0:0 ") + answer);
        EXPECT_EQ(property("new", "JobStartTime"), std::string("1600:0 ") + (*answer == '0' ? LATER : ""));
        EXPECT_EQ(property("new", "JobUntilTime"), std::string("1600:0 ") + (*answer == '0' ? LATEST : ""));
    }
    EXPECT_EQ(property("soon", "JobStartTime"), std::string("1600:0 ") + LATER);
}

} // namespace
