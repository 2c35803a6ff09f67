// platform_test.cpp - the platform's log and string functions; the other test programs replace them.
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <gtest/gtest.h>
#include <hulmprintf.h>
#include <string>
#include <unistd.h>
#include <utl_va_cat.h>

namespace {

bool memory_is_exhausted = false;

// Returns the text that the log statement prints on standard error; checks that errno is unchanged.
template <class Value>
std::string line(int level, const char *format, Value value) {
    testing::internal::CaptureStderr();
    errno = ERANGE;
    hulmprintf(level, 5, format, value);
    EXPECT_EQ(errno, ERANGE);
    memory_is_exhausted = false;
    return testing::internal::GetCapturedStderr();
}

} // namespace

extern "C" {
void *__real_malloc(size_t size);
void *__wrap_malloc(size_t size) { return memory_is_exhausted ? nullptr : __real_malloc(size); }
}

namespace {

TEST(Log, WritesLongLinesWholeUnlessMemoryIsExhausted) {
    for (const size_t length : {0U, 1U, 1022U, 1023U, 1024U, 1025U, 5000U})
        for (const bool exhausted : {false, true}) {
            const std::string text(length, 'x');
            memory_is_exhausted = exhausted;
            EXPECT_EQ(line(2, "%s\n", text.c_str()), text.substr(0, exhausted ? 1022 : length) + "\n");
        }
}

TEST(Log, LeavesOutALineThatCannotBeEncoded) {
    const wchar_t bad[] = {0x7fffffff, 0};
    EXPECT_EQ(line(2, "%ls\n", bad), "");
}

TEST(Log, KeepsErrnoWhenErrorOutputIsClosed) {
    const int saved = dup(STDERR_FILENO);
    close(STDERR_FILENO);
    errno = ERANGE;
    hulmprintf(2, 5, "x\n");
    const int seen = errno;
    dup2(saved, STDERR_FILENO);
    close(saved);
    clearerr(stderr);
    EXPECT_EQ(seen, ERANGE);
}

TEST(Log, HasTheLevelThatTheProgramSets) {
    for (const auto &[most, level, text] :
         {std::tuple(2, 2, "x\n"), {2, 3, ""}, {8, 8, "x\n"}, {0, 1, ""}, {0, 0, "x\n"}}) {
        hulm_set_level(most);
        EXPECT_EQ(line(level, "%s\n", "x"), text) << most << " " << level;
    }
    hulm_set_level(2);
}

// The variable is read once, when the library is loaded: the statement runs in a new process with it.
TEST(LogDeathTest, HasTheLevelOfTheEnvironment) {
    if (const char *emulator = getenv("XAVO_EMULATOR"); emulator != nullptr && *emulator != '\0')
        GTEST_SKIP() << "GoogleTest starts the new process without the emulator";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const auto &[level, printed] : {std::pair(static_cast<const char *>(nullptr), "^2\n$"),
                                         {"", "^2\n$"},
                                         {"8", "^2\n3\n8\n$"},
                                         {"3", "^2\n3\n$"},
                                         {"1", "^$"},
                                         {"-1", "^$"},
                                         {"8x", "^2\n$"},
                                         {"x", "^2\n$"}}) {
        level == nullptr ? unsetenv("HULM_LEVEL") : setenv("HULM_LEVEL", level, 1);
        const auto print = [] {
            setenv("HULM_LEVEL", "8", 1); // too late
            for (const int each : {2, 3, 8})
                hulmprintf(each, 5, "%d\n", each);
            _exit(0);
        };
        EXPECT_EXIT(print(), testing::ExitedWithCode(0), printed) << (level == nullptr ? "not set" : level);
    }
    unsetenv("HULM_LEVEL");
}

TEST(Join, JoinsStringsIntoNewMemory) {
    char *const none = nullptr;
    for (const auto &[joined, expected] :
         {std::pair(utl_va_cat("", none), ""), std::pair(utl_va_cat("a", "", "bc", none), "abc")}) {
        EXPECT_STREQ(joined, expected);
        free(joined);
    }
    const std::string text(5000, 'x');
    char *const joined = utl_va_cat(text.c_str(), text.c_str(), "y", none);
    EXPECT_EQ(joined, text + text + "y");
    free(joined);
    memory_is_exhausted = true;
    char *const absent = utl_va_cat("a", "b", none);
    memory_is_exhausted = false;
    EXPECT_EQ(absent, nullptr);
}

} // namespace
