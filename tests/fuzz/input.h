// input.h - reads a fuzzer's input in pieces; also the log function of the fuzz targets.
#ifndef XAVO_TESTS_FUZZ_INPUT_H
#define XAVO_TESTS_FUZZ_INPUT_H

#undef NDEBUG // the targets' checks are assertions
#include <algorithm>
#include <cassert>
#include <cimsim.h>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <hulmprintf.h>
#include <string>
#include <XAVO.h>

// After its end the input consists of zeros.
struct Input {
    const uint8_t *data;
    size_t left;

    uint8_t byte() { return left > 0 ? (--left, *data++) : uint8_t{0}; }
    uint16_t word() {
        const unsigned high = byte();
        return static_cast<uint16_t>(high << 8 | byte());
    }
    // Up to 127 bytes of the input, or one byte repeated some thousand times at most.
    std::string text() {
        const size_t length = byte();
        if (length > 127)
            return std::string(length * length / 16, static_cast<char>(byte()));
        const size_t taken = std::min(length, left);
        left -= taken;
        data += taken;
        return std::string(data - taken, data);
    }
};

// Replaces the platform's log, unless the target has a log of its own: formats each line, so that sanitizers
// see unreadable arguments; prints nothing.
extern "C" __attribute__((weak)) void hulmprintf(int, int, const char *format, ...) {
    char line[64];
    va_list values;
    va_start(values, format);
    assert(vsnprintf(line, sizeof line, format, values) > 0);
    va_end(values);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

#endif
