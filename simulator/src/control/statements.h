// statements.h - the statements of scenes and states: how each is read, and how a state has it.
#ifndef CIMSIM_STATEMENTS_H
#define CIMSIM_STATEMENTS_H

#include "client/simulator.h"
#include "control/writer.h"
#include "value/text.h"

namespace cimsim {

constexpr std::size_t any_number_of_words = 1000;

// One kind of statement.
struct StatementForm {
    const char *name;
    std::size_t least, most; // words
    const char *options;     // NAME=VALUE or NAME alone, separated by blanks; "*": any name
    void (*apply)(Simulator &simulator, const Statement &statement);
    // Writes the statements of this form that make an empty controller like this one. NULL: none is needed.
    void (*write)(const Simulator &simulator, StatementWriter &out);
};

// The form of a statement; NULL when there is none of that name.
const StatementForm *find_statement(const std::string &name);

// The controller, the broker and the plans, as statements that make an empty one the same.
std::string state_text(const Simulator &simulator);

} // namespace cimsim

#endif
