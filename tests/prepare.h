// prepare.h - prepares the simulated controller from text, and returns its last request as text.
#ifndef XAVO_TESTS_PREPARE_H
#define XAVO_TESTS_PREPARE_H

#include <cimsim.h>
#include <string>

namespace test {

// Calls functions of the control header: "answer_return uint32:2 ; advance 5". Names are without their
// prefix, values in the notation of xavo-scene(5). An argument that is left out is 0 or NULL; "-" is NULL for
// a value. An unknown function aborts.
void prepare(const std::string &script);

// Returns the last request on one line: path, method, and each argument with its type:
// root/velk:VELK_X(Key=chars:v) Method(Name=chars:text, Number=uint16:5)
std::string last_request();

} // namespace test

#endif
