// value_test.cpp - opening and freeing handles, error codes, and values: printed, read, freed.
#include "operations.h"
#include "support.h"
#include "table.h"

#include <cstddef>
#include <cstring>
#include <regex>
#include <stdio_ext.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace test;

namespace {

class Handle : public testing::Test {
protected:
    Handle() {
        populate();
        clear_log();
    }
    ~Handle() override { expect_nothing_left(0); }
};

TEST_F(Handle, ConnectsAsItsUser) {
    setenv("SFCC_CLIENT", "elsewhere", 1);
    const std::pair<const char *, const char *> users[] = {{nullptr, "root01ff"},
                                                           {"operator", "operator01ff"}};
    for (const auto &[user, sent] : users) {
        XAVO_Proxy *sp = XAVO_new_with_uname(user);
        ASSERT_NE(sp, nullptr);
        XAVO_ErrorCode ec = -1;
        XAVO_free_list_VELK_LifecycleJob(XAVO_enumerate_VELK_LifecycleJob(sp, &ec));
        EXPECT_STREQ(cimsim_last_request()->user, sent);
        XAVO_free(sp);
    }
    EXPECT_TEXT("8 XAVO_new_with_uname: using root default userid\n"
                "8 XAVO_new_with_uname: using username=[operator]\n",
                logged());
}

TEST_F(Handle, IsRejectedWhenAMagicWordIsWrong) {
    XAVO_Proxy *sp = XAVO_new();
    const std::pair<uint32_t *, uint32_t> words[] = {{sp->head_magic, 0x60845501},
                                                     {sp->head_magic + 1, 0x78771855},
                                                     {sp->tail_magic, 0x60845502},
                                                     {sp->tail_magic + 1, 0x78771855}};
    for (const auto &[word, magic] : words) {
        EXPECT_EQ(*word, magic);
        *word ^= 3; // turns the first word of one end into that of the other end
        clear_log();
        XAVO_free(sp);
        XAVO_lock(sp);
        XAVO_unlock(sp);
        EXPECT_TEXT("2 XAVO_free: ERROR: sp is not valid\n"
                    "2 XAVO_lock: ERROR: sp is not valid\n"
                    "2 XAVO_unlock: ERROR: sp is not valid\n",
                    logged());
        *word ^= 3;
    }
    XAVO_free(sp);
}

TEST_F(Handle, IsRejectedWhenItIsNull) {
    XAVO_free(nullptr);
    XAVO_lock(nullptr);
    XAVO_unlock(nullptr);
    EXPECT_TEXT("2 XAVO_free: ERROR: sp is NULL\n"
                "2 XAVO_lock: ERROR: sp is not valid\n"
                "2 XAVO_unlock: ERROR: sp is not valid\n",
                logged());
}

TEST_F(Handle, IsFreedWithoutItsClient) {
    XAVO_Proxy *sp = XAVO_new();
    CMCIClient *const client = sp->client;
    sp->client = nullptr;
    clear_log();
    XAVO_free(sp);
    EXPECT_TEXT("", logged());
    client->ft->release(client);
}

TEST_F(Handle, IsNullWhenAStepOfOpeningFails) {
    struct {
        Own fails;
        unsigned nth, mutex_calls;
        const char *log;
    } const ways[] = {
        {Own::ALLOCATION, 1, 0, "out of memory\n"},
        {Own::MUTEX, 1, 1, "pthread_mutex_init() failed\n"},
        {Own::ALLOCATION, 2, 2, "out of memory\n"},
        {Own::MUTEX, 2, 2,
         "unable to open connection to server\n2 XAVO_free: ERROR: pthread_mutex_destroy() failed\n"}};
    cimsim_set_reachable(0);
    for (const auto &way : ways) {
        SCOPED_TRACE(way.log);
        const unsigned long calls = cimsim_calls(nullptr);
        clear_log();
        arm(way.fails, way.nth, true);
        EXPECT_EQ(XAVO_new(), nullptr);
        disarm();
        EXPECT_EQ(own_calls(Own::MUTEX), way.mutex_calls);
        EXPECT_EQ(cimsim_calls(nullptr) - calls, way.fails == Own::MUTEX && way.nth == 2 ? 1U : 0U);
        EXPECT_EQ(outcome_lines(operation("open"), logged()),
                  std::string("2 XAVO_new_with_uname: ERROR: ") + way.log);
    }
}

TEST_F(Handle, IsInvalidBeforeItsClientIsReleased) {
    static XAVO_Proxy *sp;
    static bool live;
    sp = XAVO_new();
    CMCIClient *const client = sp->client;
    CMCIClientFT table = *client->ft;
    CMCIClient substitute = {client->hdl, &table};
    table.release = [](CMCIClient *) {
        live = XAVO_is_valid(sp) != 0 || sp->mutex_initialised != 0;
        return CMPIStatus{CMPI_RC_OK, nullptr};
    };
    sp->client = &substitute;
    live = true;
    XAVO_free(sp);
    EXPECT_FALSE(live);
    client->ft->release(client);
}

TEST_F(Handle, IsJudgedByItsHeadMagicFirst) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void *const memory = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    char *const unreadable = static_cast<char *>(memory) + page;
    ASSERT_EQ(mprotect(unreadable, page, PROT_NONE), 0);
    constexpr size_t readable = offsetof(XAVO_Proxy, tail_magic) / alignof(XAVO_Proxy) * alignof(XAVO_Proxy);
    EXPECT_EQ(XAVO_is_valid(reinterpret_cast<XAVO_Proxy *>(unreadable - readable)), 0);
    munmap(memory, 2 * page);
}

