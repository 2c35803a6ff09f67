// pool_test.cpp - pools and their workers on a simulated controller that they share with the test.
#include "../table.h"
#include "support.h"

#include <cerrno>
#include <cimsim.h>
#include <clocale>
#include <csignal>
#include <gtest/gtest.h>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

class Pool : public testing::Test {
protected:
    Pool() {
        cimsim_reset();
        cimsim_load_demo();
        options.emulator = *EMULATOR != '\0' ? EMULATOR : nullptr;
    }
    ~Pool() override { XAVO_pool_free(pool); }
    void make_pool() {
        XAVO_pool_free(pool);
        pool = XAVO_pool_new(&options, nullptr);
        cimsim_journal(1);
    }
    // The requests of workers, without probes: operation, class, method, and first argument or key.
    struct Recorded {
        std::string text;
        long process;
    };
    static std::vector<Recorded> requests() {
        std::vector<Recorded> all;
        cimsim_journal_entry entry;
        for (unsigned long i = 0; cimsim_journal_at(i, &entry) == 0; ++i)
            if (strcmp(entry.operation, "getClass") != 0)
                all.push_back({std::string(entry.operation) + " " + entry.class_name + " " + entry.method +
                                   " " + entry.subject,
                               entry.process});
        return all;
    }

    XAVO_PoolOptions options = {};
    XAVO_Pool *pool = nullptr;
};

// Each function for one operation requests what XAVO_call does.
TEST_F(Pool, HasAFunctionForEachOperation) {
    const XAVO_Request with = test::request(0, "IDENTITY:BIOS");
    const auto compare = [&](int operation, auto function, auto... arguments) {
        SCOPED_TRACE(XAVO_operation_name(operation));
        cimsim_journal(1);
        XAVO_Answer answer[2];
        const XAVO_Request made = test::request(operation, with.id);
        function(pool, arguments..., 0, &answer[0]);
        XAVO_call(pool, &made, &answer[1]);
        const std::vector<Recorded> all = requests();
        EXPECT_TRUE(all.size() == 2 && all[0].text == all[1].text);
        for (XAVO_Answer &each : answer)
            XAVO_answer_free(&each);
    };
    make_pool();
    compare(XAVO_OP_LIST_JOBS, XAVO_list_jobs);
    compare(XAVO_OP_GET_JOB, XAVO_get_job, with.id);
    compare(XAVO_OP_LIST_INSTANCES, XAVO_list_instances, with.class_name);
    compare(XAVO_OP_DELETE_JOB, XAVO_delete_job, with.id);
    compare(XAVO_OP_SETUP_JOB_QUEUE, XAVO_setup_job_queue, with.start_time, with.until_time, with.job_ids);
    compare(XAVO_OP_INSTALL_FROM_URI, XAVO_install_from_uri, with.uri, with.id);
    compare(XAVO_OP_INSTALL_FROM_SOFTWARE_IDENTITY, XAVO_install_from_software_identity, with.id);
    compare(XAVO_OP_CREATE_REBOOT_JOB, XAVO_create_reboot_job, with.reboot_type);
    compare(XAVO_OP_BACKUP_IMAGE, XAVO_backup_image, with.image);
    compare(XAVO_OP_RESTORE_IMAGE, XAVO_restore_image, with.image);
    compare(XAVO_OP_TEST_NETWORK_SHARE, XAVO_test_network_share, with.share);
}

TEST_F(Pool, ReplacesAWorkerAfterItsCallsAndNotForItsCallersMemory) {
    constexpr size_t MOST = 1000;
    const std::vector<char> large(300U << 20, 'x');
    make_pool();
    for (size_t i = 0; i <= MOST; ++i) {
        XAVO_Answer answer;
        ASSERT_EQ(XAVO_get_job(pool, "JID_1", 0, &answer), XAVO_NO_ERROR) << large[i];
        XAVO_answer_free(&answer);
    }
    const auto all = requests();
    ASSERT_EQ(all.size(), MOST + 1);
    EXPECT_EQ(all[0].process, all[MOST - 1].process);
    EXPECT_NE(all[0].process, all[MOST].process);
}

// The pauses grow, but the last attempt is shortly before the deadline.
TEST_F(Pool, RetriesABrokerThatStartsLate) {
    options.retry_broker = 1;
    make_pool();
    cimsim_set_reachable(0);
    std::thread broker([] {
        usleep(1700000);
        cimsim_set_reachable(1);
    });
    XAVO_Answer answer;
    EXPECT_EQ(XAVO_delete_job(pool, "JID_1", 2000, &answer), XAVO_NO_ERROR);
    broker.join();
    EXPECT_GT(answer.attempts, 2U);
    EXPECT_EQ(requests().size(), 1U);
    XAVO_answer_free(&answer);
}

