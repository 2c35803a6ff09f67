// log.h - the form of the library's log lines, and argument checks that log their failure.
#ifndef XAVO_LOG_H
#define XAVO_LOG_H

#include <cstddef>
#include <hulmprintf.h>
#include <type_traits>
#include <XAVO.h>

namespace xavo {

constexpr int LOG_MODULE = 5;
constexpr int LOG_ERROR = 2;
constexpr int LOG_TRACE = 8;

// Returns where the base name begins in a path. Evaluated at compile time only, so nothing is computed on
// first use and shared between threads.
constexpr std::size_t base_name_offset(const char *path) {
    std::size_t offset = 0;
    for (std::size_t i = 0; path[i] != '\0'; ++i)
        if (path[i] == '/')
            offset = i + 1;
    return offset;
}

void log_error(const char *format, const char *file, int line, const char *function);

// Where an operation reports failure: the caller's error code, and the name that its log lines carry.
struct ErrorContext {
    XAVO_ErrorCode *errorcodep;
    const char *operation;
};

// Logs the line and sets the error code.
void fail(ErrorContext context, XAVO_ErrorCode code, const char *format, const char *file, int line);

} // namespace xavo

#define XAVO_BASE_NAME                                                                                       \
    (&__FILE__[std::integral_constant<std::size_t, xavo::base_name_offset(__FILE__)>::value])

// The beginning of every line, and its values. `function` is the operation that reports: __func__, or in
// shared code the name that was passed in.
#define XAVO_PREFIX "%s,%d,%s: "
#define XAVO_PREFIX_VALUES(function) XAVO_BASE_NAME, __LINE__, function

// The whole format of an error line, for tables whose rows contain one.
#define XAVO_ERROR_FORMAT(text) XAVO_PREFIX "ERROR: " text "\n"

// Log one line; the text of a _WITH macro has conversions for further values.
#define XAVO_ERROR(function, text) xavo::log_error(XAVO_ERROR_FORMAT(text), XAVO_PREFIX_VALUES(function))
#define XAVO_ERROR_WITH(function, text, ...)                                                                 \
    hulmprintf(xavo::LOG_ERROR, xavo::LOG_MODULE, XAVO_ERROR_FORMAT(text), XAVO_PREFIX_VALUES(function),     \
               __VA_ARGS__)
#define XAVO_TRACE(function, text)                                                                           \
    hulmprintf(xavo::LOG_TRACE, xavo::LOG_MODULE, XAVO_PREFIX text "\n", XAVO_PREFIX_VALUES(function))
#define XAVO_TRACE_WITH(function, text, ...)                                                                 \
    hulmprintf(xavo::LOG_TRACE, xavo::LOG_MODULE, XAVO_PREFIX text "\n", XAVO_PREFIX_VALUES(function),       \
               __VA_ARGS__)

// Argument check: on failure logs, sets the code and yields false.
#define XAVO_REQUIRE(context, condition, code, text)                                                         \
    ((condition) || (xavo::fail(context, code, XAVO_ERROR_FORMAT(text), XAVO_BASE_NAME, __LINE__), false))
#define XAVO_REQUIRE_GIVEN(context, argument)                                                                \
    XAVO_REQUIRE(context, (argument) != nullptr, XAVO_INVALID_VALUE, #argument " is NULL")

#endif
