// plan_test.cpp - what a test lays up for later: faults, answers, jobs to come, classes of its own.
#include "raw.h"

using namespace raw;

namespace {

class Plans : public Raw {
protected:
    // The statuses of so many fetches of a job that is there.
    std::string fetches(int count) {
        const auto job = job_path("there");
        std::string statuses;
        for (int i = 0; i < count; ++i) {
            const Own<CMPIInstance> found(client->ft->getInstance(client, job.get(), 0, nullptr, &st));
            statuses += std::to_string(st.rc);
        }
        return statuses;
    }
};

TEST_F(Plans, FaultsStrikeEachInItsTurn) {
    cimsim_add_job("there", "", CIMSIM_NEVER, 1, 0);
    const cimsim_fault denied = {CMPI_RC_ERR_ACCESS_DENIED, nullptr, 0},
                       none = {CMPI_RC_ERR_NOT_FOUND, nullptr, 0};
    const char *const slot = "CMCIClient.getInstance";
    cimsim_fail(slot, 2, &denied);
    cimsim_fail("CMCIClient.enumInstances", 1, &denied); // another slot's
    cimsim_fail(slot, 4, &none);
    EXPECT_EQ(fetches(5), "02060");
    cimsim_fail(slot, 1, &denied);
    cimsim_fail(slot, 1, &none); // due in the same call: one after the other
    EXPECT_EQ(fetches(3), "260");
    EXPECT_STREQ(cimsim_fault_hit(), slot);
    cimsim_fail_from(slot, 2, &denied);
    EXPECT_EQ(fetches(4), "0222");
    cimsim_fail(slot, 0, nullptr);
    EXPECT_EQ(fetches(2), "00");
}

TEST_F(Plans, AnswersComeOneByOne) {
    cimsim_answer_return(cimsim_number(CMPI_uint32, 5));
    cimsim_answer_then();
    cimsim_answer_status(CMPI_RC_ERR_ACCESS_DENIED, "no");
    cimsim_answer_output("Never", cimsim_string("read"));
    cimsim_answer_then();
    EXPECT_EQ(invoke("VELK_JobService", "DeleteJobQueue"), "5");
    EXPECT_EQ(invoke("VELK_JobService", "DeleteJobQueue").substr(0, 8), "rc 2: no");
    EXPECT_EQ(invoke("VELK_JobService", "DeleteJobQueue"), "0"); // begun, and left as it was
    EXPECT_EQ(invoke("VELK_JobService", "DeleteJobQueue").substr(0, 17), "2 MessageID=JQ006");
}

TEST_F(Plans, JobsToComeRunAsTheyAreTold) {
    cimsim_set_job_property("JID_2", "Name", cimsim_string("named before it was there"));
    cimsim_next_job(10, 1, "The disk is full.");
    cimsim_next_job(CIMSIM_USUAL, 0, nullptr);
    const auto reboot = [&] {
        return invoke("VELK_SoftwareInstallationService", "CreateRebootJob", {{"RebootJobType", "1"}});
    };
    reboot();
    cimsim_advance(4);
    EXPECT_EQ(property("JID_1", "JobStatus"), "1600:0 Running");
    cimsim_advance(1);
    EXPECT_EQ(property("JID_1", "JobStatus"), "1600:0 Failed");
    EXPECT_EQ(property("JID_1", "Message"), "1600:0 The disk is full.");
    reboot();
    cimsim_advance(3);
    EXPECT_EQ(property("JID_2", "JobStatus"), "1600:0 Completed");
    EXPECT_EQ(property("JID_2", "Name"), "1600:0 named before it was there");
}

TEST_F(Plans, ClassesAreAdded) {
    const char *const keys[] = {"Slot", "Side", nullptr}, *const names[] = {"side", "Slot", "Watts"};
    const auto add = [&](const char *side, unsigned slot, unsigned count) {
        cimsim_value *values[] = {cimsim_string(side), cimsim_number(CMPI_uint16, slot),
                                  cimsim_number(CMPI_uint32, 750)};
        for (unsigned i = count; i < 3; ++i)
            cimsim_discard(values[i]);
        return cimsim_add_instance("TEST_PowerSupply", count, names, values);
    };
    EXPECT_EQ(add("left", 1, 3), -1); // there is no such class yet
    EXPECT_EQ(cimsim_add_class("TEST_PowerSupply", keys), 0);
    EXPECT_EQ(cimsim_add_class("test_powersupply", nullptr), -1);
    EXPECT_EQ(cimsim_add_class("VELK_LifecycleJob", keys), -1);
    EXPECT_EQ(add("left", 1, 3) + add("right", 1, 3), 0);
    EXPECT_EQ(add("left", 2, 1), -1); // a key is missing
    const auto instance = path("TEST_PowerSupply");
    const CMPIUint16 slot = 1;
    instance->ft->addKey(instance.get(), "SLOT", value(&slot), CMPI_uint16);
    EXPECT_EQ(client->ft->getInstance(client, instance.get(), 0, nullptr, &st),
              nullptr); // not all of its keys
    EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_FOUND);
    release(st.msg);
    instance->ft->addKey(instance.get(), "Side", value("right"), CMPI_chars);
    const Own<CMPIInstance> found(client->ft->getInstance(client, instance.get(), 0, nullptr, &st));
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(shown(found->ft->getProperty(found.get(), "watts", nullptr)), "00a0:0 750");
    const Own<CMPIEnumeration> all(
        client->ft->enumInstances(client, path("TEST_PowerSupply").get(), 0, nullptr, &st));
    int count = 0;
    for (; all->ft->hasNext(all.get(), nullptr) != 0; all->ft->getNext(all.get(), nullptr))
        ++count;
    EXPECT_EQ(count, 2);
}

TEST_F(Plans, SoftwareHasANameAndAVersion) {
    cimsim_add_software_identity("BIOS", "The BIOS", "1.2");
    const Own<CMPIInstance> bios(
        client->ft->getInstance(client, job_path("BIOS", "VELK_SoftwareIdentity").get(), 0, nullptr, &st));
    for (const auto &[name, value] : {std::pair("InstanceID", "BIOS"), std::pair("ElementName", "The BIOS"),
                                      std::pair("VersionString", "1.2")})
        EXPECT_EQ(shown(bios->ft->getProperty(bios.get(), name, nullptr)), std::string("1600:0 ") + value);
}

} // namespace
