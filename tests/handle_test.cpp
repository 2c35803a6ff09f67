// handle_test.cpp - opening, checking and freeing handles.
#include "operations.h"
#include "support.h"

#include <cstddef>
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
    for (const auto &[user, sent] :
         {std::pair<const char *, const char *>(nullptr, "root01ff"), {"operator", "operator01ff"}}) {
        XAVO_Proxy *sp = XAVO_new_with_uname(user);
        XAVO_ErrorCode ec = -1;
        XAVO_invoke_DeleteJobQueue(sp, &ec, "JID_1");
        EXPECT_STREQ(cimsim_last_request()->user, sent);
        XAVO_free(sp);
    }
}

// Frees, locks and unlocks the handle; returns the log.
std::string log_of_use(XAVO_Proxy *sp) {
    clear_log();
    XAVO_free(sp);
    XAVO_lock(sp);
    XAVO_unlock(sp);
    return logged();
}

TEST_F(Handle, IsRejectedWhenNullOrWithAWrongMagicWord) {
    XAVO_Proxy *sp = XAVO_new();
    const std::pair<uint32_t *, uint32_t> words[] = {{sp->head_magic, 0x60845501},
                                                     {sp->head_magic + 1, 0x78771855},
                                                     {sp->tail_magic, 0x60845502},
                                                     {sp->tail_magic + 1, 0x78771855}};
    const std::string log = error("XAVO_lock", "sp is not valid") + error("XAVO_unlock", "sp is not valid");
    EXPECT_TEXT(error("XAVO_free", "sp is NULL") + log, log_of_use(nullptr));
    for (const auto &[word, magic] : words) {
        EXPECT_EQ(*word, magic);
        *word ^= 3; // turns the first word of one end into that of the other end
        EXPECT_TEXT(error("XAVO_free", "sp is not valid") + log, log_of_use(sp));
        *word ^= 3;
    }
    XAVO_free(sp);
}

TEST_F(Handle, IsCheckedByItsHeadMagicFirst) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void *const memory = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    char *const unreadable = static_cast<char *>(memory) + page;
    ASSERT_EQ(mprotect(unreadable, page, PROT_NONE), 0);
    constexpr size_t readable = offsetof(XAVO_Proxy, tail_magic) / alignof(XAVO_Proxy) * alignof(XAVO_Proxy);
    EXPECT_EQ(XAVO_is_valid(reinterpret_cast<XAVO_Proxy *>(unreadable - readable)), 0);
    munmap(memory, 2 * page);
}

} // namespace
