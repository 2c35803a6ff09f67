// companion_test.cpp - guarded handles, reasons, borrowed handles and waiting for jobs.
#include "operations.h"
#include "prepare.h"
#include "support.h"
#include "table.h"

#include <algorithm>
#include <cstring>
#include <thread>
#include <XAVO_companion.h>

using namespace test;

namespace {

// What there is to see of a call: code, log, whether it handed out something, what it left to the pool.
using Seen = std::tuple<std::string, std::string, bool, unsigned long>;

Seen run(const Operation &op, XAVO_Proxy *sp, XAVO_ErrorCode *code) {
    Results results;
    clear_log();
    const unsigned long pooled = cimsim_pooled();
    op.call(sp, code, results);
    return {XAVO_EC_to_string(*code), logged(), results.handed_out(), cimsim_pooled() - pooled};
}

class Guarded : public World {
protected:
    // The controller as at first, and a connection that is guarded and trusted.
    void begin() {
        populate();
        for (const char *job : {"JID_1", "JID_2", "JID_3"})
            cimsim_set_job_property(job, "MessageArguments", cimsim_string("none"));
        guarded = XAVO_new();
        ASSERT_EQ(XAVO_guard(guarded), XAVO_NO_ERROR);
        XAVO_free_VELK_LifecycleJob(XAVO_get_VELK_LifecycleJob(guarded, &ec, "JID_1"));
        ASSERT_EQ(XAVO_forget_reason(guarded), XAVO_NO_ERROR);
    }
    void end() {
        EXPECT_TRUE(is_unlocked(guarded));
        EXPECT_EQ(cimsim_owned(), 2U) << cimsim_live();
        XAVO_free(guarded);
    }
    XAVO_Reason reason_of(XAVO_Proxy *handle, XAVO_ErrorCode code) {
        XAVO_Reason reason;
        EXPECT_EQ(XAVO_take_reason(handle, code, &reason), XAVO_NO_ERROR);
        return reason;
    }

