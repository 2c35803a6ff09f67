// prepare.h - values, what a controller is told beforehand, and what it is asked, written as text.
#ifndef XAVO_TESTS_PREPARE_H
#define XAVO_TESTS_PREPARE_H

#include <cimsim.h>
#include <string>

namespace test {

// "string:a", "number:00a0:5", "state:8000:string:a", "type:1100:string:a", "ref:n,C,Key,string:a",
// "array:1600,string:a,-"; types and states are hexadecimal. "string" has no characters, "-" is no value.
cimsim_value *value_in(const std::string &text);

// "answer_return number:00a0:2 ; advance 5": functions of the control header without their prefix. What is
// left out is 0 or NULL. One that is not known ends the program.
void prepare(const std::string &script);

// The last request on one line: path, method, and each argument with its type:
// root/velk:VELK_X.Key:1700=v Method(Name:1700=text,Number:0090=5)
std::string last_request();

} // namespace test

#endif
