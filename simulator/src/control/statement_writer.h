// statement_writer.h - StatementWriter: builds the text of statements, word by word.
#ifndef CIMSIM_STATEMENT_WRITER_H
#define CIMSIM_STATEMENT_WRITER_H

#include "value/statement.h"

#include <cstdint>
#include <string>

namespace cimsim {

class StatementWriter {
public:
    StatementWriter &line(const std::string &name) {
        text_ += (text_.empty() ? "" : "\n") + name;
        return *this;
    }
    StatementWriter &word(const std::string &word) {
        text_ += " " + word;
        return *this;
    }
    StatementWriter &text(const std::string &text) { return word(quoted(text)); }
    StatementWriter &number(std::int64_t number) { return word(std::to_string(number)); }
    // NAME="TEXT", also when the text is empty.
    StatementWriter &option(const std::string &name, const std::string &text) {
        return word(name + "=" + quoted(text));
    }
    StatementWriter &option(const std::string &name, std::int64_t number) {
        return word(name + "=" + std::to_string(number));
    }
    // NAME="TEXT"; nothing if the text is empty.
    StatementWriter &option_if_any(const std::string &name, const std::string &text) {
        return text.empty() ? *this : option(name, text);
    }
    // NAME if `is_set`, else nothing.
    StatementWriter &flag(const std::string &name, bool is_set) { return is_set ? word(name) : *this; }

    std::string done() const { return text_ + "\n"; }

private:
    std::string text_;
};

} // namespace cimsim

#endif
