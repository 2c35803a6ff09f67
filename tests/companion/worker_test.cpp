// The worker by its protocol: each test starts the program as the library does, on a scene of its own.
#include "../table.h"
#include "protocol.h"
#include "support.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace xavo_companion;

namespace {

constexpr int LIMIT_MS = 20000; // an emulator is slow

void pause_ms(int milliseconds) { poll(nullptr, 0, milliseconds); }

// A request from text: "DELETE_JOB id=JID_1" has an operation and members of XAVO_Request by their names. The
// words job_ids, image and share have no value; the image has a password. in=MS is the deadline, level=N the
// log level.
struct Words {
    explicit Words(const std::string &text) : words(test::split(text, ' ')) {
        static const std::map<std::string, const char *XAVO_Request::*> texts = {
            {"id", &XAVO_Request::id},
            {"user", &XAVO_Request::user},
            {"class_name", &XAVO_Request::class_name},
            {"start_time", &XAVO_Request::start_time},
            {"uri", &XAVO_Request::uri},
            {"reboot_type", &XAVO_Request::reboot_type}};
        const XAVO_Request usual = test::request(0, nullptr);
        request.operation = std::atoi(text.c_str());
        request.job_ids = text.find(" job_ids") != text.npos ? usual.job_ids : nullptr;
        request.image = text.find(" image") != text.npos ? usual.image : nullptr;
        request.share = text.find(" share") != text.npos ? usual.share : nullptr;
        for (const int operation : test::OPERATIONS)
            if (words[0] == XAVO_operation_name(operation))
                request.operation = operation;
        for (const std::string &word : words) {
            const std::string name = word.substr(0, word.find('='));
            const char *value = word.c_str() + word.find('=') + 1;
            if (name == "in")
                deadline = test::now_ms() + std::atoi(value);
            else if (name == "level")
                level = std::atoi(value);
            else if (texts.count(name) > 0)
                request.*texts.at(name) = value;
        }
    }
    Words(const Words &) = delete;

