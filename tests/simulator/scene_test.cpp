// scene_test.cpp - the controller as text: scenes that a process begins with, and states that several share.
// What a process finds is read when the simulator is loaded, so each test makes processes of this program.
#include "raw.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

using namespace raw;

namespace {

class Texts : public testing::Test {
protected:
    Texts() {
        char name[] = "/tmp/cimsim_test_XXXXXX";
        folder = mkdtemp(name);
    }
    ~Texts() override { EXPECT_EQ(system(("rm -r " + folder).c_str()), 0); }

    std::string write(const std::string &name, const std::string &text) const {
        std::ofstream(folder + "/" + name) << text;
        return folder + "/" + name;
    }
    std::string read(const std::string &name) const {
        std::ifstream file(folder + "/" + name);
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }
    // What a process of its own prints and says that asks what `probe` tells it to, after its exit status.
    std::string process(const std::string &environment, const std::string &probe) const {
        const std::string command =
            environment + " RAW_PROBE='" + probe + "' " + program() + " 2>&1; echo status $?";
        FILE *const pipe = popen(command.c_str(), "r");
        std::string out;
        for (char block[256]; fgets(block, sizeof block, pipe) != nullptr;)
            out += block;
        pclose(pipe);
        return out;
    }
    // This program, as a command: on another processor an emulator's.
    static std::string program() {
        char path[4096];
        const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
        const char *const emulator = getenv("XAVO_EMULATOR");
        return (emulator == nullptr ? "" : emulator + std::string(" ")) +
               std::string(path, static_cast<size_t>(length));
    }
    std::string state() const { return "CIMSIM_STATE=" + folder + "/state"; }

    std::string folder;
};

// ---- The other processes -----------------------------------------------------------------------------

std::string list(CMCIClient *client, const char *class_name) {
    CMPIStatus st = {};
    const auto where = path(class_name);
    const Own<CMPIEnumeration> all(client->ft->enumInstances(client, where.get(), 0, nullptr, &st));
    std::string text = st.rc == CMPI_RC_OK ? "" : "rc " + std::to_string(st.rc) + "\n";
    while (all != nullptr && all->ft->hasNext(all.get(), nullptr) != 0) {
        CMPIInstance *found = all->ft->getNext(all.get(), nullptr).value.inst;
        for (unsigned i = 0; i < found->ft->getPropertyCount(found, nullptr); ++i) {
            CMPIString *name = nullptr;
            const CMPIData data = found->ft->getPropertyAt(found, i, &name, nullptr);
            text += (i == 0 ? "" : ", ") + raw::text(name) + " " + shown(data);
        }
        text += "\n";
    }
    return text;
}

// Runs instead of the tests where RAW_PROBE says what to do: "list CLASS", "add N", "restart", "hold".
__attribute__((constructor)) void probe() {
    const char *const what = getenv("RAW_PROBE");
    if (what == nullptr)
        return;
    const std::string words = what, first = words.substr(0, words.find(' ')),
                      rest = words.substr(std::min(words.size(), first.size() + 1));
    if (first == "add")
        for (int i = 0; i < 25; ++i)
            cimsim_add_job((rest + "_" + std::to_string(i)).c_str(), "", CIMSIM_NEVER, 1, 0);
    if (first == "restart")
        cimsim_restart_broker(CIMSIM_PIPE_CALLS);
    if (first == "advance")
        cimsim_advance(5);
    if (first == "list") {
        CMCIClient *const client = connect();
        fputs(client == nullptr ? "no broker\n" : list(client, rest.c_str()).c_str(), stdout);
    }
    exit(0);
}

// ---- The tests ----------------------------------------------------------------------------------------

const char *const SCENE = R"(# everything there is
empty
clock frozen=1770000000000
job "A \"job\"\n\x01\xe9" name=first start=0 runs=10 fails message="The disk is full." until=20990101000000
property "A \"job\"\n\x01\xe9" Message uint16:5
property later Name null
job later name="not this"
software BIOS name="The BIOS" version=1.2
software NIC
class TEST_Class Key
instance TEST_Class Key=uint16:1 Real=real64:-1.5 When=datetime:"20260101000000.000000+000" Signed=sint8:-2 No=null:uint32
)";

