// thread_test.cpp - several threads at once, broker restarts, and SIGPIPE.
#include "operations.h"
#include "support.h"

#include <atomic>
#include <csignal>
#include <future>
#include <mutex>
#include <set>
#include <thread>
#include <unistd.h>

using namespace test;

namespace {

enum class Handles { SHARED, EACH, NONE };

// Runs every operation that sends a request on eight threads at once. Each thread begins with another
// operation.
template <typename Check>
void run_on_eight_threads(Handles handles, XAVO_Proxy *shared, Check check) {
    std::atomic<unsigned> working{8};
    std::vector<std::future<void>> threads; // joined when this ends
    for (size_t first = 0; first < 8; ++first)
        threads.push_back(std::async(std::launch::async, [&, first] {
            XAVO_Proxy *sp = handles == Handles::EACH ? XAVO_new() : shared;
            for (size_t i = 0; i < 2 * operations().size(); ++i) {
                const Operation &op = operations()[(first + i) % operations().size()];
                XAVO_ErrorCode code = -1;
                if (op.request.empty())
                    continue;
                if (sp != nullptr || op.takes_null) {
                    Results results;
                    op.call(sp, &code, results);
                    check(op, code, results.job);
                }
            }
            if (handles == Handles::EACH)
                XAVO_free(sp);
            // No thread may end while another one frees the last handle: programs have to avoid this.
            for (--working; working != 0;)
                std::this_thread::yield();
        }));
}

using Threads = WithHandle;
class BrokenBroker : public WithHandle {
protected:
    // Each method call on a dead connection counts as one misuse, because the real client library crashes.
    ~BrokenBroker() override {
        EXPECT_NE(dead_calls, 0U);
        EXPECT_EQ(cimsim_misuses(), dead_calls) << cimsim_last_misuse();
        cimsim_count_misuse(1);
    }
    void expect_no_answer(const Operation &op, XAVO_ErrorCode code) {
        EXPECT_EQ(code, XAVO_UNKNOWN_ERROR) << op.name;
        dead_calls += op.reads < Reads::RECORDS;
    }

    std::atomic<unsigned long> dead_calls{0};
};

TEST_F(Threads, GetTheirOwnAnswersFromEveryKindOfHandle) {
    // The controller may refuse an operation because of what another thread did.
    const std::set<std::pair<Reads, XAVO_ErrorCode>> refusals = {
        {Reads::RETURN_VALUE, XAVO_UNKNOWN_ERROR},
        {Reads::MESSAGE_OR_JOB, XAVO_BACKUP_ALREADY_RUNNING},
        {Reads::MESSAGE_OR_JOB, XAVO_RESTORE_ALREADY_RUNNING},
        {Reads::RECORDS, XAVO_NOT_FOUND}};
    for (const Handles handles : {Handles::SHARED, Handles::EACH, Handles::NONE}) {
        populate();
        cimsim_freeze_time(0); // answers are held back by the clock
        cimsim_hold_answers(1);
        std::mutex mutex;
        std::set<std::string> jobs; // each is handed out once
        // The test's own handle stays open: when a thread frees the last one, the others lose memory.
        XAVO_Proxy *const shared = handles == Handles::NONE ? nullptr : sp;
        run_on_eight_threads(handles, shared, [&](const Operation &op, XAVO_ErrorCode code, const char *job) {
            const std::lock_guard<std::mutex> guard(mutex);
            EXPECT_TRUE(code == XAVO_NO_ERROR || refusals.count({op.reads, code}) != 0)
                << op.name << ": " << XAVO_EC_to_string(code);
            EXPECT_TRUE(job == nullptr || jobs.insert(job).second) << job;
        });
        EXPECT_GE(jobs.size(), 48U); // of the three operations that are never refused
        EXPECT_EQ(cimsim_overlaps(), 0U);
    }
}

// The signal state of the calling thread: disposition, mask, pending signals.
std::string signals() {
    struct sigaction action = {};
    sigset_t mask, pending;
    sigaction(SIGPIPE, nullptr, &action);
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    sigpending(&pending);
    std::string text = action.sa_handler == SIG_DFL ? "default " : "own ";
    for (int signal = 1; signal < NSIG; ++signal)
        text += sigismember(&pending, signal) == 1 ? 'P' : sigismember(&mask, signal) == 1 ? 'b' : '.';
    return text;
}

// Settings of SIGPIPE before a call, and the number of pending signals after it. If one was pending for the
// process, the one that the call raises stays pending for the thread.
const struct {
    void (*disposition)(int);
    int how;
    int (*raise_one)();
    unsigned pending;
} SIGNAL_SETTINGS[] = {
    {SIG_DFL, SIG_UNBLOCK, [] { return 0; }, 0},
    {[](int) { ADD_FAILURE() << "the program was sent a SIGPIPE"; }, SIG_UNBLOCK, [] { return 0; }, 0},
    {SIG_DFL, SIG_BLOCK, [] { return 0; }, 0},
    {SIG_DFL, SIG_BLOCK, [] { return raise(SIGPIPE); }, 1},
    {SIG_DFL, SIG_BLOCK, [] { return kill(getpid(), SIGPIPE); }, 2},
};

TEST_F(BrokenBroker, RaisesNoSignalInTheProgram) {
    sigset_t pipe = {};
    sigaddset(&pipe, SIGPIPE);
    for (const auto &setting : SIGNAL_SETTINGS)
        for (const Operation &op : operations()) {
            if (op.request.empty())
                continue;
            SCOPED_TRACE(op.name + ", setting " + std::to_string(&setting - SIGNAL_SETTINGS));
            Results results;
            XAVO_Proxy *another = XAVO_new();
            cimsim_restart_broker(CIMSIM_PIPE_CALLS | CIMSIM_PIPE_CONNECT | CIMSIM_PIPE_RELEASE);
            signal(SIGPIPE, setting.disposition);
            pthread_sigmask(setting.how, &pipe, nullptr);
            setting.raise_one();
            const std::string before = signals();
            op.call(another, &ec, results);
            expect_no_answer(op, ec);
            XAVO_free(another);
            EXPECT_EQ(XAVO_new(), nullptr);
            EXPECT_EQ(signals(), before);
            cimsim_restart_broker(0);
            unsigned pending = 0;
            for (const timespec at_once = {}; sigtimedwait(&pipe, nullptr, &at_once) == SIGPIPE;)
                ++pending;
            EXPECT_EQ(pending, setting.pending);
            signal(SIGPIPE, SIG_IGN);
            pthread_sigmask(SIG_UNBLOCK, &pipe, nullptr);
        }
}

TEST_F(BrokenBroker, AnswersAgainAfterAllHandlesAreFreed) {
    signal(SIGPIPE, SIG_DFL);
    cimsim_restart_broker(CIMSIM_PIPE_CALLS | CIMSIM_PIPE_RELEASE);
    for (const Handles handles : {Handles::SHARED, Handles::EACH, Handles::NONE}) {
        XAVO_Proxy *const shared = handles == Handles::SHARED ? sp : nullptr;
        run_on_eight_threads(handles, shared, [&](const Operation &op, XAVO_ErrorCode code, const char *) {
            expect_no_answer(op, code);
            EXPECT_EQ(signals().find_first_of("Pb"), std::string::npos);
        });
    }
    XAVO_free(sp);
    sp = XAVO_new();
    XAVO_invoke_DeleteJobQueue(sp, &ec, "JID_1");
    EXPECT_EQ(ec, XAVO_NO_ERROR);
}

} // namespace
