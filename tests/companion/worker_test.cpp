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
#include <vector>

using namespace xavo_companion;

namespace {

constexpr int PATIENCE_MS = 20000; // an emulator is slow

void pause_ms(int milliseconds) { poll(nullptr, 0, milliseconds); }

// A request from text: "DELETE_JOB id=JID_1", with the members of XAVO_Request by name (job_ids, image and
// share without a value; the image has a password), and in=MS, level=N.
struct Words {
    std::vector<std::string> texts;
    XAVO_Request request = {};
    int64_t deadline = test::now_ms() + 3600000;
    int level = 0;

    explicit Words(const std::string &text) {
        texts.reserve(64);
        std::istringstream words(text);
        std::string name;
        words >> name;
        for (int operation = 0; operation < 100; ++operation)
            if (name == XAVO_operation_name(operation))
                request.operation = operation;
        if (name.find_first_not_of("0123456789") == name.npos)
            request.operation = std::stoi(name);
        for (std::string word; words >> word;)
            set(word.substr(0, word.find('=')), word.substr(word.find('=') + 1));
    }
    Words(const Words &) = delete;

private:
    void set(const std::string &name, const std::string &value) {
        const XAVO_Request usual = test::request(0, nullptr);
        if (name == "in")
            deadline = test::now_ms() + std::stoll(value);
        else if (name == "level")
            level = std::stoi(value);
        else if (name == "job_ids")
            request.job_ids = usual.job_ids;
        else if (name == "image")
            request.image = usual.image;
        else if (name == "share")
            request.share = usual.share;
        else
            (name == "id"           ? request.id
             : name == "user"       ? request.user
             : name == "class_name" ? request.class_name
             : name == "name_space" ? request.name_space
             : name == "start_time" ? request.start_time
             : name == "until_time" ? request.until_time
             : name == "uri"        ? request.uri
                                    : request.reboot_type) = texts.emplace_back(value).c_str();
    }
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

// "NO_ERROR NONE jobs=JID_1,JID_2": what is not 0, empty or missing; NUL bytes in no text.
std::string describe(const XAVO_Answer &answer, const AnswerExtra &extra) {
    std::ostringstream text;
    text << XAVO_code_name(answer.code) << " " << XAVO_kind_name(answer.kind);
    const auto number = [&](const char *name, unsigned long value) {
        if (value != 0)
            text << " " << name << "=" << value;
    };
    number("status", static_cast<unsigned long>(answer.status));
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
    number("unreadable", answer.unreadable);
    if ((extra.flags & FLAG_STALE) != 0)
        text << " stale";
    if ((extra.flags & FLAG_REPLACE) != 0)
        text << " replace";
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
        if (pid == 0)
            become_worker(ends[1], memory, pidfd);
        close(ends[1]);
        close(memory);
        close(pidfd);
    }

