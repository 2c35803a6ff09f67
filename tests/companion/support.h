// support.h - what the tests of the companion share.
#ifndef XAVO_TESTS_COMPANION_SUPPORT_H
#define XAVO_TESTS_COMPANION_SUPPORT_H

#include <cstdint>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <vector>
#include <XAVO_companion.h>

namespace test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool SANITIZED = true;
#else
constexpr bool SANITIZED = false;
#endif

#define OPERATION(constant, value, name, members) constant,
constexpr int OPERATIONS[] = {XAVO_OPERATIONS(OPERATION)};
#undef OPERATION

inline int64_t now_ms() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// Number of open descriptors of this process.
inline int open_descriptors() {
    int count = 0;
    for (int number = 0; number < 1024; ++number)
        count += fcntl(number, F_GETFD) >= 0 ? 1 : 0;
    return count;
}

// A system call that fails with `error` if (argument & mask) == value. forbid() makes these calls fail from
// now on.
struct Forbidden {
    long number;
    int error;
    unsigned int argument = 0;
    uint32_t mask = 0, value = 0;
};
inline bool forbid(const std::vector<Forbidden> &calls) {
    constexpr unsigned int LOW = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? 0 : 4;
    std::vector<sock_filter> filter;
    for (const Forbidden &call : calls)
        for (const sock_filter &step : std::initializer_list<sock_filter>{
                 BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                 BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(call.number), 0, 4),
                 BPF_STMT(BPF_LD | BPF_W | BPF_ABS,
                          static_cast<uint32_t>(offsetof(seccomp_data, args)) + call.argument * 8 + LOW),
                 BPF_STMT(BPF_ALU | BPF_AND | BPF_K, call.mask),
                 BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call.value, 0, 1),
                 BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<uint32_t>(call.error))})
            filter.push_back(step);
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

// A request that has every argument.
inline XAVO_Request request(int operation, const char *id) {
    static char first[] = "JID_1", second[] = "JID_2";
    static char *const ids[] = {first, second, nullptr};
    static const XAVO_BAR_INPUT_DATA image = {
        "operator", "secret", "", "192.0.2.10", "backups", "image", "NOW", "", 2, 0, {}, "", 0, ""};
    static const XAVO_NET_INPUT_DATA share = {"", "", "", "192.0.2.10", "public", 0, 0, {}};
    XAVO_Request made = {};
    made.operation = operation;
    made.id = id;
    made.class_name = "VELK_SoftwareIdentity";
    made.start_time = "NOW";
    made.job_ids = ids;
    made.uri = "http://192.0.2.20/bios.bin";
    made.reboot_type = "1";
    made.image = &image;
    made.share = &share;
    return made;
}

} // namespace test

#endif