TEST(ErrorCodes, HaveTheirNames) {
    std::string listed;
#define ROW(constant, value, name, meaning)                                                                  \
    listed += std::to_string(constant) + " " + XAVO_EC_to_string(constant) + (*meaning ? "\n" : "?");
    XAVO_ERROR_CODES(ROW)
#undef ROW
    EXPECT_TEXT(lines("codes.txt"), listed);
    for (const int other : {-1, 18, 8225, 8227, 65536}) // the last one's low 16 bits are a code
        EXPECT_STREQ(XAVO_EC_to_string(other), "unknown") << other;
}

TEST(ErrorCodes, AreTranslatedFromBrokerStatuses) {
    std::string translated;
    for (const int rc : {-1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 255, INT32_MAX})
        translated += std::to_string(rc) + " " +
                      XAVO_EC_to_string(XAVO_translate_error_code(static_cast<CMPIrc>(rc))) + "\n";
    EXPECT_TEXT("-1 UNKNOWN_ERROR\n"
                "0 NO_ERROR\n"
                "1 UNKNOWN_ERROR\n"
                "2 PERMISSION_ERROR\n"
                "3 INVALID_VALUE\n"
                "4 INVALID_VALUE\n"
                "5 INVALID_VALUE\n"
                "6 NOT_FOUND\n"
                "7 NOT_SUPPORTED\n"
                "8 UNKNOWN_ERROR\n"
                "255 UNKNOWN_ERROR\n"
                "2147483647 UNKNOWN_ERROR\n",
                translated);
}

class Values : public WithHandle {};

// Standard output since CaptureStdout, in short: the lines of a string and the first three of a value as
// one, indentation as a number.
std::string printed() {
    EXPECT_EQ(__fpending(stdout), 0U);
    std::string text = testing::internal::GetCapturedStdout();
    const auto replace = [&text](const std::string &what, const std::string &by) {
        text = std::regex_replace(text, std::regex(what), by);
    };
    replace("( *)CMPIString=\\[(.*)\\]\n\\1    cs=\\[(.*)\\]\n\\1    cs=0x[0-9a-f]{4,}\n", "$1$2='$3'\n");
    replace("( *)CMPIData \\[(.*)\\]\n\\1 {8}CMPIType \\[data.type\\], type=(.*)\n"
            "\\1 {8}CMPIValueState \\[data.state\\], state=(.*)\n",
            "$1$2 $3 $4\n");
    replace(",[0-9]+,", ",*,");
    for (int indent = 40; indent > 0; --indent)
        replace("\n {" + std::to_string(indent) + "}", "\n" + std::to_string(indent) + " ");
    return text;
}

// Each is printed, read as a number, and freed twice. Every object's table begins alike, so a string
// is used where only the release counts; one without a table must not be used.
TEST_F(Values, ArePrintedReadAndFreedByType) {
    CMPIString without_table = {};
    const auto object = [] { return native_new_CMPIString("text", nullptr); };
    std::vector<std::tuple<CMPIType, int, void *, std::string>> rows = {
        {CMPI_string, CMPI_keyValue, object(), "8 data.value.string='text'\n"},
        {CMPI_string, 0, native_new_CMPIString(nullptr, nullptr), "8 CMPIString=[data.value.string]\n"},
        {CMPI_string, 0, nullptr,
         "8 CMPIString=[data.value.string]\nXAVO_utils.cpp,*,XAVO_pr_CMPIString: s is NULL\n"},
        {CMPI_string, CMPI_badValue | CMPI_keyValue, &without_table, ""},
        {CMPI_ref, 0, newCMPIObjectPath("", "", nullptr),
         "8 CMPIObjectPath [data.value.ref]\n12 namespace is NULL\n12 hostanme is NULL\n"
         "12 classname is NULL\n"},
        {CMPI_ref, 0, nullptr, "8 CMPIObjectPath [data.value.ref]\n12 op is NULL\n"},
        {CMPI_stringA, 0, native_new_CMPIArray(0, CMPI_string, nullptr),
         "8 CMPIArray [data.value.array]\n12 count=0\n"},
        {CMPI_stringA, 0, nullptr, "8 CMPIArray [data.value.array]\n12 arrayp is NULL\n"},
        {CMPI_uint32, CMPI_keyValue, reinterpret_cast<void *>(~uintptr_t{0}),
         "8 CMPIUint32 [data.value.uint32] value=4294967295\n"},
        {CMPI_chars, 0, strdup("chars"), "4 unknown type\n"},
    };
    for (const int type : {CMPI_instance, CMPI_args, CMPI_class, CMPI_enumeration, CMPI_dateTime})
        rows.emplace_back(type, 0, object(), "4 unknown type\n");
    for (const int type : {CMPI_uint16, CMPI_filter, CMPI_ptr, CMPI_charsptr})
        rows.emplace_back(type, 0, &without_table, "4 unknown type\n");
    std::string expected;
    testing::internal::CaptureStdout();
    for (const auto &[type, state, pointer, print] : rows) {
        CMPIData data = {type, static_cast<CMPIValueState>(state), {}};
        data.value.dataPtr.ptr = pointer;
        XAVO_pr_CMPIData(0, "row", data);
        char head[80];
        snprintf(head, sizeof head, "row %d (0x%x) [%s] %d [%s]\n", type, type, XAVO_CMPIType_to_string(type),
                 state, XAVO_CMPIValueState_to_string(data.state));
        expected += head + print;
        EXPECT_EQ(XAVO_CMPIData_to_uint32(&ec, &data), type == CMPI_uint32 ? 0xffffffffU : 0U);
        XAVO_free_CMPIData_value(&data);
        XAVO_free_CMPIData_value(&data);
    }
    EXPECT_TEXT(expected, printed());
    std::string leaks;
    for (int n = 0; n < 6; ++n) // CMPI_filter, CMPI_ptr and CMPI_charsptr, freed twice
        leaks += "2 XAVO_free_CMPIData_value: ERROR: unknown type, memory leak\n";
    EXPECT_TEXT(leaks, logged());
}

