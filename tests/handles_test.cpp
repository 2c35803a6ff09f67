// handles_test.cpp - handles that probe a doubtful connection before a method and keep the reason of a
// failure.
#include "operations.h"
#include "prepare.h"
#include "support.h"
#include "table.h"

#include <handles.h>
#include <thread>

using namespace test;

namespace {

class Guarded : public WithHandle {
protected:
    // On a connection that has just answered.
    Guarded() {
        EXPECT_EQ(XAVO_guard(sp), XAVO_NO_ERROR);
        reason_of("list");
    }
    // Calls the operation; returns the reason of its outcome.
    XAVO_Reason reason_of(const std::string &name) {
        Results results;
        XAVO_Reason reason;
        operation(name).call(sp, &ec, results);
        EXPECT_EQ(XAVO_take_reason(sp, ec, &reason), XAVO_NO_ERROR);
        return reason;
    }
};

TEST_F(Guarded, RecordsTheReasonOfAFailure) {
    for (const Row &row : table("reasons.txt")) {
        SCOPED_TRACE(row.where + ", " + row[0] + ": " + row[1]);
        populate();
        prepare("answer_output MessageID string:X ; answer_output Message string:earlier ; answer_return "
                "uint32:9");
        Results earlier; // its reason is not read
        operation("TestNetworkShare").call(sp, &ec, earlier);
        prepare(row[1]);
        XAVO_Reason reason = reason_of(row[0]);
        EXPECT_EQ(XAVO_reason_to_string(reason.kind), row[2]);
        EXPECT_EQ((std::vector<std::string>{
                      std::to_string(reason.rc), std::to_string(reason.has_return_value),
                      std::to_string(reason.return_value), reason.message_id, reason.message}),
                  std::vector<std::string>(row.begin() + 3, row.end()));
        EXPECT_EQ(reason.cut, 0);
        XAVO_take_reason(sp, XAVO_UNKNOWN_ERROR, &reason); // consumed
        EXPECT_EQ(reason.kind, XAVO_REASON_NOTHING_ASKED);
        cimsim_restart_broker(0);
    }
    EXPECT_STREQ(XAVO_reason_to_string(7), "unknown");
}

TEST_F(Guarded, ProbesBeforeAMethodOnlyWhereTheConnectionIsDoubtful) {
    const auto probes = [this](const char *name) {
        const unsigned long before = cimsim_calls("CMCIClient.getClass");
        reason_of(name);
        return cimsim_calls("CMCIClient.getClass") - before;
    };
    EXPECT_EQ(probes("TestNetworkShare"), 0U); // the list that went before was a good answer
    cimsim_refuse_user("root01ff");
    EXPECT_EQ(probes("get"), 0U);
    EXPECT_EQ(probes("TestNetworkShare"), 0U); // a refusal is a good answer, too
    arm(Own::MUTEX, 0, false);
    XAVO_set_quiet_time(sp, 20);
    disarm();
    EXPECT_EQ(own_calls(Own::MUTEX), 2U); // XAVO_set_quiet_time locks the handle
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(probes("TestNetworkShare"), 1U);
    XAVO_set_quiet_time(sp, 1000000);
    cimsim_answer_status(CMPI_RC_ERR_FAILED, nullptr);
    EXPECT_EQ(probes("TestNetworkShare"), 0U);
    EXPECT_EQ(probes("TestNetworkShare"), 1U); // after a failure, however long the quiet time
    XAVO_set_quiet_time(sp, 0);
    EXPECT_EQ(probes("TestNetworkShare"), 1U);
    EXPECT_NE(last_request().find("VELK:QMService) getClass flags=0"), std::string::npos) << last_request();
}

} // namespace
