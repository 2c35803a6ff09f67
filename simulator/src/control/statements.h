// statements.h - the statements of scenes and states: how each is applied and how it is written.
#ifndef CIMSIM_STATEMENTS_H
#define CIMSIM_STATEMENTS_H

#include "client/simulator.h"
#include "control/statement_writer.h"
#include "value/statement.h"

namespace cimsim {

constexpr std::size_t any_number_of_words = 1000;

// One kind of statement.
struct StatementForm {
    const char *name;
    std::size_t least, most; // the lowest and the highest number of words
    const char *options;     // the names of its options, separated by blanks; "*": any name
    void (*apply)(Simulator &simulator, const Statement &statement);
    // Writes the statements of this form that reproduce the simulator's data. NULL: another form writes them.
    void (*write)(const Simulator &simulator, StatementWriter &out);
};

// The form of a statement; NULL if no statement has that name.
const StatementForm *find_statement(const std::string &name);

// The text of a state: the controller, the broker and the planned faults as statements. Applying them to an
// empty simulator reproduces it.
std::string state_text(const Simulator &simulator);

} // namespace cimsim

#endif
