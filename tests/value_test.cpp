// value_test.cpp - values and records: printed, read, freed.
#include "operations.h"
#include "support.h"
#include "table.h"

#include <cstring>
#include <regex>
#include <stdio_ext.h>

using namespace test;

namespace {

class Values : public WithHandle {};

// Returns the standard output since CaptureStdout, shortened: the lines of a string are one line, and so are
// the first three of a value; a number replaces the indentation.
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

// Each value is printed, read as a number, and freed twice. A string stands for objects of other types,
// because all function tables begin with the same slots. An object without a function table crashes if it is
// used.
TEST_F(Values, ArePrintedReadAndFreedByType) {
    static CMPIString without_table;
    std::string expected, leaks;
    testing::internal::CaptureStdout();
    for (const Row &row : table("values.txt")) {
        CMPIData data = {
            static_cast<CMPIType>(std::stoul(row[0])), static_cast<CMPIValueState>(std::stoul(row[1])), {}};
        void *&object = data.value.dataPtr.ptr;
        row[2] == "string"          ? object = native_new_CMPIString("text", nullptr)
        : row[2] == "empty string"  ? object = native_new_CMPIString(nullptr, nullptr)
        : row[2] == "path"          ? object = newCMPIObjectPath("", "", nullptr)
        : row[2] == "array"         ? object = native_new_CMPIArray(0, CMPI_string, nullptr)
        : row[2] == "characters"    ? object = strdup("chars")
        : row[2] == "number"        ? object = reinterpret_cast<void *>(~uintptr_t{0})
        : row[2] == "without table" ? object = &without_table
                                    : nullptr;
        XAVO_pr_CMPIData(0, "row", data);
        expected += "row " + row[0] + " " + row[1] + "\n" + row[3];
        EXPECT_EQ(XAVO_CMPIData_to_uint32(&ec, &data), data.type == CMPI_uint32 ? 0xffffffffU : 0U);
        for (unsigned time = 0; time < 2; ++time) {
            XAVO_free_CMPIData_value(&data);
            leaks += row.size() > 4 ? error("XAVO_free_CMPIData_value", "unknown type, memory leak") : "";
        }
    }
    EXPECT_TEXT(expected, printed());
    EXPECT_TEXT(leaks, logged());
}

TEST_F(Values, NullPropertyWithoutAStatusIsNoError) {
    CMPIInstanceFT table = {};
    table.getProperty = [](CMPIInstance *, const char *, CMPIStatus *) {
        return CMPIData{CMPI_string, CMPI_nullValue, {}};
    };
    CMPIInstance instance = {nullptr, &table};
    EXPECT_EQ(XAVO_property_to_ntstring(sp, &ec, &instance, "Name"), nullptr);
    EXPECT_EQ(ec, XAVO_NO_ERROR);
}

TEST_F(Values, ArePrintedInArgumentListsAndRecords) {
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

TEST_F(Values, AreRejectedWhenNull) {
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