    XAVO_Proxy *guarded = nullptr;
};

TEST_F(Guarded, HandlesThatCannotBeAreRefused) {
    XAVO_Reason reason;
    XAVO_Proxy invalid = *sp;
    invalid.head_magic[0] ^= 1U;
    CMCIClient *const real = sp->client;
    CMCIClientFT mute = *real->ft;
    mute.getClass = nullptr;
    CMCIClient dumb = {real->hdl, &mute}, hollow = {real->hdl, nullptr};
    XAVO_Proxy bare = *sp, no_class = *sp, no_table = *sp;
    bare.client = nullptr;
    no_class.client = &dumb;
    no_table.client = &hollow;
    for (XAVO_Proxy *handle : {static_cast<XAVO_Proxy *>(nullptr), &invalid, &bare, &no_table}) {
        EXPECT_EQ(XAVO_guard(handle), XAVO_SP_NOT_VALID);
        EXPECT_EQ(XAVO_set_quiet_time(handle, 1), XAVO_SP_NOT_VALID);
        EXPECT_EQ(XAVO_take_reason(handle, XAVO_UNKNOWN_ERROR, &reason), XAVO_SP_NOT_VALID);
        EXPECT_EQ(XAVO_forget_reason(handle), XAVO_SP_NOT_VALID);
        EXPECT_EQ(XAVO_give_back(handle), XAVO_SP_NOT_VALID);
    }
    EXPECT_EQ(XAVO_guard(&no_class), XAVO_NOT_SUPPORTED);
    EXPECT_EQ(XAVO_take_reason(sp, XAVO_UNKNOWN_ERROR, &reason), XAVO_NOT_SUPPORTED);
    EXPECT_EQ(reason.kind, XAVO_REASON_NOTHING_ASKED);
    EXPECT_EQ(XAVO_give_back(sp), XAVO_NOT_SUPPORTED);
    arm(Own::ALLOCATION, 1, false);
    EXPECT_EQ(XAVO_guard(sp), XAVO_OUT_OF_MEMORY);
    disarm();
    EXPECT_EQ(sp->client, real);
    EXPECT_EQ(XAVO_guard(sp), XAVO_NO_ERROR);
    EXPECT_EQ(XAVO_guard(sp), XAVO_INVALID_VALUE);
    EXPECT_EQ(XAVO_give_back(sp), XAVO_NOT_SUPPORTED);
    EXPECT_EQ(XAVO_take_reason(sp, XAVO_UNKNOWN_ERROR, nullptr), XAVO_INVALID_VALUE);
    CMPIStatus status = {};
    EXPECT_EQ(sp->client->ft->clone(sp->client, &status), nullptr);
    EXPECT_EQ(status.rc, CMPI_RC_ERR_NOT_SUPPORTED);
    EXPECT_EQ(sp->client->ft->clone(sp->client, nullptr), nullptr);
}

// A client whose slots note what they are given, each as it comes through a guard.
std::vector<uintptr_t> given_values;
const CMCIClient *spied = nullptr;
template <auto slot>
struct Spy;
template <typename Result, typename... Given, Result (*CMCIClientFT::*slot)(CMCIClient *, Given...)>
struct Spy<slot> {
    static Result noted(CMCIClient *client, Given... given) {
        EXPECT_EQ(client, spied);
        given_values = {as_word(given)...};
        return Result{};
    }
    static void expect_forwarded(CMCIClient *guard) {
        std::tuple<Given...> values = {as_value<Given>()...};
        given_values.clear();
        std::apply([&](Given... given) { (guard->ft->*slot)(guard, given...); }, values);
        std::vector<uintptr_t> expected;
        std::apply([&](Given... given) { expected = {as_word(given)...}; }, values);
        EXPECT_EQ(given_values, expected);
    }
    template <typename Value>
    static uintptr_t as_word(Value value) {
        uintptr_t word = 0;
        return *static_cast<uintptr_t *>(memcpy(&word, &value, sizeof value));
    }
    template <typename Value>
    static Value as_value() {
        static int n = 0;
        static CMPIStatus status;
        Value value = {};
        memset(&value, ++n, sizeof value);
        status = {};
        if constexpr (std::is_same_v<Value, CMPIStatus *>)
            return &status;
        return value;
    }
};

template <auto... slots>
void expect_all_forwarded(XAVO_Proxy *sp, CMCIClientFT *spies) {
    ((spies->*slots = Spy<slots>::noted), ...);
    ASSERT_EQ(XAVO_guard(sp), XAVO_NO_ERROR);
    (Spy<slots>::expect_forwarded(sp->client), ...);
}

TEST_F(Guarded, EverySlotIsForwardedWithItsValues) {
    using T = CMCIClientFT;
    CMCIClient *const real = sp->client;
    T spies = *real->ft;
    CMCIClient spy = {real->hdl, &spies};
    spies.release = [](CMCIClient *) { return CMPIStatus{}; };
    XAVO_Proxy handle = *sp;
    handle.client = &spy;
    spied = &spy;
    expect_all_forwarded<&T::getClass, &T::enumClassNames, &T::enumClasses, &T::getInstance,
                         &T::createInstance, &T::setInstance, &T::deleteInstance, &T::execQuery,
                         &T::enumInstanceNames, &T::enumInstances, &T::associators, &T::associatorNames,
                         &T::references, &T::referenceNames, &T::setProperty, &T::getProperty>(&handle,
                                                                                               &spies);
    spies.getClass = real->ft->getClass; // answers nothing for a spy's client: the method is not called
    spies.invokeMethod = Spy<&T::invokeMethod>::noted;
    given_values.clear();
    handle.client->ft->invokeMethod(handle.client, nullptr, "m", nullptr, nullptr, nullptr);
    EXPECT_EQ(given_values.size(), 5U); // without a status as it is
    handle.client->ft->release(handle.client);
    T poor = {};
    poor.ftVersion = -1;
    poor.release = spies.release;
    poor.getClass = spies.getClass;
    spy.ft = &poor;
    handle.client = &spy;
    ASSERT_EQ(XAVO_guard(&handle), XAVO_NO_ERROR);
    const auto *slots = reinterpret_cast<void *const *>(handle.client->ft);
    EXPECT_EQ(std::count(slots, slots + sizeof(T) / sizeof(void *), nullptr), 17); // clone and sixteen others
    handle.client->ft->release(handle.client);
}

// ---- The reason -------------------------------------------------------------------------------------

TEST_F(Guarded, ReasonsAreTold) {
    for (const Row &row : table("reasons.txt")) {
        SCOPED_TRACE(row[0] + ": " + row[1]);
        begin();
        prepare(row[1]);
        XAVO_ErrorCode code;
        run(operation(row[0]), guarded, &code);
        const XAVO_Reason told = reason_of(guarded, code);
        EXPECT_EQ(XAVO_reason_to_string(told.kind), row[2]);
        EXPECT_EQ((Row{std::to_string(told.rc), std::to_string(told.has_return_value),
                       std::to_string(told.return_value), told.message_id, told.message}),
                  Row(row.begin() + 3, row.end()));
        EXPECT_EQ(told.cut, 0);
        EXPECT_EQ(reason_of(guarded, code).kind, // consumed
                  code == XAVO_NO_ERROR ? XAVO_REASON_NONE : XAVO_REASON_NOTHING_ASKED);
        cimsim_restart_broker(0);
        end();
    }
    EXPECT_STREQ(XAVO_reason_to_string(7), "unknown");
}

TEST_F(Guarded, TextsThatDoNotFitAreCutBetweenCharacters) {
    begin();
    // 61 bytes and then characters of two: the buffer of 64 holds one of them whole.
    const std::string id = std::string(61, 'x') + "\xc3\xa9\xc3\xa9", message(511, 'm');
    prepare("answer_return number:00a0:1");
    cimsim_answer_output("MessageID", cimsim_string(id.c_str()));
    cimsim_answer_output("Message", cimsim_string(message.c_str()));
    const XAVO_Reason cut = (run(operation("DeleteJobQueue"), guarded, &ec), reason_of(guarded, ec));
    EXPECT_EQ(cut.message_id, id.substr(0, 63));
    EXPECT_EQ(cut.message, message);
    EXPECT_EQ(cut.cut, 1);
    prepare("answer_return number:00a0:1");
    cimsim_answer_output("MessageID", cimsim_string((std::string(62, 'x') + "\xc3\xa9").c_str()));
    EXPECT_EQ((run(operation("DeleteJobQueue"), guarded, &ec), reason_of(guarded, ec)).message_id,
              std::string(62, 'x'));
    end();
}

// ---- A broker that is restarted ---------------------------------------------------------------------

TEST_F(Guarded, OnlyAQuietConnectionIsAskedFirst) {
    const auto questions = [this](const char *name) {
        const unsigned long before = cimsim_calls("CMCIClient.getClass");
        run(operation(name), guarded, &ec);
        return cimsim_calls("CMCIClient.getClass") - before;
    };
    begin();
    EXPECT_EQ(questions("TestNetworkShare"), 0U); // the fetch that went before was a good answer
    cimsim_refuse_user("root01ff");
    EXPECT_EQ(questions("get"), 0U);
    EXPECT_EQ(questions("TestNetworkShare"), 0U); // and so is a refusal
    XAVO_set_quiet_time(guarded, 20);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(questions("TestNetworkShare"), 1U);
    end();
    XAVO_Proxy *fresh = XAVO_new();
    XAVO_guard(fresh);
    std::swap(fresh, guarded);
    populate();
    EXPECT_EQ(questions("TestNetworkShare"), 1U); // nothing heard yet
    cimsim_answer_status(CMPI_RC_ERR_FAILED, nullptr);
    EXPECT_EQ(questions("TestNetworkShare"), 0U);
    EXPECT_EQ(questions("TestNetworkShare"), 1U);
    XAVO_free(guarded);
}

// ---- Borrowing --------------------------------------------------------------------------------------

class Lent : public testing::Test {
protected:
    Lent() {
        populate();
        settle();
    }
    ~Lent() override { expect_nothing_left(0); }