TEST_F(Texts, AScenesControllerIsFound) {
    const std::string scene = "CIMSIM_SCENE=" + write("scene", SCENE);
    const std::string jobs = process(scene, "list VELK_LifecycleJob");
    for (const char *part : {"InstanceID 1600:0 A \"job\"\n\x01\xe9, ", "JobUntilTime 1600:0 20990101000000",
                             "JobStatus 1600:0 Running", "Message 0090:0 5", "InstanceID 1600:0 later",
                             "JobStatus 1600:0 New", "Name 1600:100 blank\nstatus 0"})
        EXPECT_NE(jobs.find(part), std::string::npos) << part << "\n" << jobs;
    EXPECT_EQ(process(scene, "list VELK_SoftwareIdentity"),
              "InstanceID 1600:0 BIOS, ElementName 1600:0 The BIOS, VersionString 1600:0 1.2\n"
              "InstanceID 1600:0 NIC, ElementName 1600:0 , VersionString 1600:0 \nstatus 0\n");
    EXPECT_EQ(process(scene, "list TEST_Class"),
              "Key 0090:0 1, Real 000c:0 13832806255468478464, When 1800:0 20260101000000.000000+000, "
              "Signed 00c0:0 254, No 00a0:100 0\nstatus 0\n");
    const std::string faults =
        write("faults", "refuse other01ff\nfault CMCIClient.enumInstances 1 rc=2 from\n");
    EXPECT_EQ(process("CIMSIM_SCENE=" + faults, "list VELK_LifecycleJob"), "rc 2\nstatus 0\n");
    EXPECT_EQ(process("CIMSIM_SCENE=" + write("u", "unreachable\n"), "list VELK_LifecycleJob"),
              "no broker\nstatus 0\n");
    EXPECT_EQ(process("CIMSIM_SCENE=refuse=guest01ff,empty", "list VELK_LifecycleJob"), "rc 2\nstatus 0\n");
    write("empty", "nonsense\n"); // a word, all the same
    EXPECT_EQ(process("cd " + folder + "; CIMSIM_SCENE=empty", "list VELK_LifecycleJob"), "status 0\n");
    EXPECT_EQ(process("CIMSIM_SCENE=refuse=guest01ff,nonsense", "list VELK_LifecycleJob"),
              "cimsim: CIMSIM_SCENE: unknown word \"nonsense\"\nrc 2\nstatus 0\n");
}

TEST_F(Texts, AMistakeInASceneEndsTheProgramWithItsLine) {
    const std::pair<const char *, const char *> rows[] = {
        {"nonsense", "there is no statement \"nonsense\""},
        {"job", "job: it takes 1 word, not 0"},
        {"job a b", "job: it takes 1 word, not 2"},
        {"job a color=red", "job: there is no option \"color\""},
        {"job a fails=0", "job: fails takes no value"},
        {"job a runs=long", "job: \"long\" is no number"},
        {"job a runs=\"5\"", "job: \"5\" is no number"},
        {"job a task=cleaning", "job: task is backup, restore or other"},
        {"job a\njob a", "job: there is a job \"a\" already"},
        {"job \"a", "a quotation mark is missing"},
        {"job \"\\q\"", "a backslash is followed by \\, \", n or x and two hexadecimal digits"},
        {"job \"\\x4", "a backslash is followed by \\, \", n or x and two hexadecimal digits"},
        {"a=b", "a line begins with the name of a statement"},
        {"property a b c", "property: \"c\" is no value: it takes \"text\", null, lacking or TYPE:VALUE"},
        {"property a b uint8:x", "property: \"x\" is no number"},
        {"property a b uint8:256", "property: \"256\" is no uint8"},
        {"property a b array:uint9", "property: an array is array:\"TYPE VALUE...\""},
        {"property a b reference:space", "property: a reference is NAMESPACE CLASS KEY=VALUE..."},
        {"property a b instance:\"\\n\"", "property: \"\n\" is not one line"},
        {"job a runs=1 runs=2", "job: runs is given twice"},
        {"hold -1", "hold: -1 is not between 0 and 4294967295"},
        {"job a number=5\njob b number=5", "job: 5 is not between 6 and 2000000000"},
        {"numbers jobs=9\nnumbers jobs=8", "numbers: 8 is not between 9 and 2000000000"},
        {"job a at=999999999999999999", "job: 999999999999999999 is not between -100000000000000000 and "
                                        "100000000000000000"},
        {"class VELK_LifecycleJob", "class: there is a class \"VELK_LifecycleJob\" already"},
        {"instance TEST_None", "instance: no class \"TEST_None\" was added, or one of its keys is missing"},
        {"fault CMPIArgs.addArgument 1", "fault: there is no slot \"CMPIArgs.addArgument\""},
        {"share a b", "share: it takes 3 words, not 2"},
    };
    for (const auto &[text, mistake] : rows) {
        const std::string scene = write("scene", std::string("# first\n\nlockdown\n") + text + "\n");
        const int line = std::string(text).find('\n') == std::string::npos ? 4 : 5;
        EXPECT_EQ(process("CIMSIM_SCENE=" + scene, "list VELK_LifecycleJob"),
                  "cimsim: CIMSIM_SCENE: " + scene + ":" + std::to_string(line) + ": " + mistake +
                      "\nstatus 2\n");
    }
    EXPECT_EQ(process("CIMSIM_SCENE=" + folder + "/none", "list VELK_LifecycleJob"),
              "cimsim: CIMSIM_SCENE: " + folder + "/none: No such file or directory\nstatus 2\n");
}

