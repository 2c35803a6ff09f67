// handles_test.cpp - guarded handles, reasons, borrowed handles and waiting for jobs.
#include "operations.h"
#include "prepare.h"
#include "support.h"
#include "table.h"

#include <algorithm>
#include <cstring>
#include <handles.h>
#include <thread>

using namespace test;

namespace {

using Unguarded = World;

class Guarded : public World {
protected:
    // On a connection that has just answered.
    Guarded() {
        EXPECT_EQ(XAVO_guard(sp), XAVO_NO_ERROR);
        reason_of("list");
    }
    // Calls the operation, and tells what is behind its outcome.
    XAVO_Reason reason_of(const std::string &name) {
        Results results;
        XAVO_Reason reason;
        operation(name).call(sp, &ec, results);
        EXPECT_EQ(XAVO_take_reason(sp, ec, &reason), XAVO_NO_ERROR);
        return reason;
    }
};

TEST_F(Unguarded, HandlesThatCannotBeAreRefused) {
    XAVO_Reason reason;
    memset(&reason, 'x', sizeof reason);
    XAVO_Proxy invalid = *sp;
    invalid.head_magic[0] ^= 1U;
    CMCIClient *const real = sp->client;
    CMCIClientFT mute = *real->ft;
    mute.getClass = nullptr;
    CMCIClient dumb = {real->hdl, &mute}, hollow = {real->hdl, nullptr};
    const auto expect_all = [&](XAVO_Proxy *handle, XAVO_ErrorCode guarding, XAVO_ErrorCode others) {
        EXPECT_EQ(XAVO_guard(handle), guarding);
        EXPECT_EQ(XAVO_set_quiet_time(handle, 1), others);
        EXPECT_EQ(XAVO_take_reason(handle, XAVO_UNKNOWN_ERROR, &reason), others);
        EXPECT_EQ(reason.kind, XAVO_REASON_NOTHING_ASKED);
        EXPECT_EQ(reason.rc + reason.has_return_value + reason.message[0], 0); // and all else zero
        EXPECT_EQ(XAVO_forget_reason(handle), others);
        EXPECT_EQ(XAVO_give_back(handle), others == XAVO_NO_ERROR ? XAVO_NOT_SUPPORTED : others);
    };
    expect_all(nullptr, XAVO_SP_NOT_VALID, XAVO_SP_NOT_VALID);
    expect_all(&invalid, XAVO_SP_NOT_VALID, XAVO_SP_NOT_VALID);
    for (CMCIClient *client : {static_cast<CMCIClient *>(nullptr), &hollow, &dumb}) {
        sp->client = client;
        const XAVO_ErrorCode code = client == &dumb ? XAVO_NOT_SUPPORTED : XAVO_SP_NOT_VALID;
        expect_all(sp, code, code);
    }
    sp->client = real;
    EXPECT_EQ(XAVO_guard(sp), XAVO_NO_ERROR);
    expect_all(sp, XAVO_INVALID_VALUE, XAVO_NO_ERROR);
    EXPECT_EQ(XAVO_take_reason(sp, XAVO_UNKNOWN_ERROR, nullptr), XAVO_INVALID_VALUE);
    EXPECT_NE(sp->client->ft->clone, real->ft->clone);
    CMPIStatus status = {};
    EXPECT_EQ(sp->client->ft->clone(sp->client, &status), nullptr);
    EXPECT_EQ(status.rc, CMPI_RC_ERR_NOT_SUPPORTED);
    EXPECT_EQ(sp->client->ft->clone(sp->client, nullptr), nullptr);
}

// A client whose slots note what they are given, each as it comes through a guard, and fail.
const CMCIClient *spied = nullptr;

template <typename Value>
Value distinct() {
    static unsigned char n = 0;
    static CMPIStatus failed = {CMPI_RC_ERR_FAILED, nullptr};
    if constexpr (std::is_same_v<Value, CMPIStatus *>)
        return &failed;
    Value value = {};
    memset(&value, ++n, sizeof value);
    return value;
}

template <auto slot>
struct Spy;
template <typename Result, typename... Given, Result (*CMCIClientFT::*slot)(CMCIClient *, Given...)>
struct Spy<slot> {
    static inline std::tuple<Given...> noted;
    static Result note(CMCIClient *client, Given... given) {
        EXPECT_EQ(client, spied);
        noted = {given...};
        if constexpr (std::is_same_v<Result, CMPIStatus>)
            return *distinct<CMPIStatus *>();
        return Result{};
    }
    static void expect_forwarded(XAVO_Proxy *sp, int kind) {
        const std::tuple<Given...> values = {distinct<Given>()...};
        std::apply([&](Given... given) { (sp->client->ft->*slot)(sp->client, given...); }, values);
        EXPECT_EQ(noted, values);
        XAVO_Reason reason;
        XAVO_take_reason(sp, XAVO_UNKNOWN_ERROR, &reason);
        EXPECT_EQ(reason.kind, kind);
    }
};

template <auto... slots>
void expect_all_forwarded(XAVO_Proxy *sp, CMCIClientFT *spies, int kind) {
    ((spies->*slots = Spy<slots>::note), ...);
    (Spy<slots>::expect_forwarded(sp, kind), ...);
}

TEST_F(Unguarded, EverySlotIsForwardedWithItsValues) {
    using T = CMCIClientFT;
    CMCIClient *const real = sp->client;
    T spies = *real->ft, poor = {};
    CMCIClient spy = {real->hdl, &spies};
    spies.release = [](CMCIClient *) { return CMPIStatus{}; };
    sp->client = &spy;
    spied = &spy;
    ASSERT_EQ(XAVO_guard(sp), XAVO_NO_ERROR);
    expect_all_forwarded<&T::getClass, &T::enumClassNames, &T::enumClasses, &T::getInstance, &T::execQuery,
                         &T::enumInstanceNames, &T::enumInstances, &T::associators, &T::associatorNames,
                         &T::references, &T::referenceNames, &T::getProperty>(sp, &spies,
                                                                              XAVO_REASON_CONNECTION_LOST);
    expect_all_forwarded<&T::createInstance, &T::setInstance, &T::deleteInstance, &T::setProperty>(
        sp, &spies, XAVO_REASON_OUTCOME_UNKNOWN);
    using Method = Spy<&T::invokeMethod>;
    spies.invokeMethod = Method::note;
    sp->client->ft->invokeMethod(sp->client, nullptr, "m", nullptr, nullptr, nullptr);
    EXPECT_STREQ(std::get<1>(Method::noted), "m"); // without a status as it is
    CMPIStatus status = {CMPI_RC_ERR_ACCESS_DENIED, nullptr};
    const CMPIData none = sp->client->ft->invokeMethod(sp->client, nullptr, "n", nullptr, nullptr, &status);
    EXPECT_STREQ(std::get<1>(Method::noted), "m"); // the class cannot be had
    EXPECT_TRUE(status.rc == CMPI_RC_ERR_FAILED && none.state == CMPI_notFound);
    sp->client->ft->release(sp->client);
    poor.ftVersion = -1;
    poor.release = spies.release;
    poor.getClass = spies.getClass;
    spy.ft = &poor;
    sp->client = &spy;
    ASSERT_EQ(XAVO_guard(sp), XAVO_NO_ERROR);
    const auto *slots = reinterpret_cast<void *const *>(sp->client->ft);
    EXPECT_EQ(std::count(slots, slots + sizeof(T) / sizeof(void *), nullptr), 17); // clone and sixteen others
    sp->client->ft->release(sp->client);
    sp->client = real;
}

// ---- The reason -------------------------------------------------------------------------------------

TEST_F(Guarded, ReasonsAreTold) {
    for (const Row &row : table("reasons.txt")) {
        SCOPED_TRACE(row.where + ", " + row[0] + ": " + row[1]);
        populate();
        prepare("answer_output MessageID string:X ; answer_output Message string:earlier ; answer_return "
                "uint32:9");
        Results earlier; // whose reason nobody takes
        operation("TestNetworkShare").call(sp, &ec, earlier);
        prepare(row[1]);
        XAVO_Reason told = reason_of(row[0]);
        EXPECT_EQ(XAVO_reason_to_string(told.kind), row[2]);
        EXPECT_EQ(
            (std::vector<std::string>{std::to_string(told.rc), std::to_string(told.has_return_value),
                                      std::to_string(told.return_value), told.message_id, told.message}),
            std::vector<std::string>(row.begin() + 3, row.end()));
        EXPECT_EQ(told.cut, 0);
        XAVO_take_reason(sp, XAVO_UNKNOWN_ERROR, &told); // consumed
        EXPECT_EQ(told.kind, XAVO_REASON_NOTHING_ASKED);
        cimsim_restart_broker(0);
    }
    EXPECT_STREQ(XAVO_reason_to_string(7), "unknown");
}

TEST_F(Guarded, TextsThatDoNotFitAreCutBetweenCharacters) {
    // Characters of one to four bytes, in a buffer that holds 63 besides the end.
    for (const std::string character : {"x", "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80"})
        for (size_t before = 57; before < 64; ++before) {
            std::string id(before, 'x'), kept = id;
            for (int i = 0; i < 3; ++i) {
                id += character;
                kept = id.size() < 64 ? id : kept;
            }
            prepare("answer_return uint32:1");
            cimsim_answer_output("MessageID", cimsim_string(id.c_str()));
            cimsim_answer_output("Message", cimsim_string(std::string(511, 'm').c_str()));
            const unsigned long pooled = cimsim_pooled();
            const XAVO_Reason told = reason_of("DeleteJobQueue");
            EXPECT_EQ(cimsim_pooled() - pooled, 2U); // what the library itself has read for the log
            EXPECT_EQ(told.message_id, kept);
            EXPECT_EQ(told.message, std::string(511, 'm'));
            EXPECT_EQ(told.cut, id.size() > 63);
        }
}

TEST_F(Guarded, TextsThatAreNoneAreNotKept) {
    const cimsim_fault failing = {CMPI_RC_ERR_FAILED, nullptr, 1};
    for (const unsigned fails : {0U, 1U}) { // no character begins in it; it comes with a failing status
        prepare("answer_return uint32:1");
        cimsim_answer_output("MessageID", cimsim_string(std::string(fails ? 2 : 100, '\x80').c_str()));
        cimsim_fail("CMPIArgs.getArg", fails, &failing);
        const XAVO_Reason told = reason_of("DeleteJobQueue");
        EXPECT_STREQ(told.message_id, "");
        EXPECT_EQ(told.cut, 1 - fails);
    }
    cimsim_fail(nullptr, 0, nullptr);
}

TEST_F(Guarded, OnlyAQuietConnectionIsAskedFirst) {
    const auto questions = [this](const char *name) {
        const unsigned long before = cimsim_calls("CMCIClient.getClass");
        reason_of(name);
        return cimsim_calls("CMCIClient.getClass") - before;
    };
    EXPECT_EQ(questions("TestNetworkShare"), 0U); // the list that went before was a good answer
    cimsim_refuse_user("root01ff");
    EXPECT_EQ(questions("get"), 0U);
    EXPECT_EQ(questions("TestNetworkShare"), 0U); // and so is a refusal
    arm(Own::MUTEX, 0, false);
    XAVO_set_quiet_time(sp, 20);
    disarm();
    EXPECT_EQ(own_calls(Own::MUTEX), 2U); // under its lock
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(questions("TestNetworkShare"), 1U);
    XAVO_set_quiet_time(sp, 1000000);
    cimsim_answer_status(CMPI_RC_ERR_FAILED, nullptr);
    EXPECT_EQ(questions("TestNetworkShare"), 0U);
    EXPECT_EQ(questions("TestNetworkShare"), 1U); // after a failure, however long the quiet time
    XAVO_set_quiet_time(sp, 0);
    EXPECT_EQ(questions("TestNetworkShare"), 1U);
    EXPECT_NE(last_request().find("VELK:QMService) getClass flags=0"), std::string::npos) << last_request();
}

// ---- Borrowing --------------------------------------------------------------------------------------

// The pauses that a thread has made, or would have.
bool pausing = true;
thread_local std::vector<uint64_t> pauses;

extern "C" int __real_clock_nanosleep(clockid_t clock, int flags, const timespec *time, timespec *left);
extern "C" int __wrap_clock_nanosleep(clockid_t clock, int flags, const timespec *time, timespec *left) {
    EXPECT_EQ(flags, 0); // a while, not a time of the clock
    pauses.push_back(static_cast<uint64_t>(time->tv_sec) * 1000 +
                     static_cast<uint64_t>(time->tv_nsec) / 1000000);
    return pausing ? __real_clock_nanosleep(clock, flags, time, left) : 0;
}

class Lent : public testing::Test {
protected:
    Lent() {
        populate();
        settle();
    }
    ~Lent() override { expect_nothing_left(0); }
    XAVO_Proxy *borrow(const char *uname, unsigned wait_ms, int kind, CMPIrc rc) {
        XAVO_Reason reason, expected = {};
        memset(&reason, 0xff, sizeof reason);
        XAVO_Proxy *sp = XAVO_borrow(&ec, uname, wait_ms, &reason);
        expected.kind = kind;
        expected.rc = rc;
        EXPECT_EQ(memcmp(&reason, &expected, sizeof reason), 0) << reason.kind;
        EXPECT_EQ(ec, sp == nullptr ? XAVO_UNABLE_TO_OPEN_CONNECTION : XAVO_NO_ERROR);
        return sp;
    }

