// channel.cpp - sends frames to the program; replaces the platform's log and sends its lines.
#include "channel.h"

#include <errno.h>
#include <hulmprintf.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

namespace xavo_worker {

using namespace xavo_companion;

namespace {

constexpr int ERROR_LEVEL = 2;
// The kernel sends a frame of this size completely or not at all: it is far below 32 KiB, up to which a Unix
// socket uses one buffer.
constexpr size_t LONGEST_LINE = 16384;

// A library that this process loads may log on a thread of its own.
pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
int log_level = ERROR_LEVEL;
uint32_t lost_lines;
bool catching;
char *caught;

class Locked {
public:
    Locked() { pthread_mutex_lock(&lock); }
    ~Locked() { pthread_mutex_unlock(&lock); }
    Locked(const Locked &) = delete;
    Locked &operator=(const Locked &) = delete;
};

// With MSG_DONTWAIT in `flags` the first send() does not wait; the rest of the data is always sent.
bool send_all(const char *data, size_t size, int flags) {
    while (size > 0) {
        const ssize_t count = send(WORKER_SOCKET, data, size, flags | MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return false;
        data += count;
        size -= static_cast<size_t>(count);
        flags = 0;
    }
    return true;
}

// Keeps the text of a line after "file,line,function: ERROR: ".
void keep_error(const char *line) {
    static constexpr char BEGIN[] = ": ERROR: ";
    const char *text = strstr(line, BEGIN);
    caught = strdup(text != nullptr ? text + sizeof BEGIN - 1 : line);
    catching = false;
}

void send_line(int level, const char *line) {
    Writer frame(FRAME_LOG);
    frame.number(TAG_LEVEL, static_cast<uint32_t>(level));
    frame.text(TAG_MESSAGE, line);
    if (!frame.finish() || !send_all(frame.data(), frame.size(), MSG_DONTWAIT))
        ++lost_lines;
}

// Ends a line before its line feed. If the line was cut, also removes a character that may be incomplete.
void end_line(char *line, size_t length, bool cut) {
    while (cut && length > 0 && (static_cast<unsigned char>(line[length - 1]) & 0x80U) != 0)
        --length;
    if (!cut && length > 0 && line[length - 1] == '\n')
        --length;
    line[length] = '\0';
}

void log_line(int level, const char *format, va_list values) {
    const Locked locked;
    const bool sent = level <= log_level && log_level > 0, kept = catching && level == ERROR_LEVEL;
    if (!sent && !kept)
        return;
    char small[1024];
    char *line = small;
    va_list again;
    va_copy(again, values);
    int length =
        vsnprintf(small, sizeof small, format, values); // NOLINT(clang-analyzer-valist.Uninitialized)
    char *large = nullptr;
    bool cut = false;
    if (length >= static_cast<int>(sizeof small)) {
        large = static_cast<char *>(malloc(LONGEST_LINE));
        const size_t room = large != nullptr ? LONGEST_LINE : sizeof small;
        if (large != nullptr) {
            line = large;
            vsnprintf(large, LONGEST_LINE, format, again);
        }
        cut = static_cast<size_t>(length) >= room;
        if (cut)
            length = static_cast<int>(room) - 1;
    }
    va_end(again);
    if (length >= 0) {
        end_line(line, static_cast<size_t>(length), cut);
        if (kept)
            keep_error(line);
        if (sent)
            send_line(level, line);
    }
    free(large);
}

} // namespace

bool send_frame(Writer *frame) {
    const Locked locked;
    return frame->finish() && send_all(frame->data(), frame->size(), 0);
}

bool send_hello() {
    Writer frame(FRAME_HELLO);
    return send_frame(&frame);
}

void send_failed(int error, const char *message) {
    Writer frame(FRAME_FAILED);
    frame.number(TAG_STATUS, static_cast<uint32_t>(error));
    frame.text(TAG_MESSAGE, message);
    send_frame(&frame);
}

void set_log_level(uint32_t level) {
    const Locked locked;
    log_level = static_cast<int>(level);
}

uint32_t take_lost_lines() {
    const Locked locked;
    const uint32_t lost = lost_lines;
    lost_lines = 0;
    return lost;
}

void catch_error_line() {
    free(take_error_line());
    const Locked locked;
    catching = true;
}

char *take_error_line() {
    const Locked locked;
    char *line = caught;
    caught = nullptr;
    catching = false;
    return line;
}

} // namespace xavo_worker

void hulmprintf(int level, int, const char *format, ...) {
    const int saved_errno = errno;
    va_list values;
    va_start(values, format);
    xavo_worker::log_line(level, format, values);
    va_end(values);
    errno = saved_errno;
}