    // The next frame: "HELLO", "FAILED text", "log LEVEL text", an answer, or "end".
    std::string receive() {
        pollfd waiting = {socket, POLLIN, 0};
        Frame *frame = nullptr;
        if (poll(&waiting, 1, PATIENCE_MS) != 1)
            return "nothing";
        const Receiver::Result result = receiver.receive(socket, 0, &frame);
        if (result != Receiver::FRAME)
            return result == Receiver::END ? "end" : "broken";
        XAVO_Answer answer = {};
        AnswerExtra extra;
        if (decode_answer(frame, &answer, &extra) != DECODED) {
            free_frame(frame);
            return "not valid";
        }
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

    // An answer to a request, with " claimed" when the worker claimed the invocation.
    std::string call(const std::string &text) {
        send(text);
        std::string answer = receive();
        if (answer == "HELLO")
            answer = receive();
        return answer + (shared->claim == (sequence << 2 | CLAIM_WORKER) ? " claimed" : "");
    }

    // The worker's status when it has ended; -1 while it runs.
    int wait_for_end(int patience = PATIENCE_MS) {
        for (const int64_t until = test::now_ms() + patience; pid > 0; pause_ms(2)) {
            int status;
            if (waitpid(pid, &status, WNOHANG) == pid) {
                pid = -1;
                return status;
            }
            if (test::now_ms() > until)
                return -1;
        }
        return -1;
    }

    // Lets the worker end, which it does by itself when it is idle.
    void finish() {
        if (socket >= 0) {
            close(socket);
            const int status = pid > 0 ? wait_for_end() : 0;
            EXPECT_TRUE(WIFEXITED(status) || WTERMSIG(status) == SIGKILL) << status;
            munmap(shared, 4096);
        }
        receiver.reset();
        socket = -1;
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
    [[noreturn]] void become_worker(int end, int memory, int pidfd) {
        const int sources[] = {fcntl(end, F_DUPFD, 20), fcntl(memory, F_DUPFD, 20),
                               fcntl(pidfd, F_DUPFD, 20)};
        setsid();
        for (int i = 0; i < 3; ++i)
            if (sources[i] >= 0)
                dup2(sources[i], WORKER_SOCKET + i);
            else
                close(WORKER_SOCKET + i);
        const char *emulator = getenv("XAVO_EMULATOR");
        if (emulator != nullptr && emulator[0] != '\0')
            execlp("sh", "sh", "-c", (std::string("exec ") + emulator + " " XAVO_WORKER).c_str(), nullptr);
        execl(XAVO_WORKER, XAVO_WORKER, nullptr);
        _exit(127);
    }

    Receiver receiver;
    const std::string path = testing::TempDir() + "worker_test." + std::to_string(getpid()) + ".scene";
};

// ---- Answers

class Answers : public Worker {};

TEST_F(Answers, AreThoseOfTheTable) {
    for (const test::Row &row : test::table("requests.txt")) {
        SCOPED_TRACE(row.where + ": " + row[1]);
        start(row[0]);
        const std::string &expected = row[2];
        std::string answers;
        std::istringstream requests(row[1]);
        for (std::string request; std::getline(requests, request, ';');)
            answers += (answers.empty() ? "" : "; ") + call(request);
        EXPECT_EQ(expected, answers);
        const rlimit none = {1, 1};
        rlimit core = none;
        EXPECT_EQ(prlimit(pid, RLIMIT_CORE, nullptr, &core), 0);
        EXPECT_LE(core.rlim_max, none.rlim_max);
        close(socket);
        socket = -1;
        EXPECT_EQ(wait_for_end(), 0); // everything released, and by itself
    }
}

TEST_F(Answers, AreNeverLongerThanAFrame) {
    start("property JID_2 Message \"" + std::string(70000000, 'x') + "\"");

    EXPECT_EQ(call("LIST_JOBS"), "UNKNOWN_ERROR ANSWER_UNUSABLE replace");
    EXPECT_EQ(call("GET_JOB id=JID_1"), "NO_ERROR NONE jobs=JID_1 replace");
}

TEST_F(Answers, DoNotComeWithoutAnInvocationThatIsClaimedInTime) {
    start("hold 300");
    EXPECT_EQ(call("0"), "NO_ERROR NONE");
    send("BACKUP_IMAGE image in=100"); // the probe outlasts the deadline, and the library ends the worker
    pause_ms(600);
    EXPECT_EQ(shared->claim, sequence << 2 | CLAIM_OPEN);
    send("DELETE_JOB id=JID_1");
    EXPECT_TRUE(claim(shared, sequence, CLAIM_CALLER));
    pause_ms(600);
    EXPECT_EQ(call("GET_JOB id=JID_1"), "NO_ERROR NONE jobs=JID_1");
    EXPECT_EQ(call("DELETE_JOB id=JID_1"), "NO_ERROR NONE return=0 claimed");
    EXPECT_FALSE(claim(shared, sequence, CLAIM_CALLER));
}

TEST_F(Answers, ToARequestWithASecretAreTheLast) {
    start();
    EXPECT_EQ(call("BACKUP_IMAGE image"), "NO_ERROR NONE return=4096 job=JID_4 claimed");
    EXPECT_EQ(receive(), "end");
    EXPECT_EQ(wait_for_end(), 0);
}

// ---- The log

using Log = Worker;

TEST_F(Log, HasTheLinesUpToTheLevel) {
    const char *const refused =
        "UNKNOWN_ERROR SERVICE return=2 id=JQ001 message=There is no job none. claimed";
    start();
    EXPECT_EQ(receive(), "HELLO");
    EXPECT_EQ(call("DELETE_JOB id=none"), refused);
    for (const size_t length : {1U, 2000U, 20000U}) { // the longest line is cut
        send("DELETE_JOB level=2 id=" + std::string(length, 'x'));
        EXPECT_NE(receive().find("ERROR: invoke_return_code=2"), std::string::npos);
        EXPECT_NE(receive().find("log 2 XAVO_utils.cpp,"), std::string::npos);
        const std::string line = receive();
        EXPECT_NE(line.find("ERROR: Message=[There is no job x"), std::string::npos);
        EXPECT_TRUE(length > 16384 ? line.size() == 16389 : line.size() > length && line.back() == ']')
            << line.size();
        receive();
    }
}

// A line comes when it is written, and shows when a handle is opened.
TEST_F(Log, ComesBeforeTheAnswer) {
    const auto opened = [this](const std::string &user) {
        return receive().find("using username=[" + user + "]") != std::string::npos;
    };
    start("hold 3600000");
    EXPECT_EQ(receive(), "HELLO");
    send("LIST_JOBS level=8 user=root");
    EXPECT_TRUE(opened("root"));

    start();
    EXPECT_EQ(receive(), "HELLO");
    send("LIST_JOBS level=8 user=root");
    EXPECT_TRUE(opened("root"));
    EXPECT_EQ(receive(), "NO_ERROR NONE jobs=JID_1,JID_2,JID_3");
    EXPECT_EQ(call("GET_JOB id=JID_1 level=8"), "NO_ERROR NONE jobs=JID_1"); // the same handle
    send("GET_JOB id=JID_1 level=8 user=other");
    EXPECT_TRUE(opened("other"));
    EXPECT_EQ(receive(), "NO_ERROR NONE jobs=JID_1");
    pause_ms(1300); // it was idle
    send("GET_JOB id=JID_1 level=8 user=other");
    EXPECT_TRUE(opened("other"));
}

TEST_F(Log, IsDroppedAndCountedWhereTheSocketIsFull) {
    constexpr unsigned long lines = 60;
    std::string scene = "empty\nfault CMPIString.getCharPtr 1 from\n";
    for (unsigned long i = 0; i < lines; ++i)
        scene += "job J" + std::to_string(i) + "\n";
    buffer = 4608;
    start(scene);
    send("LIST_JOBS level=2");
    pause_ms(1000);
    unsigned long received = 0;
    std::string text;
    for (text = receive(); text == "HELLO" || text.rfind("log 2 ", 0) == 0; text = receive())
        received += text == "HELLO" ? 0U : 1U;
    EXPECT_EQ(text, "NO_ERROR NONE unreadable=60");
    EXPECT_GT(received, 0U);
    EXPECT_GT(lost_lines, 0U);
    EXPECT_EQ(received + lost_lines, lines);
}

// ---- The end

using End = Worker;

TEST_F(End, ComesWithTheSocket) {
    for (const bool hangs : {true, false}) {
        SCOPED_TRACE(hangs);
        start(hangs ? "hold 3600000" : "");
        EXPECT_EQ(receive(), "HELLO");
        if (hangs)
            send("LIST_JOBS");
        else
            EXPECT_EQ(call("LIST_JOBS"), "NO_ERROR NONE jobs=JID_1,JID_2,JID_3");
        EXPECT_EQ(wait_for_end(300), -1);
        shutdown(socket, SHUT_RDWR);
        EXPECT_EQ(wait_for_end(), hangs ? SIGKILL : 0);
    }
}

TEST_F(End, DoesNotComeWithTheThreadThatStartedIt) {
    std::thread([this] { start(); }).join();
    EXPECT_EQ(call("LIST_JOBS"), "NO_ERROR NONE jobs=JID_1,JID_2,JID_3");
    pause_ms(100);
    EXPECT_EQ(call("LIST_JOBS"), "NO_ERROR NONE jobs=JID_1,JID_2,JID_3");
}

TEST_F(End, FollowsAFrameThatIsNotValid) {
    Words words("SETUP_JOB_QUEUE start_time=NOW job_ids share");
    Writer writer(FRAME_REQUEST);
    write_request(&writer, words.request, static_cast<uint64_t>(words.deadline), 0);
    ASSERT_TRUE(writer.finish());
    // One byte in turn is wrong; the worker may end, answer, or wait for the rest, but not crash.
    for (size_t at = 0; at < writer.size(); at += at < 200 ? 7 : 97) {
        SCOPED_TRACE(at);
        start();
        EXPECT_EQ(receive(), "HELLO");
        std::string frame(writer.data(), writer.size());
        frame[at] = static_cast<char>(frame[at] ^ 0xff);
        send_bytes(frame.data(), frame.size());
        pollfd answer = {socket, POLLIN, 0};
        poll(&answer, 1, 50);
        shutdown(socket, SHUT_WR);
        const int status = wait_for_end();
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
    const char *emulator = getenv("XAVO_EMULATOR");
    const std::string by_hand =
        (emulator != nullptr ? emulator : "") + std::string(" " XAVO_WORKER " 2>/dev/null");
    EXPECT_EQ(WEXITSTATUS(std::system(by_hand.c_str())), 2);
    unsetenv("CIMSIM_ONLY");
    unlink(library.c_str());
    rmdir(folder.c_str());
}

} // namespace