    XAVO_ErrorCode ec = -1;
};

TEST_F(Lent, HandlesAreGuardedAndOfTheirUser) {
    XAVO_Proxy *sp = borrow("operator", 0, XAVO_REASON_NONE, CMPI_RC_OK);
    ASSERT_NE(sp, nullptr);
    EXPECT_EQ(XAVO_guard(sp), XAVO_INVALID_VALUE);
    XAVO_free_VELK_LifecycleJob(XAVO_get_VELK_LifecycleJob(sp, &ec, "JID_1"));
    EXPECT_STREQ(cimsim_last_request()->user, "operator01ff");
    EXPECT_EQ(XAVO_give_back(sp), XAVO_NO_ERROR);
    cimsim_set_reachable(0);
    EXPECT_EQ(borrow(nullptr, 1000, XAVO_REASON_NOTHING_ASKED, CMPI_RC_OK), nullptr);
    cimsim_set_reachable(1);
}

TEST_F(Lent, StaleHandlesAreWaitedForAndOthersToo) {
    XAVO_Proxy *first = XAVO_borrow(&ec, nullptr, 0, nullptr),
               *second = XAVO_borrow(&ec, nullptr, 0, nullptr);
    cimsim_restart_broker(CIMSIM_PIPE_CALLS);
    for (XAVO_Proxy *sp : {first, second}) { // the second finds what is known already
        XAVO_invoke_DeleteJobQueue(sp, &ec, "JID_1");
        EXPECT_EQ(ec, XAVO_UNKNOWN_ERROR);
    }
    XAVO_give_back(first);
    const unsigned long opened = cimsim_calls("cmciConnect");
    const auto is_lost = [this](unsigned wait_ms) {
        return borrow(nullptr, wait_ms, XAVO_REASON_CONNECTION_LOST, CMPI_RC_ERR_FAILED) == nullptr;
    };
    EXPECT_TRUE(is_lost(10)); // the second holds the dead connection
    EXPECT_EQ(cimsim_calls("cmciConnect"), opened);
    XAVO_Proxy *plain = XAVO_new(); // and so does a handle of another kind
    std::thread later([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        XAVO_give_back(second);
    });
    EXPECT_TRUE(is_lost(100));
    later.join();
    pauses.clear();
    EXPECT_TRUE(is_lost(10));
    EXPECT_LE(pauses.front(), 10U); // no longer than it may take
    XAVO_free(plain);
    XAVO_Proxy *third = borrow(nullptr, 0, XAVO_REASON_NONE, CMPI_RC_OK);
    XAVO_invoke_DeleteJobQueue(third, &ec, "JID_1");
    EXPECT_EQ(ec, XAVO_NO_ERROR);
    XAVO_free(third); // as good as giving it back
}

// ---- Waiting ----------------------------------------------------------------------------------------

using Story = Row;

class Waiting : public Lent, public testing::WithParamInterface<Story> {
public:
    Waiting() {
        cimsim_add_job("good", "a job", 0, 3, 0);
        cimsim_add_job("bad", "a job", 0, 8, 1);
        for (const char *job : {"JID_1", "good", "bad"})
            cimsim_set_job_property(job, "MessageArguments", cimsim_string("none"));
        options.deadline_ms = 10000;
        options.first_pause_ms = options.longest_pause_ms = 1;
        options.borrow_ms = 200;
        options.context = this;
    }
    int wait(const char *job) {
        const int end = XAVO_wait_for_job(job, &options, &result);
        EXPECT_EQ(result.end, end);
        EXPECT_TRUE(last.polls == 0 || (last.job == result.job && last.code == result.code));
        last_status = result.job == nullptr || result.job->JobStatus == nullptr ? "" : result.job->JobStatus;
        XAVO_free_VELK_LifecycleJob(result.job);
        return end;
    }
    // What happens after so many polls; whether the wait is to be cancelled.
    bool happens(const Story &story, unsigned long polls) {
        for (size_t i = 7; i < story.size(); ++i) {
            const size_t blank = story[i].find(' ');
            const std::string when = story[i].substr(0, blank), what = story[i].substr(blank + 1);
            if (when != "*" && when != std::to_string(polls))
                continue;
            if (what == "cancel")
                return true;
            what == "hold"     ? (void)(held = XAVO_new())
            : what == "guard"  ? (void)XAVO_guard(held)
            : what == "use"    ? (void)(options.sp = held)
            : what == "let go" ? XAVO_free(std::exchange(held, nullptr))
            : what == "delete" ? XAVO_delete_VELK_LifecycleJob(nullptr, &ec, story[1].c_str())
                               : prepare(what);
        }
        return false;
    }