TEST_F(Texts, AStateIsFilledOnceAndKeepsEverything) {
    const std::string scene = "CIMSIM_SCENE=" + write("scene", SCENE) + " " + state();
    const std::string jobs = process(scene, "list VELK_LifecycleJob"), written = read("state");
    EXPECT_EQ(process(state(), "list VELK_LifecycleJob"), jobs);
    for (const char *name : {"VELK_SoftwareIdentity", "TEST_Class"})
        EXPECT_EQ(process(state(), std::string("list ") + name), process(scene, std::string("list ") + name));
    EXPECT_EQ(process("CIMSIM_SCENE=lockdown " + state(), "list VELK_LifecycleJob"), jobs);
    EXPECT_EQ(read("state"), written); // nothing has changed
    process(state(), "advance");
    EXPECT_NE(read("state").find("clock frozen=1770000005000\n"), std::string::npos);
    // Whatever stands in a state is written again as it is.
    const std::string all =
        "empty\nclock frozen=1000\ngeneration 7\nlimit 3\nlockdown\nunreachable\ngarbage\nhold 2\n"
        "refuse \"a\"\nrefuse \"b\"\nsoftware \"S\" name=\"n\" version=\"v\"\n"
        "share \"a\" \"b\" 2 user=\"u\" password=\"p\"\nshare \"a\" \"c\" 0\n"
        "class \"T\" \"K\"\ninstance \"T\" \"K\"=uint16:1 \"R\"=real32:0.5 \"N\"=null:string "
        "\"F\"=real64:1e-300"
        R"( "A"=array:"uint16 1 null 2" "S"=array:"string \"a b\" \"null\"" "E"=array:"datetime")"
        R"( "P"=reference:"\"n/s\" \"C\" \"K\"=\"\\\"v\" \"N\"=sint8:-2" "I"=instance:"\"C\"")"
        "\n"
        "job \"j\" number=4 name=\"n\" task=\"restore\" at=5 start-text=\"NOW\" runs-ms=7 message=\"m\" "
        "until=\"u\" fails\nproperty \"j\" \"Name\" lacking\njob \"k\" number=9 runs-ms=1\n"
        "property \"l\" \"Name\" \"x\\\"\\\\\\n\\x7f\"\nnext-job runs-ms=1 message=\"\" fails\nnext-job\n"
        "numbers jobs=9 ids=3\n";
    write("state", all + "# and a word on it\n");
    process("cd " + folder + "; CIMSIM_STATE=state", "list T");
    EXPECT_EQ(read("state"), all);
    process(state(), "add x");
    const std::string now = read("state");
    const size_t place = now.find("job \"x_0\"");
    ASSERT_NE(place, std::string::npos);
    EXPECT_EQ(now.substr(0, place), all.substr(0, all.find("property \"l\"")));
    EXPECT_NE(now.find(all.substr(all.find("property \"l\""), 60)), std::string::npos);
    EXPECT_NE(now.find("numbers jobs=34 ids=3\n"), std::string::npos);
}

