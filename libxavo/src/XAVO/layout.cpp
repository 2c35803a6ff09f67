// layout.cpp - compile-time checks of the public structures' layouts, which programs are compiled with.
// Offsets and sizes are in bytes; WORD is the size of a pointer.
#include <XAVO.h>

#define MEMBER(record, member, offset, size)                                                                 \
    static_assert(offsetof(record, member) == (offset) && sizeof(record::member) == (size),                  \
                  #record "." #member)

// The build passes the version of its `project` line.
static_assert(XAVO_VERSION_MAJOR == PROJECT_VERSION_MAJOR && XAVO_VERSION_MINOR == PROJECT_VERSION_MINOR &&
                  XAVO_VERSION_PATCH == PROJECT_VERSION_PATCH,
              "the XAVO_VERSION_ macros differ from the project line of CMakeLists.txt");

namespace {

constexpr size_t WORD = sizeof(void *);

// No member of the handle is aligned to more than a pointer.
static_assert(alignof(XAVO_Proxy) == alignof(void *));
MEMBER(XAVO_Proxy, head_magic, 0, 8);
MEMBER(XAVO_Proxy, client, 8, WORD);
MEMBER(XAVO_Proxy, mutex, 8 + WORD, sizeof(pthread_mutex_t));
MEMBER(XAVO_Proxy, mutex_initialised, 8 + WORD + sizeof(pthread_mutex_t), 1);
MEMBER(XAVO_Proxy, tail_magic, 12 + WORD + sizeof(pthread_mutex_t), 8);

// The record of a job: the pointer `next`, then the strings.
#define ROW(name) PLACE_OF_##name,
enum { PLACE_OF_next, XAVO_JOB_PROPERTIES(ROW) MEMBERS_OF_A_JOB };
#undef ROW
static_assert(sizeof(XAVO_VELK_LifecycleJob) == MEMBERS_OF_A_JOB * WORD);
#define ROW(name) MEMBER(XAVO_VELK_LifecycleJob, name, (PLACE_OF_##name) * WORD, WORD);
ROW(next)
XAVO_JOB_PROPERTIES(ROW)
#undef ROW

// These layouts are the same on every machine.
MEMBER(XAVO_HTTP_SHARE_OPT_DATA, proxySupport, 0, 2);
MEMBER(XAVO_HTTP_SHARE_OPT_DATA, proxyType, 2, 2);
MEMBER(XAVO_HTTP_SHARE_OPT_DATA, proxyServer, 4, 65);
MEMBER(XAVO_HTTP_SHARE_OPT_DATA, proxyUname, 69, 65);
MEMBER(XAVO_HTTP_SHARE_OPT_DATA, proxyPasswd, 134, 65);
MEMBER(XAVO_HTTP_SHARE_OPT_DATA, proxyPort, 199, 12);
MEMBER(XAVO_HTTP_SHARE_OPT_DATA, ignoreCertWarning, 212, 2);
static_assert(sizeof(XAVO_HTTP_SHARE_OPT_DATA) == 214);

MEMBER(XAVO_NET_INPUT_DATA, uname, 0, 65);
MEMBER(XAVO_NET_INPUT_DATA, passwd, 65, 65);
MEMBER(XAVO_NET_INPUT_DATA, workgroup, 130, 65);
MEMBER(XAVO_NET_INPUT_DATA, ipaddr, 195, 65);
MEMBER(XAVO_NET_INPUT_DATA, sharename, 260, 257);
MEMBER(XAVO_NET_INPUT_DATA, shareType, 518, 2);
MEMBER(XAVO_NET_INPUT_DATA, reserved, 520, 2);
MEMBER(XAVO_NET_INPUT_DATA, http, 522, 214);
static_assert(sizeof(XAVO_NET_INPUT_DATA) == 736);

MEMBER(XAVO_BAR_INPUT_DATA, uname, 0, 65);
MEMBER(XAVO_BAR_INPUT_DATA, passwd, 65, 65);
MEMBER(XAVO_BAR_INPUT_DATA, passphrase, 130, 33);
MEMBER(XAVO_BAR_INPUT_DATA, ipaddr, 163, 65);
MEMBER(XAVO_BAR_INPUT_DATA, sharename, 228, 257);
MEMBER(XAVO_BAR_INPUT_DATA, imagename, 485, 65);
MEMBER(XAVO_BAR_INPUT_DATA, startTime, 550, 33);
MEMBER(XAVO_BAR_INPUT_DATA, untilTime, 583, 33);
MEMBER(XAVO_BAR_INPUT_DATA, shareType, 616, 2);
MEMBER(XAVO_BAR_INPUT_DATA, preserveVDConfig, 618, 2);
MEMBER(XAVO_BAR_INPUT_DATA, http, 620, 214);
MEMBER(XAVO_BAR_INPUT_DATA, JobName, 834, 33);
MEMBER(XAVO_BAR_INPUT_DATA, checkBackupDestinationAvailability, 868, 2);
MEMBER(XAVO_BAR_INPUT_DATA, tavixuname, 870, 65);
static_assert(sizeof(XAVO_BAR_INPUT_DATA) == 936);

} // namespace
