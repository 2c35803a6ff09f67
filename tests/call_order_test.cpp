// call_order_test.cpp - the order in which operations call the client library, allocate and free memory, use
// the handle's lock, write log lines, and set the caller's variables.
#include "operations.h"
#include "prepare.h"
#include "support.h"
#include "table.h"

using namespace test;

namespace {

// Makes a call by its name. Some calls are not in the table of operations().
void call(const std::string &name, XAVO_Proxy *sp, XAVO_ErrorCode *ec, Results &results) {
    XAVO_NET_INPUT_DATA share = full_share(2);
    XAVO_Proxy *opened = nullptr;
    if (name == "TestNetworkShare without workgroup")
        share.workgroup[0] = '\0', XAVO_invoke_TestNetworkShare(sp, ec, &share);
    else if (name == "CreateRebootJob of no number")
        XAVO_invoke_CreateRebootJob(sp, ec, "x", &results.job);
    else if (name == "XAVO_new")
        opened = XAVO_new();
    else if (name == "XAVO_new_with_uname(NULL)")
        opened = XAVO_new_with_uname(nullptr);
    else
        operation(name).call(sp, ec, results);
    if (opened != nullptr)
        XAVO_free(opened);
}

TEST(CallOrder, IsThatOfTheTable) {
    std::vector<std::string> recorded;
    unsigned different = 0; // a fault in a common function changes all blocks: three are shown
    for (const Block &block : blocks("call_order.txt")) {
        SCOPED_TRACE(block.where + ", " + block.name);
        populate();
        XAVO_Proxy *sp = XAVO_new();
        static char stale[] = "of an earlier call";
        const bool opens = block.name.rfind("XAVO_", 0) == 0;
        if (opens)
            XAVO_free(std::exchange(sp, nullptr));
        {
            Results results;
            XAVO_ErrorCode ec = -1;
            results.job = stale;
            prepare(block["given"]);
            if (const Row fails = words_in(block["fails"]); !fails.empty()) {
                const cimsim_fault failing = {CMPI_RC_ERR_FAILED, "failed", fails.size() > 2};
                cimsim_fail(fails[0].c_str(), std::stoul(fails[1]), &failing);
            }
            const OwnCall kind = block["mutex"].empty() ? OwnCall::ALLOCATION : OwnCall::MUTEX;
            arm(kind, static_cast<unsigned>(atoi((block["memory"] + block["mutex"]).c_str())), false);
            record_steps(opens ? nullptr : &ec, opens ? nullptr : &results.job);
            call(block.name, sp, &ec, results);
            recorded.push_back(steps() + (opens ? "" : XAVO_EC_to_string(ec) + std::string("\n")));
            disarm();
            cimsim_fail(nullptr, 0, nullptr);
            results.job = results.job == stale ? nullptr : results.job;
        }
        different += block["steps"] != recorded.back();
        if (!updating() && different <= 3) {
            EXPECT_TEXT(block["steps"], recorded.back());
        }
        if (sp != nullptr)
            XAVO_free(sp);
    }
    if (updating())
        update("call_order.txt", "steps", recorded);
}

} // namespace
