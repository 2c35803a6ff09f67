// frames.h - makes frames of the companion's protocol from a fuzzer's input.
#ifndef XAVO_TESTS_FUZZ_FRAMES_H
#define XAVO_TESTS_FUZZ_FRAMES_H

#include "input.h"
#include "protocol.h"

#include <sys/socket.h>
#include <unistd.h>

// Frames with headers that fit, up to a byte 255: what follows that is taken as it is.
inline std::string frames(Input &in, xavo_companion::FrameType first) {
    std::string all;
    while (in.left > 0 && in.data[0] != 255) {
        const uint16_t type = static_cast<uint16_t>((first + in.byte()) % 8);
        const size_t length = std::min<size_t>(in.word() % 2048, in.left);
        const xavo_companion::FrameHeader header = {xavo_companion::PROTOCOL_VERSION, type,
                                                    static_cast<uint32_t>(length)};
        all.append(reinterpret_cast<const char *>(&header), sizeof header).append(in.data, in.data + length);
        in.data += length;
        in.left -= length;
    }
    if (in.left > 0)
        all.append(in.data + 1, in.data + in.left);
    in.left = 0;
    return all;
}

// The near end of a stream socket whose far end has sent `bytes` and sends no more.
inline int sender_of(const std::string &bytes, int *far_end) {
    int ends[2];
    assert(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
    assert(bytes.empty() ||
           send(ends[1], bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    shutdown(ends[1], SHUT_WR);
    *far_end = ends[1];
    return ends[0];
}

#endif