    XAVO_ErrorCode ec = -1;
    XAVO_Reason reason = {};
};

TEST_F(Lent, HandlesAreGuardedAndOfTheirUser) {
    XAVO_Proxy *sp = XAVO_borrow(&ec, "operator", 0, nullptr);
    ASSERT_NE(sp, nullptr);
    EXPECT_EQ(XAVO_guard(sp), XAVO_INVALID_VALUE);
    XAVO_free_VELK_LifecycleJob(XAVO_get_VELK_LifecycleJob(sp, &ec, "JID_1"));
    EXPECT_STREQ(cimsim_last_request()->user, "operator01ff");
    EXPECT_EQ(XAVO_give_back(sp), XAVO_NO_ERROR);
    cimsim_set_reachable(0);
    EXPECT_EQ(XAVO_borrow(&ec, nullptr, 1000, &reason), nullptr);
    EXPECT_EQ(ec, XAVO_UNABLE_TO_OPEN_CONNECTION);
    EXPECT_EQ(reason.kind, XAVO_REASON_NOTHING_ASKED);
    cimsim_set_reachable(1);
    arm(Own::ALLOCATION, 3, false); // after the handle and its user's name: the guard
    EXPECT_EQ(XAVO_borrow(&ec, nullptr, 0, &reason), nullptr);
    disarm();
    EXPECT_EQ(ec, XAVO_OUT_OF_MEMORY);
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
    EXPECT_EQ(XAVO_borrow(&ec, nullptr, 10, &reason), nullptr); // the second holds the dead connection
    EXPECT_EQ(ec, XAVO_UNABLE_TO_OPEN_CONNECTION);
    EXPECT_EQ(reason.kind, XAVO_REASON_CONNECTION_LOST);
    XAVO_Proxy *plain = XAVO_new(); // and so does a handle of another kind
    std::thread later([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        XAVO_give_back(second);
    });
    EXPECT_EQ(XAVO_borrow(&ec, nullptr, 100, &reason), nullptr);
    EXPECT_EQ(reason.kind, XAVO_REASON_CONNECTION_LOST);
    later.join();
    XAVO_free(plain);
    XAVO_Proxy *third = XAVO_borrow(&ec, nullptr, 0, &reason);
    XAVO_invoke_DeleteJobQueue(third, &ec, "JID_1");
    EXPECT_EQ(ec, XAVO_NO_ERROR);
    XAVO_free(third); // as good as giving it back
}

// ---- Waiting ----------------------------------------------------------------------------------------

XAVO_Proxy *held = nullptr; // by somebody else in the process

using Story = Row;

// What happens after so many polls; whether the wait is to be cancelled.
bool happens(const Story &story, unsigned long polls) {
    for (size_t i = 6; i < story.size(); ++i) {
        const size_t blank = story[i].find(' ');
        const std::string when = story[i].substr(0, blank), what = story[i].substr(blank + 1);
        XAVO_ErrorCode ignored;
        if (when != "*" && when != std::to_string(polls))
            continue;
        if (what == "cancel")
            return true;
        what == "hold"     ? (void)(held = XAVO_new())
        : what == "let go" ? XAVO_free(std::exchange(held, nullptr))
        : what == "delete" ? XAVO_delete_VELK_LifecycleJob(nullptr, &ignored, story[1].c_str())
                           : prepare(what);
    }
    return false;
}

class Waiting : public Lent, public testing::WithParamInterface<Story> {
protected:
    Waiting() {
        cimsim_add_job("good", "a job", 0, 3, 0);
        cimsim_add_job("bad", "a job", 0, 8, 1);
        for (const char *job : {"JID_1", "good", "bad"})
            cimsim_set_job_property(job, "MessageArguments", cimsim_string("none"));
        options.deadline_ms = 10000;
        options.first_pause_ms = options.longest_pause_ms = 1;
        options.borrow_ms = 30;
    }
    int wait(const char *job) {
        const int end = XAVO_wait_for_job(job, &options, &result);
        EXPECT_EQ(result.end, end);
        last_status = result.job == nullptr ? "" : result.job->JobStatus;
        XAVO_free_VELK_LifecycleJob(result.job);
        return end;
    }

