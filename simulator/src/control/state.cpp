// state.cpp - locks, reads and writes the file of a state.
#include "control/state.h"

#include "control/scene.h"
#include "control/statements.h"
#include "value/statement.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <limits.h>
#include <sys/file.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace cimsim {

namespace {

void close_quietly(int file) {
    const int why = errno;
    if (file >= 0)
        close(file);
    errno = why;
}

// The result of a system call, which is repeated when a signal has interrupted it.
template <class Call>
auto repeated(Call call) -> decltype(call()) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

int open_file(const std::string &path, int flags) {
    return repeated([&] { return open(path.c_str(), flags | O_CLOEXEC, 0600); });
}

// The owner, group, mode and access control list of a file.
struct Rights {
    struct stat status = {};
    std::string acl; // the access control list, empty if none; its mask is the group's part of st_mode

    bool operator==(const Rights &other) const {
        return status.st_uid == other.status.st_uid && status.st_gid == other.status.st_gid &&
               status.st_mode == other.status.st_mode && acl == other.acl;
    }
};

const char *const acl_attribute = "system.posix_acl_access";

// Both read the rights of a file. False: the file does not exist.
bool read_rights(const std::string &path, Rights *rights) {
    char list[XATTR_SIZE_MAX];
    const ssize_t size = getxattr(path.c_str(), acl_attribute, list, sizeof list);
    rights->acl.assign(list, size > 0 ? static_cast<std::size_t>(size) : 0);
    return stat(path.c_str(), &rights->status) == 0;
}
bool read_rights(int file, Rights *rights) {
    char list[XATTR_SIZE_MAX];
    const ssize_t size = fgetxattr(file, acl_attribute, list, sizeof list);
    rights->acl.assign(list, size > 0 ? static_cast<std::size_t>(size) : 0);
    return fstat(file, &rights->status) == 0;
}

// Gives a file the owner, group, access control list and mode of the state, as far as the process is
// permitted to. If it cannot set the group, the mode has no group permissions. If it cannot set the list,
// only the owner has permissions. If it cannot change the mode, only the owner can still access the file.
void take_over_rights(int file, const Rights &state) {
    mode_t mode = state.status.st_mode & 07777U;
    const auto same_owner = static_cast<uid_t>(-1);
    const uid_t owner = state.status.st_uid;
    const gid_t group = state.status.st_gid;
    const bool in_group = fchown(file, owner, group) == 0 || fchown(file, same_owner, group) == 0;
    if (state.acl.empty())
        fremovexattr(file, acl_attribute); // which the folder's default list may have set
    else if (!in_group || fsetxattr(file, acl_attribute, state.acl.data(), state.acl.size(), 0) != 0)
        mode &= ~static_cast<mode_t>(S_IRWXG | S_IRWXO);
    if (!in_group)
        mode &= ~static_cast<mode_t>(S_IRWXG);
    fchmod(file, mode);
}

// Opens without O_CREAT first, because the kernel may refuse O_CREAT for another user's file in a folder like
// /tmp.
int open_lock(const std::string &path) {
    for (;;) {
        int file = open_file(path, O_RDWR | O_NOFOLLOW);
        if (file < 0 && errno == EACCES)
            file = open_file(path, O_RDONLY | O_NOFOLLOW); // enough for a lock, except on NFS
        if (file >= 0 || errno != ENOENT)
            return file;
        file = open_file(path, O_RDWR | O_CREAT | O_EXCL);
        if (file >= 0 || errno != EEXIST)
            return file;
    }
}

// Creates a file that only its owner can access, because it will contain passwords. If `as` is not NULL, it
// has the rights of the file that will be replaced, and the new file gets them. Then writes the text.
bool write_whole(const std::string &path, const std::string &text, const Rights *as, struct stat *seen,
                 int *held) {
    if (unlink(path.c_str()) != 0 && errno != ENOENT) // left by a process that ended while it wrote
        return false;
    const int file = open_file(path, O_WRONLY | O_CREAT | O_EXCL);
    if (file < 0)
        return false;
    std::size_t written = 0;
    bool good = true;
    if (as)
        take_over_rights(file, *as);
    while (good && written < text.size()) {
        const ssize_t some =
            repeated([&] { return ::write(file, text.data() + written, text.size() - written); });
        good = some > 0;
        written += good ? static_cast<std::size_t>(some) : 0;
    }
    good = good && fstat(file, seen) == 0;
    if (good)
        *held = file;
    else
        close_quietly(file);
    return good;
}

bool same(const struct stat &a, const struct stat &b) {
    return a.st_ino == b.st_ino && a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
           a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

} // namespace

bool read_whole(const std::string &path, std::string *text, struct stat *seen, int *held) {
    const int file = open_file(path, O_RDONLY);
    if (file < 0)
        return false;
    char block[65536];
    ssize_t got = fstat(file, seen);
    text->clear();
    while (got >= 0 && (got = repeated([&] { return read(file, block, sizeof block); })) > 0)
        text->append(block, static_cast<std::size_t>(got));
    if (held && got == 0)
        *held = file;
    else
        close_quietly(file);
    return got == 0;
}

// Stores the absolute path, because the program may change its folder. Resolves symbolic links, so that all
// processes use the same lock.
void State::use(const char *path) {
    std::error_code none;
    hold(-1);
    known_ = false;
    error_.clear();
    path_ = path ? path : "";
    if (path_.empty())
        return journal.use(path_);
    auto whole = std::filesystem::absolute(path_, none);
    for (int links = 0; links < 40 && std::filesystem::is_symlink(whole, none); ++links)
        whole = whole.parent_path() / std::filesystem::read_symlink(whole, none);
    if (!whole.empty())
        path_ = whole.string();
    journal.use(path_ + ".journal");
}

void State::hold(int file) {
    close_quietly(held_);
    held_ = file;
}

bool State::fail(const std::string &why) {
    error_ = why;
    known_ = false;
    std::fprintf(stderr, "cimsim: state: %s\n", why.c_str());
    return false;
}

// Opens the lock in each session: processes that share a descriptor after a fork do not lock each other out.
// The lock gets the owner, group and mode of the state. If it has a second hard link, its own stay unchanged,
// because it could be a file with another purpose.
bool State::lock() {
    const std::string path = path_ + ".lock";
    lock_ = open_lock(path);
    if (lock_ < 0 || repeated([&] { return flock(lock_, LOCK_EX); }) != 0)
        return fail(path + ": " + std::strerror(errno));
    Rights own, state;
    if (read_rights(path_, &state) && read_rights(lock_, &own) && S_ISREG(own.status.st_mode) &&
        own.status.st_nlink == 1 && !(own == state))
        take_over_rights(lock_, state);
    return true;
}

void State::unlock() const { close_quietly(lock_); }

bool State::read() {
    struct stat now;
    if (stat(path_.c_str(), &now) != 0)
        return errno == ENOENT ? (known_ = false, true) : fail(path_ + ": " + std::strerror(errno));
    if (!S_ISREG(now.st_mode)) // reading a device may not end, and rename must not replace it
        return fail(path_ + ": it is not a regular file");
    if (known_ && same(now, seen_))
        return true;
    std::string text;
    int file = -1;
    if (!read_whole(path_, &text, &seen_, &file))
        return fail(path_ + ": " + std::strerror(errno));
    hold(file);
    try {
        clear_scene(simulator_);
        if (text.empty() || text.back() != '\n')
            throw StatementError(static_cast<std::size_t>(1 + std::count(text.begin(), text.end(), '\n')),
                                 "the last line does not end with a newline");
        apply_scene(simulator_, text);
    } catch (const StatementError &error) {
        return fail(path_ + ":" + std::to_string(error.line) + ": " + error.what());
    }
    // If this text differs from state_text, for example after an edit by hand, end() writes the file.
    text_ = text;
    known_ = true;
    simulator_.time_changed.notify_all();
    return true;
}

// Does nothing after an error, which the next session will report.
void State::refresh() {
    struct stat now;
    if (path_.empty() || !error_.empty() || (known_ && stat(path_.c_str(), &now) == 0 && same(now, seen_)))
        return;
    if (begin())
        unlock();
}

bool State::begin() {
    if (!scene_error_.empty()) { // without its scene, a test would prove nothing
        std::fprintf(stderr, "cimsim: CIMSIM_SCENE: %s\n", scene_error_.c_str());
        std::_Exit(2);
    }
    if (path_.empty())
        return true;
    if (lock() && read())
        return true;
    unlock();
    return false;
}

bool State::write(const std::string &text) {
    const std::string path = path_ + ".new";
    Rights old;
    const bool replaces = read_rights(path_, &old);
    if (replaces && access(path_.c_str(), W_OK) != 0) // rename does not check this
        return fail(path_ + ": " + std::strerror(errno));
    int file = -1;
    if (!write_whole(path, text, replaces ? &old : nullptr, &seen_, &file) ||
        rename(path.c_str(), path_.c_str()) != 0) {
        const int why = errno;
        close_quietly(file);
        unlink(path.c_str());
        return fail(path + ": " + std::strerror(why));
    }
    hold(file);
    text_ = text;
    known_ = true;
    return true;
}

bool State::end() {
    if (path_.empty())
        return true;
    const std::string text = state_text(simulator_);
    const bool good = (known_ && text == text_) || write(text);
    unlock();
    if (good)
        error_.clear();
    return good;
}

} // namespace cimsim
