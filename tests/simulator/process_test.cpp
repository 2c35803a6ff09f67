// process_test.cpp - what no script can tell: the end of the program, its environment, the time of day.
#include "raw.h"

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <unistd.h>
#include <utility>

using namespace raw;

namespace {

using ControllerDeathTest = Raw; // these run first

TEST_F(ControllerDeathTest, MisuseAndUnknownSlotsEndTheProgram) {
    EXPECT_DEATH(cimsim_fail("CMPIArgs.addArgs", 1, nullptr),
                 "^cimsim: cimsim_fail: there is no slot \"CMPIArgs.addArgs\"\n");
    for (const char *name : {"CMPIArgs", "addArg", "", "CMPIArgs.release ", ".release", "client.release"})
        EXPECT_DEATH(cimsim_calls(name), "^cimsim: cimsim_calls: there is no slot \"");
    CMPIString *const twice = native_new_CMPIString("x", nullptr);
    release(twice);
    EXPECT_DEATH((cimsim_count_misuse(0), release(twice)),
                 "^cimsim: misuse: CMPIString.release: CMPIString#[0-9]+ released twice\n");
    EXPECT_DEATH((cimsim_reset(), release(twice)), "released twice\n");
    CMPIString hollow = {nullptr, twice->ft};
    EXPECT_DEATH((cimsim_reset(), hollow.ft->getCharPtr(&hollow, nullptr)),
                 "CMPIString.getCharPtr: no object\n");
    cimsim_restart_broker(CIMSIM_PIPE_CALLS);
    const auto job = path();
    EXPECT_EXIT((std::signal(SIGPIPE, SIG_DFL), client->ft->getClass(client, job.get(), 0, nullptr, nullptr)),
                testing::KilledBySignal(SIGPIPE), "");
    // Names tell one object from another, and stay.
    const std::string live = cimsim_live();
    EXPECT_EQ(live.substr(0, 11) + live.substr(live.find(' '), 16), "CMCIClient# CMPIObjectPath#");
}

// Times are in UTC. The second that it is may be given as a start, the one before not.
TEST_F(ControllerDeathTest, TimeIsThatOfTheWallClock) {
    cimsim_job job;
    cimsim_add_job("now", "", 1, 1, 0);
    ASSERT_EQ(cimsim_job_at(0, &job), 0);
    const std::string now = job.JobStartTime;
    std::tm parts = {};
    ASSERT_NE(strptime(now.c_str(), "%Y%m%d%H%M%S", &parts), nullptr);
    EXPECT_NEAR(std::difftime(timegm(&parts), std::time(nullptr) + 1), 0, 2);
    cimsim_advance(1);
    const auto backup = [&] {
        return invoke("VELK_QMService", "BackupImage",
                      {{"ShareType", "4"}, {"ScheduledStartTime", now.c_str()}});
    };
    EXPECT_EQ(backup().substr(0, 5), "4096 ");
    cimsim_advance(9);
    EXPECT_EQ(backup().substr(0, 18), "2 MessageID=WUD017");
    cimsim_freeze_time(0); // goes on from where it stood
    EXPECT_EQ(property("now", "ElapsedTimeSinceCompletion"), "1600:0 8");
}

TEST_F(ControllerDeathTest, FillsTheUpperBitsOfWhatIsWider) {
    for (const int on : {1, 0}) {
        cimsim_set_garbage(on);
        cimsim_answer_return(cimsim_number(CMPI_uint32, 7));
        const CMPIUint32 whole = call().value.uint32;
        EXPECT_EQ(whole & 0xffffffff, 7U);
        EXPECT_EQ(whole != 7, on == 1 && sizeof(CMPIUint32) > 4);
        cimsim_answer_return(cimsim_number(CMPI_uint16, 7));
        EXPECT_EQ(shown(call()), "0090:0 7");
    }
}

// What the process finds at its start.
[[noreturn]] void tell_scene() {
    Session session;
    session.client = connect("operator");
    std::string told = session.client == nullptr ? "no broker" : "";
    cimsim_job job;
    for (unsigned i = 0; session.client != nullptr && cimsim_job_at(i, &job) == 0; ++i)
        told += std::string(job.InstanceID) + " " + job.Name + " " + job.JobStatus +
                (*job.JobStartTime == 0 ? ", " : " later, ");
    for (const char *identity : {"IDENTITY:BIOS", "IDENTITY:NIC"})
        if (session.client != nullptr)
            told += session
                        .invoke("VELK_SoftwareInstallationService", "InstallFromSoftwareIdentity",
                                {{"Target", identity, CMPI_ref}})
                        .substr(0, 15) +
                    ", ";
    for (const auto &[name, type] : {std::pair("backups", "2"), std::pair("public", "0")})
        if (session.client != nullptr)
            told += session
                        .invoke("VELK_QMService", "TestNetworkShare",
                                {{"ShareType", type},
                                 {"IPAddress", "192.0.2.10"},
                                 {"ShareName", name},
                                 {"UserName", "operator"},
                                 {"Password", "secret"}})
                        .substr(0, 17) +
                    ", ";
    fprintf(stderr, "%s\n", told.c_str());
    exit(0);
}

// The statement runs in a new process, with this in its environment when the library is loaded.
TEST(SceneDeathTest, IsSetUpByTheEnvironment) {
    if (const char *emulator = getenv("XAVO_EMULATOR"); emulator != nullptr && *emulator != '\0')
        GTEST_SKIP() << "GoogleTest starts the new process without the emulator";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string jobs = "^JID_1 Update of the BIOS New, JID_2 Update of a network card New, "
                             "JID_3 Nightly restart Scheduled later, ";
    const std::pair<const char *, std::string> scenes[] = {
        {"", jobs + "4096 Job=root/v, 4096 Job=root/v, 0, 0, \n"},
        {"lockdown", jobs + "2 MessageID=PXN, 2 MessageID=PXN, 0, 0, \n"},
        {"unreachable", "^no broker\n"},
        {"empty", "^rc 6: There is , rc 6: There is , 2 MessageID=QM023, 2 MessageID=QM023, \n"},
        {"empty,,nonsense,refuse=operator",
         "^cimsim: CIMSIM_SCENE: unknown word \"nonsense\"\nrc 2: The broke, rc 2: The broke, "
         "rc 2: The broker , rc 2: The broker , \n"}};
    for (const auto &[scene, told] : scenes) {
        setenv("CIMSIM_SCENE", scene, 1);
        EXPECT_EXIT(tell_scene(), testing::ExitedWithCode(0), told) << scene;
    }
    unsetenv("CIMSIM_SCENE");
}

} // namespace