TEST_F(Texts, ManyProcessesLoseNothing) {
    process("CIMSIM_SCENE=empty " + state(), "list VELK_LifecycleJob");
    std::string command;
    for (const char *who : {"a", "b", "c", "d"})
        command += state() + " RAW_PROBE='add " + who + "' " + program() + " & ";
    EXPECT_EQ(system((command + "wait").c_str()), 0);
    const std::string text = read("state");
    size_t jobs = 0;
    for (size_t at = 0; (at = text.find("\njob ", at)) != std::string::npos; ++at)
        ++jobs;
    EXPECT_EQ(jobs, 100U);
    EXPECT_EQ(access((folder + "/state.new").c_str(), F_OK), -1);
}

TEST_F(Texts, AStateThatCannotBeHadIsLeftAlone) {
    for (const char *text : {"empty\nnonsense\n", "empty\nlockdown", "", "fault any 1\n"}) {
        write("state", text);
        const std::string out = process(state(), "list VELK_LifecycleJob");
        EXPECT_EQ(out.find("cimsim: CIMSIM_STATE: " + folder + "/state:"), 0U) << out;
        EXPECT_NE(out.find("\nno broker\nstatus 0\n"), std::string::npos) << out;
        EXPECT_EQ(read("state"), text);
    }
    EXPECT_NE(process("CIMSIM_STATE=" + folder + "/none/state", "list VELK_LifecycleJob").find("no broker"),
              std::string::npos);
    EXPECT_EQ(system(("rm " + folder + "/state && mkdir " + folder + "/state.new").c_str()),
              0); // nowhere to write to
    const std::string out = process(state(), "list VELK_LifecycleJob");
    EXPECT_NE(out.find("state.new: Is a directory"), std::string::npos) << out;
    EXPECT_EQ(system(("rmdir " + folder + "/state.new").c_str()), 0);
}

// This process on one end, others on the other.
TEST_F(Texts, AnotherProcessRestartsTheBroker) {
    setenv("RAW_RESTART", (state() + " RAW_PROBE=restart " + program()).c_str(), 1);
    const std::string command =
        state() + " " + program() +
        " --gtest_filter=SharedState.* --gtest_also_run_disabled_tests --gtest_brief=1";
    EXPECT_EQ(system(command.c_str()), 0);
}

// Runs in the process that the test above makes.
TEST(SharedState, DISABLED_IsSeenByAllOfThem) {
    signal(SIGPIPE, SIG_IGN);
    CMCIClient *first = connect();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(list(first, "VELK_LifecycleJob").substr(0, 3), "Ins");
    ASSERT_EQ(system(getenv("RAW_RESTART")), 0);
    CMCIClient *second = connect(); // beside it: the same dead socket
    EXPECT_EQ(list(first, "VELK_LifecycleJob"), "rc 1\n");
    EXPECT_EQ(list(second, "VELK_LifecycleJob"), "rc 1\n");
    release(first);
    release(second);
    first = connect();
    EXPECT_EQ(list(first, "VELK_LifecycleJob").substr(0, 3), "Ins");
    EXPECT_EQ(cimsim_state_error(), nullptr);
    release(first);
    // Replaced by files alike in size and time; the second may get the number of the one that was read.
    const std::string path = getenv("CIMSIM_STATE");
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    struct stat seen = {};
    stat(path.c_str(), &seen);
    const timespec times[] = {seen.st_atim, seen.st_mtim};
    for (const char *id : {"JID_8", "JID_9"}) {
        std::ofstream(path + ".x") << text.str().replace(text.str().find("JID_1"), 5, id);
        utimensat(AT_FDCWD, (path + ".x").c_str(), times, 0);
        rename((path + ".x").c_str(), path.c_str());
    }
    cimsim_job job = {};
    cimsim_job_at(0, &job);
    EXPECT_STREQ(job.InstanceID, "JID_9");
}

} // namespace