    XAVO_Proxy *held = nullptr; // by somebody else in the process, or by the one who waits
    XAVO_WaitOptions options = {};
    XAVO_WaitResult result = {};
    std::string last_status;
    XAVO_Poll last = {};
};

TEST_P(Waiting, EndsAsItShould) {
    const Story &story = GetParam();
    options.deadline_ms = static_cast<unsigned>(std::stoul(story[2]));
    options.polled = [](void *context, const XAVO_Poll *poll) {
        auto *test = static_cast<Waiting *>(context);
        test->last = *poll;
        EXPECT_LE(poll->elapsed_ms, test->options.deadline_ms + 1000);
        EXPECT_GE(poll->elapsed_ms + 1, poll->polls); // there is a pause of a millisecond between two
        EXPECT_EQ(cimsim_owned(), test->held == nullptr ? 0U : 1U) << "between polls: " << cimsim_live();
        cimsim_advance(1);
        return static_cast<int>(test->happens(GetParam(), poll->polls));
    };
    happens(story, 0);
    EXPECT_EQ(XAVO_wait_to_string(wait(story[1].c_str())), story[3]);
    EXPECT_TEXT(story[4], XAVO_EC_to_string(result.code));
    EXPECT_EQ(XAVO_reason_to_string(result.reason.kind), story[5]);
    EXPECT_EQ(last_status, story[6]);
    if (held != nullptr)
        XAVO_free(held);
}
INSTANTIATE_TEST_SUITE_P(Job, Waiting, testing::ValuesIn(table("waits.txt")),
                         [](const auto &story) { return story.param[0]; });

TEST_F(Waiting, TellsOfChanges) {
    static std::vector<int> changes;
    changes.clear();
    options.polled = [](void *, const XAVO_Poll *poll) {
        changes.push_back(poll->changed);
        if (poll->polls == 2 || poll->polls == 4)
            prepare(poll->polls == 2 ? "set_job_property JID_1 Name string:renamed"
                                     : "set_job_property JID_1 Name null:string");
        return static_cast<int>(poll->polls == 7);
    };
    EXPECT_EQ(wait("JID_1"), XAVO_WAIT_CANCELLED);
    EXPECT_EQ(changes, (std::vector<int>{1, 0, 1, 0, 1, 0, 0}));
}

TEST_F(Waiting, PausesLongerAndLonger) {
    const auto pauses_of = [this](unsigned first, unsigned longest, unsigned deadline) {
        options.first_pause_ms = first, options.longest_pause_ms = longest, options.deadline_ms = deadline;
        options.polled = [](void *, const XAVO_Poll *poll) { return static_cast<int>(poll->polls == 10); };
        pauses.clear();
        pausing = false;
        EXPECT_EQ(wait("JID_1"), XAVO_WAIT_CANCELLED);
        pausing = true;
        return pauses;
    };
    using Pauses = std::vector<uint64_t>;
    EXPECT_EQ(pauses_of(10, 40, XAVO_WAIT_FOREVER), (Pauses{10, 16, 25, 38, 40, 40, 40, 40, 40}));
    EXPECT_EQ(pauses_of(0, 0, XAVO_WAIT_FOREVER),
              (Pauses{500, 751, 1127, 1691, 2537, 3806, 5710, 8566, 10000}));
    for (const uint64_t pause : pauses_of(100000, 100000, 20000)) { // no longer than to the deadline
        EXPECT_LE(pause, 20000U);
        EXPECT_GT(pause, 0U);
    }
    options.deadline_ms = 20;
    options.polled = [](void *, const XAVO_Poll *) {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        return 0;
    };
    pauses.clear();
    EXPECT_EQ(wait("JID_1"), XAVO_WAIT_DEADLINE); // while the caller looked at the poll
    EXPECT_TRUE(pauses.empty());
}

TEST_F(Waiting, LetsOthersGiveBackWhatIsStale) {
    options.borrow_ms = 0; // as long as usual
    XAVO_Proxy *other = XAVO_borrow(&ec, nullptr, 0, nullptr);
    prepare("advance 9 ; restart_broker 1");
    std::thread later([other] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        XAVO_give_back(other);
    });
    EXPECT_EQ(wait("good"), XAVO_WAIT_COMPLETED);
    later.join();
}

TEST_F(Waiting, LetsTheCallerJudge) {
    options.judge = [](void *, const XAVO_VELK_LifecycleJob *job) {
        return static_cast<int>(strcmp(job->InstanceID, "good") == 0 ? XAVO_JOB_FAILED : XAVO_JOB_COMPLETED);
    };
    EXPECT_EQ(wait("good"), XAVO_WAIT_FAILED);
    EXPECT_EQ(wait("JID_1"), XAVO_WAIT_COMPLETED);
    EXPECT_EQ(wait(nullptr), XAVO_WAIT_ERROR);
    EXPECT_EQ(result.code, XAVO_INVALID_VALUE);
    EXPECT_EQ(result.reason.kind, XAVO_REASON_NOTHING_ASKED);
    EXPECT_EQ(XAVO_wait_for_job("none", nullptr, &result), XAVO_WAIT_NOT_FOUND);
    EXPECT_STREQ(XAVO_wait_to_string(8), "unknown");
}

} // namespace
