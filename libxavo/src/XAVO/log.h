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

// Returns the offset of the base name in a path. It is evaluated at compile time only, so that no result is
// stored at run time in a variable that threads share.
constexpr std::size_t base_name_offset(const char *path) {
    std::size_t offset = 0;
    for (std::size_t i = 0; path[i] != '\0'; ++i)
        if (path[i] == '/')
            offset = i + 1;
    return offset;
}

// Logs an error line without further values.
void log_error(const char *format, const char *file, int line, const char *function);

// Where an operation reports failure: the caller's error code, and the operation's name for log lines.
struct ErrorContext {
    XAVO_ErrorCode *errorcodep;
    const char *operation;
};

// Logs an error line and sets the error code.
void fail(ErrorContext context, XAVO_ErrorCode code, const char *format, const char *file, int line);

} // namespace xavo

// The base name of the source file.
#define XAVO_BASE_NAME                                                                                       \
    (&__FILE__[std::integral_constant<std::size_t, xavo::base_name_offset(__FILE__)>::value])

// The beginning of every line's format, and the values for it. `function` is the name of the operation that
// reports: __func__, or the name that the operation passed to a function that several operations call.
#define XAVO_PREFIX "%s,%d,%s: "
#define XAVO_PREFIX_VALUES(function) XAVO_BASE_NAME, __LINE__, function

// The whole format of an error line, for tables whose rows contain one.
#define XAVO_ERROR_FORMAT(text) XAVO_PREFIX "ERROR: " text "\n"

// Log one line. The text of a _WITH macro has conversion specifications for the values after it.
#define XAVO_ERROR(function, text) xavo::log_error(XAVO_ERROR_FORMAT(text), XAVO_PREFIX_VALUES(function))
#define XAVO_ERROR_WITH(function, text, ...)                                                                 \
    hulmprintf(xavo::LOG_ERROR, xavo::LOG_MODULE, XAVO_ERROR_FORMAT(text), XAVO_PREFIX_VALUES(function),     \
               __VA_ARGS__)
#define XAVO_TRACE(function, text)                                                                           \
    hulmprintf(xavo::LOG_TRACE, xavo::LOG_MODULE, XAVO_PREFIX text "\n", XAVO_PREFIX_VALUES(function))
#define XAVO_TRACE_WITH(function, text, ...)                                                                 \
    hulmprintf(xavo::LOG_TRACE, xavo::LOG_MODULE, XAVO_PREFIX text "\n", XAVO_PREFIX_VALUES(function),       \
               __VA_ARGS__)

// Argument checks: on failure log, set the error code and yield false. XAVO_REQUIRE_GIVEN checks for NULL.
// Does not use ||: clang does not record a decision that is part of an operand of another one.
#define XAVO_REQUIRE(context, condition, code, text)                                                         \
    ((condition) ? true                                                                                      \
                 : (xavo::fail(context, code, XAVO_ERROR_FORMAT(text), XAVO_BASE_NAME, __LINE__), false))
#define XAVO_REQUIRE_GIVEN(context, argument)                                                                \
    XAVO_REQUIRE(context, (argument) != nullptr, XAVO_INVALID_VALUE, #argument " is NULL")

#endif