    const test::Row words;
    XAVO_Request request = {};
    int64_t deadline = test::now_ms() + 3600000;
    int level = 0;
};

std::string describe(const XAVO_Instance &instance) {
    std::string text = instance.class_name;
    for (size_t i = 0; i < instance.count; ++i) {
        const XAVO_Property &property = instance.properties[i];
        text += std::string(" ") + property.name + ":" + property.type + (property.is_array ? "[]=" : "=") +
                (property.is_null ? "-" : "");
        for (size_t k = 0; k < property.count; ++k)
            text += (k > 0 ? "," : "") + std::string(property.text[k] != nullptr ? property.text[k] : "-");
    }
    return "{" + text + "}";
}

// "NO_ERROR NONE jobs=JID_1,JID_2": code, kind, and each part that is not 0, empty or missing.
std::string describe(const XAVO_Answer &answer, const AnswerExtra &extra) {
    std::ostringstream text;
    text << XAVO_code_name(answer.code) << " " << XAVO_kind_name(answer.kind);
    if (answer.status != 0)
        text << " status=" << answer.status;
    if (answer.has_return_value)
        text << " return=" << answer.return_value;
    for (const auto &[name, value] :
         {std::pair("id", answer.message_id), {"message", answer.message}, {"job", answer.job_id}})
        if (value != nullptr)
            text << " " << name << "=" << value;
    const char *before = " jobs=";
    for (const XAVO_VELK_LifecycleJob *job = answer.jobs; job != nullptr; job = job->next, before = ",")
        text << before << job->InstanceID;
    for (size_t i = 0; i < answer.instance_count; ++i)
        text << " " << describe(answer.instances[i]);
    if (answer.unreadable != 0)
        text << " unreadable=" << answer.unreadable;
    text << ((extra.flags & FLAG_STALE) != 0 ? " stale" : "")
         << ((extra.flags & FLAG_REPLACE) != 0 ? " replace" : "");
    return text.str();
}

class Worker : public testing::Test {
protected:
    // Starts a worker on a scene (none: the demonstration controller).
    void start(const std::string &scene = "") {
        finish();
        std::ofstream(path) << "# a scene\n" << scene;
        setenv("CIMSIM_SCENE", path.c_str(), 1);
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        if (buffer != 0)
            setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &buffer, sizeof buffer);
        socket = ends[0];
        const int memory = static_cast<int>(syscall(SYS_memfd_create, "test", 1U));
        ASSERT_EQ(ftruncate(memory, 4096), 0);
        shared = static_cast<Shared *>(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0));
        const int pidfd = static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0));
        pid = fork();
        if (pid == 0) {
            const int sources[] = {fcntl(ends[1], F_DUPFD, 20), fcntl(memory, F_DUPFD, 20),
                                   fcntl(pidfd, F_DUPFD, 20)};
            setsid();
            for (int i = 0; i < 3; ++i)
                if (dup2(sources[i], WORKER_SOCKET + i) < 0)
                    close(WORKER_SOCKET + i);
            execl("/bin/sh", "sh", "-c", "exec $XAVO_EMULATOR '" XAVO_WORKER "'", nullptr);
            _exit(127);
        }
        close(ends[1]);
        close(memory);
        close(pidfd);
    }

    void start_and_load(const std::string &scene = "") {
        start(scene);
        EXPECT_EQ(receive(), "HELLO");
    }

    // The next frame: "HELLO", "FAILED text", "log LEVEL text", an answer, or "end".
    std::string receive() {
        pollfd waiting = {socket, POLLIN, 0};
        Frame *frame = nullptr;
        if (poll(&waiting, 1, LIMIT_MS) != 1)
            return "nothing";
        const Receiver::Result result = receiver.receive(socket, 0, &frame);
        if (result != Receiver::FRAME)
            return result == Receiver::END ? "end" : "broken";
        XAVO_Answer answer = {};
        AnswerExtra extra;
        EXPECT_EQ(decode_answer(frame, &answer, &extra), DECODED);
        std::string text = frame->type == FRAME_HELLO    ? "HELLO"
                           : frame->type == FRAME_FAILED ? std::string("FAILED ") + answer.message
                           : frame->type == FRAME_LOG
                               ? "log " + std::to_string(answer.status) + " " + answer.message
                               : describe(answer, extra);
        if (frame->type == FRAME_ANSWER) {
            EXPECT_EQ(extra.sequence, sequence);
            lost_lines = answer.lost_lines;
        }
        free_frame(frame);
        return text;
    }

    void send(const std::string &text) {
        const Words words(text);
        Writer writer(FRAME_REQUEST);
        write_request(&writer, words.request, static_cast<uint64_t>(words.deadline), words.level);
        ASSERT_TRUE(writer.finish());
        set_sequence(writer.data(), ++sequence);
        open_claim(shared, sequence);
        send_bytes(writer.data(), writer.size());
    }
    void send_bytes(const char *data, size_t size) {
        EXPECT_EQ(::send(socket, data, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
    }

    // Sends a request. Returns the answer, with " claimed" if the worker claimed the invocation.
    std::string call(const std::string &text) {
        send(text);
        const std::string answer = receive();
        return answer + (shared->claim == (sequence << 2 | CLAIM_WORKER) ? " claimed" : "");
    }

    // Runs one step of a row, and returns its result.
    std::string step(const std::string &text) {
        const std::string rest = text.substr(text.find(' ') + 1);
        if (text == "receive") {
            std::string frame = receive();
            if (frame.rfind("log ", 0) == 0) // without file and line
                frame.erase(6, frame.rfind(',', frame.find(": ")) - 5);
            return frame;
        }
        if (text == "claim")
            return claim(shared, sequence, CLAIM_CALLER) ? "not claimed" : "claimed";
        if (text.rfind("run ", 0) == 0)
            EXPECT_EQ(wait_for_end(std::stoi(rest)), -1);
        else if (text.rfind("send ", 0) == 0)
            send(rest);
        else
            return call(text);
        return "";
    }

    // Waits for the worker's end. Returns its status, or -1 if it still runs.
    int wait_for_end(int limit_ms = LIMIT_MS) {
        int status;
        for (const int64_t until = test::now_ms() + limit_ms; pid > 0 && test::now_ms() < until; pause_ms(2))
            if (waitpid(pid, &status, WNOHANG) == pid) {
                pid = -1;
                return status;
            }
        return -1;
    }

    // Closes the socket, so that the worker ends. Returns its status.
    int finish() {
        if (socket < 0)
            return 0;
        close(std::exchange(socket, -1));
        munmap(shared, 4096);
        receiver.reset();
        const int status = pid > 0 ? wait_for_end() : 0;
        EXPECT_TRUE(WIFEXITED(status) || WTERMSIG(status) == SIGKILL) << status;
        return status;
    }
    void TearDown() override {
        finish();
        unsetenv("CIMSIM_SCENE");
        unlink(path.c_str());
    }

    int socket = -1, buffer = 0;
    pid_t pid = -1;
    Shared *shared = nullptr;
    uint32_t sequence = 0;
    unsigned long lost_lines = 0;

private:
    Receiver receiver;
    const std::string path = testing::TempDir() + "worker_test." + std::to_string(getpid()) + ".scene";
};

// ---- Answers

using Answers = Worker;

TEST_F(Answers, AreThoseOfTheTable) {
    for (const test::Row &row : test::table("requests.txt")) {
        SCOPED_TRACE(row.where + ": " + row[1]);
        std::thread([&] { start_and_load(row[0]); }).join(); // the worker must not end with this thread
        const std::string &expected = row[2];
        std::string actual;
        const auto add = [&](const std::string &text) {
            actual += (actual.empty() || text.empty() ? "" : "; ") + text;
        };
        std::istringstream steps(row[1]);
        for (std::string text; std::getline(steps >> std::ws, text, ';');)
            add(step(text));
        const rlimit none = {1, 1};
        rlimit core = none;
        EXPECT_EQ(prlimit(pid, RLIMIT_CORE, nullptr, &core), 0);
        EXPECT_LE(core.rlim_max, none.rlim_max);
        const int status = finish();
        EXPECT_TRUE(status == 0 || status == SIGKILL) << status; // 0: everything released, and by itself
        add(status == 0 ? "" : "killed");
        EXPECT_EQ(expected, actual);
    }
}

TEST_F(Answers, AreNeverLongerThanAFrame) {
    start_and_load("property JID_2 Message \"" + std::string(70000000, 'x') + "\"");

    const std::string replace = test::SANITIZED ? "" : " replace"; // their heap counts nothing
    EXPECT_EQ(call("LIST_JOBS"), "UNKNOWN_ERROR ANSWER_UNUSABLE" + replace);
    EXPECT_EQ(call("GET_JOB id=JID_1"), "NO_ERROR NONE jobs=JID_1" + replace);
}

// ---- The log

using Log = Worker;

TEST_F(Log, HasLongLinesOfWhichTheLongestAreCut) {
    start_and_load();
    for (const size_t length : {2000U, 20000U}) {
        send("DELETE_JOB level=2 id=" + std::string(length, 'x'));
        receive();
        receive();
        const std::string line = receive();
        EXPECT_NE(line.find("ERROR: Message=[There is no job x"), std::string::npos);
        EXPECT_TRUE(length > 16384 ? line.size() == 16389 : line.size() > length && line.back() == ']')
            << line.size();
        receive();
    }
}

TEST_F(Log, IsDroppedAndCountedWhereTheSocketIsFull) {
    constexpr unsigned long lines = 60;
    std::string scene = "empty\nfault CMPIString.getCharPtr 1 from\n";
    for (unsigned long i = 0; i < lines; ++i)
        scene += "job J" + std::to_string(i) + "\n";
    buffer = 4608;
    start_and_load(scene);
    send("LIST_JOBS level=2");
    pause_ms(1000);
    unsigned long received = 0;
    std::string text;
    for (text = receive(); text.rfind("log 2 ", 0) == 0; text = receive())
        ++received;
    EXPECT_EQ(text, "NO_ERROR NONE unreadable=60");
    EXPECT_GT(received, 0U);
    EXPECT_GT(lost_lines, 0U);
    EXPECT_EQ(received + lost_lines, lines);
}

// ---- The end

using End = Worker;

TEST_F(End, FollowsAFrameThatIsNotValid) {
    Words words("SETUP_JOB_QUEUE start_time=NOW job_ids share");
    Writer writer(FRAME_REQUEST);
    write_request(&writer, words.request, static_cast<uint64_t>(words.deadline), 0);
    ASSERT_TRUE(writer.finish());
    // Changes one byte of a frame. The worker may end, answer, or wait for the rest, but not crash.
    for (size_t at = 0; at < writer.size(); at += at < 200 ? 7 : 97) {
        SCOPED_TRACE(at);
        start_and_load();
        std::string frame(writer.data(), writer.size());
        frame[at] = static_cast<char>(frame[at] ^ 0xff);
        send_bytes(frame.data(), frame.size());
        pollfd answer = {socket, POLLIN, 0};
        poll(&answer, 1, 50);
        const int status = finish();
        EXPECT_TRUE(status == 0 || status == SIGKILL) << status;
    }
    start();
    Writer answer(FRAME_ANSWER);
    ASSERT_TRUE(answer.finish());
    send_bytes(answer.data(), answer.size());
    EXPECT_EQ(wait_for_end(), 0);
}

// ---- The start

using Start = Worker;

TEST_F(Start, ReportsWhatCannotBeLoaded) {
    if (test::SANITIZED)
        GTEST_SKIP() << "a sanitizer's loader does not look in LD_LIBRARY_PATH first";
    const std::string folder = testing::TempDir() + "worker_test." + std::to_string(getpid());
    const std::string library = folder + "/libxavo.so.1";
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    std::ofstream(library) << "no library";
    const struct {
        std::string folder;
        const char *only;
        std::string expected;
    } rows[] = {
        {folder, "", "FAILED " + library + ": file too short"},
        {FOREIGN_CLIENT, "", "HELLO"},
        {FOREIGN_CLIENT, "1", "FAILED the client library is not the simulator, which CIMSIM_ONLY asks for"},
        {"/", "1", "HELLO"},
    };
    for (const auto &row : rows) {
        setenv("LD_LIBRARY_PATH", row.folder.c_str(), 1);
        setenv("CIMSIM_ONLY", row.only, 1);
        start();
        EXPECT_EQ(receive(), row.expected);
    }
    unsetenv("LD_LIBRARY_PATH");
    EXPECT_EQ(WEXITSTATUS(std::system("$XAVO_EMULATOR '" XAVO_WORKER "' 2>/dev/null")), 2);
    unsetenv("CIMSIM_ONLY");
    unlink(library.c_str());
    rmdir(folder.c_str());
}

} // namespace
