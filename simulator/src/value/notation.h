// notation.h - the text notation of CIM values, as xavo-scene(5) describes it: uint32:5, string:"text".
#ifndef CIMSIM_NOTATION_H
#define CIMSIM_NOTATION_H

#include "value/statement.h"
#include "value/value.h"

#include <optional>
#include <string>
#include <string_view>

namespace cimsim {

// The type with this name: "uint32", "string", "string[]" for an array; nullopt if there is none.
std::optional<CMPIType> type_named(std::string_view name);

// The name of a type; empty when it has none.
std::string type_name(CMPIType type);

// The value that a word denotes; nullopt for "lacking". Throws StatementError, with the statement's line and
// name.
std::optional<Value> parse_value(const Statement &statement, const Word &word);

// The same for a text that contains nothing else. Throws StatementError.
std::optional<Value> parse_value(const std::string &text);

// The notation of a value, "lacking" for nullopt; empty if the value has no notation.
std::string value_text(const std::optional<Value> &value);

} // namespace cimsim

#endif