// The worker ends even if a child of the caller holds a copy of the socket.
TEST_F(Pool, EndsAWorkerWithItsCaller) {
    if (*EMULATOR != '\0')
        GTEST_SKIP() << "an emulator has no pidfd";
    for (const bool in_method : {true, false})
        for (const bool old_kernel : {true, false}) {
            SCOPED_TRACE(std::string(in_method ? "in a method" : "idle") +
                         (old_kernel ? ", without a pidfd" : ""));
            cimsim_reset();
            cimsim_load_demo();
            make_pool(); // opens the state; starts no worker
            cimsim_disrupt("CMCIClient.invokeMethod", 1, CIMSIM_HANG, 1);
            int ends[2];
            ASSERT_EQ(pipe(ends), 0);
            const pid_t caller = fork();
            if (caller == 0) {
                const XAVO_Request made =
                    test::request(in_method ? XAVO_OP_DELETE_JOB : XAVO_OP_GET_JOB, "JID_1");
                XAVO_Answer answer;
                if (old_kernel && !test::forbid({{SYS_pidfd_open, ENOSYS}}))
                    _exit(1);
                make_pool();
                XAVO_call_start(pool, &made, &answer);
                usleep(in_method ? 0 : 300000);
                while (requests().empty())
                    usleep(1000);
                if (fork() == 0)
                    _exit(close(ends[1]) == 0 && read(ends[0], ends, 1) == 0 ? 0 : 1);
                raise(SIGKILL);
            }
            waitpid(caller, nullptr, 0);
            ASSERT_EQ(requests().size(), 1U);
            pollfd worker = {static_cast<int>(syscall(SYS_pidfd_open, requests()[0].process, 0)), POLLIN, 0};
            EXPECT_TRUE(worker.fd < 0 ? errno == ESRCH : poll(&worker, 1, 10000) == 1);
            for (const int number : {worker.fd, ends[0], ends[1]})
                close(number);
        }
}

// ---- Waiting for several jobs

int change(void *of, const XAVO_Poll *poll) {
    test::Row &rounds = *static_cast<test::Row *>(of);
    const char *expected = poll->index == 0 ? "JID_1" : poll->job != nullptr ? "JID_2" : "none";
    EXPECT_STREQ(poll->job != nullptr ? poll->job->InstanceID : "none", expected);
    if (poll->polls > rounds.size())
        return 0;
    std::istringstream changes(std::exchange(rounds[poll->polls - 1], "")); // once a round
    for (std::string text; changes >> text;) {
        if (text == "stop")
            return 1;
        const std::string job = text.substr(0, text.find('=')), value = text.substr(job.size() + 1);
        cimsim_set_job_property(job.c_str(), "JobStatus", cimsim_parse_value(value.c_str()));
    }
    return 0;
}

int by_first_letter(void *, const XAVO_VELK_LifecycleJob *job) {
    return job->JobStatus[0] == 'X' ? XAVO_JOB_COMPLETED : job->JobStatus[0] == 'Y' ? XAVO_JOB_FAILED : 77;
}

TEST_F(Pool, WaitsForSeveralJobsWithOneListingARound) {
#ifdef LOCALES // in this locale, the capital letter of i is not I
    setenv("LOCPATH", LOCALES, 1);
    EXPECT_NE(setlocale(LC_ALL, "tr_TR.UTF-8"), nullptr);
#endif
    static char first[] = "JID_1", second[] = "JID_2", none[] = "none";
    char *const pairs[][2] = {{first, second}, {first, none}};
    make_pool();
    for (const test::Row &row : test::table("companion_waits.txt")) {
        SCOPED_TRACE(row.where);
        cimsim_reset();
        cimsim_add_job(first, "one", CIMSIM_NEVER, 1, 0);
        cimsim_add_job(second, "two", CIMSIM_NEVER, 1, 0);
        cimsim_journal(1);
        test::Row rounds = test::split(row[1], ';');
        XAVO_WaitOptions how = {};
        how.deadline_ms = 20000;
        how.first_pause_ms = how.longest_pause_ms = 1;
        how.most_unreadable = 3;
        how.any = row[0] == "any" ? 1 : 0;
        how.judge = row[0] == "judged" ? by_first_letter : nullptr;
        how.polled = change;
        how.context = &rounds;
        XAVO_WaitResult results[2];
        const int end = XAVO_wait_for_jobs(pool, pairs[row[0] == "missing" ? 1 : 0], 2, &how, results);
        EXPECT_EQ(XAVO_wait_name(end) + std::string(": ") + XAVO_wait_name(results[0].end) + " " +
                      XAVO_wait_name(results[1].end),
                  row[2]);
        const auto all = requests();
        EXPECT_EQ(std::to_string(all.size()), row[3]);
        EXPECT_EQ(all.back().text.substr(0, 13), "enumInstances");
        for (XAVO_WaitResult &result : results)
            XAVO_wait_free(&result);
    }
    XAVO_WaitResult result;
    EXPECT_EQ(XAVO_wait_for_jobs(pool, pairs[0], 0, nullptr, &result), XAVO_WAIT_ERROR);
    EXPECT_EQ(XAVO_wait_for_job(nullptr, first, nullptr, &result), XAVO_WAIT_ERROR);
    EXPECT_EQ(result.code, XAVO_INVALID_VALUE);
    setlocale(LC_ALL, "C");
}

} // namespace