TEST_F(Values, AreGoodWhereTheClientLibraryGivesNoStatus) {
    CMPIInstanceFT table = {};
    table.getProperty = [](CMPIInstance *, const char *, CMPIStatus *) {
        return CMPIData{CMPI_string, CMPI_nullValue, {}};
    };
    CMPIInstance instance = {nullptr, &table};
    EXPECT_EQ(XAVO_property_to_ntstring(sp, &ec, &instance, "Name"), nullptr);
    EXPECT_EQ(ec, XAVO_NO_ERROR);
}

TEST_F(Values, ArgumentListsAndRecordsArePrinted) {
    CMPIArgs *args = printable();
    char id[] = "JID_1";
    XAVO_VELK_LifecycleJob last = {}, first = {};
    first.next = &last;
    first.InstanceID = id;
    testing::internal::CaptureStdout();
    XAVO_pr_CMPIArgs(0, "list", args);
    EXPECT_EQ(cimsim_calls("CMPIArray.setElementAt"), 4U); // two elements set, the same two freed
    args->ft->release(args);
    XAVO_fprint_list_VELK_LifecycleJob(stdout, &first);
    XAVO_pr_CMPIArgs(-1, "none", nullptr);
    const std::regex string(" 5632 \\(0x1600\\) \\[CMPI_string\\] 0 \\[CMPI_goodValue\\]");
    EXPECT_TEXT(lines("printed.txt"), std::regex_replace(printed(), string, " string"));
}

TEST_F(Values, AreNotTouchedWhenReadingThemFails) {
    CMPIArgs *args = printable();
    const cimsim_fault failing = {CMPI_RC_ERR_FAILED, nullptr, 1}; // the text is returned, too
    cimsim_fail("CMPIArgs.getArg", 1, &failing);
    EXPECT_EQ(XAVO_get_string_arg(args, "Text"), nullptr);
    args->ft->release(args);
    EXPECT_EQ(cimsim_pooled(), 1U) << live_objects();
    EXPECT_TEXT("8 XAVO_get_string_arg: st.rc=1\n", logged());
}

TEST_F(Values, OfNullAreRejected) {
    XAVO_VELK_LifecycleJob record = {};
    testing::internal::CaptureStdout();
    XAVO_fprint_list_VELK_LifecycleJob(nullptr, &record);
    XAVO_fprint_VELK_LifecycleJob(nullptr, nullptr);
    XAVO_fprint_VELK_LifecycleJob(stdout, nullptr);
    EXPECT_TEXT("", testing::internal::GetCapturedStdout());
    XAVO_free_VELK_LifecycleJob(nullptr);
    XAVO_indent(nullptr, 1);
    XAVO_fprint_ntstring(nullptr, "text");
    ec = -1;
    EXPECT_EQ(XAVO_CMPIData_to_uint32(nullptr, nullptr) + XAVO_CMPIData_to_uint32(&ec, nullptr), 0U);
    EXPECT_EQ(ec, XAVO_INVALID_VALUE);
    ec = -1;
    record_steps(&ec);
    EXPECT_EQ(XAVO_property_to_ntstring(sp, &ec, nullptr, "Name"), nullptr);
    EXPECT_TEXT("NO_ERROR 2 XAVO_property_to_ntstring: ERROR: instancep is NULL\n", steps());
    EXPECT_EQ(XAVO_build_string_array(nullptr), nullptr);
    EXPECT_TEXT(lines("null_arguments.txt"), logged());
}

} // namespace
