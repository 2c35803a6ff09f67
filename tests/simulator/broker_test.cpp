// broker_test.cpp - connecting, exchanges, scripted answers, and a broker that is away, hangs or was
// restarted.
#include "raw.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <future>
#include <thread>
#include <unistd.h>
#include <utility>

using namespace raw;

namespace {

std::atomic<int> pipes;

// How many SIGPIPEs the program was sent by what is done, on whatever thread.
template <class Work>
int signals(Work work) {
    std::signal(SIGPIPE, [](int) { ++pipes; });
    pipes = 0;
    work();
    return pipes;
}

class Broker : public Raw {
protected:
    // The status of each kind of exchange on a client, "0011"; `spoken` collects the messages.
    std::string exchanges(CMCIClient *on, std::string *spoken = nullptr) {
        const auto at = path(), of = job_path("job"), job_service = service("VELK_JobService");
        const Own<CMPIArgs> in(native_new_CMPIArgs(nullptr));
        in->ft->addArg(in.get(), "JobID", value("job"), CMPI_chars);
        std::string codes;
        const auto note = [&](bool made) {
            EXPECT_EQ(made, st.rc == CMPI_RC_OK);
            codes += std::to_string(st.rc);
            if (st.msg != nullptr) {
                if (spoken != nullptr)
                    *spoken = text(st.msg);
                release(st.msg);
            }
        };
        const auto read = [&](auto *made) {
            note(made != nullptr);
            if (made != nullptr)
                release(made);
        };
        read(on->ft->getClass(on, at.get(), 0, nullptr, &st));
        read(on->ft->getInstance(on, of.get(), 0, nullptr, &st));
        read(on->ft->enumInstances(on, at.get(), 0, nullptr, &st));
        note(on->ft->invokeMethod(on, job_service.get(), "SetupJobQueue", in.get(), nullptr, &st).type !=
             CMPI_null);
        return codes;
    }
};

TEST_F(Broker, IsOnThisMachineAndAskedForByName) {
    const auto tried = [&](const char *host, const char *scheme, const char *port, const char *transport) {
        transport == nullptr ? unsetenv("SFCC_CLIENT") : setenv("SFCC_CLIENT", transport, 1);
        testing::internal::CaptureStderr();
        CMCIClient *const made = cmciConnect(host, scheme, port, "user", "secret", &st);
        EXPECT_EQ(made == nullptr, st.rc == CMPI_RC_ERR_FAILED);
        const std::string said = testing::internal::GetCapturedStderr();
        if (made != nullptr)
            release(made);
        EXPECT_EQ(made == nullptr, !said.empty());
        return said;
    };
    EXPECT_EQ(tried("example", "http", "5988", nullptr), ""); // nothing is asked while a client is open
    release(client);
    const std::string said = "cimsim: cmciConnect: ";
    EXPECT_EQ(tried("localhost", nullptr, nullptr, "SfcbLocal"), "");
    EXPECT_EQ(tried("example", nullptr, nullptr, "SfcbLocal"),
              said + "host: example, but in local mode it is: localhost\n");
    EXPECT_EQ(tried(nullptr, nullptr, nullptr, "SfcbLocal"),
              said + "host: not given, but in local mode it is: localhost\n");
    EXPECT_EQ(tried("localhost", "http", nullptr, "SfcbLocal"),
              said + "scheme: http, but in local mode it is: not given\n");
    EXPECT_EQ(tried("localhost", nullptr, "5988", "SfcbLocal"),
              said + "port: 5988, but in local mode it is: not given\n");
    EXPECT_EQ(tried("localhost", nullptr, nullptr, "XML"),
              said + "SFCC_CLIENT: XML, but in local mode it is: SfcbLocal\n");
    EXPECT_EQ(tried("localhost", nullptr, nullptr, nullptr),
              said + "SFCC_CLIENT: not given, but in local mode it is: SfcbLocal\n");
    client = connect();
}

TEST_F(Broker, AnswersWhatThereIs) {
    cimsim_add_job("one", "", CIMSIM_NEVER, 0, 0);
    cimsim_add_job("two", "", CIMSIM_NEVER, 0, 0);
    cimsim_add_software_identity("BIOS", nullptr, nullptr);
    std::string found;
    for (const auto &[name_space, class_name] :
         {std::pair("root/velk", "VELK_LifecycleJob"), std::pair("ROOT/velk", "velk_softwareidentity"),
          std::pair("root/velk", "VELK_QMService"), std::pair("root/velk", "VELK_ComputerSystem"),
          std::pair("root/velk", "X"), std::pair("x", "VELK_QMService")}) {
        const auto at = path(class_name, name_space);
        const Own<CMPIConstClass> known(client->ft->getClass(client, at.get(), 0, nullptr, &st));
        found += std::to_string(st.rc) + (known == nullptr ? "-" : "+");
        if (st.msg != nullptr)
            release(st.msg);
        const Own<CMPIEnumeration> all(client->ft->enumInstances(client, at.get(), 0, nullptr, &st));
        int count = 0;
        while (all != nullptr && all->ft->hasNext(all.get(), nullptr))
            count += all->ft->getNext(all.get(), nullptr).value.inst != nullptr;
        found += std::to_string(st.rc) + (all == nullptr ? "-" : std::to_string(count)) + " ";
        EXPECT_EQ(all == nullptr ? "0000:400 -" : shown(all->ft->getNext(all.get(), &st)), "0000:400 -");
        if (st.msg != nullptr)
            release(st.msg);
    }
    EXPECT_EQ(found, "0+02 0+01 0+01 0+00 6-5- 3-3- ");

    // One instance, whole or filtered.
    EXPECT_EQ(property("x", "Name"), "no job");
    EXPECT_EQ(property("one", "X"), "0000:400 -");
    EXPECT_EQ(st.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
    char name[] = "name", status[] = "JobStatus";
    char *names[] = {name, status, nullptr};
    for (const auto &[list, count] :
         {std::pair(names + 0, 2U), std::pair(names + 2, 0U), std::pair<char **, unsigned>(nullptr, 10)}) {
        const auto at = job_path("one");
        const Own<CMPIInstance> job(
            client->ft->getInstance(client, at.get(), CMPI_FLAG_LocalOnly, list, &st));
        EXPECT_EQ(job->ft->getPropertyCount(job.get(), nullptr), count);
        EXPECT_EQ(job->ft->setProperty(job.get(), "new", value("v"), CMPI_chars).rc, CMPI_RC_OK);
        CMPIString *last = nullptr;
        EXPECT_EQ(shown(job->ft->getPropertyAt(job.get(), count, &last, nullptr)), "1600:0 v");
        EXPECT_EQ(text(last), "new");
    }
    const cimsim_request *const request = cimsim_last_request();
    EXPECT_EQ(std::string(request->operation) + " " + request->user + " " + request->name_space + " " +
                  request->class_name + " " + request->method + std::to_string(request->flags) + " " +
                  request->keys[0].name + "=" + request->keys[0].text,
              "getInstance guest01ff root/velk VELK_LifecycleJob 1 InstanceID=one");
    EXPECT_EQ(request->key_count * 10 + request->argument_count, 10U);
    const auto service_at = service("VELK_JobService");
    const Own<CMPIInstance> whole(client->ft->getInstance(client, service_at.get(), 0, nullptr, nullptr));
    EXPECT_EQ(shown(whole->ft->getProperty(whole.get(), "SystemName", nullptr)), "1600:0 Tavix");
}

TEST_F(Broker, KeepsOddPropertiesAndElements) {
    cimsim_add_job("job", "", CIMSIM_NEVER, 0, 0);
    cimsim_set_job_property("job", "NAME", cimsim_number(CMPI_uint8, 5));
    cimsim_set_job_property("job", "message", nullptr);
    EXPECT_EQ(property("job", "Name") + property("job", "Message"), "0080:0 50000:400 -");
    cimsim_add_element(0, cimsim_string("first"));
    cimsim_add_element(1, cimsim_string("last"));
    cimsim_add_element(1, cimsim_with_state(cimsim_chars("later"), CMPI_badValue));
    cimsim_add_element(0, cimsim_no_object(CMPI_instance));
    cimsim_add_element(9, cimsim_number(CMPI_uint8, 9));
    const auto at = path();
    const Own<CMPIEnumeration> all(client->ft->enumInstances(client, at.get(), 0, nullptr, nullptr));
    std::string elements;
    while (all->ft->hasNext(all.get(), nullptr))
        elements += shown(all->ft->getNext(all.get(), nullptr)) + ", ";
    EXPECT_EQ(elements, "1600:0 first, 1000:0 NULL, 1000:0 object, 1600:0 last, 1700:8000 later, 0080:0 9, ");
}

TEST_F(Broker, RefusesUsersAndFillsUpperBits) {
    cimsim_add_job("job", "", CIMSIM_NEVER, 0, 0);
    EXPECT_EQ(exchanges(client), "0000");
    EXPECT_EQ(cimsim_request_count(), 4U);
    cimsim_refuse_user("guest01ff");
    std::string message;
    EXPECT_EQ(exchanges(client, &message), "2222");
    EXPECT_EQ(message, "The broker refuses the user \"guest01ff\".");
    const Own<CMCIClient> other(connect("other"));
    EXPECT_EQ(exchanges(other.get()), "0000");
    for (const int on : {1, 0}) {
        cimsim_set_garbage(on);
        cimsim_answer_return(cimsim_number(CMPI_uint32, 7)); // a script is not refused
        const CMPIUint32 whole = call().value.uint32;
        EXPECT_EQ(whole & 0xffffffff, 7U);
        EXPECT_EQ(whole != 7, on == 1 && sizeof(CMPIUint32) > 4);
        cimsim_answer_return(cimsim_number(CMPI_uint16, 7));
        EXPECT_EQ(shown(call()), "0090:0 7");
    }
}

// A script is the whole answer to the next method call. Who judges by the state can free what he owns.
TEST_F(Broker, AnswersByScript) {
    const auto returns = [](cimsim_value *value) { cimsim_answer_return(value); };
    const auto check = [&](const char *wanted, bool owned) {
        const Own<CMPIArgs> out(native_new_CMPIArgs(nullptr));
        const unsigned long before = cimsim_owned();
        const CMPIData data = call(out.get());
        const std::string message = st.msg == nullptr ? "-" : text(st.msg);
        if (st.msg != nullptr)
            release(st.msg);
        EXPECT_EQ(std::to_string(st.rc) + " " + message + " " + shown(data) + " " +
                      shown(out->ft->getArg(out.get(), "out", nullptr)),
                  wanted);
        EXPECT_EQ(cimsim_owned(), before + owned) << wanted;
        if (owned)
            release(data.value.string);
    };
    cimsim_answer_output("Out", cimsim_string("o"));
    check("0 - 00a0:0 0 1600:0 o", false);
    cimsim_answer_status(CMPI_RC_ERR_FAILED, nullptr);
    check("1 - 0000:400 - 0000:400 -", false);
    cimsim_answer_status(CMPI_RC_ERR_FAILED, "no");
    cimsim_answer_output("Out", cimsim_string("o"));
    returns(cimsim_string("r"));
    check("1 no 1600:0 r 1600:0 o", true);
    returns(cimsim_with_state(cimsim_string("r"), CMPI_keyValue));
    check("0 - 1600:200 r 0000:400 -", true);
    returns(cimsim_with_state(cimsim_string("r"), CMPI_badValue));
    check("0 - 1600:8000 r 0000:400 -", false);
    check("0 - 00a0:0 2 0000:400 -", false); // the service is asked again
}

TEST_F(Broker, IsGoneUntilEveryClientWasReleased) {
    cimsim_add_job("job", "", CIMSIM_NEVER, 0, 0);
    const struct {
        void (*away)();
        int calls, connects, releases; // signals, each from four exchanges, from connecting, from releasing
    } rows[] = {{[] { cimsim_restart_broker(CIMSIM_PIPE_CALLS); }, 4, 0, 0},
                {[] { cimsim_restart_broker(CIMSIM_PIPE_CALLS | CIMSIM_PIPE_CONNECT); }, 4, 1, 0},
                {[] { cimsim_restart_broker(CIMSIM_PIPE_RELEASE); }, 0, 0, 1},
                {[] { cimsim_set_reachable(0); }, 4, 0, 0}};
    for (const auto &row : rows) {
        const auto dead = row.calls == 0 ? "0000" : "1111";
        std::string said, *const message = row.calls == 0 ? nullptr : &said;
        cimsim_count_misuse(1);
        row.away();
        EXPECT_EQ(signals([&] { EXPECT_EQ(exchanges(client, message), dead); }), row.calls);
        EXPECT_EQ(cimsim_misuses(), row.calls == 0 ? 0U : 1U);
        EXPECT_EQ(said, row.calls == 0 ? "" : "The connection to the broker is lost.");
        CMCIClient *beside = nullptr;
        EXPECT_EQ(signals([&] { beside = connect(); }), row.connects);
        ASSERT_EQ(beside == nullptr, row.connects == 1);
        cimsim_set_reachable(1); // the others stay dead
        if (beside != nullptr) {
            EXPECT_EQ(signals([&] { EXPECT_EQ(exchanges(beside), dead); }), row.calls);
            EXPECT_EQ(signals([&] { release(beside); }), row.releases);
        }
        EXPECT_EQ(signals([&] { EXPECT_EQ(exchanges(client), dead); }), row.calls);
        EXPECT_EQ(signals([&] { release(client); }), row.releases);
        EXPECT_EQ(signals([&] { client = connect(); }), 0);
        EXPECT_EQ(signals([&] { EXPECT_EQ(exchanges(client), "0000"); }), 0);
    }
    // Taken back, and met once by the first who connects; a program that does not look after it dies.
    cimsim_count_misuse(1);
    cimsim_restart_broker(CIMSIM_PIPE_CALLS);
    cimsim_restart_broker(0);
    EXPECT_EQ(exchanges(client), "0000");
    release(client);
    cimsim_restart_broker(CIMSIM_PIPE_CONNECT);
    EXPECT_EQ(signals([&] { EXPECT_EQ(connect(), nullptr); }), 1);
    EXPECT_EQ(signals([&] { client = connect(); }), 0);
    cimsim_set_reachable(0);
    EXPECT_EXIT((std::signal(SIGPIPE, SIG_DFL), exchanges(client)), testing::KilledBySignal(SIGPIPE), "");
    release(client);
    EXPECT_EQ(connect(), nullptr);
    cimsim_set_reachable(1);
    client = connect();
    EXPECT_EQ(exchanges(client), "0000");
}

// Answers are held back by simulated time, the frozen one's and the wall clock's; meanwhile exchanges on the
// same client overlap, on another they do not.
TEST_F(Broker, HoldsItsAnswersBack) {
    const auto at = path();
    std::atomic<unsigned> answered{0};
    const auto ask = [&](CMCIClient *on) {
        return std::async(std::launch::async, [&, on] {
            const Own<CMPIEnumeration> jobs(on->ft->enumInstances(on, at.get(), 0, nullptr, nullptr));
            ++answered;
        });
    };
    const auto asked = [](unsigned long times) {
        while (cimsim_request_count() < times)
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    };
    const Own<CMCIClient> other(connect());
    cimsim_hold_answers(10000);
    {
        const auto first = ask(client);
        asked(1);
        const auto second = ask(other.get());
        asked(2);
        EXPECT_EQ(cimsim_overlaps(), 0U);
        const auto third = ask(client);
        asked(3);
        EXPECT_EQ(cimsim_overlaps(), 1U);
        cimsim_advance(9);
        asked(3);
        EXPECT_EQ(answered, 0U);
        cimsim_advance(1);
    }
    EXPECT_EQ(answered, 3U);
    {
        const auto fourth = ask(client);
        asked(4);
        EXPECT_EQ(answered, 3U);
        cimsim_reset();
    }
    cimsim_count_misuse(1); // the clock goes on with the wall's
    cimsim_hold_answers(50);
    const auto begin = std::chrono::steady_clock::now();
    ask(client).wait();
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(49));
    cimsim_hold_answers(3'600'000);
    const auto fifth = ask(client);
    asked(2);
    EXPECT_EQ(answered, 5U);
    cimsim_advance(3600);
}

// What the process finds at its start.
[[noreturn]] void tell_scene() {
    Session session;
    session.client = connect("operator");
    std::string told = session.client == nullptr ? "no broker" : "";
    cimsim_job job;
    for (unsigned i = 0; session.client != nullptr && cimsim_job_at(i, &job) == 0; ++i)
        told += std::string(job.InstanceID) + " " + job.Name + " " + job.JobStatus + ", ";
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
    _exit(0);
}

// The statement runs in a new process, with this in its environment when the library is loaded.
TEST(ControllerDeathTest, IsSetUpByTheEnvironment) {
    if (const char *emulator = getenv("XAVO_EMULATOR"); emulator != nullptr && *emulator != '\0')
        GTEST_SKIP() << "GoogleTest starts the new process without the emulator";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string jobs = "^JID_1 Update of the BIOS New, JID_2 Update of a network card New, "
                             "JID_3 Nightly restart Scheduled, ";
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