    XAVO_WaitOptions options = {};
    XAVO_WaitResult result = {};
    std::string last_status;
};

TEST_P(Waiting, EndsAsItShould) {
    const Story &story = GetParam();
    options.deadline_ms = static_cast<unsigned>(std::stoul(story[2]));
    options.context = const_cast<Story *>(&story);
    options.polled = [](void *context, const XAVO_Poll *poll) {
        EXPECT_EQ(cimsim_owned(), held == nullptr ? 0U : 1U) << "between polls: " << cimsim_live();
        cimsim_advance(1);
        return static_cast<int>(happens(*static_cast<const Story *>(context), poll->polls));
    };
    happens(story, 0);
    EXPECT_EQ(XAVO_wait_to_string(wait(story[1].c_str())), story[3]);
    EXPECT_EQ(XAVO_EC_to_string(result.code), story[4]);
    EXPECT_EQ(last_status, story[5]);
    if (held != nullptr)
        XAVO_free(std::exchange(held, nullptr));
}
INSTANTIATE_TEST_SUITE_P(Job, Waiting, testing::ValuesIn(table("waits.txt")),
                         [](const auto &story) { return story.param[0]; });

TEST_F(Waiting, TellsOfChangesAndPausesLonger) {
    options.deadline_ms = 150;
    options.first_pause_ms = 10;
    options.longest_pause_ms = 40;
    static std::vector<std::pair<int, unsigned long>> polls;
    polls.clear();
    options.polled = [](void *, const XAVO_Poll *poll) {
        polls.emplace_back(poll->changed, poll->elapsed_ms);
        if (poll->polls == 2)
            cimsim_set_job_property("JID_1", "Name", cimsim_string("renamed"));
        return 0;
    };
    EXPECT_EQ(wait("JID_1"), XAVO_WAIT_DEADLINE);
    ASSERT_GE(polls.size(), 4U); // 0, 10, 26, 51, 91, 131, 150 ms when nothing holds it up
    EXPECT_LE(polls.size(), 8U);
    for (size_t i = 0; i < polls.size(); ++i)
        EXPECT_EQ(polls[i].first, i == 0 || i == 2) << i;
    EXPECT_GE(polls[2].second - polls[1].second, 15U);
    EXPECT_GE(polls.back().second, 150U);
}

TEST_F(Waiting, LetsTheCallerJudge) {
    options.judge = [](void *context, const XAVO_VELK_LifecycleJob *job) {
        *static_cast<std::string *>(context) = job->InstanceID;
        return static_cast<int>(strcmp(job->InstanceID, "good") == 0 ? XAVO_JOB_FAILED : XAVO_JOB_COMPLETED);
    };
    std::string judged;
    options.context = &judged;
    EXPECT_EQ(wait("good"), XAVO_WAIT_FAILED);
    EXPECT_EQ(judged, "good");
    EXPECT_EQ(wait("JID_1"), XAVO_WAIT_COMPLETED);
    cimsim_set_job_property("JID_1", "JobStatus", cimsim_string("FAILED"));
    options.judge = nullptr;
    EXPECT_EQ(wait("JID_1"), XAVO_WAIT_FAILED);
    cimsim_set_job_property("JID_1", "JobStatus", cimsim_null(CMPI_string));
    options.deadline_ms = 0;
    EXPECT_EQ(XAVO_wait_for_job("JID_1", &options, &result), XAVO_WAIT_DEADLINE);
    XAVO_free_VELK_LifecycleJob(result.job);
    EXPECT_STREQ(XAVO_wait_to_string(8), "unknown");
}

TEST_F(Waiting, UsesAHandleOfTheCallers) {
    XAVO_Proxy *sp = XAVO_new();
    options.sp = sp;
    EXPECT_EQ(wait("good"), XAVO_WAIT_ERROR);
    EXPECT_EQ(result.code, XAVO_NOT_SUPPORTED); // it is not guarded
    XAVO_guard(sp);
    cimsim_advance(9);
    EXPECT_EQ(wait("good"), XAVO_WAIT_COMPLETED);
    cimsim_restart_broker(CIMSIM_PIPE_CALLS);
    EXPECT_EQ(wait("good"), XAVO_WAIT_LOST);
    EXPECT_EQ(result.reason.kind, XAVO_REASON_CONNECTION_LOST);
    XAVO_free(sp);
    EXPECT_EQ(wait(nullptr), XAVO_WAIT_ERROR);
    EXPECT_EQ(result.code, XAVO_INVALID_VALUE);
    EXPECT_EQ(XAVO_wait_for_job("none", nullptr, &result), XAVO_WAIT_NOT_FOUND);
}

} // namespace
